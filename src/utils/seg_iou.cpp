// Intersection of two boxes over the area of the second one.
#include "utils.h"

namespace KIVEX {

float seg_IOU(const QEVO::tag_Objinfo &b1, const QEVO::tag_Objinfo &b2) {
    // max(a, b) is b only when a < b; min(a, b) is b only when b < a.
    const float x1 = b1.x1 < b2.x1 ? b2.x1 : b1.x1;
    const float y1 = b1.y1 < b2.y1 ? b2.y1 : b1.y1;
    const float x2 = b2.x2 < b1.x2 ? b2.x2 : b1.x2;
    const float y2 = b2.y2 < b1.y2 ? b2.y2 : b1.y2;
    const float iw = x2 - x1 + 1.0f;
    const float ih = y2 - y1 + 1.0f;
    const float w = 0.0f < iw ? iw : 0.0f;
    const float h = 0.0f < ih ? ih : 0.0f;
    const float area = w * h;
    return area / ((b2.x2 - b2.x1) * (b2.y2 - b2.y1));
}

}  // namespace KIVEX
