// Every vector path of the 8-bit bilinear kernels against the scalar path,
// byte for byte. The path is forced per call through QEVO_SIMD; a path the
// CPU lacks is skipped. Sources end right before an inaccessible page, so a
// read past the last source byte faults instead of passing unnoticed.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "mat_pixel_resize.h"
#include "simd_paths.h"

namespace {

using Kernel = void (*)(const unsigned char *, int, int, int, unsigned char *, int, int, int);
using PackedKernel = void (*)(const unsigned char *, int, int, unsigned char *, int, int);
const Kernel kStrided[4] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                            resize_bilinear_c4};
const PackedKernel kPacked[4] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                                 resize_bilinear_c4};

// Bytes whose last one sits right before a PROT_NONE page.
struct GuardedBytes {
    explicit GuardedBytes(size_t n) : size(n) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        span = (n + page - 1) / page * page + page;
        base = static_cast<unsigned char *>(
            mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        EXPECT_EQ(0, mprotect(base + span - page, page, PROT_NONE));
        data = base + span - page - n;
    }
    ~GuardedBytes() { munmap(base, span); }
    GuardedBytes(const GuardedBytes &) = delete;
    size_t size, span;
    unsigned char *base, *data;
};

using Path = qevo_test::SimdPath;
using qevo_test::vector_paths;

// Padding is bytes after each row; both 0 means the packed call.
struct Case {
    int n, srcw, srch, w, h, src_pad, dst_pad;
};

enum class Fill { Random, AllMax, Stripes };

// Compares `path` with the scalar path on case `c`, padding bytes included;
// returns false on the first mismatch.
bool same_as_scalar(const char *path, const Case &c, std::mt19937 &rng, Fill fill = Fill::Random) {
    const int srcstride = c.srcw * c.n + c.src_pad, stride = c.w * c.n + c.dst_pad;
    // The last row ends at its last pixel, right before the guard page.
    GuardedBytes src(static_cast<size_t>(srcstride) * (c.srch - 1) + c.srcw * c.n);
    for (size_t i = 0; i < src.size; ++i)
        src.data[i] = fill == Fill::Random   ? static_cast<unsigned char>(rng())
                      : fill == Fill::AllMax ? 255
                                             : ((i / c.n) % 2 ? 255 : 0);
    std::vector<unsigned char> fresh(static_cast<size_t>(stride) * c.h), want, got;
    for (size_t i = 0; i < fresh.size(); ++i) fresh[i] = static_cast<unsigned char>(0x5A ^ (i * 7));
    for (std::vector<unsigned char> *dst : {&want, &got}) {
        *dst = fresh;
        setenv("QEVO_SIMD", dst == &want ? "scalar" : path, 1);  // read on every call
        if (c.src_pad == 0 && c.dst_pad == 0)
            kPacked[c.n - 1](src.data, c.srcw, c.srch, dst->data(), c.w, c.h);
        else
            kStrided[c.n - 1](src.data, c.srcw, c.srch, srcstride, dst->data(), c.w, c.h, stride);
    }
    for (size_t i = 0; i < want.size(); ++i) {
        const bool padding = static_cast<int>(i % stride) >= c.w * c.n;
        if (want[i] != got[i] || (padding && got[i] != fresh[i])) {
            ADD_FAILURE() << path << (padding ? " wrote padding" : " differs") << ", c" << c.n
                          << " " << c.srcw << "x" << c.srch << " -> " << c.w << "x" << c.h
                          << " pad " << c.src_pad << "/" << c.dst_pad << " at byte " << i;
            return false;
        }
    }
    return true;
}

class ResizeSimd : public ::testing::TestWithParam<Path> {
  protected:
    void SetUp() override {
        if (!GetParam().available) GTEST_SKIP() << "CPU lacks " << GetParam().name;
    }
    bool check(const Case &c, Fill fill = Fill::Random) {
        return same_as_scalar(GetParam().name, c, rng_, fill);
    }
    std::mt19937 rng_{1234};
};

// Widths around the vector steps (2, 4, 8, 16 pixels and the 32-byte blend),
// each scaled up, down and kept, for every channel count; then the exact 2:1
// shrink (a separate fast form) with odd output widths and padding, and
// halving in one direction only (the general form).
TEST_P(ResizeSimd, WidthsAroundVectorStepsAndExactHalving) {
    const int widths[] = {2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 65, 130};
    for (int n = 1; n <= 4; ++n) {
        for (int sw : widths)
            for (int dw : {1, 2, 3, sw / 2 + 1, sw - 1, sw, sw + 1, 2 * sw, 3 * sw + 5})
                ASSERT_TRUE(check({n, sw, 5, dw, 7, 0, 0}));  // sw >= 2, so dw >= 1
        for (int w : {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 33, 64, 250}) {
            ASSERT_TRUE(check({n, 2 * w, 6, w, 3, 0, 0}));
            ASSERT_TRUE(check({n, 2 * w, 10, w, 5, 5, 3}));
        }
        ASSERT_TRUE(check({n, 128, 20, 64, 7, 0, 0}));
    }
}

// Random sizes, strides with and without padding, random channel counts; then
// frame-sized images at the ratios the library is used with (long rows, every
// row-cache move).
TEST_P(ResizeSimd, RandomAndFrameSizedGeometry) {
    std::uniform_int_distribution<int> ch(1, 4), sw(2, 400), sh(2, 40), dw(1, 500), dh(1, 40),
        pad(0, 19);
    for (int iter = 0; iter < 300; ++iter) {
        Case c{ch(rng_), sw(rng_), sh(rng_), dw(rng_), dh(rng_), 0, 0};
        if (iter % 3 != 0) c.src_pad = pad(rng_), c.dst_pad = pad(rng_) + 1;
        ASSERT_TRUE(check(c));
    }
    for (const Case &c : {Case{3, 640, 360, 320, 180, 0, 0}, Case{4, 640, 360, 213, 120, 0, 0},
                          Case{3, 160, 90, 480, 270, 16, 16}})
        ASSERT_TRUE(check(c));
}

// Two-pixel-wide and two-row sources, enlarged a lot and shrunk to one pixel;
// saturated and striped pictures, where weight pairs summing to 2049 and the
// largest row values show up (exact halving included).
TEST_P(ResizeSimd, NarrowSourcesAndExtremeValues) {
    for (int n = 1; n <= 4; ++n) {
        for (const Case &c :
             {Case{n, 2, 2, 1, 1, 0, 0}, Case{n, 2, 2, 37, 3, 0, 0}, Case{n, 2, 9, 100, 41, 3, 5},
              Case{n, 2, 2, 333, 2, 0, 1}, Case{n, 45, 2, 1, 19, 1, 0}})
            ASSERT_TRUE(check(c));
        for (Fill fill : {Fill::AllMax, Fill::Stripes})
            for (const Case &c : {Case{n, 37, 11, 101, 29, 0, 0}, Case{n, 640, 4, 213, 3, 2, 2},
                                  Case{n, 64, 48, 64, 48, 0, 0}, Case{n, 64, 48, 32, 24, 0, 0}})
                ASSERT_TRUE(check(c, fill));
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, ResizeSimd, ::testing::ValuesIn(vector_paths()),
                         [](const ::testing::TestParamInfo<Path> &info) {
                             return std::string(info.param.name);
                         });

// A path name the CPU does not run, or no known name at all, falls back to an
// available path and still gives the scalar bytes.
TEST(ResizeSimdSelection, UnknownOrMissingPathFallsBack) {
    std::mt19937 rng(5);
    for (const char *name : {"neon", "avx2", "sse41", "altivec", ""})
        ASSERT_TRUE(same_as_scalar(name, Case{3, 77, 13, 50, 31, 1, 2}, rng)) << name;
}

}  // namespace
