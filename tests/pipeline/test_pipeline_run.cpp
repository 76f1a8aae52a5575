// End-to-end runs of the qevo_pipeline program: the built-in scene, a user
// recording, and the error exits.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <iterator>
#include <string>
#include <vector>

#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

namespace {

// Runs the program with `args` in the working directory; returns its exit code.
int run(const std::string &args) {
    const std::string cmd =
        std::string(QEVO_PIPELINE_BIN) + " " + args + " --no-progress >stdout.txt 2>stderr.txt";
    const int st = std::system(cmd.c_str());
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

std::string slurp(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void write_file(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

bool is_png(const std::string &path) {
    const std::string s = slurp(path);
    return s.size() > 8 && s.compare(0, 8, "\x89PNG\r\n\x1a\n") == 0;
}

// Number stored under "key" in the first object named "section" ("" for
// the top level) of the summary.
double json_number(const std::string &json, const std::string &section, const std::string &key) {
    const size_t from = section.empty() ? 0 : json.find("\"" + section + "\": {");
    if (from == std::string::npos) return NAN;
    const size_t k = json.find("\"" + key + "\": ", from);
    if (k == std::string::npos) return NAN;
    return std::strtod(json.c_str() + k + key.size() + 4, nullptr);
}

struct Line {
    int frame, id;
    double x, y, w, h;
};

std::vector<Line> read_mot(const std::string &path) {
    std::vector<Line> out;
    std::ifstream in(path);
    std::string s;
    while (std::getline(in, s)) {
        Line l{};
        if (std::sscanf(s.c_str(), "%d,%d,%lf,%lf,%lf,%lf", &l.frame, &l.id, &l.x, &l.y, &l.w,
                        &l.h) == 6)
            out.push_back(l);
        else
            ADD_FAILURE() << path << ": unreadable line '" << s << "'";
    }
    return out;
}

}  // namespace

TEST(PipelineRun, BuiltInSceneWritesEveryOutputWithSaneNumbers) {
    qevo_test::ScratchDir dir;
    ASSERT_EQ(run("--scene-frames 60 --size 640x360 --every 20 --out result"), 0)
        << slurp("stderr.txt");
    for (const char *f :
         {"summary.json", "tracks.txt", "tracks_inplace.txt", "servo.csv", "gt.txt", "det.txt"})
        EXPECT_GT(slurp(std::string("result/") + f).size(), 0u) << f;
    for (const char *f : {"contact_sheet.png", "preview.png", "frames/frame_000001.png",
                          "frames/frame_000021.png", "frames/frame_000041.png"})
        EXPECT_TRUE(is_png(std::string("result/") + f)) << f;
    EXPECT_FALSE(std::ifstream("result/frames/frame_000002.png").good()) << "every 20th only";

    const std::string js = slurp("result/summary.json");
    EXPECT_EQ(json_number(js, "input", "frames"), 60);

    // Ground truth as written by the program, counted here independently.
    const std::vector<Line> gt = read_mot("result/gt.txt");
    std::set<int> gt_ids;
    for (const Line &l : gt) {
        gt_ids.insert(l.id);
        EXPECT_TRUE(l.frame >= 1 && l.frame <= 60) << l.frame;
    }
    EXPECT_GE(gt_ids.size(), 3u);
    EXPECT_EQ(json_number(js, "ground_truth", "objects"), static_cast<double>(gt_ids.size()));
    EXPECT_EQ(json_number(js, "ground_truth", "boxes"), static_cast<double>(gt.size()));

    // Tracks: count and identifiers agree with the summary; one snapshot per track.
    const std::vector<Line> tr = read_mot("result/tracks.txt");
    std::set<int> tr_ids;
    for (const Line &l : tr) {
        tr_ids.insert(l.id);
        EXPECT_GE(l.frame, 10) << "a track is reported from its tenth frame on";
        EXPECT_TRUE(l.w > 0 && l.h > 0) << l.frame << " " << l.id;
    }
    EXPECT_EQ(json_number(js, "", "tracks"), static_cast<double>(tr_ids.size()));
    EXPECT_EQ(json_number(js, "tracker", "track_boxes"), static_cast<double>(tr.size()));
    for (int id : tr_ids) {
        char name[64];
        std::snprintf(name, sizeof name, "result/snapshots/track_%04d.png", id);
        EXPECT_TRUE(is_png(name)) << name;
    }

    for (const char *k : {"mota", "idf1"}) {
        EXPECT_GT(json_number(js, "tracker", k), 0.5) << k;
        EXPECT_LE(json_number(js, "tracker", k), 1.0) << k;
    }
    EXPECT_GT(json_number(js, "tracker_inplace", "mota"), 0.5);
    EXPECT_GE(json_number(js, "detections", "raw"), json_number(js, "detections", "after_nms"));
    EXPECT_NE(slurp("stdout.txt").find("MOTA"), std::string::npos);
}

TEST(PipelineRun, UserRecordingWithHeaderAndDetections) {
    qevo_test::ScratchDir dir;
    // 12 grey 64 x 48 NV12 frames after a 32-byte header; one detection per
    // frame moving right by one pixel.
    const int w = 64, h = 48, n = 12, header = 32;
    std::string raw(header, 'H'), det;
    for (int f = 1; f <= n; ++f) {
        raw += std::string(w * h * 3 / 2, static_cast<char>(99 + f));
        det += std::to_string(f) + ",-1," + std::to_string(10 + f) + ",11,20,30,0.9,-1,-1,-1\n";
    }
    write_file("rec.nv12", raw);
    write_file("det.txt", det);
    qevo_test::set_marker("AI_WRITE", true);  // ask for one frame dump
    ASSERT_EQ(run("--frames rec.nv12 --size 64x48 --header 32 --dets det.txt --out o --every 5"), 0)
        << slurp("stderr.txt");
    // The first frame went to the dump, header excluded; the marker is used up.
    EXPECT_EQ(slurp("img.nv12"), std::string(w * h * 3 / 2, static_cast<char>(100)));
    EXPECT_FALSE(std::ifstream("AI_WRITE").good());
    // The in-place tracker's progress lines do not reach the program's output.
    EXPECT_EQ(slurp("stdout.txt").find("objtracker"), std::string::npos) << slurp("stdout.txt");
    // The single track is established after ten observations: frames 10, 11, 12.
    const std::vector<Line> tr = read_mot("o/tracks.txt");
    ASSERT_EQ(tr.size(), 3u);
    for (size_t i = 0; i < tr.size(); ++i) {
        EXPECT_TRUE(tr[i].frame == 10 + static_cast<int>(i) && tr[i].id == 1) << i;
        EXPECT_NEAR(tr[i].x, 10 + tr[i].frame, 1.5);
        EXPECT_NEAR(tr[i].w, 20, 1.5);
    }
    const std::string js = slurp("o/summary.json");
    EXPECT_NE(js.find("\"ground_truth\": null"), std::string::npos);
    EXPECT_EQ(json_number(js, "input", "frames"), 12);
    for (const char *f :
         {"o/frames/frame_000001.png", "o/frames/frame_000006.png", "o/frames/frame_000011.png",
          "o/contact_sheet.png", "o/snapshots/track_0001.png"})
        EXPECT_TRUE(is_png(f)) << f;
}

TEST(PipelineRun, BadInputGivesAClearMessageAndNonZeroExit) {
    qevo_test::ScratchDir dir;
    write_file("rec.nv12", std::string(64 * 48 * 3 / 2 * 2 + 5, 'x'));  // 2 frames + 5 bytes
    write_file("ok.nv12", std::string(64 * 48 * 3 / 2, 'x'));
    write_file("det.txt", "1,-1,1,1,10,10,0.9\n\n1,-1,1,1,10\n");
    write_file("not_a_folder", "x");
    const struct {
        std::string args;
        int code;
        std::string message;
    } cases[] = {
        {"--frames missing.nv12 --size 64x48", 1, "cannot open frames file 'missing.nv12'"},
        {"--frames rec.nv12 --size 64x48", 1, "does not match --size 64x48"},
        {"--frames ok.nv12 --size 64x48 --header 9999", 1, "shorter than its 9999-byte header"},
        {"--frames ok.nv12 --size 64x48 --dets det.txt", 1, "det.txt:3:"},
        {"--frames ok.nv12 --size 64x48 --gt missing.txt", 1, "missing.txt: cannot open"},
        {"--frames ok.nv12 --size 64x48 --out not_a_folder", 1, "not_a_folder"},
        {"--frames ok.nv12 --size 64x48 --out not_a_folder/sub", 1, "cannot create folder"},
        {"--frames ok.nv12", 2, "--size WxH is required"},
        {"--whatever", 2, "--whatever"},
        {"--mot-root missing", 1, "cannot read folder 'missing'"},
        {"--mot-root .", 1, "no sequence folders"},
        {"--mot-root bad --out o", 1, "bad/B/gt/gt.txt:3: field 3 is not a number"},
        {"--mot-root bad2 --out o", 1, "bad2/A/seqinfo.ini: imWidth must be a whole number"},
        {"--mot-root bad3 --out o", 1, "bad3/A/det/det.txt: cannot open file"},
    };
    // Benchmark folders with a bad ground-truth line in the second sequence,
    // a size missing from seqinfo.ini, and no detections.
    std::system(("for d in bad bad2 bad3; do cp -r " + std::string(QEVO_MOT_TREE) +
                 " $d; mv $d/TINY-01 $d/A; mv $d/TINY-02 $d/B; done; "
                 "sed -i '3s/,91,/,91x,/' bad/B/gt/gt.txt; sed -i '/imWidth/d' bad2/A/seqinfo.ini; "
                 "rm bad3/A/det/det.txt")
                    .c_str());
    for (const auto &c : cases) {
        EXPECT_EQ(run(c.args), c.code) << c.args;
        const std::string err = slurp("stderr.txt");
        EXPECT_NE(err.find(c.message), std::string::npos) << c.args << " -> " << err;
        EXPECT_EQ(err.find("Sanitizer"), std::string::npos) << err;
    }
    EXPECT_FALSE(std::ifstream("o/A.txt").good()) << "inputs are checked before any output";
}

// The library gives identifier 1 to B (frames 1-12) and, once B is deleted,
// again to C (from frame 19): B misses frames 13-18, its miss balance passes 5
// at frame 18. C scores above A, so the suppression puts it first and the
// in-place tracker numbers it 0 + 1 + 0 = 1 as well. Each trajectory must
// keep its own identifier: A 1, B 2, C 3, in the order of their first report.
TEST(PipelineRun, ReusedLibraryIdentifierGetsItsOwnTrackIdentifier) {
    qevo_test::ScratchDir dir;
    std::string det;
    for (int f = 1; f <= 30; ++f) {
        det += std::to_string(f) + ",-1,11,11,20,40,0.8,-1,-1,-1\n";
        if (f <= 12) det += std::to_string(f) + " -1 61 11 20 40 0.8 -1 -1 -1\n";
        if (f >= 19) det += std::to_string(f) + ",-1,111,11,20,40,0.9,-1,-1,-1\n";
    }
    write_file("det.txt", det);
    ASSERT_EQ(run("--dets det.txt --out o"), 0) << slurp("stderr.txt");  // size from the boxes
    // A reported in frames 10-30; B in 10-17 (stale but not yet deleted
    // from frame 13 on, reported at its predicted box); C in 28-30.
    for (const char *file : {"o/tracks.txt", "o/tracks_inplace.txt"}) {
        std::map<int, std::vector<int>> frames;  // id -> frames
        for (const Line &l : read_mot(file)) frames[l.id].push_back(l.frame);
        ASSERT_EQ(frames.size(), 3u) << file;
        EXPECT_TRUE(frames[1].size() == 21 && frames[1].front() == 10) << file;
        EXPECT_TRUE(frames[2].size() == 8 && frames[2].back() == 17) << file;
        EXPECT_EQ(frames[3], (std::vector<int>{28, 29, 30})) << file;
    }
    const auto js = nlohmann::json::parse(slurp("o/summary.json"));
    for (const char *tracker : {"tracker", "tracker_inplace"})
        EXPECT_EQ(js[tracker]["identifiers"],
                  nlohmann::json::parse(
                      R"({"trajectories": 3, "library_ids_reused": 1, "remapped": 1})"));
    EXPECT_EQ(js["input"]["width"], 130);  // x 110 + 20
    EXPECT_EQ(js["input"]["height"], 50);
    EXPECT_TRUE(is_png("o/snapshots/track_0003.png"));
}

// The made-up benchmark folder tests/pipeline/mot_tree, with --min-score 0.5:
//   TINY-01 (101x75, 12 frames, ground truth without classes): one object
//     detected in every frame, reported from frame 10: 3 of 12 boxes matched,
//     9 missed; a second detection scoring 0.2 is dropped.
//     MOTA 1 - 9/12 = .25, IDF1 2*3/(12+3) = .4, IDP 1, IDR .25, PT 1.
//   TINY-02 (160x120, 15 frames, classes): a pedestrian, a static person, a
//     car and a flag-0 pedestrian, all detected in every frame and reported
//     in frames 10-15. The static person's and the flag-0 row's tracks are
//     removed (12 boxes); the car's 6 boxes are false positives.
//     MOTA 1 - (9+6)/15 = 0, IDF1 2*6/(15+12) = .4444, IDP .5, IDR .4, PT 1.
//   OVERALL (27 frames): MOTA 1 - (18+6)/27 = .1111, IDF1 2*9/(27+15) =
//     .4286, IDP 9/15 = .6, IDR 9/27 = .3333, PT 2. MOTP is 1 throughout (the
//     tracks sit exactly on the detections, which sit on the ground truth).
TEST(PipelineRun, MotRootRunsEverySequenceAndWritesTheTable) {
    qevo_test::ScratchDir dir;
    ASSERT_EQ(run(std::string("--mot-root ") + QEVO_MOT_TREE + " --out o --min-score 0.5"), 0)
        << slurp("stderr.txt");
    const std::vector<std::string> want = {
        "sequence,tracker,frames,MOTA,MOTP,IDF1,HOTA,DetA,AssA,LocA,IDP,IDR,IDSW,Frag,MT,PT,ML,FP,"
        "FN",
        "TINY-01,exact,12,0.250000,1.000000,0.400000,0.250000,0.250000,0.250000,1.000000,1.000000,"
        "0.250000,0,0,0,1,0,0,9",
        "TINY-02,exact,15,0.000000,1.000000,0.444444,0.338062,0.285714,0.400000,1.000000,0.500000,"
        "0.400000,0,0,0,1,0,6,9",
        "OVERALL,exact,27,0.111111,1.000000,0.428571,0.308957,0.272727,0.350000,1.000000,0.600000,"
        "0.333333,0,0,0,2,0,6,18",
        "TINY-01,motion,12,1.000000,1.000000,1.000000,1.000000,1.000000,1.000000,1.000000,1.000000,"
        "1.000000,0,0,1,0,0,0,0",
        "TINY-02,motion,15,0.000000,1.000000,0.666667,0.707107,0.500000,1.000000,1.000000,0.500000,"
        "1.000000,0,0,1,0,0,15,0",
        "OVERALL,motion,27,0.444444,1.000000,0.782609,0.801784,0.642857,1.000000,1.000000,0.642857,"
        "1.000000,0,0,2,0,0,15,0"};
    std::istringstream csv(slurp("o/summary.csv"));
    std::string line;
    for (const std::string &w : want) {
        ASSERT_TRUE(std::getline(csv, line));
        EXPECT_EQ(line.substr(0, line.rfind(',')), w);  // the last column is a time
    }
    const auto js = nlohmann::json::parse(slurp("o/summary.json"));
    const auto &exact = js["trackers"]["exact"];
    EXPECT_EQ(exact["sequences"].size(), 2u);
    EXPECT_EQ(exact["sequences"][1]["removed_on_not_evaluated"], 12);
    EXPECT_EQ(exact["overall"]["misses"], 18);
    EXPECT_EQ(js["trackers"]["motion"]["overall"]["false_positives"], 15);
    EXPECT_NE(slurp("stdout.txt").find("OVERALL"), std::string::npos);
    EXPECT_EQ(read_mot("o/exact/TINY-01.txt").size(), 3u);
    EXPECT_EQ(read_mot("o/exact/TINY-02.txt").size(), 24u);
    EXPECT_EQ(read_mot("o/motion/TINY-01.txt").size(), 12u);

    // One tracker: its files straight in the output folder. With
    // py-motmetrics' scoring, the static person and the flag-0 row are
    // scored or dropped, and nothing is removed.
    ASSERT_EQ(run(std::string("--mot-root ") + QEVO_MOT_TREE +
                  " --out m --min-score 0.5 --tracker motion --scoring motmetrics"),
              0)
        << slurp("stderr.txt");
    const auto mj = nlohmann::json::parse(slurp("m/summary.json"));
    EXPECT_EQ(mj["scoring"], "motmetrics");
    EXPECT_FALSE(mj["trackers"].contains("exact"));
    EXPECT_EQ(mj["trackers"]["motion"]["sequences"][1]["removed_on_not_evaluated"], 0);
    // The pedestrian, the static person and the car (flag 1), 15 frames each.
    EXPECT_EQ(mj["trackers"]["motion"]["sequences"][1]["gt_boxes"], 45);
    EXPECT_EQ(read_mot("m/TINY-02.txt").size(), 60u);

    // A single run on TINY-01's files finds its seqinfo.ini and gives the same figures.
    const std::string seq = std::string(QEVO_MOT_TREE) + "/TINY-01/";
    ASSERT_EQ(
        run("--dets " + seq + "det/det.txt --gt " + seq + "gt/gt.txt --min-score 0.5 --out s"), 0)
        << slurp("stderr.txt");
    const auto one = nlohmann::json::parse(slurp("s/summary.json"));
    EXPECT_EQ(one["input"]["width"], 101);
    EXPECT_EQ(one["input"]["frames"], 12);
    EXPECT_EQ(one["detections"]["below_min_score"], 12);
    EXPECT_DOUBLE_EQ(one["tracker"]["mota"].get<double>(), 0.25);
    EXPECT_DOUBLE_EQ(one["tracker_motion"]["mota"].get<double>(), 1.0);
}

// A synthetic recording of four walkers, panned: the servo file follows the
// view's offset, boxes move into the view and leave it when less than half
// shows, and the motion tracker, given the angles, tracks the panned view
// exactly as it tracks the same rows seen without the shift. Without the
// angles it does worse.
TEST(PipelineRun, VirtualPanIsCompensatedExactly) {
    qevo_test::ScratchDir dir;
    std::system("mkdir -p seq/det seq/gt");
    write_file("seq/seqinfo.ini",
               "[Sequence]\nname=SYN\nseqLength=80\nimWidth=400\nimHeight=300\n");
    std::string det, gt;
    for (int f = 1; f <= 80; ++f)
        for (int k = 0; k < 4; ++k) {
            const int x = 20 + 90 * k + (k % 2 ? f : -f / 2), y = 60 + 40 * (k % 2);
            char box[64];
            std::snprintf(box, sizeof box, "%d,%d,30,70", x + 1, y + 1);
            gt += std::to_string(f) + "," + std::to_string(k + 1) + "," + box + ",1,1,1\n";
            if ((f + k) % 9 != 0) det += std::to_string(f) + ",-1," + box + ",0.95\n";
        }
    write_file("seq/det/det.txt", det);
    write_file("seq/gt/gt.txt", gt);
    const std::string pan = std::string(QEVO_VIRTUAL_PAN_BIN) + " seq ";
    ASSERT_EQ(std::system((pan + "root/SEQ --speed 20 --resolution 0.1 > /dev/null").c_str()), 0);
    ASSERT_EQ(std::system((pan + "flat/SEQ --speed 20 --unshifted > /dev/null").c_str()), 0);

    // View 240 x 180, room 160 x 120: offset x = 80 (1 - cos(2 pi (f-1) / P)),
    // P = pi 160 / 20; azimuth 350 + 0.1 x offset.
    const double P = 3.14159265358979 * 160 / 20, P_y = 3.14159265358979 * 120 / 8;
    EXPECT_NE(slurp("root/SEQ/seqinfo.ini").find("imWidth=240"), std::string::npos);
    EXPECT_NE(slurp("root/SEQ/seqinfo.ini").find("servoResolution=0.1"), std::string::npos);
    std::ifstream servo("root/SEQ/servo.txt");
    int lines = 0, f = 0;
    double az = 0, pt = 0;
    while (servo >> f) {
        char sep;
        servo >> sep >> az >> sep >> pt;
        ++lines;
        const double ox = 80 * (1 - std::cos(2 * 3.14159265358979 * (f - 1) / P));
        const double oy = 60 * (1 - std::cos(2 * 3.14159265358979 * (f - 1) / P_y));
        EXPECT_NEAR(az, std::fmod(350 + 0.1 * ox, 360.0), 1e-5) << f;
        EXPECT_NEAR(pt, 10 - 0.1 * oy, 1e-5) << f;
    }
    EXPECT_EQ(lines, 80);
    EXPECT_FALSE(std::ifstream("flat/SEQ/servo.txt").good());
    // Every kept box lies inside the view; unshifted rows are the same rows
    // moved back by the frame's offset.
    const std::vector<Line> panned = read_mot("root/SEQ/gt/gt.txt"),
                            flat = read_mot("flat/SEQ/gt/gt.txt");
    ASSERT_EQ(panned.size(), flat.size());
    ASSERT_GT(panned.size(), 100u);
    ASSERT_LT(panned.size(), 320u);  // some walkers leave the view
    for (size_t i = 0; i < panned.size(); ++i) {
        const Line &a = panned[i], &b = flat[i];
        EXPECT_TRUE(a.x >= 1 && a.x - 1 + a.w <= 240.0005 && a.y >= 1 && a.y - 1 + a.h <= 180.0005);
        const double ox = 80 * (1 - std::cos(2 * 3.14159265358979 * (a.frame - 1) / P));
        EXPECT_NEAR(b.x - a.x, ox, 2e-3);
        EXPECT_TRUE(a.id == b.id && a.w == b.w);
    }

    ASSERT_EQ(run("--mot-root root --tracker motion --out pr"), 0) << slurp("stderr.txt");
    ASSERT_EQ(run("--mot-root flat --tracker motion --out fr"), 0) << slurp("stderr.txt");
    std::system("sed -i '/servoResolution/d' root/SEQ/seqinfo.ini; rm root/SEQ/servo.txt");
    ASSERT_EQ(run("--mot-root root --tracker motion --out nr"), 0) << slurp("stderr.txt");
    const auto figures = [](const std::string &dir) {
        return nlohmann::json::parse(slurp(dir + "/summary.json"))["trackers"]["motion"]["overall"];
    };
    const auto p = figures("pr"), q = figures("fr"), n = figures("nr");
    for (const char *k : {"mota", "idf1", "hota"})
        EXPECT_NEAR(p[k].get<double>(), q[k].get<double>(), 1e-9) << k;
    EXPECT_EQ(p["id_switches"], q["id_switches"]);
    EXPECT_GT(q["idf1"].get<double>(), 0.6) << n["idf1"];
    EXPECT_LT(n["idf1"].get<double>(), q["idf1"].get<double>() - 0.05);
}

namespace {

// A 320 x 240 recording written with OpenCV: a grey ground with a few
// squares, and a bright 30 x 60 "walker" moving 3 pixels right and 1 down
// per frame from (60, 80). Its detections (the walker, one far square) go to
// `dets` in the recording's coordinates, MOTChallenge format.
void write_walk(const std::string &video, const std::string &dets, int frames) {
    cv::VideoWriter w(video, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 25, cv::Size(320, 240));
    ASSERT_TRUE(w.isOpened());
    std::string text;
    for (int f = 1; f <= frames; ++f) {
        cv::Mat img(240, 320, CV_8UC3, cv::Scalar(90, 100, 110));
        for (int k = 0; k < 6; ++k)
            cv::rectangle(img, cv::Rect(20 + 50 * k, 20 + 30 * (k % 3), 12, 12),
                          cv::Scalar(40, 160, 40), -1);
        const int x = 60 + 3 * (f - 1), y = 80 + (f - 1);
        cv::rectangle(img, cv::Rect(x, y, 30, 60), cv::Scalar(230, 230, 250), -1);
        w.write(img);
        text += std::to_string(f) + ",-1," + std::to_string(x + 1) + "," + std::to_string(y + 1) +
                ",30,60,0.95\n";
        text += std::to_string(f) + ",-1,281,181,12,12,0.95\n";
    }
    write_file(dets, text);
}

}  // namespace

// The video path with a detection file: the view (60 % of each side) follows
// the walker, the outputs tell the same story in view and recording
// coordinates, and the summary has every stage.
TEST(PipelineRun, VideoWithDetectionsFollowsTheTarget) {
    qevo_test::ScratchDir dir;
    write_walk("walk.avi", "det.txt", 40);
    ASSERT_EQ(run("--video walk.avi --dets det.txt --out o --slew 1 --resolution 0.1 --every 10"),
              0)
        << slurp("stderr.txt");
    EXPECT_TRUE(slurp("o/view.mp4").size() > 1000 || slurp("o/view.avi").size() > 1000);
    EXPECT_TRUE(is_png("o/contact_sheet.png") && is_png("o/frames/frame_000031.png"));
    EXPECT_FALSE(std::ifstream("o/.partial/summary.json").good());
    const auto js = nlohmann::json::parse(slurp("o/summary.json"));
    EXPECT_EQ(js["input"]["frames"], 40);
    EXPECT_EQ(js["view"]["width"], 192);
    EXPECT_EQ(js["view"]["height"], 144);
    for (const char *stage :
         {"decode", "layout", "detector", "suppression", "tracker", "servo", "drawing"})
        EXPECT_TRUE(js["stages_ms"].contains(stage)) << stage;

    // view.txt: one window per frame; tracks_scene = tracks + the window.
    std::map<int, std::pair<double, double>> corner;  // frame -> left, top
    std::istringstream views(slurp("o/view.txt"));
    for (std::string line; std::getline(views, line);) {
        int f = 0, left = 0, top = 0, w = 0, h = 0;
        ASSERT_EQ(std::sscanf(line.c_str(), "%d,%d,%d,%d,%d", &f, &left, &top, &w, &h), 5) << line;
        EXPECT_TRUE(w == 192 && h == 144);
        corner[f] = {left, top};
    }
    ASSERT_EQ(corner.size(), 40u);
    const std::vector<Line> view = read_mot("o/tracks.txt"), scene = read_mot("o/tracks_scene.txt");
    ASSERT_EQ(view.size(), scene.size());
    ASSERT_GT(view.size(), 30u);
    int settled = 0;
    for (size_t i = 0; i < view.size(); ++i) {
        const Line &v = view[i], &s = scene[i];
        EXPECT_NEAR(s.x - v.x, corner[v.frame].first - 1, 0.011);
        EXPECT_NEAR(s.y - v.y, corner[v.frame].second - 1, 0.011);
        // Once settled the walker (30 x 60) sits at the view's centre (96, 72).
        if (v.frame > 20 && v.w < 40) {
            EXPECT_NEAR(v.x - 1 + v.w / 2, 96, 6) << v.frame;
            EXPECT_NEAR(v.y - 1 + v.h / 2, 72, 6) << v.frame;
            ++settled;
        }
    }
    EXPECT_GE(settled, 15);
    // The window moved at most 1 degree, 10 pixels (+2 for even rounding), a frame.
    for (const auto &kv : corner)
        if (corner.count(kv.first - 1)) {
            EXPECT_LE(std::abs(kv.second.first - corner[kv.first - 1].first), 12);
            EXPECT_LE(std::abs(kv.second.second - corner[kv.first - 1].second), 12);
        }
}

// Recordings that cannot be used, and one that breaks off.
TEST(PipelineRun, VideoBadInput) {
    qevo_test::ScratchDir dir;
    write_walk("walk.avi", "det.txt", 30);
    write_file("garbage.avi", std::string(5000, 'x'));
    write_file("late.txt", "99,-1,1,1,10,10,0.9\n");
    const struct {
        std::string args;
        std::string message;
    } cases[] = {
        {"--video missing.avi --out o", "cannot open video 'missing.avi'"},
        {"--video garbage.avi --out o", "garbage.avi"},
        {"--video walk.avi --dets late.txt --out o", "beyond the 30 frames"},
        {"--video walk.avi --frames x.nv12 --out o", "--video cannot be combined"},
    };
    for (const auto &c : cases) {
        EXPECT_NE(run(c.args), 0) << c.args;
        EXPECT_NE(slurp("stderr.txt").find(c.message), std::string::npos)
            << c.args << " -> " << slurp("stderr.txt");
        EXPECT_FALSE(std::ifstream("o/summary.json").good()) << c.args;
    }
    // Cut short: the frames that decode are used, with a warning.
    const std::string whole = slurp("walk.avi");
    write_file("cut.avi", whole.substr(0, whole.size() / 2));
    ASSERT_EQ(run("--video cut.avi --dets det.txt --out o"), 0) << slurp("stderr.txt");
    const auto js = nlohmann::json::parse(slurp("o/summary.json"));
    EXPECT_LT(js["input"]["frames"].get<int>(), 30);
    EXPECT_GT(js["input"]["frames"].get<int>(), 0);
    EXPECT_TRUE(js["input"]["decoding_stopped_early"].get<bool>());
    EXPECT_NE(slurp("stderr.txt").find("stopped after"), std::string::npos);
}
