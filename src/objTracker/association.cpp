// Frame-to-frame association: greedy matching of tracks to detections, empty
// observations for unmatched tracks, deletion of stale full tracks and new
// tracks for unmatched detections, in three overloads.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "objTracker.h"
#include "utils/debug_trace.h"
#include "utils/overlap_impl.h"

namespace {

// History limit of every track the association creates.
constexpr int kTrackLength = 10;
// Class count of tracks held by value (overlap matching) and of snapshot tracks.
constexpr int kOverlapClasses = 9;
constexpr int kSnapshotClasses = 5;

// Best detection of one track: position and score.
struct Best {
    int idx;
    float value;
};

// First largest IoU of the track's predicted box with the detections, the
// search starting at the smallest normal float (detections must not be empty).
Best best_iou(const OBJTRACK &t, const std::vector<QEVO::objinfo> &dets) {
    const float x1 = t.last_x1 + t.m_vx;
    const float y1 = t.last_y1 + t.m_vy;
    const float x2 = t.last_x2 + t.m_vx;
    const float y2 = t.last_y2 + t.m_vy;
    Best best{0, qevo_internal::kArgMaxStart};
    for (size_t i = 0; i < dets.size(); ++i) {
        const QEVO::objinfo &d = dets[i];
        // Without a positive intersection the IoU is 0, -0 or NaN, none of
        // which can beat the positive start value: skip the division.
        const float iw = qevo_internal::fmin_first(x2, d.x2) - qevo_internal::fmax_first(x1, d.x1);
        const float ih = qevo_internal::fmin_first(y2, d.y2) - qevo_internal::fmax_first(y1, d.y1);
        if (!(iw > 0.0f) || !(ih > 0.0f)) continue;
        const float v = qevo_internal::box_overlap(x1, y1, x2, y2, d, 0);
        if (v > best.value) best = Best{static_cast<int>(i), v};
    }
    return best;
}

// First smallest distance from the centre of the track's predicted box to
// the detections' centres, the search starting at 1e9.
Best best_distance(const OBJTRACK &t, const std::vector<QEVO::objinfo> &dets) {
    const float x1 = t.last_x1 + t.m_vx;
    const float y1 = t.last_y1 + t.m_vy;
    const float x2 = t.last_x2 + t.m_vx;
    const float y2 = t.last_y2 + t.m_vy;
    const float cx = (x2 + x1) / 2.0f;
    const float cy = (y2 + y1) / 2.0f;
    Best best{0, qevo_internal::kArgMinStart};
    for (size_t i = 0; i < dets.size(); ++i) {
        const float v = qevo_internal::center_distance(cx, cy, dets[i]);
        if (v < best.value) best = Best{static_cast<int>(i), v};
    }
    return best;
}

// The empty observation: the all-zero box, score 0, no class.
void add_miss(OBJTRACK &t) { t.add(0.0f, 0.0f, 0.0f, 0.0f, 0.0f, -1); }

// After an empty observation: a full track whose miss balance exceeds half its
// history is deleted.
bool should_delete(OBJTRACK &t) { return t.m_delable > t._length / 2 && t.isFull(); }

const OBJTRACK *track_of(const OBJTRACK &t) { return &t; }
const OBJTRACK *track_of(const std::shared_ptr<OBJTRACK> &t) { return t.get(); }

// Identifier of a new track: `wanted` while it fits an int. Past INT_MAX, the
// smallest non-negative identifier that no track of `tracks` holds, so
// identifiers never turn negative and never repeat within the list.
template <typename List>
int new_track_id(long long wanted, const List &tracks) {
    if (wanted <= INT_MAX) return static_cast<int>(wanted);
    std::vector<int> used;
    for (const auto &t : tracks) {
        const OBJTRACK *p = track_of(t);
        if (p != nullptr && p->_trackID >= 0) used.push_back(p->_trackID);
    }
    std::sort(used.begin(), used.end());
    int id = 0;
    for (int u : used) {
        if (u > id) break;
        if (u == id) ++id;
    }
    return id;
}

// Patch of detection i, or an empty patch (no data) when the list is short.
QEVO::ImgMat patch_of(const std::vector<QEVO::ImgMat> &block_images, size_t i) {
    return i < block_images.size() ? block_images[i] : QEVO::ImgMat();
}

}  // namespace

int update_objtracker(std::vector<QEVO::objinfo> dets,
                      std::vector<std::shared_ptr<OBJTRACK> > objold,
                      std::vector<std::shared_ptr<OBJTRACK> > &objnew,
                      std::vector<QEVO::ImgMat> block_images, float matchThr,
                      QEVO::ImgMat *copy_img) {
    QEVO_TRACE("update_objtracker::dets %zd, oldtracker %zd, newtracker %zd\n", dets.size(),
               objold.size(), objnew.size());
    QEVO_TRACE("in update objtracker\n");
    const int detsNum = static_cast<int>(dets.size());
    const int trackerNum = static_cast<int>(objold.size());

    if (detsNum == 0) {
        QEVO_TRACE("no dets , all obj add 000\n");
        for (const std::shared_ptr<OBJTRACK> &t : objold) {
            if (!t) continue;
            add_miss(*t);
            objnew.push_back(t);
        }
        QEVO_TRACE("dets %zd, oldtracker %zd, newtracker %zd\n", dets.size(), objold.size(),
                   objnew.size());
        return 0;
    }

    std::vector<int> mask(dets.size(), 0);

    if (trackerNum == 0) {
        QEVO_TRACE("no last tracker, init with dets");
        for (size_t i = 0; i < dets.size(); ++i) {
            auto t = std::make_shared<OBJTRACK>(dets[i], patch_of(block_images, i),
                                                kSnapshotClasses, kTrackLength, copy_img);
            t->_trackID = static_cast<int>(i);
            objnew.push_back(std::move(t));
        }
        return 0;
    }

    int MtrackerID = 0;
    QEVO_TRACE("matching trackers");
    for (int i = 0; i < trackerNum; ++i) {
        const std::shared_ptr<OBJTRACK> &tp = objold[static_cast<size_t>(i)];
        if (!tp) continue;
        OBJTRACK &t = *tp;
        QEVO_TRACE("%d/%d, %.4f/%.4f/%.4f/%.4f/%.4f\n", i, trackerNum, t._x1, t._y1, t._x2, t._y2,
                   t._score);
        if (t._trackID > MtrackerID) MtrackerID = t._trackID;
        QEVO_TRACE("Modified By AZPT: %f-%f-%f-%f", t.last_x1, t.last_y1, t.last_x2, t.last_y2);
        const Best best = best_distance(t, dets);
        const float gate = std::sqrt((t.last_x2 - t.last_x1) * (t.last_y2 - t.last_y1)) * matchThr;
        const bool close_enough = !(gate < best.value);
        const size_t midx = static_cast<size_t>(best.idx);
        if (close_enough && mask[midx] == 0) {
            QEVO_TRACE("find matched tracker");
            t.add(dets[midx], patch_of(block_images, midx), copy_img);
            mask[midx] = 1;
            objnew.push_back(tp);
            continue;
        }
        if (close_enough) QEVO_TRACE("add 000 else\n");
        add_miss(t);
        if (should_delete(t)) {
            if (close_enough) QEVO_TRACE("delete this target\n");
            continue;
        }
        objnew.push_back(tp);
    }

    QEVO_TRACE("out loop\n");
    for (size_t i = 0; i < dets.size(); ++i) {
        if (mask[i] == 1) continue;
        QEVO_TRACE("add new target\n");
        const long long wanted = static_cast<long long>(MtrackerID) + 1;
        if (wanted <= INT_MAX) MtrackerID = static_cast<int>(wanted);
        auto t = std::make_shared<OBJTRACK>(dets[i], patch_of(block_images, i), kSnapshotClasses,
                                            kTrackLength, copy_img);
        t->_trackID = new_track_id(wanted, objnew);
        objnew.push_back(std::move(t));
        QEVO_TRACE("added new\n");
    }
    QEVO_TRACE("dets %zd, oldtracker %zd, newtracker %zd\n", dets.size(), objold.size(),
               objnew.size());
    return 0;
}

int update_objtracker(std::vector<QEVO::objinfo> dets, std::vector<OBJTRACK> objold,
                      std::vector<OBJTRACK> &objnew, float matchThr) {
    QEVO_TRACE("in update objtracker\n");
    const int detsNum = static_cast<int>(dets.size());
    const int trackerNum = static_cast<int>(objold.size());

    if (detsNum == 0) {
        QEVO_TRACE("no dets , all obj add 000\n");
        for (OBJTRACK &t : objold) {
            add_miss(t);
            objnew.push_back(std::move(t));  // objold is this call's own copy
        }
        QEVO_TRACE("dets %d, oldtracker %d, newtracker %d\n", detsNum, trackerNum,
                   static_cast<int>(objnew.size()));
        return 0;
    }

    std::vector<int> mask(dets.size(), 0);

    if (trackerNum == 0) {
        QEVO_TRACE("initial objtrakcers\n");
        for (size_t i = 0; i < dets.size(); ++i) {
            const QEVO::objinfo &d = dets[i];
            objnew.emplace_back(d.x1, d.y1, d.x2, d.y2, d.classNum, d.score, kOverlapClasses,
                                kTrackLength);
            objnew.back()._trackID = static_cast<int>(i);
        }
        QEVO_TRACE("dets %d, oldtracker %d, newtracker %d\n", detsNum, trackerNum,
                   static_cast<int>(objnew.size()));
        return 0;
    }

    int MtrackerID = 0;
    for (int i = 0; i < trackerNum; ++i) {
        OBJTRACK &t = objold[static_cast<size_t>(i)];
        QEVO_TRACE("%d/%d, %.4f/%.4f/%.4f/%.4f/%.4f\n", i, trackerNum, t._x1, t._y1, t._x2, t._y2,
                   t._score);
        if (t._trackID > MtrackerID) MtrackerID = t._trackID;
        const Best best = best_iou(t, dets);
        const size_t midx = static_cast<size_t>(best.idx);
        if (matchThr < best.value && mask[midx] == 0) {
            QEVO_TRACE("add match\n");
            t.add(dets[midx]);
            mask[midx] = 1;
        } else {
            QEVO_TRACE("add 000 else\n");
            add_miss(t);
            if (should_delete(t)) {
                QEVO_TRACE("delete this target\n");
                continue;
            }
        }
        objnew.push_back(std::move(t));
        QEVO_TRACE("loop\n");
    }

    QEVO_TRACE("out loop\n");
    for (size_t i = 0; i < dets.size(); ++i) {
        QEVO_TRACE("add new target\n");
        if (mask[i] == 1) continue;
        objnew.emplace_back(dets[i], kOverlapClasses, kTrackLength);
        objnew.back()._trackID = new_track_id(
            static_cast<long long>(MtrackerID) + 1 + static_cast<long long>(i), objnew);
        QEVO_TRACE("added new\n");
    }
    QEVO_TRACE("dets %d, oldtracker %d, newtracker %d\n", detsNum, trackerNum,
               static_cast<int>(objnew.size()));
    return 0;
}

int update_objtracker(std::vector<QEVO::objinfo> dets, std::vector<OBJTRACK> &objtrackers,
                      float matchThr) {
    std::puts("in update objtracker");
    const int detsNum = static_cast<int>(dets.size());
    const int trackerNum = static_cast<int>(objtrackers.size());

    if (detsNum == 0) {
        std::puts("no dets , all obj add 000");
        for (OBJTRACK &t : objtrackers) add_miss(t);
        std::printf("dets %d, objtrackers %d\n", detsNum, static_cast<int>(objtrackers.size()));
        return 0;
    }

    std::vector<int> mask(dets.size(), 0);

    if (trackerNum == 0) {
        std::puts("initial objtrakcers");
        objtrackers.reserve(dets.size());
        for (size_t i = 0; i < dets.size(); ++i) {
            const QEVO::objinfo &d = dets[i];
            objtrackers.emplace_back(d.x1, d.y1, d.x2, d.y2, d.classNum, d.score, kOverlapClasses,
                                     kTrackLength);
            objtrackers.back()._trackID = static_cast<int>(i);
        }
        std::printf("dets %d, objtrackers %d, \n", detsNum, static_cast<int>(objtrackers.size()));
        return 0;
    }

    // Survivors are compacted towards the front as the pass goes, so a
    // deletion in the middle costs no shifting of the rest.
    int MtrackerID = 0;
    size_t kept = 0;
    for (size_t i = 0; i < static_cast<size_t>(trackerNum); ++i) {
        OBJTRACK &t = objtrackers[i];
        if (t._trackID > MtrackerID) MtrackerID = t._trackID;
        const Best best = best_iou(t, dets);
        std::printf("find_argmax after, ious size=%d\n", detsNum);
        const size_t midx = static_cast<size_t>(best.idx);
        bool keep = true;
        if (matchThr < best.value && mask[midx] == 0) {
            std::puts("add match");
            t.add(dets[midx]);
            mask[midx] = 1;
        } else {
            add_miss(t);
            if (should_delete(t)) {
                keep = false;
                const size_t left = static_cast<size_t>(trackerNum) - (i + 1 - kept);
                std::printf("delete one objtracker, %d left\n", static_cast<int>(left));
            }
            std::puts("add 000 else");
        }
        if (keep) {
            if (kept != i) objtrackers[kept] = std::move(t);
            ++kept;
        }
        std::puts("loop");
    }
    objtrackers.erase(objtrackers.begin() + static_cast<std::ptrdiff_t>(kept),
                      objtrackers.begin() + trackerNum);

    std::puts("out loop");
    for (size_t i = 0; i < dets.size(); ++i) {
        std::puts("add new target");
        if (mask[i] == 1) continue;
        std::puts("new");
        objtrackers.emplace_back(dets[i], kOverlapClasses, kTrackLength);
        objtrackers.back()._trackID = new_track_id(
            static_cast<long long>(MtrackerID) + 1 + static_cast<long long>(i), objtrackers);
        std::puts("added new");
    }
    std::printf("dets %d, oldtracker %d\n", detsNum, static_cast<int>(objtrackers.size()));
    std::puts("go return");
    return 0;
}
