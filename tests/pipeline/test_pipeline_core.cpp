// Parsers, assignment solver, tracking metrics and command line of the
// frame-pipeline program.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <sstream>

#include "assignment.h"
#include "cli.h"
#include "metrics.h"
#include "mot_format.h"
#include "run_stats.h"

using namespace pipeline;

namespace {

ParseResult parse_det(const std::string &text, MotSequence &seq) {
    std::istringstream in(text);
    return parse_detections(in, "dets.txt", seq);
}

ParseResult parse_gt(const std::string &text, MotSequence &seq) {
    std::istringstream in(text);
    return parse_ground_truth(in, "gt.txt", seq);
}

MotBox box(int id, float x1, float y1, float x2, float y2) {
    MotBox b;
    b.id = id;
    b.x1 = x1;
    b.y1 = y1;
    b.x2 = x2;
    b.y2 = y2;
    return b;
}

}  // namespace

TEST(MotFormat, ReadsDetectionsAndGroundTruth) {
    MotSequence det;
    ParseResult r = parse_det(
        "# detections\n"
        "1,-1,11,21,30,40,0.9,-1,-1,-1\n"
        "\n"
        "  1 , -1 , 101.5 , 1 , 10 , 20 , 0.25\r\n"
        "3,-1,1,1,5,5,0.5,-1,-1\n",
        det);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.rows, 3);
    ASSERT_EQ(det.size(), 2u);
    ASSERT_EQ(det[1].size(), 2u);
    const MotBox &a = det[1][0];
    // 1-based left/top become 0-based corners.
    EXPECT_FLOAT_EQ(a.x1, 10);
    EXPECT_FLOAT_EQ(a.y1, 20);
    EXPECT_FLOAT_EQ(a.x2, 40);
    EXPECT_FLOAT_EQ(a.y2, 60);
    EXPECT_FLOAT_EQ(a.score, 0.9f);
    EXPECT_FLOAT_EQ(det[1][1].x1, 100.5f);
    EXPECT_EQ(last_frame(det), 3);

    MotSequence gt;
    r = parse_gt(
        "1,4,11,21,30,40,1,1,1\n"
        "1,5,11,21,30,40,0,1,1\n"  // flag 0: not evaluated
        "2,4,12,21,30,40\n"
        "2,7,1,1,8,8,1,3,0.5,0\n",
        gt);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.rows, 3);
    ASSERT_EQ(gt[1].size(), 1u);
    EXPECT_EQ(gt[1][0].id, 4);
    ASSERT_EQ(gt[2].size(), 2u);
    EXPECT_EQ(gt[2][1].cls, 2);  // class column 3 -> index 2
}

TEST(MotFormat, RejectsMalformedLinesWithTheirNumber) {
    struct Case {
        bool gt;
        std::string text;
        std::string expect;  // substring of the message
    };
    const Case cases[] = {
        {false, "1,-1,1,1,5,5,0.5\n1,-1,1,1,5,5\n", "dets.txt:2: expected 7 to 10"},
        {false, "\n# c\n1,-1,1,1,5,5,0.5,1,1,1,1\n", "dets.txt:3: expected 7 to 10"},
        {false, "1,-1,1,1,5,abc,0.5\n", "dets.txt:1: field 6 is not a number: 'abc'"},
        {false, "1,-1,1,1,5,5x,0.5\n", "field 6 is not a number"},
        {false, "1,-1,1,1,5,,0.5\n", "field 6 is not a number"},
        {false, "0,-1,1,1,5,5,0.5\n", "dets.txt:1: frame number"},
        {false, "1.5,-1,1,1,5,5,0.5\n", "frame number"},
        {false, "2,-1,1,1,0,5,0.5\n", "width and height must be positive"},
        {false, "2,-1,1,1,5,-3,0.5\n", "width and height must be positive"},
        {false, "2,-1,1,1,5,5,nan\n", "field 7 is not a number"},
        {false, "2,-1,1,1,5,5,inf\n", "field 7 is not a number"},
        {true, "1,1,1,1,5,5,1,1,1\n1,-2,1,1,5,5,1,1,1\n", "gt.txt:2: ground-truth identifier"},
        {true, "1,1,1,1,5,5\n2,1,1,1,5,5\n2,1,3,3,5,5\n",
         "gt.txt:3: identifier 1 appears twice in frame 2"},
        {true, "1,1,1,1,5\n", "gt.txt:1: expected 6 to 10"},
    };
    for (const Case &c : cases) {
        MotSequence seq;
        ParseResult r = c.gt ? parse_gt(c.text, seq) : parse_det(c.text, seq);
        EXPECT_FALSE(r.ok) << c.text;
        EXPECT_NE(r.error.find(c.expect), std::string::npos) << r.error << " / wanted " << c.expect;
    }
    MotSequence seq;
    ParseResult r = load_detections("/nonexistent/dir/dets.txt", seq);
    EXPECT_FALSE(r.ok);
    EXPECT_NE(r.error.find("cannot open"), std::string::npos);
}

TEST(MotFormat, WrittenLinesReadBack) {
    MotBox t = box(12, 99.5f, 0.0f, 150.25f, 80.0f);
    t.score = 0.875f;
    EXPECT_EQ(format_track_line(7, t), "7,12,100.50,1.00,50.75,80.00,0.875,-1,-1,-1");
    t.cls = 1;
    const std::string text = format_gt_line(7, t) + "\n" + format_det_line(8, t) + "\n";
    MotSequence gt, det;
    std::istringstream in1(format_gt_line(7, t));
    ASSERT_TRUE(parse_ground_truth(in1, "g", gt).ok);
    std::istringstream in2(format_det_line(8, t));
    ASSERT_TRUE(parse_detections(in2, "d", det).ok);
    for (const MotBox &b : {gt[7][0], det[8][0]}) {
        EXPECT_NEAR(b.x1, t.x1, 0.01);
        EXPECT_NEAR(b.y1, t.y1, 0.01);
        EXPECT_NEAR(b.x2, t.x2, 0.01);
        EXPECT_NEAR(b.y2, t.y2, 0.01);
    }
    EXPECT_EQ(gt[7][0].id, 12);
    EXPECT_EQ(gt[7][0].cls, 1);
    EXPECT_FLOAT_EQ(det[8][0].score, 0.875f);
}

// Brute force over all injective maps of the smaller side into the larger.
static double brute_min(const std::vector<std::vector<double>> &c) {
    const size_t r = c.size(), k = c[0].size();
    const bool wide = r <= k;
    const size_t small = wide ? r : k, big = wide ? k : r;
    std::vector<int> perm(big);
    std::iota(perm.begin(), perm.end(), 0);
    double best = std::numeric_limits<double>::infinity();
    do {
        double s = 0;
        for (size_t i = 0; i < small; ++i) s += wide ? c[i][perm[i]] : c[perm[i]][i];
        best = std::min(best, s);
    } while (std::next_permutation(perm.begin(), perm.end()));
    return best;
}

TEST(Assignment, MatchesBruteForceOnRandomMatrices) {
    uint64_t s = 12345;
    auto rnd = [&s]() {
        s = s * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>((s >> 33) % 1000) / 10.0;
    };
    for (int trial = 0; trial < 300; ++trial) {
        const int rows = 1 + trial % 5, cols = 1 + (trial / 5) % 6;
        std::vector<std::vector<double>> c(rows, std::vector<double>(cols));
        for (auto &row : c)
            for (double &v : row)
                v = (trial % 7 == 0) ? std::floor(rnd() / 25) : rnd();  // ties too
        std::vector<int> a = min_cost_assignment(c);
        ASSERT_EQ(static_cast<int>(a.size()), rows);
        std::vector<int> used(cols, 0);
        double total = 0;
        int assigned = 0;
        for (int i = 0; i < rows; ++i) {
            if (a[i] < 0) continue;
            ASSERT_LT(a[i], cols);
            ASSERT_EQ(used[a[i]]++, 0) << "column used twice";
            total += c[i][a[i]];
            ++assigned;
        }
        EXPECT_EQ(assigned, std::min(rows, cols));
        EXPECT_NEAR(total, brute_min(c), 1e-9) << "trial " << trial;
    }
    EXPECT_TRUE(min_cost_assignment({}).empty());
}

// Hand-made sequences. Every box is 10 x 10; "far" boxes never overlap.
namespace {
MotBox at(int id, float x) { return box(id, x, 0, x + 10, 10); }
}  // namespace

TEST(Metrics, PerfectTrackingScoresOne) {
    MotSequence gt, tr;
    for (int f = 1; f <= 4; ++f) {
        gt[f] = {at(1, 0), at(2, 100)};
        tr[f] = {at(7, 0), at(8, 100)};
    }
    TrackingMetrics m = evaluate_tracking(gt, tr);
    EXPECT_EQ(m.gt_boxes, 8);
    EXPECT_EQ(m.gt_objects, 2);
    EXPECT_EQ(m.matches, 8);
    EXPECT_DOUBLE_EQ(m.mota, 1.0);
    EXPECT_DOUBLE_EQ(m.idf1, 1.0);
    EXPECT_DOUBLE_EQ(m.motp, 1.0);
    EXPECT_EQ(m.id_switches + m.fragmentations + m.misses + m.false_positives, 0);
}

TEST(Metrics, SwitchMissFalsePositiveAndFragmentation) {
    // Object 1 over frames 1..4 is covered by track 1, then track 2: one
    // switch; MOTA = 1 - 1/4; best identity pair covers 2 of 4+4 boxes.
    MotSequence gt, tr;
    for (int f = 1; f <= 4; ++f) gt[f] = {at(1, 0)};
    tr[1] = {at(1, 0)};
    tr[2] = {at(1, 0)};
    tr[3] = {at(2, 0)};
    tr[4] = {at(2, 0)};
    TrackingMetrics m = evaluate_tracking(gt, tr);
    EXPECT_EQ(m.id_switches, 1);
    EXPECT_DOUBLE_EQ(m.mota, 0.75);
    EXPECT_EQ(m.idtp, 2);
    EXPECT_DOUBLE_EQ(m.idf1, 0.5);

    // Object 1 over frames 1..5, missed in frame 3 (one fragmentation), and
    // a false track in frame 2: MOTA = 1 - 2/5, IDF1 = 2*4 / (5+5).
    MotSequence gt2, tr2;
    for (int f = 1; f <= 5; ++f) gt2[f] = {at(1, 0)};
    for (int f : {1, 2, 4, 5}) tr2[f] = {at(3, 1)};  // IoU 9/11, still a match
    tr2[2].push_back(at(9, 200));
    m = evaluate_tracking(gt2, tr2);
    EXPECT_EQ(m.misses, 1);
    EXPECT_EQ(m.false_positives, 1);
    EXPECT_EQ(m.fragmentations, 1);
    EXPECT_EQ(m.id_switches, 0);
    EXPECT_NEAR(m.mota, 0.6, 1e-12);
    EXPECT_NEAR(m.idf1, 0.8, 1e-12);
    EXPECT_NEAR(m.idp, 0.8, 1e-12);
    EXPECT_NEAR(m.motp, 9.0 / 11.0, 1e-12);

    // A box overlapping with IoU below 0.5 is a miss plus a false positive.
    MotSequence gt3{{1, {at(1, 0)}}}, tr3{{1, {at(1, 4)}}};  // IoU 6/14
    m = evaluate_tracking(gt3, tr3);
    EXPECT_EQ(m.matches, 0);
    EXPECT_DOUBLE_EQ(m.mota, -1.0);
}

TEST(Metrics, KeepsCorrespondenceWhileItStillHolds) {
    // Frame 1: track 1 fits exactly, track 2 a little off. Frame 2: track 2
    // fits better, but track 1 still overlaps enough: no switch. Both frames
    // count track 2 as a false positive: MOTA = 1 - 2/2 = 0.
    MotSequence gt, tr;
    gt[1] = {at(1, 0)};
    gt[2] = {at(1, 0)};
    tr[1] = {at(1, 0), at(2, 2)};  // IoU 8/12
    tr[2] = {at(1, 2), at(2, 0)};
    TrackingMetrics m = evaluate_tracking(gt, tr);
    EXPECT_EQ(m.id_switches, 0);
    EXPECT_EQ(m.false_positives, 2);
    EXPECT_DOUBLE_EQ(m.mota, 0.0);
    EXPECT_NEAR(m.idf1, 4.0 / 6.0, 1e-12);
}

TEST(Metrics, IdentityMatchingIsGlobalNotGreedy) {
    // Pair counts: (A,1) = 3, (A,2) = 2, (B,1) = 2. Taking the largest pair
    // first would give IDTP 3; the best one-to-one matching is A-2 + B-1 = 4.
    MotSequence gt, tr;
    for (int f = 1; f <= 3; ++f) {
        gt[f] = {at(10, 0)};
        tr[f] = {at(1, 0)};
    }
    for (int f = 4; f <= 5; ++f) {
        gt[f] = {at(10, 0)};
        tr[f] = {at(2, 0)};
    }
    for (int f = 6; f <= 7; ++f) {
        gt[f] = {at(20, 100)};
        tr[f] = {at(1, 100)};
    }
    TrackingMetrics m = evaluate_tracking(gt, tr);
    EXPECT_EQ(m.idtp, 4);
    EXPECT_NEAR(m.idf1, 8.0 / 14.0, 1e-12);
    EXPECT_EQ(m.id_switches, 1);  // A: track 1 -> 2; B's first match is no switch
    EXPECT_NEAR(m.mota, 1.0 - 1.0 / 7.0, 1e-12);
    EXPECT_EQ(m.gt_objects, 2);
    EXPECT_EQ(m.track_ids, 2);

    // Without ground truth the ratios are undefined, not zero.
    m = evaluate_tracking({}, tr);
    EXPECT_TRUE(std::isnan(m.mota));
    EXPECT_EQ(m.false_positives, 7);
}

TEST(RunStats, MeanAndNearestRankPercentile) {
    StageTimes t;
    for (int i = 1; i <= 20; ++i) t.ms.push_back(21 - i);  // 20 .. 1
    EXPECT_DOUBLE_EQ(t.mean(), 10.5);
    EXPECT_DOUBLE_EQ(t.p95(), 19.0);  // rank ceil(0.95 * 20) = 19
    t.ms = {5.0};
    EXPECT_DOUBLE_EQ(t.p95(), 5.0);
    t.ms.clear();
    EXPECT_DOUBLE_EQ(t.p95(), 0.0);
}

TEST(Cli, ValidatesCombinations) {
    auto run = [](std::vector<const char *> args, Options &o, std::string &err) {
        args.insert(args.begin(), "qevo_pipeline");
        return parse_cli(static_cast<int>(args.size()), args.data(), o, err);
    };
    Options o;
    std::string err;
    ASSERT_TRUE(run({}, o, err));
    EXPECT_FALSE(o.user_data());
    EXPECT_EQ(o.width, 1280);
    EXPECT_EQ(o.height, 720);

    o = Options();
    ASSERT_TRUE(
        run({"--frames", "a.nv12", "--size", "640x480", "--header", "16", "--dets", "d"}, o, err))
        << err;
    EXPECT_EQ(o.width, 640);
    EXPECT_EQ(o.header, 16);

    const std::vector<std::vector<const char *>> bad = {
        {"--frames", "a.nv12"},  // no size
        {"--size", "640x"},      // malformed size
        {"--size", "641x480"},   // odd
        {"--size", "8x8"},       // too small
        {"--header", "4"},       // header without frames
        {"--frames", "a", "--size", "64x64", "--header", "-1"},
        {"--gt", "g", "--size", "64x64"},  // nothing to evaluate
        {"--every", "0"},
        {"--out"},  // missing value
        {"--bogus"},
    };
    for (const auto &args : bad) {
        Options b;
        std::string e;
        EXPECT_FALSE(run(args, b, e)) << args[0];
        EXPECT_FALSE(e.empty());
    }
}
