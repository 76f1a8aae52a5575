// Debug trace gate, marker files, frame dumps, debug log and timing.
#include <gtest/gtest.h>

#include <climits>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "support.h"
#include "utils.h"

using qevo_test::capture_stdout;
using qevo_test::ScratchDir;
using qevo_test::set_marker;

namespace {

bool exists(const std::string &path) { return access(path.c_str(), F_OK) == 0; }
bool is_dir(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::vector<unsigned char> read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

QEVO::ImgMat frame(unsigned char *data, int w, int h, int depth, QEVO::INPUT_LAYOUT fmt) {
    QEVO::ImgMat m;
    m.data = data, m.width = w, m.height = h, m.depth = depth, m.inlayout = fmt;
    return m;
}

// "\n[DEBUG:src/utils/debug_trace.cpp:<line>->grab_image] <message>", nothing
// else: the file is named relative to the source root, wherever the tree is.
::testing::AssertionResult is_traced_line(const std::string &out, const std::string &message) {
    const std::string head = "\n[DEBUG:src/utils/debug_trace.cpp:";
    const std::string tail = "->grab_image] " + message;
    if (out.rfind(head, 0) == 0 && out.size() > head.size() + tail.size() &&
        out.compare(out.size() - tail.size(), tail.size(), tail) == 0 &&
        out.find_first_not_of("0123456789", head.size()) == out.size() - tail.size())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "not a trace of '" << message << "': [" << out << "]";
}

}  // namespace

// The same call is silent, traced, then silent again as ./AI_DEBUG comes and
// goes; the result never changes. Ungated lines ignore the marker.
TEST(DebugTrace, GateFollowsMarkerPerMessageAndFileChecks) {
    ScratchDir dir;
    const std::string no_data = "grab xq_video_frame data not support for now";
    for (bool debug : {false, true, false}) {
        set_marker("AI_DEBUG", debug);
        set_marker("AI_WRITE", true);
        int ret = -5;
        const std::string out =
            capture_stdout([&] { ret = KIVEX::grab_image(frame(nullptr, 4, 2, 3, QEVO::RGB)); });
        EXPECT_EQ(0, ret);
        if (debug)
            EXPECT_TRUE(is_traced_line(out, no_data));
        else
            EXPECT_EQ("", out);
        EXPECT_FALSE(exists("AI_WRITE"));
    }
    // Unusable log roots: null and the error line, with or without the marker.
    set_marker("file", true);
    set_marker("AI_DEBUG", true);
    for (const char *root : {"file/sub/deeper", "", (const char *)nullptr}) {
        FILE *fp = reinterpret_cast<FILE *>(1);
        EXPECT_EQ("debug log open error\n",
                  capture_stdout([&] { fp = KIVEX::create_debuginfo(root); }));
        EXPECT_EQ(nullptr, fp);
    }

    ASSERT_EQ(0, mkdir("sub", 0755));
    for (const char *yes : {"./file", "sub"}) EXPECT_EQ(1, KIVEX::IsFileExist(yes)) << yes;
    for (const char *no : {"missing", "", (const char *)nullptr})
        EXPECT_EQ(0, KIVEX::IsFileExist(no)) << (no ? no : "null");
}

TEST(GrabImage, DumpsExactBytesOncePerMarker) {
    ScratchDir dir;
    std::vector<unsigned char> px(64);
    for (size_t i = 0; i < px.size(); ++i) px[i] = static_cast<unsigned char>(7 * i + 1);
    EXPECT_EQ(0, KIVEX::grab_image(frame(px.data(), 4, 2, 3, QEVO::RGB)));
    EXPECT_FALSE(exists("img.bin") || exists("img.nv12"));  // no marker: nothing dumped

    struct Case {
        int w, h, depth;
        QEVO::INPUT_LAYOUT fmt;
        const char *file;
        size_t bytes;
    } const cases[] = {
        {5, 3, 0, QEVO::NV12, "img.nv12", 22},  // 22.5 truncated; depth plays no part
        {4, 2, 1, QEVO::NV21, "img.bin", 8},    // only NV12 goes to img.nv12
        {3, 2, 4, QEVO::RGBA, "img.bin", 24}};
    for (const Case &c : cases) {
        set_marker("AI_WRITE", true);
        EXPECT_EQ(0, KIVEX::grab_image(frame(px.data(), c.w, c.h, c.depth, c.fmt)));
        EXPECT_FALSE(exists("AI_WRITE"));
        EXPECT_EQ(std::vector<unsigned char>(px.begin(), px.begin() + c.bytes), read_file(c.file))
            << c.w << "x" << c.h << "x" << c.depth << " -> " << c.file;
    }
    // The marker was consumed: the next frame is not dumped.
    std::remove("img.bin");
    EXPECT_EQ(0, KIVEX::grab_image(frame(px.data(), 8, 8, 1, QEVO::GRAY)));
    EXPECT_FALSE(exists("img.bin"));

    // A dump file that cannot be opened is skipped; the marker is consumed all the same.
    ASSERT_EQ(0, mkdir("img.bin", 0755));
    set_marker("AI_WRITE", true);
    EXPECT_EQ(0, KIVEX::grab_image(frame(px.data(), 2, 2, 3, QEVO::RGB)));
    EXPECT_TRUE(is_dir("img.bin"));
    EXPECT_FALSE(exists("AI_WRITE"));
}

TEST(GrabImage, MarkerThatCannotBeRemovedStaysAndIsReported) {
    ScratchDir dir;
    ASSERT_EQ(0, mkdir("AI_WRITE", 0755));  // a non-empty directory
    set_marker("AI_WRITE/keep", true);
    set_marker("AI_DEBUG", true);
    unsigned char px[6] = {1, 2, 3, 4, 5, 6};
    int ret = 0;
    const std::string out =
        capture_stdout([&] { ret = KIVEX::grab_image(frame(px, 2, 1, 3, QEVO::RGB)); });
    EXPECT_NE(0, ret);
    EXPECT_TRUE(is_dir("AI_WRITE"));
    EXPECT_TRUE(is_traced_line(out, "remove AI_WRITE error with ret=" + std::to_string(ret)));
    EXPECT_EQ(6u, read_file("img.bin").size());
    px[0] = 99;  // still there, so the next frame is dumped again
    EXPECT_NE(0, KIVEX::grab_image(frame(px, 1, 1, 3, QEVO::RGB)));
    EXPECT_EQ((std::vector<unsigned char>{99, 2, 3}), read_file("img.bin"));
}

TEST(CreateDebugInfo, DirectoriesTruncationLongRootsAndShellCharacters) {
    ScratchDir dir;
    FILE *fp = KIVEX::create_debuginfo("logs/a/b/c");
    ASSERT_NE(nullptr, fp);
    fputs("hello", fp);
    fclose(fp);
    fp = KIVEX::create_debuginfo("logs/a/b/c/");  // existing, trailing slash: truncated
    ASSERT_NE(nullptr, fp);
    fclose(fp);
    EXPECT_TRUE(exists("logs/a/b/c/debug.algo") && read_file("logs/a/b/c/debug.algo").empty());

    std::string longroot;  // over 200 characters, and one component of 250
    for (int i = 0; i < 8; ++i) longroot += (i ? "/" : "") + std::string(30, char('a' + i));
    const std::string roots[] = {
        dir.path() + "/abs//x", longroot,    std::string(250, 'z'), "a;touch x",
        "$(touch z)",           "`touch w`", "sp ace|touch v"};
    for (const std::string &root : roots) {
        fp = KIVEX::create_debuginfo(root.c_str());
        ASSERT_NE(nullptr, fp) << root;
        fclose(fp);
        EXPECT_TRUE(exists(root + "/debug.algo")) << root;
    }
    for (const char *side : {"x", "z", "w", "v"})
        EXPECT_FALSE(exists(side)) << "a shell ran and created " << side;
}

TEST(Timing, SecondsAndMilliseconds) {
    auto tv = [](long s, long us) { return timeval{s, us}; };
    EXPECT_EQ(-1200.0f, KIVEX::getDtimeMiliSecond(tv(12, 100000), tv(10, 900000)));
    // 3000 s is 3e9 microseconds: beyond 32 bits, exact in 64.
    EXPECT_EQ(3000.0f, KIVEX::getDtimeSecond(tv(1000, 0), tv(4000, 0)));
    // Milliseconds are the single-precision seconds times 1000, not the
    // microseconds divided by 1000: for 9 us the two roundings differ.
    const float sec = 9.0f / 1000000.0f;
    EXPECT_EQ(sec, KIVEX::getDtimeSecond(tv(0, 0), tv(0, 9)));
    EXPECT_EQ(sec * 1000.0f, KIVEX::getDtimeMiliSecond(tv(0, 0), tv(0, 9)));
    // Sentinel times far apart: the 2^64 - 1 s between them (about 1.8447e19)
    // and the 2^63 - 1 s back to zero overflow no integer.
    const float far = KIVEX::getDtimeSecond(tv(LONG_MIN, 0), tv(LONG_MAX, 999999));
    EXPECT_NEAR(far / 1.8446744e19f, 1.0f, 1e-6f) << far;
    const float back = KIVEX::getDtimeMiliSecond(tv(LONG_MAX, 0), tv(0, 0));
    EXPECT_NEAR(back / -9.223372e21f, 1.0f, 1e-6f) << back;
}
