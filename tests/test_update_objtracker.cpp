// Frame-to-frame association in its three overloads: identifiers, greedy
// matching, deletion timing, and the printed lines.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "objTracker.h"
#include "support.h"

namespace {

using Tracks = std::vector<OBJTRACK>;
using Shared = std::vector<std::shared_ptr<OBJTRACK> >;

QEVO::objinfo det(float x1, float y1, float x2, float y2, int cls = 0, float score = 0.9f) {
    QEVO::objinfo d{};
    d.x1 = x1, d.y1 = y1, d.x2 = x2, d.y2 = y2, d.score = score, d.classNum = cls;
    return d;
}

// Identifiers and addresses of the tracks of any of the three list forms.
const OBJTRACK *ptr(const OBJTRACK &t) { return &t; }
const OBJTRACK *ptr(const OBJTRACK *t) { return t; }
const OBJTRACK *ptr(const std::shared_ptr<OBJTRACK> &t) { return t.get(); }
template <typename V>
std::vector<const OBJTRACK *> pointers(const V &tracks) {
    std::vector<const OBJTRACK *> out;
    for (const auto &t : tracks) out.push_back(ptr(t));
    return out;
}
template <typename V>
std::vector<int> ids(const V &tracks) {
    std::vector<int> out;
    for (const OBJTRACK *t : pointers(tracks)) out.push_back(t->_trackID);
    return out;
}

// ---- the multi-frame scenario --------------------------------------------
// A moves right and B moves left through each other (B 10 px lower); C stands
// still, vanishes in frames 12-14, comes back, and vanishes for good at 30;
// D is seen only in frames 20-22; frame 40 has no detections at all.
struct Object {
    char name;
    float x, y;
};
std::vector<Object> scene(int f) {
    std::vector<Object> v;
    if (f == 40) return v;
    v.push_back({'A', 2.0f * f, 100});
    v.push_back({'B', 100 - 2.0f * f, 110});
    if (f < 12 || (f >= 15 && f < 30)) v.push_back({'C', 200, 0});
    if (f >= 20 && f <= 22) v.push_back({'D', 300, 300});
    return v;
}

// Expected identifiers in list order after frame f, given D's identifier.
std::vector<int> expected_ids(int f, int idD) {
    if (f < 20) return {0, 1, 2};
    if (f < 29) return {0, 1, 2, idD};  // D young until its ninth step, frame 29
    if (f < 35) return {0, 1, 2};       // C deleted at its sixth miss in a row
    return {0, 1};
}

// Runs the scenario; `step` performs one frame and returns the tracks.
void run_scenario(
    int idD,
    const std::function<std::vector<const OBJTRACK *>(const std::vector<QEVO::objinfo> &)> &step) {
    std::map<int, char> who = {{0, 'A'}, {1, 'B'}, {2, 'C'}, {idD, 'D'}};
    for (int f = 0; f < 45; ++f) {
        const std::vector<Object> objs = scene(f);
        std::vector<QEVO::objinfo> d;
        for (const Object &o : objs) d.push_back(det(o.x, o.y, o.x + 20, o.y + 20, o.name - 'A'));
        const std::vector<const OBJTRACK *> tracks = step(d);
        ASSERT_EQ(expected_ids(f, idD), ids(tracks)) << "frame " << f;
        for (const OBJTRACK *t : tracks) {
            const Object *seen = nullptr;
            for (const Object &o : objs)
                if (o.name == who[t->_trackID]) seen = &o;
            EXPECT_TRUE(seen ? std::fabs(seen->x - t->_x1) <= 4 && std::fabs(seen->y - t->_y1) <= 4
                             : t->_x2 == 0.0f)
                << "frame " << f << " id " << t->_trackID;
        }
    }
}

// A full track (history 10, class table 9) sitting on `box`, matched every
// frame, with the given identifier.
OBJTRACK settled(QEVO::objinfo box, int id) {
    OBJTRACK t(box, 9, 10);
    for (int i = 0; i < 9; ++i) t.add(box);
    t._trackID = id;
    return t;
}

}  // namespace

TEST(UpdateObjtracker, ScenarioInPlaceAndCopying) {
    Tracks tracks;
    run_scenario(6, [&](const std::vector<QEVO::objinfo> &d) {
        qevo_test::capture_stdout([&] { EXPECT_EQ(0, update_objtracker(d, tracks, 0.3f)); });
        return pointers(tracks);
    });
    Tracks current;
    run_scenario(6, [&](const std::vector<QEVO::objinfo> &d) {
        Tracks next;
        EXPECT_EQ(0, update_objtracker(d, current, next, 0.3f));
        current = std::move(next);
        return pointers(current);
    });
}

TEST(UpdateObjtracker, ScenarioSharedPointer) {
    Shared current;
    std::map<int, const OBJTRACK *> identity;  // a track stays the same object
    QEVO::SyncInfos sync{};
    QEVO::ImgMat frame;
    frame.cfg = reinterpret_cast<long long>(&sync);
    int f = 0;
    run_scenario(3, [&](const std::vector<QEVO::objinfo> &d) {
        sync.fAz = static_cast<float>(f++);
        Shared next;
        std::vector<QEVO::ImgMat> patches(d.size());  // no pixel data
        EXPECT_EQ(0, update_objtracker(d, current, next, patches, 0.5f, &frame));
        current = next;
        for (const auto &p : current)
            EXPECT_EQ(identity.emplace(p->_trackID, p.get()).first->second, p.get());
        return pointers(current);
    });
    // A and B were seen in every frame but 40; the servo history holds the
    // azimuths of the last ten image observations: 34-39, 41-44.
    ASSERT_TRUE(current.size() == 2 && current[0]->m_org_fAZ_PTs.size() == 10);
    EXPECT_TRUE(current[0]->m_org_fAZ_PTs.front().first == 34 &&
                current[0]->m_org_fAZ_PTs.back().first == 44);
    EXPECT_TRUE(current[0]->_cls == 0 && current[1]->_cls == 1);  // construction class, never voted
}

TEST(UpdateObjtracker, IdentifiersAndEmptyFrames) {
    // Tracks with identifiers 3 and 7; the one with 7 matches detection 1.
    const QEVO::objinfo far = det(500, 500, 520, 520);
    const std::vector<QEVO::objinfo> dets = {det(0, 0, 10, 10), det(100, 0, 120, 20),
                                             det(300, 0, 310, 10)};
    Tracks copied;  // the in-place form numbers the same way (see the deletion case)
    update_objtracker(dets, {settled(far, 3), settled(dets[1], 7)}, copied, 0.3f);
    EXPECT_EQ((std::vector<int>{3, 7, 8, 10}), ids(copied));

    Shared out, shared = {std::make_shared<OBJTRACK>(settled(far, 3)),
                          std::make_shared<OBJTRACK>(settled(dets[1], 7))};
    update_objtracker(dets, shared, out, std::vector<QEVO::ImgMat>(3), 0.5f, nullptr);
    EXPECT_EQ((std::vector<int>{3, 7, 8, 9}), ids(out));

    // Frames without detections never delete, however stale a track gets.
    Tracks old = {settled(det(0, 0, 10, 10), 4)};
    for (int i = 0; i < 12; ++i) {
        Tracks next;
        update_objtracker({}, old, next, 0.3f);
        old = next;
    }
    ASSERT_TRUE(old.size() == 1 && old[0].m_delable == 12);
    Tracks next;  // the first frame with detections then deletes it
    update_objtracker({det(400, 400, 410, 410)}, old, next, 0.3f);
    EXPECT_EQ(std::vector<int>{5}, ids(next));
}

TEST(UpdateObjtracker, GreedyOrderAndThresholds) {
    // Both tracks prefer detection 0; the second could use detection 1 but
    // never looks at it.
    const QEVO::objinfo a = det(0, 0, 20, 20), b = det(2, 0, 22, 20), c = det(6, 0, 26, 20);
    Tracks out;
    update_objtracker({a, c}, {settled(a, 0), settled(b, 1)}, out, 0.3f);
    ASSERT_EQ((std::vector<int>{0, 1, 3}), ids(out));  // detection 1 is new: 1 + 1 + 1
    EXPECT_TRUE(out[0]._x2 != 0.0f && out[1]._x2 == 0.0f && out[1].m_delable == 1);

    // Threshold 0: a track overlapping nothing still takes a free detection 0.
    out.clear();
    update_objtracker({det(300, 300, 310, 310)}, {settled(a, 0)}, out, 0.0f);
    EXPECT_TRUE(out.size() == 1 && out[0].last_x1 == 300.0f);

    // Shared pointers: distance at most matchThr x sqrt(last box area); with
    // crossed corners the area is negative and the NaN comparison accepts any distance.
    OBJTRACK crossed = settled(a, 0);
    crossed.last_x1 = 20, crossed.last_x2 = 0;
    const struct {
        OBJTRACK track;
        QEVO::objinfo d;
        bool matched;
    } cases[] = {{settled(a, 0), det(10, 0, 30, 20), true},  // centre (10, 10), side 20: 10 px
                 {settled(a, 0), det(11, 0, 31, 20), false},
                 {crossed, det(900, 900, 920, 920), true}};
    for (const auto &k : cases) {
        Shared s = {std::make_shared<OBJTRACK>(k.track)}, so;
        update_objtracker({k.d}, s, so, {}, 0.5f, nullptr);
        EXPECT_TRUE(so.size() == (k.matched ? 1u : 2u) && k.matched == (s[0]->_x2 != 0.0f))
            << k.d.x1;
    }
}

TEST(UpdateObjtracker, DeletionOfFullTracksOnly) {
    const QEVO::objinfo a = det(0, 0, 20, 20), b = det(100, 0, 120, 20), c = det(200, 0, 220, 20);

    // m_delable 5 on a full track + one miss -> 6 > 10 / 2: deleted.
    OBJTRACK stale = settled(b, 1);
    stale.m_delable = 5;
    OBJTRACK young(b, 9, 10);  // never deleted, however many misses
    young.m_delable = 50, young._trackID = 9;
    Tracks inplace = {settled(a, 0), stale, settled(c, 2), young};
    const std::string printed = qevo_test::capture_stdout([&] {
        update_objtracker({a, c, det(600, 600, 620, 620)}, inplace, 0.3f);
    });
    ASSERT_EQ((std::vector<int>{0, 2, 9, 12}), ids(inplace));  // 12: 9 + 1 + position 2
    EXPECT_NE(0.0f, inplace[1]._x2);  // the track after the deleted one was still matched
    EXPECT_NE(std::string::npos, printed.find("delete one objtracker, 3 left\n"));

    Tracks copied;
    OBJTRACK kept = settled(b, 1);
    kept.m_delable = 4;
    update_objtracker({a, c}, {settled(a, 0), stale, kept}, copied, 0.3f);
    EXPECT_EQ((std::vector<int>{0, 1, 3}), ids(copied));  // 4 + 1 = 5 is not above 5: kept
}

TEST(UpdateObjtracker, InPlaceProgressLines) {
    Tracks tracks;
    const QEVO::objinfo a = det(0, 0, 20, 20), b = det(50, 0, 70, 20);
    EXPECT_EQ("in update objtracker\nno dets , all obj add 000\ndets 0, objtrackers 0\n",
              qevo_test::capture_stdout([&] { update_objtracker({}, tracks, 0.3f); }));
    EXPECT_EQ("in update objtracker\ninitial objtrakcers\ndets 1, objtrackers 1, \n",
              qevo_test::capture_stdout([&] { update_objtracker({a}, tracks, 0.3f); }));
    EXPECT_EQ(
        "in update objtracker\nfind_argmax after, ious size=2\nadd match\nloop\nout loop\n"
        "add new target\nadd new target\nnew\nadded new\ndets 2, oldtracker 2\ngo return\n",
        qevo_test::capture_stdout([&] {
            update_objtracker({a, b}, tracks, 0.3f);
        }));
    EXPECT_EQ(
        "in update objtracker\n"
        "find_argmax after, ious size=1\nadd 000 else\nloop\n"
        "find_argmax after, ious size=1\nadd match\nloop\n"
        "out loop\nadd new target\ndets 1, oldtracker 2\ngo return\n",
        qevo_test::capture_stdout([&] { update_objtracker({b}, tracks, 0.3f); }));
}

// Replaces each "\n[DEBUG:<file>:<line>->update_objtracker] " prefix by "|"; a
// prefix of another shape is left in place, so the comparison fails on it.
static std::string strip_prefixes(const std::string &out) {
    const std::string head = "\n[DEBUG:", tail = "->update_objtracker] ";
    std::string r;
    size_t pos = 0;
    for (size_t at; (at = out.find(head, pos)) != std::string::npos;) {
        const size_t end = out.find(tail, at);
        const size_t colon = end == std::string::npos ? end : out.rfind(':', end);
        const bool line_ok = colon != std::string::npos && colon > at && colon + 1 < end &&
                             out.find_first_not_of("0123456789", colon + 1) == end;
        r += out.substr(pos, at - pos) + (line_ok ? "|" : out.substr(at, end - at + tail.size()));
        pos = end == std::string::npos ? out.size() : end + tail.size();
    }
    return r + out.substr(pos);
}

TEST(UpdateObjtracker, GatedTracesOfTheCopyingForm) {
    qevo_test::ScratchDir dir;
    const QEVO::objinfo a = det(0, 0, 20, 20);
    Tracks first, second;
    EXPECT_EQ("", qevo_test::capture_stdout([&] { update_objtracker({a}, {}, first, 0.3f); }));
    qevo_test::set_marker("./AI_DEBUG", true);
    const std::string out = qevo_test::capture_stdout([&] {
        update_objtracker({a, det(50, 0, 70, 20)}, first, second, 0.3f);
    });
    qevo_test::set_marker("./AI_DEBUG", false);
    EXPECT_EQ(
        "|in update objtracker\n|0/1, 0.0000/0.0000/20.0000/20.0000/0.9000\n|add match\n|loop\n"
        "|out loop\n|add new target\n|add new target\n|added new\n"
        "|dets 2, oldtracker 1, newtracker 2\n",
        strip_prefixes(out));
}

// Identifiers past INT_MAX: the smallest ones that no track of the list
// holds, in all three forms, instead of negative ones.
TEST(UpdateObjtracker, IdentifiersNeverTurnNegative) {
    const std::vector<QEVO::objinfo> d = {det(0, 0, 10, 10), det(100, 0, 110, 10),
                                          det(200, 0, 210, 10)};
    const std::vector<int> want = {INT_MAX, 0, 1, 2, 3};
    Tracks old = {settled(det(500, 500, 520, 520), INT_MAX),
                  settled(det(600, 500, 620, 520), 0)};
    Tracks copied;
    update_objtracker(d, old, copied, 0.3f);
    EXPECT_EQ(want, ids(copied));
    qevo_test::capture_stdout([&] { update_objtracker(d, old, 0.3f); });
    EXPECT_EQ(want, ids(old));
    Shared shared = {std::make_shared<OBJTRACK>(settled(det(500, 500, 520, 520), INT_MAX)),
                     std::make_shared<OBJTRACK>(settled(det(600, 500, 620, 520), 0))},
           next;
    update_objtracker(d, shared, next, {}, 0.5f, nullptr);
    EXPECT_EQ(want, ids(next));
}

TEST(UpdateObjtracker, SharedPointerTracksKeepPatches) {
    std::vector<unsigned char> p1(16 * 24, 1), p2(16 * 24, 2);
    QEVO::ImgMat patch;
    patch.width = patch.height = 16, patch.inlayout = QEVO::NV12, patch.data = p1.data();
    const QEVO::objinfo a = det(0, 0, 20, 20);
    Shared first, second;
    update_objtracker({a}, {}, first, {patch}, 0.5f, nullptr);
    ASSERT_TRUE(first.size() == 1 && first[0]->m_imgBuffer != nullptr);
    EXPECT_EQ(1, first[0]->m_imgBuffer[0]);
    patch.data = p2.data();
    update_objtracker({a, det(200, 0, 220, 20)}, first, second, {patch}, 0.5f, nullptr);
    ASSERT_EQ(2u, second.size());
    // The first hit overwrote tile 0, tile 1 untouched; the second detection
    // had no patch: its track has a mosaic with nothing in it.
    EXPECT_TRUE(second[0]->m_imgBuffer[0] == 2 && second[0]->m_imgBuffer[16] == 0);
    ASSERT_NE(nullptr, second[1]->m_imgBuffer);
    EXPECT_EQ(0, second[1]->m_imgBuffer[0]);
}
