#include "tracker/pair_finder.h"

namespace qevo_internal {

double box_iou(const StageBox &a, const StageBox &b) {
    const double iw = std::min(a.x2, b.x2) - std::max(a.x1, b.x1);
    const double ih = std::min(a.y2, b.y2) - std::max(a.y1, b.y1);
    if (!(iw > 0.0) || !(ih > 0.0)) return 0.0;
    const double inter = iw * ih;
    const double uni = ((a.x2 - a.x1) * (a.y2 - a.y1) + (b.x2 - b.x1) * (b.y2 - b.y1)) - inter;
    return uni > 0.0 ? inter / uni : 0.0;
}

void PairFinder::find(const std::vector<StageBox> &rows, const std::vector<StageBox> &cols,
                      double gate, bool same_class, std::vector<GatedPair> &pairs) {
    pairs.clear();
    sweep(rows, cols, [&](int i, int j) {
        if (same_class && rows[i].cls != cols[j].cls) return;
        const double iou = box_iou(rows[i], cols[j]);
        if (iou > 0.0 && iou >= gate) pairs.push_back(GatedPair{i, j, 1.0 - iou});
    });
}

void PairFinder::coverage(const std::vector<StageBox> &rows, const std::vector<StageBox> &cols,
                          std::vector<double> &covered) {
    covered.assign(cols.size(), 0.0);
    sweep(rows, cols, [&](int i, int j) {
        const StageBox &a = rows[i], &b = cols[j];
        const double iw = std::min(a.x2, b.x2) - std::max(a.x1, b.x1);
        const double ih = std::min(a.y2, b.y2) - std::max(a.y1, b.y1);
        const double area = (b.x2 - b.x1) * (b.y2 - b.y1);
        if (!(iw > 0.0) || !(ih > 0.0) || !(area > 0.0)) return;
        covered[j] = std::max(covered[j], (iw * ih) / area);
    });
}

}  // namespace qevo_internal
