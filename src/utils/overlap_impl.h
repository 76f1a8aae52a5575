// Overlap and centre-distance arithmetic shared by the exported measures and
// the tracker's association loop (which scores detections without copying the
// detection list for every track).
#ifndef QEVO_SRC_UTILS_OVERLAP_IMPL_H
#define QEVO_SRC_UTILS_OVERLAP_IMPL_H

#include <cmath>

#include "detection_type_api.h"

namespace qevo_internal {

// max(a, b) yields b only when a < b; min(a, b) yields b only when b < a, so a
// NaN second operand is never chosen.
inline float fmax_first(float a, float b) { return a < b ? b : a; }
inline float fmin_first(float a, float b) { return b < a ? b : a; }

// Guard of the overlap divisions.
constexpr float kOverlapEps = 1e-5f;
// Start value of the arg-max search: the smallest normal float.
constexpr float kArgMaxStart = 1.17549435e-38f;
// Start value of the arg-min search.
constexpr float kArgMinStart = 1e9f;

// Overlap of the reference box (tx1, ty1, tx2, ty2) with detection d;
// iouType <= 0 IoU, 1 GIoU, 2 DIoU, >= 3 CIoU. All single precision except the
// square of the CIoU aspect difference.
inline float box_overlap(float tx1, float ty1, float tx2, float ty2, const QEVO::objinfo &d,
                         int iouType) {
    const float eps = kOverlapEps;
    const float w1 = tx2 - tx1;
    const float h1 = ty2 - ty1;
    const float w2 = d.x2 - d.x1;
    const float h2 = d.y2 - d.y1;
    const float iw = fmax_first(0.0f, fmin_first(tx2, d.x2) - fmax_first(tx1, d.x1));
    const float ih = fmax_first(0.0f, fmin_first(ty2, d.y2) - fmax_first(ty1, d.y1));
    const float inter = iw * ih;
    const float unarea = eps + ((w1 * h1 + w2 * h2) - inter);
    const float iou = inter / unarea;
    if (iouType <= 0) return iou;

    const float cw = fmax_first(tx2, d.x2) - fmin_first(tx1, d.x1);
    const float ch = fmax_first(ty2, d.y2) - fmin_first(ty1, d.y1);
    if (iouType == 1) {
        const float c_area = eps + cw * ch;
        return iou - (c_area - unarea) / c_area;
    }
    const float c2 = eps + (cw * cw + ch * ch);
    const float dx = tx1 + tx2 - d.x1 - d.x2;
    const float dy = ty1 + ty2 - d.y1 - d.y2;
    const float rho2 = (dx * dx + dy * dy) * 0.25f;
    if (iouType == 2) return iou - rho2 / c2;

    const float diff = std::atan(w2 / (h2 + eps)) - std::atan(w1 / (h1 + eps));
    const double diff_d = static_cast<double>(diff);
    const float v = static_cast<float>(diff_d * diff_d * 0.4052847345693511);
    const float alpha = v / ((v - iou) + (eps + 1.0f));
    return iou - (rho2 / c2 + v * alpha);
}

// Distance from (cx, cy) to the centre of d: differences in single precision,
// squares and root in double, result rounded to single.
inline float center_distance(float cx, float cy, const QEVO::objinfo &d) {
    const float ocx = (d.x2 + d.x1) / 2.0f;
    const float ocy = (d.y2 + d.y1) / 2.0f;
    const double dx = static_cast<double>(cx - ocx);
    const double dy = static_cast<double>(cy - ocy);
    return static_cast<float>(std::sqrt(dx * dx + dy * dy));
}

}  // namespace qevo_internal

#endif  // QEVO_SRC_UTILS_OVERLAP_IMPL_H
