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

ParseResult parse(bool gt, const std::string &text, MotSequence &seq) {
    std::istringstream in(text);
    return gt ? parse_ground_truth(in, "gt.txt", seq) : parse_detections(in, "dets.txt", seq);
}

std::vector<float> corners(const MotBox &b) { return {b.x1, b.y1, b.x2, b.y2}; }

// A 10 x 10 box at (x, 0); "far" boxes never overlap.
MotBox at(int id, float x) {
    MotBox b;
    b.id = id;
    b.x1 = x;
    b.x2 = x + 10;
    b.y2 = 10;
    return b;
}

// matches, misses, false positives, identity switches, fragmentations, IDTP.
std::vector<long> counts(const TrackingMetrics &m) {
    return {m.matches, m.misses, m.false_positives, m.id_switches, m.fragmentations, m.idtp};
}

}  // namespace

TEST(MotFormat, ReadsDetectionsAndGroundTruth) {
    MotSequence det;
    ParseResult r = parse(false,
                          "# detections\n"
                          "1,-1,11,21,30,40,0.9,-1,-1,-1\n"
                          "\n"
                          "  1 , -1 , 101.5 , 1 , 10 , 20 , 0.25\r\n"
                          "3,-1,1,1,5,5,0.5,-1,-1\n",
                          det);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.rows, 3);
    ASSERT_TRUE(det.size() == 2 && det[1].size() == 2);
    EXPECT_EQ(corners(det[1][0]), (std::vector<float>{10, 20, 40, 60}));  // 1-based to 0-based
    EXPECT_FLOAT_EQ(det[1][0].score, 0.9f);
    EXPECT_FLOAT_EQ(det[1][1].x1, 100.5f);
    EXPECT_EQ(last_frame(det), 3);

    MotSequence gt;
    r = parse(true,
              "1,4,11,21,30,40,1,1,1\n"
              "1,5,11,21,30,40,0,1,1\n"  // flag 0: not evaluated
              "2,4,12,21,30,40\n"
              "2,7,1,1,8,8,1,3,0.5,0\n",
              gt);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.rows, 3);
    ASSERT_TRUE(gt[1].size() == 1 && gt[2].size() == 2);
    EXPECT_EQ(gt[1][0].id, 4);
    EXPECT_EQ(gt[2][1].cls, 2);  // class column 3 -> index 2

    // Written lines read back.
    MotBox t = at(12, 99.5f);
    t.x2 = 150.25f;
    t.y2 = 80;
    t.score = 0.875f;
    EXPECT_EQ(format_track_line(7, t), "7,12,100.50,1.00,50.75,80.00,0.875,-1,-1,-1");
    t.cls = 1;
    MotSequence gt2, det2;
    ASSERT_TRUE(parse(true, format_gt_line(7, t), gt2).ok);
    ASSERT_TRUE(parse(false, format_det_line(8, t), det2).ok);
    for (const MotBox &b : {gt2[7][0], det2[8][0]})
        for (int i = 0; i < 4; ++i) EXPECT_NEAR(corners(b)[i], corners(t)[i], 0.01) << i;
    EXPECT_TRUE(gt2[7][0].id == 12 && gt2[7][0].cls == 1 && det2[8][0].score == 0.875f);
}

TEST(MotFormat, RejectsMalformedLinesWithTheirNumber) {
    const struct { bool gt; std::string text, expect; } cases[] = {  // expect: part of the message
        {false, "1,-1,1,1,5,5,0.5\n1,-1,1,1,5,5\n", "dets.txt:2: expected 7 to 10"},
        {false, "\n# c\n1,-1,1,1,5,5,0.5,1,1,1,1\n", "dets.txt:3: expected 7 to 10"},
        {false, "1,-1,1,1,5,abc,0.5\n", "dets.txt:1: field 6 is not a number: 'abc'"},
        {false, "1,-1,1,1,5,5x,0.5\n", "field 6 is not a number"},
        {false, "0,-1,1,1,5,5,0.5\n", "dets.txt:1: frame number"},
        {false, "1.5,-1,1,1,5,5,0.5\n", "frame number"},
        {false, "2,-1,1,1,0,5,0.5\n", "width and height must be positive"},
        {false, "2,-1,1,1,5,5,nan\n", "field 7 is not a number"},
        {false, "2,-1,1,1,5,5,inf\n", "field 7 is not a number"},
        {true, "1,1,1,1,5,5,1,1,1\n1,-2,1,1,5,5,1,1,1\n", "gt.txt:2: ground-truth identifier"},
        {true, "1,1,1,1,5,5\n2,1,1,1,5,5\n2,1,3,3,5,5\n",
         "gt.txt:3: identifier 1 appears twice in frame 2"},
        {true, "1,1,1,1,5\n", "gt.txt:1: expected 6 to 10"},
    };
    for (const auto &c : cases) {
        MotSequence seq;
        const ParseResult r = parse(c.gt, c.text, seq);
        EXPECT_FALSE(r.ok) << c.text;
        EXPECT_NE(r.error.find(c.expect), std::string::npos) << r.error << " / wanted " << c.expect;
    }
    MotSequence seq;
    const ParseResult r = load_detections("/nonexistent/dir/dets.txt", seq);
    EXPECT_TRUE(!r.ok && r.error.find("cannot open") != std::string::npos) << r.error;
}

// Brute force over all injective maps of the smaller side into the larger.
static double brute_min(const std::vector<std::vector<double>> &c) {
    const size_t r = c.size(), k = c[0].size();
    const bool wide = r <= k;
    std::vector<int> perm(wide ? k : r);
    std::iota(perm.begin(), perm.end(), 0);
    double best = std::numeric_limits<double>::infinity();
    do {
        double s = 0;
        for (size_t i = 0; i < std::min(r, k); ++i) s += wide ? c[i][perm[i]] : c[perm[i]][i];
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
            for (double &v : row) v = trial % 7 == 0 ? std::floor(rnd() / 25) : rnd();  // ties
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

TEST(Metrics, PerfectSwitchMissFalsePositiveAndFragmentation) {
    MotSequence gt, tr;
    for (int f = 1; f <= 4; ++f) {
        gt[f] = {at(1, 0), at(2, 100)};
        tr[f] = {at(7, 0), at(8, 100)};
    }
    TrackingMetrics m = evaluate_tracking(gt, tr);
    EXPECT_EQ(counts(m), (std::vector<long>{8, 0, 0, 0, 0, 8}));
    EXPECT_TRUE(m.gt_boxes == 8 && m.gt_objects == 2);
    EXPECT_EQ((std::vector<double>{m.mota, m.idf1, m.motp}), (std::vector<double>{1, 1, 1}));

    // Object 1 over frames 1..4 is covered by track 1, then track 2: one
    // switch; MOTA = 1 - 1/4; best identity pair covers 2 of 4+4 boxes.
    gt.clear();
    tr.clear();
    for (int f = 1; f <= 4; ++f) {
        gt[f] = {at(1, 0)};
        tr[f] = {at(f <= 2 ? 1 : 2, 0)};
    }
    m = evaluate_tracking(gt, tr);
    EXPECT_EQ(counts(m), (std::vector<long>{4, 0, 0, 1, 0, 2}));
    EXPECT_DOUBLE_EQ(m.mota, 0.75);
    EXPECT_DOUBLE_EQ(m.idf1, 0.5);

    // Object 1 over frames 1..5, missed in frame 3 (one fragmentation), and
    // a false track in frame 2: MOTA = 1 - 2/5, IDF1 = 2*4 / (5+5).
    MotSequence gt2, tr2;
    for (int f = 1; f <= 5; ++f) gt2[f] = {at(1, 0)};
    for (int f : {1, 2, 4, 5}) tr2[f] = {at(3, 1)};  // IoU 9/11, still a match
    tr2[2].push_back(at(9, 200));
    m = evaluate_tracking(gt2, tr2);
    EXPECT_EQ(counts(m), (std::vector<long>{4, 1, 1, 0, 1, 4}));
    EXPECT_NEAR(m.mota, 0.6, 1e-12);
    EXPECT_NEAR(m.idf1, 0.8, 1e-12);
    EXPECT_NEAR(m.idp, 0.8, 1e-12);
    EXPECT_NEAR(m.motp, 9.0 / 11.0, 1e-12);

    // A box overlapping with IoU below 0.5 is a miss plus a false positive.
    m = evaluate_tracking({{1, {at(1, 0)}}}, {{1, {at(1, 4)}}});  // IoU 6/14
    EXPECT_EQ(m.matches, 0);
    EXPECT_DOUBLE_EQ(m.mota, -1.0);
}

TEST(Metrics, KeepsCorrespondenceAndMatchesIdentitiesGlobally) {
    // Frame 1: track 1 fits exactly, track 2 a little off. Frame 2: track 2
    // fits better, but track 1 still overlaps enough: no switch. Both frames
    // count track 2 as a false positive: MOTA = 1 - 2/2 = 0.
    MotSequence gt{{1, {at(1, 0)}}, {2, {at(1, 0)}}};
    MotSequence tr{{1, {at(1, 0), at(2, 2)}}, {2, {at(1, 2), at(2, 0)}}};  // IoU 8/12
    TrackingMetrics m = evaluate_tracking(gt, tr);
    EXPECT_EQ(counts(m), (std::vector<long>{2, 0, 2, 0, 0, 2}));
    EXPECT_DOUBLE_EQ(m.mota, 0.0);
    EXPECT_NEAR(m.idf1, 4.0 / 6.0, 1e-12);

    // Pair counts: (A,1) = 3, (A,2) = 2, (B,1) = 2. Taking the largest pair
    // first would give IDTP 3; the best one-to-one matching is A-2 + B-1 = 4.
    gt.clear();
    tr.clear();
    for (int f = 1; f <= 7; ++f) {
        gt[f] = {at(f <= 5 ? 10 : 20, f <= 5 ? 0 : 100)};
        tr[f] = {at(f >= 4 && f <= 5 ? 2 : 1, f <= 5 ? 0 : 100)};
    }
    m = evaluate_tracking(gt, tr);
    // One switch (A: track 1 -> 2; B's first match is no switch).
    EXPECT_EQ(counts(m), (std::vector<long>{7, 0, 0, 1, 0, 4}));
    EXPECT_NEAR(m.idf1, 8.0 / 14.0, 1e-12);
    EXPECT_NEAR(m.mota, 1.0 - 1.0 / 7.0, 1e-12);
    EXPECT_TRUE(m.gt_objects == 2 && m.track_ids == 2);

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
    ASSERT_TRUE(
        run({"--frames", "a.nv12", "--size", "640x480", "--header", "16", "--dets", "d"}, o, err))
        << err;
    EXPECT_EQ(o.width, 640);
    EXPECT_EQ(o.header, 16);

    // No size; malformed, odd and too small sizes; a header without frames or
    // negative; ground truth with nothing to evaluate; a missing value.
    const std::vector<std::vector<const char *>> bad = {
        {"--frames", "a.nv12"}, {"--size", "640x"}, {"--size", "641x480"}, {"--size", "8x8"},
        {"--header", "4"},      {"--frames", "a", "--size", "64x64", "--header", "-1"},
        {"--gt", "g", "--size", "64x64"}, {"--every", "0"}, {"--out"}, {"--bogus"}};
    for (const auto &args : bad) {
        err.clear();
        EXPECT_FALSE(run(args, o = Options(), err)) << args[0];
        EXPECT_FALSE(err.empty());
    }
}
