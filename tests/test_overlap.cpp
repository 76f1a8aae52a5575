// Overlap, distance and arg-max/arg-min measures against hand-computed boxes.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "objTracker.h"
#include "utils.h"

namespace {

QEVO::objinfo box(float x1, float y1, float x2, float y2) {
    QEVO::objinfo d{};
    d.x1 = x1, d.y1 = y1, d.x2 = x2, d.y2 = y2, d.score = 1.0f;
    return d;
}

// A track whose last box is (0, 0, 10, 10) with the given velocity and whose
// current box is `cur`.
OBJTRACK track(float vx, float vy, QEVO::objinfo cur = box(0, 0, 10, 10)) {
    OBJTRACK t(0, 0, 10, 10, 0, 1.0f, 9, 10);
    t.m_vx = vx, t.m_vy = vy;
    t._x1 = cur.x1, t._y1 = cur.y1, t._x2 = cur.x2, t._y2 = cur.y2;
    return t;
}

std::vector<float> ious_of(OBJTRACK &t, const std::vector<QEVO::objinfo> &dets, int type) {
    std::vector<float> out;
    EXPECT_EQ(0, KIVEX::bboxes_iou(&t, dets, out, type));
    return out;
}

}  // namespace

TEST(Overlap, FourVariantsOnHandComputedAndDegenerateBoxes) {
    OBJTRACK t = track(0, 0);
    const float eps = 1e-5f;
    // Half overlap: intersection 50, union 150.
    // Disjoint, same shape: enclosing 30 x 10, centres 20 apart.
    // Wider detection: intersection 100, union 200, centres 5 apart.
    const std::vector<QEVO::objinfo> dets = {box(5, 0, 15, 10), box(20, 0, 30, 10),
                                             box(0, 0, 20, 10)};

    std::vector<float> iou = ious_of(t, dets, 0);
    ASSERT_EQ(3u, iou.size());
    EXPECT_FLOAT_EQ(50.0f / (150.0f + eps), iou[0]);
    EXPECT_EQ(0.0f, iou[1]);
    EXPECT_NEAR(-100.0 / 300, ious_of(t, dets, 1)[1], 1e-6);  // enclosing 300, union 200
    // rho2 = 25, c2 = 400 + 100.
    EXPECT_NEAR(0.5 - 0.05, ious_of(t, dets, 2)[2], 1e-6);

    std::vector<float> ciou = ious_of(t, dets, 3);
    // rho2 = (0 + 10 - 20 - 30)^2 / 4 = 400, c2 = 30^2 + 10^2 = 1000; same aspect: no aspect term.
    EXPECT_NEAR(-0.4, ciou[1], 1e-6);
    const double pi = 3.14159265358979323846;
    const double v = 4.0 / (pi * pi) * std::pow(std::atan(2.0) - std::atan(1.0), 2);
    const double alpha = v / ((v - 0.5) + 1.0);
    EXPECT_NEAR(0.5 - (0.05 + v * alpha), ciou[2], 1e-5);

    // Out-of-range selectors clamp to the nearest variant.
    EXPECT_EQ(iou, ious_of(t, dets, -4));
    EXPECT_EQ(ciou, ious_of(t, dets, 9));

    // Identical boxes stay below 1 in every variant; single points give 0.
    for (int type = 0; type <= 3; ++type)
        EXPECT_EQ(std::vector<float>{100.0f / (100.0f + eps)},
                  ious_of(t, {box(0, 0, 10, 10)}, type))
            << "type " << type;
    OBJTRACK point(3, 3, 3, 3, 0, 1.0f, 9, 10);
    EXPECT_EQ(std::vector<float>{0.0f}, ious_of(point, {box(3, 3, 3, 3)}, 0));
}

TEST(Overlap, PointerFormUsesPredictedBoxValueFormCurrentBoxAndDistances) {
    // Last box (0,0,10,10) moving by (10, 0); current box somewhere else.
    OBJTRACK t = track(10, 0, box(100, 100, 110, 110));
    const std::vector<QEVO::objinfo> dets = {box(10, 0, 20, 10), box(100, 100, 110, 110)};

    const float one = 100.0f / (100.0f + 1e-5f);  // identical boxes
    std::vector<float> appended = {42.0f};        // kept: the list is appended to
    KIVEX::bboxes_iou(&t, dets, appended, 0);
    EXPECT_EQ(appended, (std::vector<float>{42.0f, one, 0.0f}));
    EXPECT_EQ(KIVEX::bboxes_iou(t, dets, 0), (std::vector<float>{0.0f, one}));
    EXPECT_TRUE(KIVEX::bboxes_iou(t, {}, 0).empty());

    // Centre distances, appended, from the predicted centre (7, 5) of a track moving by (2, 0).
    OBJTRACK u = track(2, 0);
    std::vector<float> d = {1.0f};
    EXPECT_EQ(0, KIVEX::bboxes_dists(&u, {box(8, 7, 12, 11), box(7, 5, 7, 5)}, d, 3));
    ASSERT_EQ(3u, d.size());
    EXPECT_TRUE(d[0] == 1.0f && d[2] == 0.0f);
    EXPECT_FLOAT_EQ(5.0f, d[1]);  // centre (10, 9): 3-4-5
}

TEST(Overlap, ArgMaxAndArgMin) {
    const float tiny = 1.17549435e-38f, nan = std::numeric_limits<float>::quiet_NaN();
    int idx = -7;
    float val = -7.0f;
    EXPECT_EQ(1, KIVEX::find_arg_max({}, idx, val));
    EXPECT_EQ(1, KIVEX::find_arg_min({}, idx, val));
    EXPECT_TRUE(idx == -7 && val == -7.0f);  // untouched
    // Arg-max starts from the smallest normal float at index 0 (so nothing at
    // or below it wins); ties keep the first; NaN never wins.
    struct Case {
        std::vector<float> v;
        int idx;
        float val;
    };
    const Case maxima[] = {
        {{-0.5f, 0, -0.2f}, 0, tiny}, {{0.3f, 0.7f, 0.7f}, 1, 0.7f}, {{nan, 0.2f, nan}, 1, 0.2f}};
    for (const auto &c : maxima)
        EXPECT_TRUE(KIVEX::find_arg_max(c.v, idx, val) == 0 && idx == c.idx && val == c.val)
            << c.idx;
    // Arg-min starts from 1e9 at index 0.
    const Case minima[] = {{{5, 2, 2}, 1, 2.0f}, {{2e9f, 1e9f}, 0, 1e9f}, {{nan, 3.0f}, 1, 3.0f}};
    for (const auto &c : minima)
        EXPECT_TRUE(KIVEX::find_arg_min(c.v, idx, val) == 0 && idx == c.idx && val == c.val)
            << c.idx;
}
