// Overlap and distance measures between a track and a list of detections, and
// the arg-max / arg-min searches over their results.
#include <cmath>
#include <vector>

#include "objTracker.h"
#include "utils.h"
#include "utils/overlap_impl.h"

namespace KIVEX {

int bboxes_iou(OBJTRACK *objtracker, std::vector<QEVO::objinfo> dets, std::vector<float> &ious,
               int iouType) {
    if (objtracker == nullptr) return 0;
    const float x1 = objtracker->last_x1 + objtracker->m_vx;
    const float y1 = objtracker->last_y1 + objtracker->m_vy;
    const float x2 = objtracker->last_x2 + objtracker->m_vx;
    const float y2 = objtracker->last_y2 + objtracker->m_vy;
    ious.reserve(ious.size() + dets.size());
    for (const QEVO::objinfo &d : dets) {
        ious.push_back(qevo_internal::box_overlap(x1, y1, x2, y2, d, iouType));
    }
    return 0;
}

std::vector<float> bboxes_iou(OBJTRACK objtracker, std::vector<QEVO::objinfo> dets, int iouType) {
    std::vector<float> ious;
    ious.reserve(dets.size());
    for (const QEVO::objinfo &d : dets) {
        ious.push_back(qevo_internal::box_overlap(objtracker._x1, objtracker._y1, objtracker._x2,
                                                  objtracker._y2, d, iouType));
    }
    return ious;
}

int bboxes_dists(OBJTRACK *objtracker, std::vector<QEVO::objinfo> dets,
                 std::vector<float> &distances, int /*iouType*/) {
    if (objtracker == nullptr) return 0;
    const float objx1 = objtracker->last_x1 + objtracker->m_vx;
    const float objy1 = objtracker->last_y1 + objtracker->m_vy;
    const float objx2 = objtracker->last_x2 + objtracker->m_vx;
    const float objy2 = objtracker->last_y2 + objtracker->m_vy;
    const float cx = (objx2 + objx1) / 2.0f;
    const float cy = (objy2 + objy1) / 2.0f;
    distances.reserve(distances.size() + dets.size());
    for (const QEVO::objinfo &d : dets) {
        distances.push_back(qevo_internal::center_distance(cx, cy, d));
    }
    return 0;
}

int find_arg_max(std::vector<float> datas, int &idx, float &Maxdata) {
    if (datas.empty()) return 1;
    idx = 0;
    Maxdata = qevo_internal::kArgMaxStart;
    for (size_t i = 0; i < datas.size(); ++i) {
        if (datas[i] > Maxdata) {
            idx = static_cast<int>(i);
            Maxdata = datas[i];
        }
    }
    return 0;
}

int find_arg_min(std::vector<float> datas, int &idx, float &Mindata) {
    if (datas.empty()) return 1;
    idx = 0;
    Mindata = qevo_internal::kArgMinStart;
    for (size_t i = 0; i < datas.size(); ++i) {
        if (datas[i] < Mindata) {
            idx = static_cast<int>(i);
            Mindata = datas[i];
        }
    }
    return 0;
}

}  // namespace KIVEX
