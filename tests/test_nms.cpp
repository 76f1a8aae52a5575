// Suppression routines: randomized comparisons with plain reference versions
// (ordered multimap, merged flags, erase from the vector) and hand-worked cases.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <tuple>
#include <vector>

#include "support.h"
#include "utils.h"

namespace {

using Box = QEVO::tag_Objinfo;

Box make_box(float x1, float y1, float x2, float y2, float score, int cls = 0, int id = 0) {
    Box b{};
    b.x1 = x1, b.y1 = y1, b.x2 = x2, b.y2 = y2;
    b.score = score, b.classNum = cls, b.ID = id, b.trackID = -7;
    b.area = (x2 - x1 + 1) * (y2 - y1 + 1);
    return b;
}

void expect_same_boxes(const std::vector<Box> &got, const std::vector<Box> &want) {
    auto key = [](const Box &b) {
        return std::make_tuple(b.x1, b.y1, b.x2, b.y2, b.score, b.classNum, b.ID, b.trackID,
                               b.area);
    };
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < got.size(); ++i) EXPECT_TRUE(key(got[i]) == key(want[i])) << "box " << i;
}

std::vector<int> ids(const std::vector<Box> &boxes) {
    std::vector<int> out;
    for (const Box &b : boxes) out.push_back(b.ID);
    return out;
}

// Random boxes with distinct scores and sides of 21 pixels or more (every
// self-overlap exceeds the thresholds used); half on whole-pixel corners for ties.
std::vector<Box> random_boxes(std::mt19937 &rng, int n, int classes, float lo = 0.0f,
                              float hi = 300.0f, float max_side = 80.0f) {
    std::uniform_real_distribution<float> pos(lo, hi), size(20.0f, max_side);
    std::uniform_int_distribution<int> cls(0, classes - 1);
    std::vector<int> rank(n);
    std::iota(rank.begin(), rank.end(), 0);
    std::shuffle(rank.begin(), rank.end(), rng);
    std::vector<Box> boxes;
    for (int i = 0; i < n; ++i) {
        float x1 = pos(rng), y1 = pos(rng), w = size(rng), h = size(rng);
        if (i % 2 == 0)
            x1 = std::floor(x1), y1 = std::floor(y1), w = std::floor(w), h = std::floor(h);
        boxes.push_back(
            make_box(x1, y1, x1 + w, y1 + h, (rank[i] + 1) / float(n + 1), cls(rng), i));
    }
    return boxes;
}

// ---- reference versions ----

// Inclusive overlap of [a1, a2] and [b1, b2] in pixels (may be negative).
float side(float a1, float a2, float b1, float b2) {
    return std::min(a2, b2) - std::max(a1, b1) + 1;
}
float clamp0(float v) { return v > 0 ? v : 0; }
float inter(const Box &a, const Box &b) {
    return clamp0(side(a.x1, a.x2, b.x1, b.x2)) * clamp0(side(a.y1, a.y2, b.y1, b.y2));
}
float pixels(const Box &b) { return (b.y2 - b.y1 + 1) * (b.x2 - b.x1 + 1); }
bool lower_score(const Box &a, const Box &b) { return a.score < b.score; }

std::vector<Box> ref_nms(std::vector<Box> input, float thr, int type) {
    std::sort(input.begin(), input.end(), lower_score);
    std::multimap<float, int> vScores;
    for (int i = 0; i < (int)input.size(); ++i) vScores.insert({input[i].score, i});
    std::vector<Box> out;
    while (!vScores.empty()) {
        const Box &p = input[std::prev(vScores.end())->second];
        out.push_back(p);
        for (auto it = vScores.begin(); it != vScores.end();) {
            const Box &a = input[it->second];
            float IOU = inter(a, p);
            if (type == 1) IOU = IOU / (a.area + p.area - IOU);
            if (type == 2) IOU = IOU / (a.area < p.area ? a.area : p.area);
            it = IOU > thr ? vScores.erase(it) : std::next(it);
        }
    }
    return out;
}

std::vector<Box> ref_nms1(std::vector<Box> input, float thr) {
    std::sort(input.rbegin(), input.rend(), lower_score);
    std::vector<int> merged(input.size(), 0);
    std::vector<Box> out;
    for (size_t i = 0; i < input.size(); ++i) {
        if (merged[i]) continue;
        out.push_back(input[i]);
        for (size_t j = i + 1; j < input.size(); ++j) {
            const float in = inter(input[i], input[j]);
            if (in > 0 && in / (pixels(input[i]) + pixels(input[j]) - in) > thr) merged[j] = 1;
        }
    }
    return out;
}

std::vector<Box> ref_seg_nms(std::vector<Box> boxes, float thr) {
    std::sort(boxes.begin(), boxes.end(),
              [](const Box &a, const Box &b) { return a.area > b.area; });
    std::vector<Box> result;
    while (!boxes.empty()) {
        result.push_back(boxes[0]);
        for (size_t index = 1; index < boxes.size();) {
            const Box &a = boxes[0], &b = boxes[index];
            if (inter(a, b) / ((b.x2 - b.x1) * (b.y2 - b.y1)) > thr && a.classNum == b.classNum)
                boxes.erase(boxes.begin() + index);
            else
                ++index;
        }
        boxes.erase(boxes.begin());
    }
    return result;
}

// ---- randomized comparisons ----

TEST(SuppressionRandom, NmsMatchesReferenceForAllTypes) {
    std::mt19937 rng(1234);
    const float thresholds[3][4] = {
        {-1.0f, 0.5f, 30.0f, 400.0f}, {-1.0f, 0.1f, 0.3f, 0.7f}, {-1.0f, 0.2f, 0.5f, 0.9f}};
    for (int round = 0; round < 16; ++round) {
        // Small sets, dense sets, sparse sets with negative corners, a few
        // huge boxes, and corners too far out for any bucketing.
        const std::vector<Box> boxes =
            round < 4    ? random_boxes(rng, 10 + round * 10, 1)
            : round < 10 ? random_boxes(rng, 100 + round * 30, 1)
            : round < 14 ? random_boxes(rng, 300, 1, -5000.0f, 5000.0f, round % 2 ? 80.0f : 3000.0f)
                         : random_boxes(rng, 200, 1, -3e6f, 3e6f, 1e6f);
        for (int type = 0; type < 3; ++type)
            for (float thr : thresholds[type]) {
                std::vector<Box> input = boxes, output = {make_box(0, 0, 1, 1, 9.0f)};
                qevo_test::capture_stdout([&] { KIVEX::nms(input, output, thr, type); });
                expect_same_boxes(output, ref_nms(boxes, thr, type));
                EXPECT_TRUE(std::is_sorted(input.begin(), input.end(), lower_score) &&
                            input.size() == boxes.size());
            }
    }
}

TEST(SuppressionRandom, Nms1NmsClsAndSegNmsMatchReference) {
    std::mt19937 rng(99);
    const Box sentinel = make_box(5, 5, 6, 6, 3.0f, 0, -1);
    for (int round = 0; round < 14; ++round) {
        std::vector<Box> boxes = round < 10 ? random_boxes(rng, 20 + round * 40, 4)
                                            : random_boxes(rng, 400, 4, -900.0f, 900.0f, 600.0f);
        for (float thr : {-1.0f, 0.0f, 0.05f, 0.25f, 0.45f, 0.8f, 1.0f}) {
            std::vector<Box> input = boxes, output = {sentinel}, want = {sentinel};
            KIVEX::nms1(input, output, thr, 7);
            for (const Box &b : ref_nms1(boxes, thr)) want.push_back(b);
            expect_same_boxes(output, want);

            // Per class, classes 0..2 only (class 3 is beyond clsnum).
            input = boxes, output = want = {sentinel};
            KIVEX::nms_cls(input, output, thr, 3);
            expect_same_boxes(input, boxes);
            for (int c = 0; c < 3; ++c) {
                std::vector<Box> of_class;
                for (const Box &b : boxes)
                    if (b.classNum == c) of_class.push_back(b);
                for (const Box &b : ref_nms1(of_class, thr)) want.push_back(b);
            }
            expect_same_boxes(output, want);
        }
        // Distinct areas so that the order of seg_NMS is fixed.
        for (size_t i = 0; i < boxes.size(); ++i) boxes[i].area = boxes[i].area + i * 1e-3f;
        for (float thr : {-0.5f, 0.05f, 0.3f, 0.6f, 1.0f}) {
            std::vector<Box> input = boxes, result = {sentinel};
            KIVEX::seg_NMS(input, thr, result);
            EXPECT_TRUE(input.empty());
            expect_same_boxes(result, ref_seg_nms(boxes, thr));
        }
    }
}

// ---- hand-worked cases ----

TEST(Nms, PrintedLinesAndOverlapRulesOfTheThreeTypes) {
    qevo_test::ScratchDir dir;  // no ./AI_DEBUG here: the two lines are ungated
    std::vector<Box> input = {make_box(10, 10, 19, 29, 0.9f, 2, 5)};
    std::vector<Box> output = {make_box(0, 0, 3, 3, 0.1f), make_box(1, 1, 4, 4, 0.2f)};
    EXPECT_EQ(qevo_test::capture_stdout([&] { KIVEX::nms(input, output, 0.99f, 1); }),
              "box num: 1\nvScores size: 1\n");
    expect_same_boxes(output, input);  // replaced
    std::vector<Box> empty;            // nothing printed
    EXPECT_EQ(qevo_test::capture_stdout([&] { KIVEX::nms(empty, output, 0.5f, 1); }), "");

    // Small box (area 16) inside a large one (area 10000): union overlap
    // 16 / 10000, smaller-area overlap 1; `corner` shares one pixel with `big`.
    const Box big = make_box(0, 0, 99, 99, 0.9f, 0, 1);
    const Box small = make_box(10, 10, 13, 13, 0.8f, 0, 2);
    const Box corner = make_box(99, 99, 120, 120, 0.7f, 0, 3);
    const struct {
        float thr;
        int type;
        std::vector<int> kept;
    } cases[] = {{0.5f, 2, {1, 3}}, {0.5f, 1, {1, 2, 3}}, {0.5f, 0, {1}}, {1.0f, 0, {1, 3}}};
    for (const auto &c : cases) {  // type 0: the intersection in pixels, 1 for the corner box
        input = {small, corner, big};
        qevo_test::capture_stdout([&] { KIVEX::nms(input, output, c.thr, c.type); });
        EXPECT_EQ(ids(output), c.kept) << "type " << c.type << " thr " << c.thr;
    }
}

TEST(Nms, AlwaysEndsWithinItsInputSize) {
    // NaN scores, coordinates, areas and threshold: each box still leaves in its own pass.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<Box> input, output,
        junk = {make_box(0, 0, 9, 9, 0.9f), make_box(2, 2, 11, 11, 0.8f)};
    for (int i = 0; i < 40; ++i)
        junk.push_back(make_box(i, nan, i + 5, 8, i % 3 ? nan : i * 0.01f, 0, 10 + i));
    junk[1].area = nan;
    for (float thr : {0.5f, nan, -1.0f})
        for (int type : {0, 1, 2, 5}) {
            input = junk;
            qevo_test::capture_stdout([&] { KIVEX::nms(input, output, thr, type); });
            EXPECT_TRUE(output.size() >= 1u && output.size() <= junk.size()) << thr << " " << type;
        }
}

TEST(Nms1AndNmsCls, InclusivePixelsStrictThresholdAppendingAndClasses) {
    // Box b starts on the column where a ends: one shared column of 10 pixels,
    // IoU 10 / (100 + 100 - 10).
    const Box a = make_box(0, 0, 9, 9, 0.9f, 0, 1);
    const Box b = make_box(9, 0, 18, 9, 0.8f, 0, 2);
    const float iou = 10.0f / 190.0f;
    std::vector<Box> input = {b, a}, output = {make_box(0, 0, 1, 1, 0.5f, 0, 99)};
    KIVEX::nms1(input, output, iou, 0);  // equal: not suppressed
    EXPECT_EQ(ids(output), (std::vector<int>{99, 1, 2}));
    EXPECT_EQ(ids(input), (std::vector<int>{1, 2}));  // sorted by descending score
    KIVEX::nms1(input, output, std::nextafter(iou, 0.0f), 0);
    EXPECT_EQ(ids(output), (std::vector<int>{99, 1, 2, 1}));

    // nms_cls: class by class; classes outside 0..clsnum-1 are dropped.
    const std::vector<Box> inputs = {
        make_box(0, 0, 9, 9, 0.5f, 1, 1),   make_box(1, 1, 10, 10, 0.6f, 1, 2),
        make_box(0, 0, 9, 9, 0.4f, 0, 3),   make_box(0, 0, 9, 9, 0.9f, -1, 4),
        make_box(40, 0, 49, 9, 0.7f, 0, 5), make_box(0, 0, 9, 9, 0.95f, 2, 6)};
    std::vector<Box> in = inputs, outputs = {make_box(0, 0, 1, 1, 0.1f, 0, 0)};
    KIVEX::nms_cls(in, outputs, 0.5f, 2);
    EXPECT_EQ(ids(outputs), (std::vector<int>{0, 5, 3, 2}));
    // A huge class count costs nothing extra and keeps every valid class.
    outputs.clear();
    KIVEX::nms_cls(in, outputs, 0.5f, 2147483647);
    EXPECT_EQ(ids(outputs), (std::vector<int>{5, 3, 2, 6}));
}

TEST(SegNms, OverlapOverTheSecondBoxAreaAndOrder) {
    const Box big = make_box(0, 0, 99, 99, 0.1f, 0, 1), inside = make_box(10, 10, 19, 19, 0.9f);
    // seg_IOU divides by the second box's own area only.
    EXPECT_FLOAT_EQ(KIVEX::seg_IOU(big, inside), 100.0f / 81.0f);
    EXPECT_FLOAT_EQ(KIVEX::seg_IOU(inside, big), 100.0f / (99.0f * 99.0f));
    EXPECT_TRUE(KIVEX::SortAreaScore(big, inside) && !KIVEX::SortAreaScore(big, big));
}

}  // namespace
