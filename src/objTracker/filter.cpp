// Track outlier filter on the mean height of established tracks.
#include <cmath>
#include <utility>
#include <vector>

#include "objTracker.h"

int filter_objtrackers(std::vector<OBJTRACK> src_objs, std::vector<OBJTRACK> &dst_objs,
                       float sigma) {
    int n = 0;
    float ysum = 0.0f;
    float yii = 0.0f;
    std::vector<size_t> established;
    for (size_t i = 0; i < src_objs.size(); ++i) {
        OBJTRACK &t = src_objs[i];
        if (!t.isFull()) {
            dst_objs.push_back(std::move(t));  // src_objs is this call's own copy
        } else if (t.m_delable > 5) {
            continue;
        } else {
            ++n;
            yii += t._ymean * t._ymean;
            ysum += t._ymean;
            established.push_back(i);
        }
    }
    if (n == 0) return 2;

    const float ymean = ysum / static_cast<float>(n);
    float ystd = std::sqrt(yii / static_cast<float>(n) - ymean * ymean);
    ystd = ystd < 10.0f ? ystd : 10.0f;  // a NaN deviation becomes 10
    ystd = 2.0f < ystd ? ystd : 2.0f;
    const float lmargin = ymean - sigma * ystd;
    const float rmagrin = ymean + sigma * ystd;
    for (size_t i : established) {
        OBJTRACK &t = src_objs[i];
        if (lmargin > t._ymean || rmagrin < t._ymean) continue;
        dst_objs.push_back(std::move(t));
    }
    return 0;
}
