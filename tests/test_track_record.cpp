// The track record: smoothing of the three observation forms, class votes,
// histories, miss balance, read-back codes and copy/move ownership.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "objTracker.h"
#include "support.h"

namespace {

QEVO::objinfo det(float x1, float y1, float x2, float y2, float score = 0.9f, int cls = 0) {
    QEVO::objinfo d{};
    d.x1 = x1, d.y1 = y1, d.x2 = x2, d.y2 = y2, d.score = score, d.classNum = cls;
    return d;
}

// Current box, last box (x1, y1, x2, y2 each) and velocity, all exact in float.
using State = std::vector<float>;
State box(const OBJTRACK &t) { return {t._x1, t._y1, t._x2, t._y2}; }
State state(const OBJTRACK &t) {
    return {t._x1, t._y1, t._x2, t._y2, t.last_x1, t.last_y1, t.last_x2, t.last_y2, t.m_vx, t.m_vy};
}

}  // namespace

TEST(TrackRecord, VelocityExampleInAllThreeForms) {
    OBJTRACK byDet(det(0, 0, 10, 10), 9, 10);
    byDet.add(det(2, 0, 12, 10));
    EXPECT_EQ(State({3, 0, 13, 10, 2, 0, 12, 10, 2, 0}), state(byDet));

    OBJTRACK byFloat(0, 0, 10, 10, 0, 0.9f, 9, 10);
    byFloat.add(2, 12, 0, 10, 0.9f, 0);  // x1, x2, y1, y2
    EXPECT_EQ(State({2, 0, 12, 10, 0, 0, 10, 10, 2, 0}), state(byFloat));

    QEVO::ImgMat noPatch;
    OBJTRACK byImage(det(0, 0, 10, 10), noPatch, 5, 10, nullptr);
    byImage.add(det(2, 0, 12, 10), noPatch, nullptr);
    EXPECT_EQ(State({2, 0, 12, 10, 2, 0, 12, 10, 2, 0}), state(byImage));
}

TEST(TrackRecord, MissKeepsLastBoxSoVelocitySpansTheGap) {
    OBJTRACK t(det(0, 0, 10, 10, 0.8f), 9, 10);
    t.add(det(0, 0, 0, 0, 0, -1));
    EXPECT_EQ(State({0, 0, 0, 0, 0, 0, 10, 10, 0, 0}), state(t));
    EXPECT_EQ(1, t.m_delable);
    EXPECT_FLOAT_EQ(0.4f, t._score);
    // 6 px in two frames, against the last box, which is not replaced right
    // after a miss; x: (6 + 0 + 6) / 2, (16 + 10 + 6) / 2; y: no motion.
    t.add(det(6, 0, 16, 10));
    EXPECT_EQ(State({6, 0, 16, 10, 0, 0, 10, 10, 6, 0}), state(t));
    EXPECT_EQ(0, t.m_delable);
    // A bottom edge of exactly 0 is a miss whatever the other corners are.
    t.add(det(5, -10, 7, 0));
    EXPECT_EQ(State({5, -10, 7, 0}), box(t));
    EXPECT_EQ(1, t.m_delable);
}

TEST(TrackRecord, ClassVotes) {
    OBJTRACK t(det(0, 0, 10, 10, 0.9f, 3), 9, 10);
    EXPECT_EQ(3, t._cls);
    t.add(det(0, 0, 10, 10, 0.9f, 1));  // construction class is not a vote
    t.add(det(0, 0, 10, 10, 0.9f, 4));  // tie 1:1 -> lower index
    EXPECT_EQ(1, t._cls);
    t.add(det(0, 0, 10, 10, 0.9f, 4));
    for (int cls : {-1, 9, 1 << 30}) t.add(det(0, 0, 10, 10, 0.9f, cls));  // beyond the table
    EXPECT_EQ(4, t._cls);
    EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 2, 0, 0, 0, 0}), t.clsCount);

    OBJTRACK img(det(0, 0, 10, 10, 0.9f, 2), QEVO::ImgMat(), 5, 10, nullptr);
    img.add(det(0, 0, 10, 10, 0.9f, 4), QEVO::ImgMat(), nullptr);
    EXPECT_EQ(2, img._cls);  // the image form casts no vote
}

TEST(TrackRecord, FullnessStalenessAndReadBack) {
    OBJTRACK t(det(10, 20, 30, 60, 1.0f, 2), 9, 10);
    t._trackID = 17;
    QEVO::objinfo out = det(-1, -1, -1, -1);
    out.ID = 55, out.area = 7.0f;
    for (int step = 1; step <= 9; ++step) {
        EXPECT_EQ(2, t.toObjInfo(out)) << "step " << step;
        EXPECT_FLOAT_EQ(-1.0f, out.x1);
        step % 2 ? t.add(0, 0, 0, 0, 0, -1) : t.add(10, 30, 20, 60, 1.0f, 2);
    }
    // Construction + 9 steps: full, 5 misses and 4 hits -> balance 1.
    EXPECT_TRUE(t._length == 10 && t.m_delable == 1);
    EXPECT_EQ(0, t.toObjInfo(out));  // last step was a miss: predicted box
    EXPECT_TRUE(out.x1 == t.last_x1 + t.m_vx && out.y2 == t.last_y2 + t.m_vy);
    EXPECT_TRUE(out.classNum == 2 && out.trackID == 17 && out.ID == 55 && out.area == 7.0f);
    EXPECT_FLOAT_EQ(0.5f, out.score);  // 5 ones and 5 zeros remain in the history
    EXPECT_FLOAT_EQ(40.0f, t._ymean);  // only the hits count towards the mean height

    for (int i = 0; i < 20; ++i) t.add(10, 30, 20, 60, 1.0f, 2);
    EXPECT_TRUE(t.m_delable == 0 && t._length == 10);  // never below 0
    for (int i = 0; i < 5; ++i) t.add(0, 0, 0, 0, 0, -1);
    EXPECT_EQ(0, t.toObjInfo(out));
    t.add(0, 0, 0, 0, 0, -1);  // six misses: stale
    out.x1 = -3;
    EXPECT_EQ("", qevo_test::capture_stdout([&] { EXPECT_EQ(1, t.toObjInfo(out)); }));
    EXPECT_EQ("toObjInfo_predict: obj is full && delable, still kept in last_targets error\n",
              qevo_test::capture_stdout([&] { EXPECT_EQ(1, t.toObjInfo_predict(out)); }));
    EXPECT_FLOAT_EQ(-3.0f, out.x1);
    for (int i = 0; i < 4; ++i) t.add(0, 0, 0, 0, 0, -1);
    // Ten misses in a row: the mean is taken before the trim, over the eleven
    // entries that still include the last hit.
    EXPECT_FLOAT_EQ(40.0f, t._ymean);
    t.add(0, 0, 0, 0, 0, -1);
    EXPECT_FLOAT_EQ(0.0f, t._ymean);  // only empty entries left

    // The balance saturates: a miss at INT_MAX leaves the track stale.
    t.m_delable = INT_MAX;
    t.add(0, 0, 0, 0, 0, -1);
    EXPECT_EQ(INT_MAX, t.m_delable);
    EXPECT_EQ(1, t.toObjInfo(out));
    t.add(10, 30, 20, 60, 1.0f, 2);
    EXPECT_EQ(INT_MAX - 1, t.m_delable);
}

TEST(TrackRecord, DefaultTrackIsFullAtOnceAndKeepsNothing) {
    OBJTRACK t;
    EXPECT_TRUE(t.isFull() && t.m_imgBuffer == nullptr);
    t.add(1, 3, 1, 3, 0.5f, 0);  // class 0 with no vote table: nothing written
    EXPECT_TRUE(t._length == 0 && t.scores.empty() && std::isnan(t._score) && t._cls == -1);
}

TEST(TrackRecord, ServoHistoryTrimmedOnlyWhenLonger) {
    QEVO::SyncInfos sync{};
    sync.fAz = 12.5f, sync.fPt = -3.0f;
    QEVO::ImgMat frame;
    frame.cfg = reinterpret_cast<long long>(&sync);
    OBJTRACK t(det(0, 0, 10, 10), QEVO::ImgMat(), 5, 4, &frame);
    ASSERT_EQ(1u, t.m_org_fAZ_PTs.size());
    EXPECT_EQ(std::make_pair(12.5f, -3.0f), t.m_org_fAZ_PTs[0]);
    t.add(det(0, 0, 0, 0), QEVO::ImgMat(), &frame);  // misses record angles too
    sync.fAz = 20.0f;
    for (int i = 0; i < 3; ++i) t.add(0, 0, 0, 0, 0, -1);  // float form: no angles
    EXPECT_TRUE(t._length == 4 && t.m_org_fAZ_PTs.size() == 2u);
    for (int i = 0; i < 3; ++i) t.add(det(0, 0, 10, 10), QEVO::ImgMat(), &frame);
    ASSERT_EQ(4u, t.m_org_fAZ_PTs.size());  // 5 entries cut to the newest 4
    EXPECT_TRUE(t.m_org_fAZ_PTs[0].first == 12.5f && t.m_org_fAZ_PTs[3].first == 20.0f);
    t.add(det(0, 0, 10, 10), QEVO::ImgMat(), nullptr);  // no frame or no record: nothing added
    frame.cfg = 0;
    t.add(det(0, 0, 10, 10), QEVO::ImgMat(), &frame);
    EXPECT_EQ(4u, t.m_org_fAZ_PTs.size());
}

TEST(TrackRecord, CopiesAreIndependentAndOwnTheirMosaic) {
    std::vector<unsigned char> patch(64 * 96, 7);
    QEVO::ImgMat block;
    block.data = patch.data(), block.width = block.height = 64, block.inlayout = QEVO::NV12;
    OBJTRACK *src = new OBJTRACK(det(0, 0, 10, 10), block, 5, 10, nullptr);
    OBJTRACK copy(*src);
    ASSERT_TRUE(src->m_imgBuffer != nullptr && copy.m_imgBuffer != nullptr);
    EXPECT_NE(src->m_imgBuffer, copy.m_imgBuffer);
    EXPECT_EQ(0, std::memcmp(src->m_imgBuffer, copy.m_imgBuffer, 256 * 256 * 3 / 2));
    src->add(det(1, 1, 11, 11));
    EXPECT_TRUE(src->scores.size() == 2u && copy.scores.size() == 1u);

    OBJTRACK assigned;
    assigned = *src;
    assigned = assigned;  // self-assignment keeps the block
    ASSERT_NE(nullptr, assigned.m_imgBuffer);
    delete src;  // the copies stay valid
    EXPECT_TRUE(copy.m_imgBuffer[0] == 7 && assigned.m_imgBuffer[63] == 7);

    OBJTRACK moved(std::move(copy));
    EXPECT_EQ(nullptr, copy.m_imgBuffer);        // NOLINT: moved-from owns nothing
    EXPECT_EQ(7, moved.m_imgBuffer[256 * 256]);  // chroma of tile 0
    OBJTRACK target;
    target = std::move(moved);
    EXPECT_TRUE(moved.m_imgBuffer == nullptr && target.m_imgBuffer != nullptr);  // NOLINT
    std::vector<OBJTRACK> many(3, target);  // each element its own block
    many.erase(many.begin());
    EXPECT_NE(many[0].m_imgBuffer, many[1].m_imgBuffer);
}
