// Servo angle <-> image coordinate conversions and the track outlier filter.
#include <gtest/gtest.h>

#include <vector>

#include "objTracker.h"
#include "utils.h"

TEST(Servo, CentreMapsToCurrentAnglesAndWrapsOnce) {
    EXPECT_FLOAT_EQ(10.0f, KIVEX::servo_calc_Az(10.0f, 320.0f, 0.1, 641, 0));  // centre 320
    EXPECT_FLOAT_EQ(350.0f, KIVEX::servo_calc_Az(-10.0f, 320.0f, 0.1, 640, 0));
    EXPECT_FLOAT_EQ(-170.0f, KIVEX::servo_calc_Pt(190.0f, 240.0f, 0.1, 0, 480));
    EXPECT_FLOAT_EQ(360.0f, KIVEX::servo_calc_Az(360.0f, 320.0f, 0.0, 640, 0));  // not reduced
    // Single correction only: 800 degrees stays above a turn.
    EXPECT_FLOAT_EQ(440.0f, KIVEX::servo_calc_Az(800.0f, 320.0f, 0.1, 640, 0));

    // 10 px above the centre raises the pitch by 5 degrees at 0.5 deg/px.
    EXPECT_FLOAT_EQ(25.0f, KIVEX::servo_calc_Pt(20.0f, 230.0f, 0.5, 0, 480));
}

TEST(Servo, InverseConversionsAndUnwrappedDifference) {
    const float az = KIVEX::servo_calc_Az(100.0f, 360.0f, 0.1, 640, 480);  // 40 px right
    EXPECT_FLOAT_EQ(104.0f, az);
    EXPECT_NEAR(360.0f, KIVEX::servo_calc_ImgX(100.0f, az, 0.1, 640, 480), 1e-3);
    const float pt = KIVEX::servo_calc_Pt(5.0f, 200.0f, 0.1, 640, 480);
    EXPECT_NEAR(200.0f, KIVEX::servo_calc_ImgY(5.0f, pt, 0.1, 640, 480), 1e-3);

    // Across north: 359 + 4 wraps to 3, and the way back is not wrapped.
    const float wrapped = KIVEX::servo_calc_Az(359.0f, 360.0f, 0.1, 640, 480);
    EXPECT_NEAR(3.0f, wrapped, 1e-4);
    EXPECT_NEAR(320.0f - 3560.0f, KIVEX::servo_calc_ImgX(359.0f, wrapped, 0.1, 640, 480), 1e-2);
    // The target angle itself is normalised first.
    EXPECT_NEAR(330.0f, KIVEX::servo_calc_ImgX(0.0f, 361.0f, 0.1, 640, 480), 1e-3);
    EXPECT_NEAR(240.0f - 100.0f, KIVEX::servo_calc_ImgY(0.0f, -350.0f, 0.1, 640, 480), 1e-3);

    for (double res : {0.0, 1e-7, -1.0}) {
        EXPECT_EQ(0.0f, KIVEX::servo_calc_ImgX(1.0f, 2.0f, res, 640, 480));
        EXPECT_EQ(0.0f, KIVEX::servo_calc_ImgY(1.0f, 2.0f, res, 640, 480));
    }
}

TEST(Servo, CalcDeltaWrapsOnce) {
    OBJTRACK t;
    EXPECT_FLOAT_EQ(-100.0f, t.calc_delta(350.0, 0.1));
    EXPECT_FLOAT_EQ(1700.0f, t.calc_delta(-190.0, 0.1));
    EXPECT_FLOAT_EQ(1800.0f, t.calc_delta(540.0, 0.1));
    EXPECT_FLOAT_EQ(-1800.0f, t.calc_delta(-180.0, 0.1));
    EXPECT_EQ(0.0f, t.calc_delta(30.0, 1e-7));
}

namespace {

// An established (full) track of history 10 whose mean height is y, with the
// given miss balance.
OBJTRACK full_track(float y, int delable) {
    OBJTRACK t(0, y - 5, 10, y + 5, 0, 1.0f, 9, 10);
    for (int i = 0; i < 9; ++i) t.add(0, 10, y - 5, y + 5, 1.0f, 0);
    t.m_delable = delable;
    t._trackID = static_cast<int>(y);
    return t;
}

OBJTRACK young_track(int id) {
    OBJTRACK t(0, 0, 10, 10, 0, 1.0f, 9, 10);
    t._trackID = id;
    return t;
}

// Runs the filter into a list holding one track with identifier -5 and returns
// the result code followed by the identifiers in the list (the list is appended to).
std::vector<int> run(const std::vector<OBJTRACK> &src, float sigma) {
    std::vector<OBJTRACK> dst = {young_track(-5)};
    std::vector<int> out = {filter_objtrackers(src, dst, sigma)};
    for (size_t i = 0; i < dst.size(); ++i) out.push_back(dst[i]._trackID);
    return out;
}

}  // namespace

TEST(Filter, YoungStaleAndBand) {
    // Young tracks pass untouched; full ones with a miss balance above 5 are dropped.
    EXPECT_EQ((std::vector<int>{2, -5, 1, 2}),
              run({young_track(1), full_track(50, 6), young_track(2)}, 1));
    EXPECT_EQ((std::vector<int>{2, -5}), run({full_track(50, 6), full_track(60, 9)}, 1));
    // One established track: deviation 0 -> 2, passes for any sigma >= 0.
    EXPECT_EQ((std::vector<int>{0, -5, 77}), run({full_track(77, 5)}, 0));
    // 100, 102, 104, 200: mean 126.5, deviation 42.5 clamped to 10 -> none pass.
    EXPECT_EQ((std::vector<int>{0, -5, 3}),
              run({full_track(100, 0), full_track(102, 0), young_track(3), full_track(104, 0),
                   full_track(200, 0)},
                  1));
    // 100, 104: mean 102, deviation 2; band [100, 104] at sigma 1 (edges pass),
    // [101, 103] at sigma 0.5; a negative sigma passes nothing.
    EXPECT_EQ((std::vector<int>{0, -5, 102}),
              run({full_track(104, 0), full_track(100, 0), full_track(102, 0)}, 0.5f));
    EXPECT_EQ((std::vector<int>{0, -5, 104, 100}),
              run({full_track(104, 0), full_track(100, 0)}, 1.0f));
    EXPECT_EQ((std::vector<int>{0, -5}), run({full_track(104, 0), full_track(100, 0)}, -1.0f));
}
