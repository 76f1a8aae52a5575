// Overlapping boxes between two lists: candidate pairs of an association
// stage (every track and detection whose IoU passes the stage's gate, with
// cost 1 - IoU) and how much of a box other boxes cover.
//
// Boxes are swept in x order: the first list is sorted by left edge, and a
// box of the second list is measured only against the boxes of the first
// whose left edge lies between its own left edge minus the widest box of
// the first list and its own right edge, the only ones that can overlap it
// horizontally. Pairs come out box by box of the second list, in the order
// given, and for each such box in the first list's x order (ties by
// position), so the result depends only on the boxes.
#ifndef QEVO_SRC_TRACKER_PAIR_FINDER_H
#define QEVO_SRC_TRACKER_PAIR_FINDER_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include "tracker/assignment.h"

namespace qevo_internal {

// A box with corners in double precision and a class.
struct StageBox {
    double x1, y1, x2, y2;
    int cls;
};

// IoU with continuous coordinates (width = x2 - x1); 0 when the boxes do not
// overlap or either is empty.
double box_iou(const StageBox &a, const StageBox &b);

class PairFinder {
  public:
    // Fills `pairs` (cleared first) with the pairs of rows[i] (tracks) and
    // cols[j] (detections) whose IoU is above 0 and at least `gate`, and
    // whose classes agree when `same_class`. Pair indices are positions in
    // `rows` and `cols`.
    void find(const std::vector<StageBox> &rows, const std::vector<StageBox> &cols, double gate,
              bool same_class, std::vector<GatedPair> &pairs);

    // covered[j] = the largest share of the area of cols[j] that one box of
    // `rows` covers (0 .. 1; 0 for an empty box). `covered` is resized.
    void coverage(const std::vector<StageBox> &rows, const std::vector<StageBox> &cols,
                  std::vector<double> &covered);

    void reserve(int rows) { sorted_.reserve(static_cast<size_t>(rows)); }

  private:
    // Calls visit(i, j) for every row i and column j whose boxes overlap
    // horizontally (non-empty rows only), in the order described above.
    template <typename Visit>
    void sweep(const std::vector<StageBox> &rows, const std::vector<StageBox> &cols, Visit visit);

    std::vector<int> sorted_;  // row positions by left edge
};

template <typename Visit>
void PairFinder::sweep(const std::vector<StageBox> &rows, const std::vector<StageBox> &cols,
                       Visit visit) {
    sorted_.clear();
    double widest = 0.0;
    for (size_t i = 0; i < rows.size(); ++i) {
        const StageBox &r = rows[i];
        if (!(r.x2 > r.x1) || !(r.y2 > r.y1)) continue;  // an empty box overlaps nothing
        sorted_.push_back(static_cast<int>(i));
        widest = std::max(widest, r.x2 - r.x1);
    }
    if (sorted_.empty() || cols.empty()) return;
    std::sort(sorted_.begin(), sorted_.end(), [&rows](int a, int b) {
        return rows[a].x1 < rows[b].x1 || (rows[a].x1 == rows[b].x1 && a < b);
    });
    for (size_t j = 0; j < cols.size(); ++j) {
        const StageBox &d = cols[j];
        const double from = d.x1 - widest;
        auto it = std::lower_bound(sorted_.begin(), sorted_.end(), from,
                                   [&rows](int r, double x) { return rows[r].x1 < x; });
        for (; it != sorted_.end() && rows[*it].x1 < d.x2; ++it) visit(*it, static_cast<int>(j));
    }
}

}  // namespace qevo_internal

#endif
