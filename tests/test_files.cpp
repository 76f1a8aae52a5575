// Directory listing, string splitting, binary files, hashes, MD5 checks and
// the raw frame reader.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/time.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

#include "rawReader.h"
#include "support.h"
#include "utils.h"

namespace {

using qevo_test::capture_stdout;
using qevo_test::ScratchDir;
using qevo_test::set_marker;

void write_file(const std::string &name, const std::string &bytes) {
    std::ofstream(name, std::ios::binary) << bytes;
}

std::string read_file(const std::string &name) {
    std::ifstream in(name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// What the system tool itself reports for a plain file name.
std::string md5sum_of(const std::string &plain_name) {
    FILE *p = popen(("md5sum " + plain_name).c_str(), "r");
    char buf[256] = {0};
    if (p != nullptr && fgets(buf, sizeof buf, p) == nullptr) buf[0] = 0;
    if (p != nullptr) pclose(p);
    return std::string(buf).substr(0, 32);
}

TEST(Directories, ListingAppendsEveryEntry) {
    ScratchDir dir;
    std::vector<std::string> names = {"kept"};
    ASSERT_EQ(mkdir("d", 0755) + mkdir("d/sub", 0755), 0);
    write_file("d/a.txt", "x");
    ASSERT_EQ(symlink("a.txt", "d/link"), 0);
    EXPECT_EQ(KIVEX::GetDirNames("d", names), 0);
    std::sort(names.begin() + 1, names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"kept", "d/a.txt", "d/link", "d/sub"}));

    int ret = 0;
    EXPECT_EQ(capture_stdout([&] { ret = KIVEX::GetDirNames("missing", names); }),
              "dripath not exist, path: missing\n");
    EXPECT_TRUE(ret == -1 && names.size() == 4u);
}

TEST(Strings, SplitStrAndSplitKeyname) {
    std::vector<std::string> t = {"old"};
    KIVEX::splitStr("a,,b,", t, ',');
    EXPECT_EQ(t, (std::vector<std::string>{"a", "b"}));
    KIVEX::splitStr("", t, ',');
    EXPECT_TRUE(t.empty());

    std::string key;
    EXPECT_EQ(capture_stdout([&] { key = KIVEX::splitKeyname("/data/set1/cam0_0012.left.jpg"); }),
              "imgname: cam0_0012.left.jpg\n");
    EXPECT_EQ(key, "cam0_0012");
    // Trailing slashes, leading dots, names without a usable component.
    const char *const cases[][3] = {{"dir/sub/", "sub", "imgname: sub\n"},
                                    {".hidden", "hidden", "imgname: .hidden\n"},
                                    {"/", "", ""}};
    for (const auto &c : cases) {
        EXPECT_EQ(capture_stdout([&] { key = KIVEX::splitKeyname(c[0]); }), c[2]) << c[0];
        EXPECT_EQ(key, c[1]) << c[0];
    }
}

TEST(BinaryFiles, LoadSizeRulesSaveAndFailures) {
    ScratchDir dir;
    const float values[3] = {1.5f, -2.25f, 1e-3f};
    const std::string raw(reinterpret_cast<const char *>(values), sizeof values);
    float dst[4] = {9, 9, 9, 9};
    write_file("f.bin", raw + "xyz");  // 12 to 15 bytes hold 3 whole floats
    EXPECT_EQ(KIVEX::loadbin2float("f.bin", dst, 3), 0);
    EXPECT_EQ(std::vector<float>(dst, dst + 4), (std::vector<float>{1.5f, -2.25f, 1e-3f, 9}));
    write_file("f.bin", raw + "abcd");
    write_file("u.bin", "hello");
    unsigned char bytes[6] = {0, 0, 0, 0, 0, 0};
    EXPECT_EQ(KIVEX::loadbin2uint8("u.bin", bytes, 5), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(bytes), 6), std::string("hello\0", 6));
    std::fill(dst, dst + 4, 9.0f);
    int r1 = 0, r2 = 0;
    EXPECT_EQ(capture_stdout([&] {
                  r1 = KIVEX::loadbin2float("f.bin", dst, 3);
                  r2 = KIVEX::loadbin2uint8("u.bin", bytes, 4);
              }),
              "filesize=16 not match datalen =3\nfilesize=5 not match datalen =4\n");
    EXPECT_EQ(r1 + r2, 2);
    EXPECT_EQ(dst[0], 9);

    // Missing files are not reported and leave dst alone.
    EXPECT_EQ(capture_stdout([&] {
                  EXPECT_EQ(KIVEX::loadbin2float("nothing.bin", dst, 3), 0);
                  EXPECT_EQ(KIVEX::loadbin2uint8("nothing.bin", bytes, 5), 0);
              }),
              "");
    EXPECT_TRUE(dst[0] == 9 && bytes[0] == 'h');

    // Saving: the exact bytes, and an unwritable path.
    float saved[3] = {3.0f, -0.5f, 7.25f};
    char name[] = "out.bin", bad[] = "no/such/dir/x.bin";
    EXPECT_EQ(KIVEX::savefloat2bin(saved, 3, name), 0);
    EXPECT_EQ(read_file("out.bin"), std::string(reinterpret_cast<char *>(saved), sizeof saved));
    EXPECT_EQ(capture_stdout([&] { r1 = KIVEX::savefloat2bin(saved, 3, bad); }),
              "file no/such/dir/x.bin open failed\n");
    EXPECT_EQ(r1, 1);
}

TEST(Hash, Fnv1a64) {
    EXPECT_EQ(KIVEX::hash_(""), 0xCBF29CE484222325ULL);
    EXPECT_EQ(KIVEX::hash_("foobar"), 0x85944171F73967E8ULL);
    // Bytes above 0x7f count as unsigned values: (basis ^ 0xff) * prime modulo 2^64.
    EXPECT_EQ(KIVEX::hash_("\xff"), (0xCBF29CE484222325ULL ^ 0xffULL) * 0x100000001B3ULL);
}

TEST(Md5, DigestsAgreeWithTheSystemTool) {
    ScratchDir dir;
    write_file("abc.txt", "abc");  // the well-known digest of "abc"
    EXPECT_EQ(KIVEX::get_md5("abc.txt"), "900150983cd24fb0d6963f7d28e17f72");
    std::string blob;
    for (int i = 0; i < 100000; ++i) blob += static_cast<char>(i * 31 % 251);
    write_file("blob.bin", blob);
    const std::string expected = md5sum_of("blob.bin");
    EXPECT_EQ(KIVEX::get_md5("blob.bin"), expected);
    // Blanks, single quotes and other characters that are plain inside double quotes.
    write_file("my file's (1) & *.bin", blob);
    EXPECT_EQ(KIVEX::get_md5("my file's (1) & *.bin"), expected);

    EXPECT_EQ(KIVEX::checkMD5("blob.bin", expected), 0);
    EXPECT_EQ(KIVEX::checkMD5("abc.txt", "900150983CD24FB0D6963F7D28E17F72"), 1);  // case counts
    EXPECT_EQ(KIVEX::checkMD5("missing.bin", ""), 0);  // both digests empty
}

// A signal handler installed without SA_RESTART interrupts the blocking read
// of the tool's output; the digest must come through all the same.
TEST(Md5, DigestSurvivesInterruptingSignals) {
    ScratchDir dir;
    write_file("abc.txt", "abc");
    struct sigaction on {
    }, old{};
    on.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGALRM, &on, &old), 0);
    const itimerval every{{0, 500}, {0, 500}}, stop{};
    setitimer(ITIMER_REAL, &every, nullptr);
    std::vector<std::string> got;
    for (int i = 0; i < 20; ++i) got.push_back(KIVEX::get_md5("abc.txt"));
    setitimer(ITIMER_REAL, &stop, nullptr);
    // A tick may still be pending (valgrind delivers signals late): ignoring
    // the signal discards it before the default action comes back.
    struct sigaction ignore {
    };
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGALRM, &ignore, nullptr);
    sigaction(SIGALRM, &old, nullptr);
    EXPECT_EQ(got, std::vector<std::string>(20, "900150983cd24fb0d6963f7d28e17f72"));
}

TEST(Md5, RefusedNamesNeverReachTheShellAndTracesAreGated) {
    ScratchDir dir;
    // Existing files with refused names, and attempts to run a command through the name.
    for (const std::string name :
         {"q\"uote", "back`tick", "dol$lar", "back\\slash", "line\nbreak", "cr\rname", "-dash",
          "x\"; touch pwned; echo \"", "$(touch pwned)", "`touch pwned`"}) {
        write_file(name, "abc");
        EXPECT_EQ(KIVEX::get_md5(name), "") << name;
    }
    EXPECT_NE(access("pwned", F_OK), 0);

    // Failures are traced only with ./AI_DEBUG.
    const std::string abc_md5 = "900150983cd24fb0d6963f7d28e17f72";
    write_file("abc.txt", "abc");
    EXPECT_EQ(capture_stdout([&] { KIVEX::checkMD5("abc.txt", "ABC"); }), "");
    set_marker("./AI_DEBUG", true);
    const std::string out = capture_stdout([] { KIVEX::checkMD5("abc.txt", "ABC"); });
    const std::string tail =
        "->checkMD5] md5 not matched, filemd5: " + abc_md5 + ", targetmd5: ABC";
    EXPECT_EQ(out.rfind("\n[DEBUG:", 0), 0u) << out;
    EXPECT_TRUE(out.size() > tail.size() && out.substr(out.size() - tail.size()) == tail) << out;
    EXPECT_EQ(capture_stdout([&] { KIVEX::checkMD5("abc.txt", abc_md5); }), "");
}

static_assert(!std::is_copy_constructible<RawReader>::value &&
                  !std::is_copy_assignable<RawReader>::value,
              "a reader owns its file handle");

TEST(RawReaderStates, RefusedUnopenedAndOpen) {
    ScratchDir dir;
    // 10-byte header, then 3 frames of 4 x 2 x 1 samples of 2 bytes, then 5 stray bytes.
    write_file("frames.raw", std::string(10 + 3 * 16 + 5, '\1'));
    // Refused data type, missing file and a directory: no handle, no size,
    // every call -1.
    for (const auto &k :
         {std::make_pair("frames.raw", QEVO::AI_FLOAT),
          std::make_pair("absent.raw", QEVO::AI_UINT16), std::make_pair(".", QEVO::AI_UINT8)}) {
        RawReader r(k.first, 4, 2, 1, 10, k.second);
        EXPECT_TRUE(r.m_F == nullptr && r.m_datatype == QEVO::AI_UINT8 && r.m_width == 0);
        EXPECT_TRUE(r.get_frameNum() == -1 && r.set_seek() == -1 && r.read() == -1);
    }

    RawReader open16("frames.raw", 4, 2, 1, 10, QEVO::AI_INT16);
    ASSERT_NE(open16.m_F, nullptr);
    ASSERT_EQ(std::fseek(open16.m_F, 3, SEEK_SET), 0);
    EXPECT_EQ(open16.get_frameNum(), 3);
    EXPECT_TRUE(open16.set_seek() == -1 && open16.read() == -1);
    EXPECT_EQ(std::ftell(open16.m_F), 3);  // the position never moves
    EXPECT_EQ(RawReader("frames.raw", 4, 2, 1, 10, QEVO::AI_UINT8).get_frameNum(),
              (3 * 16 + 5) / 8);
    EXPECT_EQ(RawReader("frames.raw", -4, 0, 7, -10, QEVO::AI_UINT16).get_frameNum(), -1);
}

}  // namespace
