// MotionTracker: servo shift, two-stage association, confirmation and loss,
// identifiers, bad input and allocations once warmed up.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <vector>

#include "tracker.h"

namespace {

using qevo::MotionTracker;
using qevo::MotionTrackerParams;
using qevo::TrackInfo;

QEVO::objinfo det(float x1, float y1, float w, float h, float score = 0.95f, int cls = 0) {
    QEVO::objinfo d{};
    d.x1 = x1, d.y1 = y1, d.x2 = x1 + w, d.y2 = y1 + h, d.score = score, d.classNum = cls;
    d.ID = -1, d.trackID = -1;
    return d;
}

QEVO::SyncInfos angles(float az, float pt) {
    QEVO::SyncInfos s{};
    s.fAz = az, s.fPt = pt;
    return s;
}

const TrackInfo *find(const MotionTracker &t, int id) {
    for (int i = 0; i < t.track_count(); ++i)
        if (t.tracks()[i].box.trackID == id) return &t.tracks()[i];
    return nullptr;
}

std::vector<int> ids(const MotionTracker &t) {
    std::vector<int> v;
    for (int i = 0; i < t.track_count(); ++i) v.push_back(t.tracks()[i].box.trackID);
    return v;
}

// A still object seen three times: a confirmed track with (almost) no velocity.
void settle(MotionTracker &t, const QEVO::objinfo &d, const QEVO::SyncInfos *s, double res) {
    for (int i = 0; i < 3; ++i) ASSERT_EQ(t.update(&d, 1, s, res), 0);
}

}  // namespace

// Pan right by 1 degree and tilt up by 0.5 at 0.1 degree per pixel: the scene
// moves 10 pixels left and 5 down; azimuth differences wrap across 0/360.
TEST(MotionTracker, ServoShiftMovesThePrediction) {
    const QEVO::objinfo d = det(100, 100, 50, 100);
    struct Case {
        float az0, pt0, az1, pt1;
        double res;
        float dx, dy;
    };
    const Case cases[] = {
        {10.0f, 0.0f, 11.0f, 0.5f, 0.1, -10.0f, 5.0f},
        {359.5f, 0.0f, 0.5f, 0.0f, 0.1, -10.0f, 0.0f},   // across 360
        {0.5f, -1.0f, 359.5f, -2.0f, 0.2, 5.0f, -5.0f},  // back across 0, tilt down
        {10.0f, 0.0f, 11.0f, 0.5f, 0.0, 0.0f, 0.0f},     // no resolution
        {10.0f, 0.0f, 11.0f, 0.5f, 1e-7, 0.0f, 0.0f},    // at the limit
    };
    for (const Case &c : cases) {
        MotionTracker t;
        const QEVO::SyncInfos s0 = angles(c.az0, c.pt0), s1 = angles(c.az1, c.pt1);
        settle(t, d, &s0, c.res);
        QEVO::objinfo still{};
        ASSERT_EQ(t.predicted_box(1, &still), 0);
        ASSERT_EQ(t.update(nullptr, 0, &s1, c.res), 0);  // nothing detected: the track is lost
        const TrackInfo *lost = find(t, 1);
        ASSERT_NE(lost, nullptr);
        EXPECT_EQ(lost->state, qevo::TRACK_LOST);
        EXPECT_NEAR(lost->box.x1, still.x1 + c.dx, 1e-3) << c.az0 << " -> " << c.az1;
        EXPECT_NEAR(lost->box.y1, still.y1 + c.dy, 1e-3) << c.pt0 << " -> " << c.pt1;
        EXPECT_NEAR(lost->box.x2 - lost->box.x1, 50.0f, 1e-3);
    }
    // An update without angles compensates nothing and forgets the previous
    // angles, so the next one with angles compensates nothing either; absurd
    // angles count as missing.
    const QEVO::SyncInfos a = angles(10, 0), b = angles(20, 0), nan = angles(NAN, 0),
                          huge = angles(1e30f, 0);
    for (const QEVO::SyncInfos *gap :
         {static_cast<const QEVO::SyncInfos *>(nullptr), &nan, &huge}) {
        MotionTracker t;
        settle(t, d, &a, 0.1);
        QEVO::objinfo still{};
        ASSERT_EQ(t.predicted_box(1, &still), 0);
        ASSERT_EQ(t.update(nullptr, 0, gap, 0.1), 0);
        ASSERT_EQ(t.update(nullptr, 0, &b, 0.1), 0);
        EXPECT_NEAR(find(t, 1)->box.x1, still.x1, 1e-3);
    }
}

// A still object while the camera pans 25 pixels per frame: a 30-pixel box
// then overlaps its previous place by IoU 5/55, below the gate. With the
// servo angles the track holds its identifier; without them it does not.
TEST(MotionTracker, CompensatedPanKeepsTheIdentifier) {
    // The identifiers of the confirmed tracks per frame, and the largest
    // identifier given.
    auto run = [](double res, std::vector<int> &confirmed) {
        MotionTracker t;
        int largest = 0;
        for (int f = 0; f < 20; ++f) {
            const QEVO::SyncInfos s = angles(100.0f + 1.25f * f, 0.0f);  // 25 px at 0.05
            const QEVO::objinfo d = det(600.0f - 25.0f * f, 200, 30, 80);
            EXPECT_EQ(t.update(&d, 1, &s, res), 0);
            for (int i = 0; i < t.track_count(); ++i) {
                const TrackInfo &k = t.tracks()[i];
                if (k.state == qevo::TRACK_CONFIRMED) confirmed.push_back(k.box.trackID);
                largest = std::max(largest, k.box.trackID);
            }
        }
        return largest;
    };
    std::vector<int> held, plain;
    EXPECT_EQ(run(0.05, held), 1);
    EXPECT_EQ(held, std::vector<int>(20, 1));
    EXPECT_GT(run(0.0, plain), 5);  // without angles a new track every frame or two
    EXPECT_LT(plain.size(), 10u);
}

// Confident detections first; low-score ones only keep tracks matched in the
// previous update, never start tracks and never revive lost ones. The
// assignment is global: track 1 would take the detection that track 2
// needs if tracks chose greedily in order.
TEST(MotionTracker, TwoStagesAndGlobalAssignment) {
    MotionTracker t;
    const QEVO::objinfo a = det(0, 0, 40, 100), far = det(500, 0, 40, 100);
    QEVO::objinfo first[2] = {a, far};
    ASSERT_EQ(t.update(first, 2), 0);
    QEVO::objinfo weak[2] = {det(2, 0, 40, 100, 0.5f), det(900, 0, 40, 100, 0.5f)};
    ASSERT_EQ(t.update(weak, 2), 0);
    ASSERT_EQ(ids(t), (std::vector<int>{1, 2}));  // no track from the weak stray box
    EXPECT_EQ(find(t, 1)->state, qevo::TRACK_CONFIRMED);
    EXPECT_FLOAT_EQ(find(t, 1)->box.score, 0.5f);
    EXPECT_EQ(find(t, 2)->state, qevo::TRACK_LOST);
    const QEVO::objinfo weak_far = det(500, 0, 40, 100, 0.5f);
    ASSERT_EQ(t.update(&weak_far, 1), 0);
    EXPECT_EQ(find(t, 2)->state, qevo::TRACK_LOST);  // lost: the weak box does not revive it
    EXPECT_EQ(find(t, 2)->misses, 2);
    const QEVO::objinfo strong_far = det(500, 0, 40, 100);
    ASSERT_EQ(t.update(&strong_far, 1), 0);
    EXPECT_EQ(find(t, 2)->state, qevo::TRACK_CONFIRMED);  // a confident one does
    EXPECT_EQ(find(t, 2)->hits, 2);

    // Tracks 1 and 2 at x 0 and 30, 60 x 60. Detection P at x 12 overlaps
    // track 1 best (IoU 0.67) but is track 2's only partner (0.54); R at
    // x -18 overlaps track 1 only (0.54; 0.11 with track 2, below the gate).
    // Greedy by track would give 1-P and leave track 2 without a match; the
    // assignment gives 1-R and 2-P, the larger summed gain.
    MotionTracker g;
    QEVO::objinfo start[2] = {det(0, 0, 60, 60), det(30, 0, 60, 60)};
    ASSERT_EQ(g.update(start, 2), 0);
    QEVO::objinfo next[2] = {det(12, 0, 60, 60), det(-18, 0, 60, 60)};
    ASSERT_EQ(g.update(next, 2), 0);
    EXPECT_EQ(g.tracks()[0].state, qevo::TRACK_CONFIRMED);
    EXPECT_EQ(g.tracks()[1].state, qevo::TRACK_CONFIRMED);
    EXPECT_LT(g.tracks()[0].box.x1, 0.0f);   // track 1 followed R
    EXPECT_GT(g.tracks()[1].box.x1, 12.0f);  // track 2 followed P
    EXPECT_EQ(g.track_count(), 2);           // no detection left over for a new track
}

// The first update confirms at once; later tracks need confirm_hits matches
// in a row, a tentative track dies at its first miss, a confirmed one after
// max_lost misses. Identifiers only ever grow.
TEST(MotionTracker, ConfirmationLossAndIdentifiers) {
    MotionTrackerParams p;
    p.confirm_hits = 3;
    p.max_lost = 2;
    MotionTracker t(p);
    const QEVO::objinfo a = det(0, 0, 40, 100), b = det(300, 0, 40, 100);
    ASSERT_EQ(t.update(&a, 1), 0);
    EXPECT_EQ(t.tracks()[0].state, qevo::TRACK_CONFIRMED);
    QEVO::objinfo both[2] = {a, b};
    for (int hit = 1; hit <= 3; ++hit) {
        ASSERT_EQ(t.update(both, 2), 0);
        EXPECT_EQ(find(t, 2)->state, hit < 3 ? qevo::TRACK_TENTATIVE : qevo::TRACK_CONFIRMED);
    }
    for (int miss = 1; miss <= 3; ++miss) ASSERT_EQ(t.update(&b, 1), 0);
    EXPECT_EQ(ids(t), (std::vector<int>{2}));  // track 1 gone after its third miss
    const QEVO::objinfo c = det(600, 0, 40, 100);
    ASSERT_EQ(t.update(&c, 1), 0);  // track 2 lost, a tentative track 3
    ASSERT_EQ(t.update(nullptr, 0), 0);
    EXPECT_EQ(ids(t), (std::vector<int>{2}));  // tentative track 3 missed once: gone
    ASSERT_EQ(t.update(both, 2), 0);
    EXPECT_EQ(ids(t), (std::vector<int>{2, 4}));  // 2 found again after 2 misses; never 1 or 3
    EXPECT_EQ(find(t, 2)->state, qevo::TRACK_CONFIRMED);

    // The end of the int range: INT_MAX is given once, then no track starts
    // (result 2) until reset() starts a new life.
    p.first_id = INT_MAX - 1;
    MotionTracker e(p);
    QEVO::objinfo three[3] = {a, b, c};
    EXPECT_EQ(e.update(three, 3), 2);
    EXPECT_EQ(ids(e), (std::vector<int>{INT_MAX - 1, INT_MAX}));
    EXPECT_EQ(e.update(three, 3), 2);
    e.reset();
    EXPECT_EQ(e.track_count(), 0);
    EXPECT_EQ(e.update(&a, 1), 0);
    EXPECT_EQ(ids(e), (std::vector<int>{INT_MAX - 1}));
}

// Bad detections are skipped and counted, bad calls refused without a
// change, bad parameters replaced by their defaults; a moved-from tracker
// refuses updates.
TEST(MotionTracker, BadInput) {
    MotionTracker t;
    const float inf = std::numeric_limits<float>::infinity();
    std::vector<QEVO::objinfo> bad = {det(NAN, 0, 10, 10),  det(0, 0, inf, 10),
                                      det(0, 0, 0, 10),     det(0, 0, 10, -5),
                                      det(2e6f, 0, 10, 10), det(0, 0, 10, 10, NAN)};
    QEVO::objinfo inverted = det(50, 50, 10, 10);
    std::swap(inverted.x1, inverted.x2);
    bad.push_back(inverted);
    bad.push_back(det(100, 100, 20, 40));  // the one good box
    ASSERT_EQ(t.update(bad), 0);
    EXPECT_EQ(t.skipped(), 7);
    ASSERT_EQ(t.track_count(), 1);
    EXPECT_FLOAT_EQ(t.tracks()[0].box.x1, 100.0f);

    EXPECT_EQ(t.update(bad.data(), -1), 1);
    EXPECT_EQ(t.update(nullptr, 3), 1);
    EXPECT_EQ(t.frame_count(), 1);
    EXPECT_EQ(t.update(nullptr, 0, nullptr, NAN), 0);  // an empty frame is fine
    EXPECT_EQ(t.frame_count(), 2);
    const QEVO::SyncInfos s = angles(10, 10);
    for (double res : {-1.0, static_cast<double>(NAN), static_cast<double>(inf)}) {
        const float before = t.tracks()[0].box.x1;
        ASSERT_EQ(t.update(nullptr, 0, &s, res), 0);
        const QEVO::SyncInfos s2 = angles(50, -50);
        ASSERT_EQ(t.update(nullptr, 0, &s2, res), 0);
        EXPECT_FLOAT_EQ(t.tracks()[0].box.x1, before);  // no velocity, no shift
    }
    QEVO::objinfo out{};
    EXPECT_EQ(t.predicted_box(12345, &out), 1);
    EXPECT_EQ(t.predicted_box(1, nullptr), 1);

    MotionTrackerParams p;
    p.match_iou = NAN;
    p.confirm_hits = -3;
    p.position_noise = 0;
    p.first_id = -7;
    const MotionTracker q(p);
    EXPECT_EQ(q.params().match_iou, MotionTrackerParams().match_iou);
    EXPECT_EQ(q.params().confirm_hits, MotionTrackerParams().confirm_hits);
    EXPECT_EQ(q.params().position_noise, MotionTrackerParams().position_noise);
    EXPECT_EQ(q.params().first_id, 1);

    MotionTracker moved;
    ASSERT_EQ(moved.update(bad), 0);
    moved = std::move(t);
    EXPECT_EQ(moved.track_count(), 1);
    EXPECT_FLOAT_EQ(moved.tracks()[0].box.x1, 100.0f);
    EXPECT_EQ(t.update(nullptr, 0), 1);  // NOLINT(bugprone-use-after-move): refused, no crash
    EXPECT_EQ(t.track_count(), 0);
    EXPECT_EQ(t.tracks(), nullptr);
}
