// Debug trace gate, marker files, frame dumps, debug log and timing.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "support.h"
#include "utils.h"

using qevo_test::capture_stdout;
using qevo_test::ScratchDir;
using qevo_test::set_marker;

namespace {

bool exists(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

bool is_dir(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::vector<unsigned char> read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

// Number of entries in the working directory other than "." and "..".
int entries_here() {
    DIR *d = opendir(".");
    if (d == nullptr) return -1;
    int n = 0;
    while (const dirent *e = readdir(d))
        if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0) ++n;
    closedir(d);
    return n;
}

QEVO::ImgMat frame(unsigned char *data, int w, int h, int depth, QEVO::INPUT_LAYOUT fmt) {
    QEVO::ImgMat m;
    m.data = data;
    m.width = w;
    m.height = h;
    m.depth = depth;
    m.inlayout = fmt;
    return m;
}

// True when `out` is exactly one traced line of grab_image carrying `message`:
// "\n[DEBUG:<path ending in debug_trace.cpp>:<line>->grab_image] <message>".
bool is_traced_line(const std::string &out, const std::string &message) {
    const std::string head = "\n[DEBUG:";
    const std::string tail = "->grab_image] " + message;
    if (out.size() < head.size() + tail.size()) return false;
    if (out.compare(0, head.size(), head) != 0) return false;
    if (out.compare(out.size() - tail.size(), tail.size(), tail) != 0) return false;
    const std::string where = out.substr(head.size(), out.size() - head.size() - tail.size());
    const size_t colon = where.rfind(':');
    if (colon == std::string::npos || colon + 1 == where.size()) return false;
    for (size_t i = colon + 1; i < where.size(); ++i)
        if (where[i] < '0' || where[i] > '9') return false;
    const std::string file = where.substr(0, colon);
    const std::string name = "debug_trace.cpp";
    return file.size() >= name.size() &&
           file.compare(file.size() - name.size(), name.size(), name) == 0 &&
           file.find_first_of("\n[]") == std::string::npos;
}

}  // namespace

// The gate is tested per message: the same call is silent, then traced, then
// silent again as ./AI_DEBUG comes and goes, and the result never changes.
TEST(DebugTrace, GateFollowsMarkerPerMessage) {
    ScratchDir dir;
    const QEVO::ImgMat empty = frame(nullptr, 4, 2, 3, QEVO::RGB);
    const std::string no_data = "grab xq_video_frame data not support for now";

    int ret = -5;
    set_marker("AI_WRITE", true);
    std::string out = capture_stdout([&] { ret = KIVEX::grab_image(empty); });
    EXPECT_EQ(0, ret);
    EXPECT_EQ("", out);

    set_marker("AI_DEBUG", true);
    set_marker("AI_WRITE", true);
    out = capture_stdout([&] { ret = KIVEX::grab_image(empty); });
    EXPECT_EQ(0, ret);
    EXPECT_TRUE(is_traced_line(out, no_data)) << "[" << out << "]";

    set_marker("AI_DEBUG", false);
    set_marker("AI_WRITE", true);
    out = capture_stdout([&] { ret = KIVEX::grab_image(empty); });
    EXPECT_EQ(0, ret);
    EXPECT_EQ("", out);
    EXPECT_FALSE(exists("AI_WRITE"));

    // A frame of the semi-planar format traces the same message.
    set_marker("AI_DEBUG", true);
    set_marker("AI_WRITE", true);
    out = capture_stdout([&] { ret = KIVEX::grab_image(frame(nullptr, 4, 2, 1, QEVO::NV12)); });
    EXPECT_TRUE(is_traced_line(out, no_data)) << "[" << out << "]";
    EXPECT_TRUE(exists("img.nv12"));
    EXPECT_EQ(0u, read_file("img.nv12").size());
}

// Ungated lines print with neither the marker nor the prefix.
TEST(DebugTrace, UngatedLineIgnoresMarker) {
    ScratchDir dir;
    set_marker("blocker", true);  // a file where a directory is needed
    for (bool on : {false, true}) {
        set_marker("AI_DEBUG", on);
        FILE *fp = reinterpret_cast<FILE *>(1);
        const std::string out =
            capture_stdout([&] { fp = KIVEX::create_debuginfo("blocker/logs"); });
        EXPECT_EQ(nullptr, fp);
        EXPECT_EQ("debug log open error\n", out) << "marker " << on;
    }
}

TEST(DebugTrace, IsFileExist) {
    ScratchDir dir;
    set_marker("plain", true);
    ASSERT_EQ(0, mkdir("sub", 0755));
    EXPECT_EQ(1, KIVEX::IsFileExist("plain"));
    EXPECT_EQ(1, KIVEX::IsFileExist("./plain"));
    EXPECT_EQ(1, KIVEX::IsFileExist("sub"));
    EXPECT_EQ(1, KIVEX::IsFileExist(dir.path().c_str()));
    EXPECT_EQ(0, KIVEX::IsFileExist("missing"));
    EXPECT_EQ(0, KIVEX::IsFileExist("plain/x"));
    EXPECT_EQ(0, KIVEX::IsFileExist(""));
    EXPECT_EQ(0, KIVEX::IsFileExist(nullptr));
}

TEST(GrabImage, DumpsExactBytesOncePerMarker) {
    ScratchDir dir;
    std::vector<unsigned char> px(64);
    for (size_t i = 0; i < px.size(); ++i) px[i] = static_cast<unsigned char>(7 * i + 1);

    // No marker: result 0 and nothing at all is created.
    EXPECT_EQ(0, KIVEX::grab_image(frame(px.data(), 4, 2, 3, QEVO::RGB)));
    EXPECT_EQ(0, entries_here());

    struct Case {
        int w, h, depth;
        QEVO::INPUT_LAYOUT fmt;
        const char *file;
        size_t bytes;
    } const cases[] = {
        {4, 2, 1, QEVO::NV12, "img.nv12", 12},  // 4 x 2 x 1.5
        {5, 3, 0, QEVO::NV12, "img.nv12", 22},  // 22.5 truncated; depth plays no part
        {4, 2, 1, QEVO::NV21, "img.bin", 8},    // only NV12 goes to img.nv12
        {5, 3, 3, QEVO::BGR, "img.bin", 45},   {3, 2, 4, QEVO::RGBA, "img.bin", 24},
        {2, 2, 1, QEVO::GRAY, "img.bin", 4},  // shorter: the file is truncated
        {0, 2, 3, QEVO::RGB, "img.bin", 0},
    };
    for (const Case &c : cases) {
        set_marker("AI_WRITE", true);
        EXPECT_EQ(0, KIVEX::grab_image(frame(px.data(), c.w, c.h, c.depth, c.fmt)));
        EXPECT_FALSE(exists("AI_WRITE"));
        const std::vector<unsigned char> got = read_file(c.file);
        EXPECT_EQ(std::vector<unsigned char>(px.begin(), px.begin() + c.bytes), got)
            << c.w << "x" << c.h << "x" << c.depth << " -> " << c.file;
    }

    // The marker was consumed: the next frame is not dumped.
    const auto before = read_file("img.bin");
    EXPECT_EQ(0, KIVEX::grab_image(frame(px.data(), 8, 8, 1, QEVO::GRAY)));
    EXPECT_EQ(before, read_file("img.bin"));
}

TEST(GrabImage, MarkerThatCannotBeRemovedStaysAndIsReported) {
    ScratchDir dir;
    // A non-empty directory named AI_WRITE exists but cannot be removed.
    ASSERT_EQ(0, mkdir("AI_WRITE", 0755));
    set_marker("AI_WRITE/keep", true);
    set_marker("AI_DEBUG", true);
    unsigned char px[6] = {1, 2, 3, 4, 5, 6};
    int ret = 0;
    const std::string out =
        capture_stdout([&] { ret = KIVEX::grab_image(frame(px, 2, 1, 3, QEVO::RGB)); });
    EXPECT_NE(0, ret);
    EXPECT_TRUE(is_dir("AI_WRITE"));
    EXPECT_TRUE(is_traced_line(out, "remove AI_WRITE error with ret=" + std::to_string(ret)))
        << "[" << out << "]";
    EXPECT_EQ(6u, read_file("img.bin").size());

    // Still there, so the next frame is dumped again.
    px[0] = 99;
    EXPECT_NE(0, KIVEX::grab_image(frame(px, 1, 1, 3, QEVO::RGB)));
    EXPECT_EQ((std::vector<unsigned char>{99, 2, 3}), read_file("img.bin"));
}

TEST(GrabImage, DumpFileThatCannotBeOpenedIsSkipped) {
    ScratchDir dir;
    ASSERT_EQ(0, mkdir("img.bin", 0755));  // fopen of a directory for writing fails
    unsigned char px[12] = {};
    set_marker("AI_WRITE", true);
    EXPECT_EQ(0, KIVEX::grab_image(frame(px, 2, 2, 3, QEVO::RGB)));
    EXPECT_TRUE(is_dir("img.bin"));
    EXPECT_FALSE(exists("AI_WRITE"));  // the marker is consumed all the same
}

TEST(CreateDebugInfo, CreatesMissingDirectoriesAndTruncatesLog) {
    ScratchDir dir;
    FILE *fp = KIVEX::create_debuginfo("logs/a/b/c");
    ASSERT_NE(nullptr, fp);
    EXPECT_TRUE(is_dir("logs/a/b/c"));
    EXPECT_TRUE(exists("logs/a/b/c/debug.algo"));
    EXPECT_EQ(0u, read_file("logs/a/b/c/debug.algo").size());
    fputs("hello", fp);
    fclose(fp);
    EXPECT_EQ(5u, read_file("logs/a/b/c/debug.algo").size());

    // Existing directory (with a trailing slash): the log is truncated.
    fp = KIVEX::create_debuginfo("logs/a/b/c/");
    ASSERT_NE(nullptr, fp);
    fclose(fp);
    EXPECT_EQ(0u, read_file("logs/a/b/c/debug.algo").size());

    // An absolute root.
    const std::string abs = dir.path() + "/abs//x";
    fp = KIVEX::create_debuginfo(abs.c_str());
    ASSERT_NE(nullptr, fp);
    fclose(fp);
    EXPECT_TRUE(exists(dir.path() + "/abs/x/debug.algo"));
}

TEST(CreateDebugInfo, LongRootsAreNotTruncated) {
    ScratchDir dir;
    std::string root;
    for (int i = 0; i < 8; ++i)
        root += (i ? "/" : "") + std::string(30, static_cast<char>('a' + i));
    ASSERT_GT(root.size(), 200u);
    FILE *fp = KIVEX::create_debuginfo(root.c_str());
    ASSERT_NE(nullptr, fp);
    fclose(fp);
    EXPECT_TRUE(exists(root + "/debug.algo"));

    // One component of 250 characters: still within the file system's limit.
    const std::string single(250, 'z');
    fp = KIVEX::create_debuginfo(single.c_str());
    ASSERT_NE(nullptr, fp);
    fclose(fp);
    EXPECT_TRUE(exists(single + "/debug.algo"));
}

TEST(CreateDebugInfo, ShellCharactersAreJustNameCharacters) {
    ScratchDir dir;
    const char *roots[] = {"a;touch x", "b && touch y", "$(touch z)", "`touch w`",
                           "sp ace|touch v"};
    for (const char *root : roots) {
        FILE *fp = KIVEX::create_debuginfo(root);
        ASSERT_NE(nullptr, fp) << root;
        fclose(fp);
        EXPECT_TRUE(is_dir(root)) << root;
        EXPECT_TRUE(exists(std::string(root) + "/debug.algo")) << root;
    }
    for (const char *side : {"x", "y", "z", "w", "v", "a", "b"})
        EXPECT_FALSE(exists(side)) << "a shell ran and created " << side;
    EXPECT_EQ(5, entries_here());
}

TEST(CreateDebugInfo, UnusableRootGivesNullAndTheErrorLine) {
    ScratchDir dir;
    set_marker("file", true);
    const char *roots[] = {"file", "file/sub/deeper", ""};
    for (const char *root : roots) {
        FILE *fp = reinterpret_cast<FILE *>(1);
        const std::string out = capture_stdout([&] { fp = KIVEX::create_debuginfo(root); });
        EXPECT_EQ(nullptr, fp) << root;
        EXPECT_EQ("debug log open error\n", out) << root;
    }
    FILE *fp = reinterpret_cast<FILE *>(1);
    EXPECT_EQ("debug log open error\n",
              capture_stdout([&] { fp = KIVEX::create_debuginfo(nullptr); }));
    EXPECT_EQ(nullptr, fp);
}

TEST(Timing, SecondsAndMilliseconds) {
    auto tv = [](long s, long us) {
        timeval t;
        t.tv_sec = s;
        t.tv_usec = us;
        return t;
    };
    EXPECT_EQ(1.2f, KIVEX::getDtimeSecond(tv(10, 900000), tv(12, 100000)));
    EXPECT_EQ(1200.0f, KIVEX::getDtimeMiliSecond(tv(10, 900000), tv(12, 100000)));
    EXPECT_EQ(-1.2f, KIVEX::getDtimeSecond(tv(12, 100000), tv(10, 900000)));
    EXPECT_EQ(-1200.0f, KIVEX::getDtimeMiliSecond(tv(12, 100000), tv(10, 900000)));
    EXPECT_EQ(0.0f, KIVEX::getDtimeSecond(tv(5, 5), tv(5, 5)));

    // 3000 s is 3e9 microseconds: beyond 32 bits, exact in 64.
    EXPECT_EQ(3000.0f, KIVEX::getDtimeSecond(tv(1000, 0), tv(4000, 0)));
    EXPECT_EQ(3000000.0f, KIVEX::getDtimeMiliSecond(tv(1000, 0), tv(4000, 0)));

    // Milliseconds are the single-precision seconds times 1000, not the
    // microseconds divided by 1000: for 9 us the two roundings differ.
    const float sec = 9.0f / 1000000.0f;
    ASSERT_NE(sec * 1000.0f, 9.0f / 1000.0f);
    EXPECT_EQ(sec, KIVEX::getDtimeSecond(tv(0, 0), tv(0, 9)));
    EXPECT_EQ(sec * 1000.0f, KIVEX::getDtimeMiliSecond(tv(0, 0), tv(0, 9)));
}
