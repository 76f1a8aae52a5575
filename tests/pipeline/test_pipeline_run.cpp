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

#include "support.h"

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
        EXPECT_TRUE(tr[i].frame == 10 + static_cast<int>(i) && tr[i].id == 0) << i;
        EXPECT_NEAR(tr[i].x, 10 + tr[i].frame, 1.5);
        EXPECT_NEAR(tr[i].w, 20, 1.5);
    }
    const std::string js = slurp("o/summary.json");
    EXPECT_NE(js.find("\"ground_truth\": null"), std::string::npos);
    EXPECT_EQ(json_number(js, "input", "frames"), 12);
    for (const char *f :
         {"o/frames/frame_000001.png", "o/frames/frame_000006.png", "o/frames/frame_000011.png",
          "o/contact_sheet.png", "o/snapshots/track_0000.png"})
        EXPECT_TRUE(is_png(f)) << f;
}

TEST(PipelineRun, BadInputGivesAClearMessageAndNonZeroExit) {
    qevo_test::ScratchDir dir;
    write_file("rec.nv12", std::string(64 * 48 * 3 / 2 * 2 + 5, 'x'));  // 2 frames + 5 bytes
    write_file("ok.nv12", std::string(64 * 48 * 3 / 2, 'x'));
    write_file("det.txt", "1,-1,1,1,10,10,0.9\n\n1,-1,1,1,10\n");
    write_file("not_a_folder", "x");
    const struct { std::string args; int code; std::string message; } cases[] = {
        {"--frames missing.nv12 --size 64x48", 1, "cannot open frames file 'missing.nv12'"},
        {"--frames rec.nv12 --size 64x48", 1, "does not match --size 64x48"},
        {"--frames ok.nv12 --size 64x48 --header 9999", 1, "shorter than its 9999-byte header"},
        {"--frames ok.nv12 --size 64x48 --dets det.txt", 1, "det.txt:3:"},
        {"--frames ok.nv12 --size 64x48 --gt missing.txt", 1, "missing.txt: cannot open"},
        {"--frames ok.nv12 --size 64x48 --out not_a_folder", 1, "not_a_folder"},
        {"--frames ok.nv12 --size 64x48 --out not_a_folder/sub", 1, "cannot create folder"},
        {"--frames ok.nv12", 2, "--size WxH is required"},
        {"--whatever", 2, "unknown argument"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(run(c.args), c.code) << c.args;
        const std::string err = slurp("stderr.txt");
        EXPECT_NE(err.find(c.message), std::string::npos) << c.args << " -> " << err;
        EXPECT_EQ(err.find("Sanitizer"), std::string::npos) << err;
    }
}
