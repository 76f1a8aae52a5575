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

ParseResult parse_dets(const std::string &text, MotSequence &seq) {
    std::istringstream in(text);
    return parse_detections(in, "dets.txt", seq);
}

ParseResult parse_gt(const std::string &text, GroundTruth &gt) {
    std::istringstream in(text);
    return parse_ground_truth(in, "gt.txt", gt);
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
    ParseResult r = parse_dets(
        "# detections\n"
        "1,-1,11,21,30,40,0.9,-1,-1,-1\n"
        "\n"
        "  1 , -1 , 101.5 , 1 , 10 , 20 , 0.25\r\n"
        "3\t-1  1 1 5 5 0.5 -1 -1\n",  // white space instead of commas
        det);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.rows, 3);
    ASSERT_TRUE(det.size() == 2 && det[1].size() == 2 && det[3].size() == 1);
    EXPECT_EQ(corners(det[1][0]), (std::vector<float>{10, 20, 40, 60}));  // 1-based to 0-based
    EXPECT_FLOAT_EQ(det[1][0].score, 0.9f);
    EXPECT_FLOAT_EQ(det[1][1].x1, 100.5f);
    EXPECT_EQ(corners(det[3][0]), (std::vector<float>{0, 0, 5, 5}));
    EXPECT_EQ(last_frame(det), 3);

    // Written lines read back; the scene's ground truth is written without
    // classes, so every row is scored.
    MotBox t = at(12, 99.5f);
    t.x2 = 150.25f;
    t.y2 = 80;
    t.score = 0.875f;
    t.cls = 2;
    EXPECT_EQ(format_track_line(7, t), "7,12,100.50,1.00,50.75,80.00,0.875,-1,-1,-1");
    GroundTruth gt2;
    MotSequence det2;
    ASSERT_TRUE(parse_gt(format_gt_line(7, t), gt2).ok);
    ASSERT_TRUE(parse_dets(format_det_line(8, t), det2).ok);
    for (const MotBox &b : {gt2.scored[7][0], det2[8][0]})
        for (int i = 0; i < 4; ++i) EXPECT_NEAR(corners(b)[i], corners(t)[i], 0.01) << i;
    EXPECT_TRUE(gt2.scored[7][0].id == 12 && det2[8][0].score == 0.875f);
}

// Which ground-truth rows are scored, which are "do not evaluate" rows and
// which are dropped, in both conventions.
TEST(MotFormat, GroundTruthConventions) {
    auto ids = [](const MotSequence &seq) {
        std::vector<int> v;
        for (const auto &kv : seq)
            for (const MotBox &b : kv.second) v.push_back(kv.first * 100 + b.id);
        return v;
    };
    // 2015 rows: flag 0 rows are dropped (a box on them is a false
    // positive), also when world coordinates fill the last three columns,
    // whose values must not be taken for a class or a visibility.
    for (Scoring scoring : {Scoring::kDevkit, Scoring::kMotmetrics}) {
        GroundTruth mot15;
        std::istringstream in(
            "1,1,1,1,5,5,1,-1,-1,-1\n"
            "1,2,1,1,5,5,0,-1,-1,-1\n"  // flag 0
            "2,1,1,1,5,5\n"             // no flag: scored
            "2 3 1 1 5 5 1\n"
            "3,4,1,1,5,5,1,-5.0036,11.913,0.69979\n"  // world x, y, z
            "3,5,1,1,5,5,1,2,7,1\n"
            "3,6,1,1,5,5,0,-10.83,27.39,0.46\n");
        ASSERT_TRUE(parse_ground_truth(in, "gt.txt", mot15, scoring).ok);
        EXPECT_EQ(ids(mot15.scored), (std::vector<int>{101, 201, 203, 304, 305}));
        EXPECT_TRUE(mot15.not_evaluated.empty());
        EXPECT_EQ(mot15.dropped, 2);
        EXPECT_FALSE(mot15.has_classes);
    }

    // Classes: 1 pedestrian, 2 person on vehicle, 3 car, 7 static person,
    // 8 distractor, 12 reflection, 9 occluder.
    const std::string rows =
        "1,1,1,1,5,5,1,1,1\n"
        "1,2,1,1,5,5,1,2,0.5\n"
        "1,3,1,1,5,5,1,3,1\n"
        "1,4,1,1,5,5,0,1,0.1\n"  // pedestrian, flag 0
        "1,5,1,1,5,5,1,7,1\n"
        "1,6,1,1,5,5,1,8,1\n"
        "1,7,1,1,5,5,1,12,1\n"
        "1,8,1,1,5,5,0,9,1\n"   // occluder, flag 0
        "1,9,1,1,5,5,1,9,1\n";  // occluder, flag 1
    GroundTruth mot16;
    ASSERT_TRUE(parse_gt(rows, mot16).ok);
    EXPECT_EQ(ids(mot16.scored), (std::vector<int>{101}));
    EXPECT_EQ(ids(mot16.not_evaluated), (std::vector<int>{102, 104, 105, 106, 107, 108}));
    EXPECT_EQ(mot16.dropped, 2);  // the car and the flagged occluder
    EXPECT_TRUE(mot16.has_classes);
    // py-motmetrics scores every flagged row and removes nothing.
    GroundTruth plain;
    std::istringstream again(rows);
    ASSERT_TRUE(parse_ground_truth(again, "gt.txt", plain, Scoring::kMotmetrics).ok);
    EXPECT_EQ(ids(plain.scored), (std::vector<int>{101, 102, 103, 105, 106, 107, 109}));
    EXPECT_TRUE(plain.not_evaluated.empty());
    EXPECT_EQ(plain.dropped, 2);
}

TEST(MotFormat, RejectsMalformedLinesWithTheirNumber) {
    const struct {
        bool gt;
        std::string text, expect;
    } cases[] = {
        // expect: part of the message
        {false, "1,-1,1,1,5,5,0.5\n1,-1,1,1,5,5\n", "dets.txt:2: expected 7 to 10 fields"},
        {false, "\n# c\n1,-1,1,1,5,5,0.5,1,1,1,1\n", "dets.txt:3: expected 7 to 10"},
        {false, "1;-1;1;1;5;5;0.5\n",
         "dets.txt:1: expected 7 to 10 fields separated by commas or white space, found 1"},
        {false, "1,-1,1,1,5,abc,0.5\n", "dets.txt:1: field 6 is not a number: 'abc'"},
        {false, "1,-1,1,1,5 5,0.5,1\n", "field 5 is not a number: '5 5'"},
        {false, "0,-1,1,1,5,5,0.5\n", "dets.txt:1: frame number"},
        {false, "1.5,-1,1,1,5,5,0.5\n", "frame number"},
        {false, "2,-1,1,1,0,5,0.5\n", "width and height must be positive"},
        {false, "2,-1,1,1,5,5,nan\n", "field 7 is not a number"},
        {false, "2,-1,1,1,5,5,inf\n", "field 7 is not a number"},
        {true, "1,1,1,1,5,5,1,1,1\n1,-2,1,1,5,5,1,1,1\n", "gt.txt:2: ground-truth identifier"},
        {true, "1,1,1,1,5,5\n2,1,1,1,5,5\n2,1,3,3,5,5\n",
         "gt.txt:3: identifier 1 appears twice in frame 2"},
        {true, "1,1,1,1,5\n", "gt.txt:1: expected 6 to 10"},
        {true, "1,1,1,1,5,5,1,1,1\n2,1,1,1,5,5,1,-1,-1,-1\n",
         "gt.txt:2: 10 fields (without a class column), unlike the first row"},
        {true, "1,1,1,1,5,5,1,0,1\n", "gt.txt:1: class must be a whole number >= 1"},
    };
    for (const auto &c : cases) {
        MotSequence seq;
        GroundTruth gt;
        const ParseResult r = c.gt ? parse_gt(c.text, gt) : parse_dets(c.text, seq);
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

// Tracker boxes matched to "do not evaluate" rows (a static person, a
// flag-0 pedestrian) are removed before scoring; the matching is one to one
// over all rows of the frame, so a box goes to the row it overlaps best.
TEST(Metrics, DoNotEvaluateRowsTakeTheTrackerBoxesMatchedToThem) {
    GroundTruth gt;
    ASSERT_TRUE(parse_gt("1,1,1,1,10,10,1,1,1\n"    // pedestrian at x 0
                         "1,2,101,1,10,10,1,7,1\n"  // static person at x 100
                         "2,1,1,1,10,10,1,1,1\n"
                         "2,3,4,1,10,10,0,1,0.2\n"  // flag 0 at x 3
                         "3,1,1,1,10,10,1,1,1\n"
                         "3,3,4,1,10,10,0,1,0.2\n",
                         gt)
                    .ok);
    // Frame 1: track 8 sits on the static person (removed), 9 on nothing.
    // Frame 2: track 7 at x 2 overlaps the pedestrian by 8/12 and the flag-0
    // row by 9/11: it goes to the flag-0 row and is removed; the pedestrian
    // is missed (and resumed in frame 3: one fragmentation). Frame 3: two
    // boxes, one per row: track 10 is removed.
    const MotSequence tr{
        {1, {at(7, 0), at(8, 100), at(9, 200)}}, {2, {at(7, 2)}}, {3, {at(7, 0), at(10, 3)}}};
    const TrackingMetrics m = score_against(gt, tr);
    EXPECT_EQ(m.removed, 3);
    EXPECT_EQ(counts(m), (std::vector<long>{2, 1, 1, 0, 1, 2}));
    EXPECT_NEAR(m.mota, 1.0 - 2.0 / 3.0, 1e-12);    // (1 miss + 1 FP) / 3
    EXPECT_NEAR(m.idf1, 2.0 * 2 / (3 + 3), 1e-12);  // 3 track boxes remain
}

// HOTA on sequences worked out by hand (19 thresholds 0.05 .. 0.95).
TEST(Metrics, HotaOnHandWorkedSequences) {
    auto box = [](int id, float x, float w) {
        MotBox b = at(id, x);
        b.x2 = x + w;
        return b;
    };
    // Perfect: every figure 1.
    MotSequence gt, tr;
    for (int f = 1; f <= 3; ++f) gt[f] = {at(1, 0)}, tr[f] = {at(5, 0)};
    TrackingMetrics m = evaluate_tracking(gt, tr);
    EXPECT_DOUBLE_EQ(m.hota, 1.0);
    EXPECT_DOUBLE_EQ(m.loca, 1.0);

    // One object over 4 frames, tracked by 1 then by 2, exact boxes: every
    // threshold has TP 4, DetA 1; each identity pair has A = 2 / (4 + 2 - 2)
    // = 1/2, so AssA = 1/2 and HOTA = sqrt(1/2).
    tr.clear();
    for (int f = 1; f <= 4; ++f) gt[f] = {at(1, 0)}, tr[f] = {at(f <= 2 ? 1 : 2, 0)};
    m = evaluate_tracking(gt, tr);
    EXPECT_NEAR(m.deta, 1.0, 1e-12);
    EXPECT_NEAR(m.assa, 0.5, 1e-12);
    EXPECT_NEAR(m.hota, std::sqrt(0.5), 1e-12);

    // IoU 0.72 in both frames (a box 7.2 wide inside one 10 wide): thresholds
    // up to 0.70 (14 of 19) match with DetA = AssA = 1 and LocA 0.72; the
    // other 5 have TP 0 (DetA 0; LocA counts as 1 without TPs).
    gt = {{1, {at(1, 0)}}, {2, {at(1, 0)}}};
    tr = {{1, {box(3, 0, 7.2f)}}, {2, {box(3, 0, 7.2f)}}};
    m = evaluate_tracking(gt, tr);
    EXPECT_NEAR(m.hota, 14.0 / 19.0, 1e-12);
    EXPECT_NEAR(m.deta, 14.0 / 19.0, 1e-12);
    EXPECT_NEAR(m.loca, (14 * 0.72 + 5) / 19.0, 1e-6);

    // A miss and a false positive: gt A in frames 1-2, track 1 on it in
    // frame 1 only, track 2 far away in frame 2. TP 1, FN 1, FP 1 at every
    // threshold: DetA 1/3; A(A,1) = 1 / (2 + 1 - 1) = 1/2 = AssA.
    gt = {{1, {at(1, 0)}}, {2, {at(1, 0)}}};
    tr = {{1, {at(1, 0)}}, {2, {at(2, 500)}}};
    m = evaluate_tracking(gt, tr);
    EXPECT_NEAR(m.deta, 1.0 / 3.0, 1e-12);
    EXPECT_NEAR(m.assa, 0.5, 1e-12);
    EXPECT_NEAR(m.hota, std::sqrt(1.0 / 6.0), 1e-12);

    // Two sequences: counts add, AssA is weighted by TPs: (4 x 1/2 + 1 x 1/2)
    // / 5 with the second and fourth cases above.
    MotSequence g2, t2;
    for (int f = 1; f <= 4; ++f) g2[f] = {at(1, 0)}, t2[f] = {at(f <= 2 ? 1 : 2, 0)};
    const TrackingMetrics both = combine({evaluate_tracking(g2, t2), m});
    EXPECT_NEAR(both.deta, 5.0 / 7.0, 1e-12);
    EXPECT_NEAR(both.assa, 0.5, 1e-12);
}

// Mostly tracked from 80 % of the frames on, mostly lost up to 20 %; the
// overall row adds counts, it does not average ratios.
TEST(Metrics, TrackedSharesAndOverallRow) {
    MotSequence gt, tr;
    for (int f = 1; f <= 5; ++f) {
        gt[f] = {at(1, 0), at(2, 100), at(3, 200)};
        if (f <= 4) tr[f].push_back(at(11, 0));    // 4 of 5: mostly tracked
        if (f <= 1) tr[f].push_back(at(12, 100));  // 1 of 5: mostly lost
        if (f <= 2) tr[f].push_back(at(13, 200));  // 2 of 5: partly tracked
    }
    const TrackingMetrics a = evaluate_tracking(gt, tr);
    EXPECT_EQ((std::vector<int>{a.mostly_tracked, a.partly_tracked, a.mostly_lost}),
              (std::vector<int>{1, 1, 1}));
    // Second sequence: one object, one box beside it (a miss and a false positive).
    const TrackingMetrics b = evaluate_tracking({{1, {at(1, 0)}}}, {{1, {at(1, 4)}}});
    const TrackingMetrics all = combine({a, b});
    // 16 boxes: 7 matched, 9 missed, 1 false positive. Means of the two
    // sequences' figures would give MOTA (7/15 - 1) / 2.
    EXPECT_EQ(counts(all), (std::vector<long>{7, 9, 1, 0, 0, 7}));
    EXPECT_DOUBLE_EQ(all.mota, 1.0 - 10.0 / 16.0);
    EXPECT_DOUBLE_EQ(all.idf1, 2.0 * 7 / (16 + 8));
    EXPECT_DOUBLE_EQ(all.motp, 1.0);
    EXPECT_EQ((std::vector<int>{all.mostly_tracked, all.partly_tracked, all.mostly_lost}),
              (std::vector<int>{1, 1, 2}));
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
    ASSERT_TRUE(
        run({"--frames", "a.nv12", "--size", "640x480", "--header", "16", "--dets", "d"}, o, err))
        << err;
    EXPECT_EQ(o.width, 640);
    EXPECT_EQ(o.header, 16);
    // Detections alone: any size, or none.
    ASSERT_TRUE(
        run({"--dets", "d", "--size", "1242x375", "--min-score", "-0.5"}, o = Options(), err))
        << err;
    EXPECT_TRUE(o.width == 1242 && o.min_score == -0.5);
    ASSERT_TRUE(run({"--dets", "d", "--gt", "g"}, o = Options(), err)) << err;
    EXPECT_EQ(o.width, 0);
    ASSERT_TRUE(run({"--mot-root", "r", "--length", "5"}, o = Options(), err)) << err;

    // NV12 frames without a size or with an odd one; sizes out of range; a
    // header without frames or negative; ground truth with nothing to
    // evaluate; --mot-root with a single-sequence option; a score that is
    // not a number; a missing value; an unknown option.
    const std::vector<std::vector<const char *>> bad = {
        {"--frames", "a.nv12"},
        {"--frames", "a", "--size", "641x480"},
        {"--size", "641x480"},
        {"--dets", "d", "--size", "0x5"},
        {"--dets", "d", "--size", "16385x5"},
        {"--header", "4"},
        {"--frames", "a", "--size", "64x64", "--header", "-1"},
        {"--gt", "g"},
        {"--mot-root", "r", "--dets", "d"},
        {"--min-score", "nan"},
        {"--every", "0"},
        {"--out"},
        {"--bogus"}};
    for (const auto &args : bad) {
        err.clear();
        EXPECT_FALSE(run(args, o = Options(), err)) << args[0] << " " << args.size();
        EXPECT_FALSE(err.empty());
    }
}
