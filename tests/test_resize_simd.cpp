// Every vector path of the 8-bit bilinear kernels against the scalar path,
// byte for byte. The path is forced per call through QEVO_SIMD; a path the
// CPU lacks is skipped. Sources end right before an inaccessible page, so a
// read past the last source byte faults instead of passing unnoticed.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "mat_pixel_resize.h"

namespace {

using Kernel = void (*)(const unsigned char *, int, int, int, unsigned char *, int, int, int);
using PackedKernel = void (*)(const unsigned char *, int, int, unsigned char *, int, int);

Kernel strided(int n) {
    static const Kernel k[4] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                                resize_bilinear_c4};
    return k[n - 1];
}
PackedKernel packed(int n) {
    static const PackedKernel k[4] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                                      resize_bilinear_c4};
    return k[n - 1];
}

// Bytes whose last one sits right before a PROT_NONE page.
class GuardedBytes {
  public:
    explicit GuardedBytes(size_t size) : size_(size) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        span_ = (size + page - 1) / page * page + page;
        void *m = mmap(nullptr, span_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m == MAP_FAILED) {
            ADD_FAILURE() << "mmap failed";
            base_ = nullptr;
            return;
        }
        base_ = static_cast<unsigned char *>(m);
        EXPECT_EQ(0, mprotect(base_ + span_ - page, page, PROT_NONE));
        data_ = base_ + span_ - page - size;
    }
    ~GuardedBytes() {
        if (base_ != nullptr) munmap(base_, span_);
    }
    GuardedBytes(const GuardedBytes &) = delete;
    GuardedBytes &operator=(const GuardedBytes &) = delete;
    unsigned char *data() { return data_; }
    size_t size() const { return size_; }

  private:
    size_t size_;
    size_t span_ = 0;
    unsigned char *base_ = nullptr;
    unsigned char *data_ = nullptr;
};

struct Path {
    const char *name;
    bool available;
};

void PrintTo(const Path &p, std::ostream *os) { *os << p.name; }

std::vector<Path> vector_paths() {
#if defined(__x86_64__)
    __builtin_cpu_init();
    return {{"sse41", __builtin_cpu_supports("sse4.1") != 0},
            {"avx2", __builtin_cpu_supports("avx2") != 0}};
#elif defined(__aarch64__)
    return {{"neon", true}};
#else
    return {};
#endif
}

// Sets QEVO_SIMD for the scope and restores the previous value afterwards.
class ForcePath {
  public:
    explicit ForcePath(const char *name) {
        const char *old = std::getenv("QEVO_SIMD");
        had_ = old != nullptr;
        if (had_) old_ = old;
        setenv("QEVO_SIMD", name, 1);
    }
    ~ForcePath() {
        if (had_)
            setenv("QEVO_SIMD", old_.c_str(), 1);
        else
            unsetenv("QEVO_SIMD");
    }

  private:
    bool had_ = false;
    std::string old_;
};

struct Case {
    int n, srcw, srch, w, h;
    int src_pad, dst_pad;  // bytes after each row; 0 means packed call
};

std::string describe(const Case &c) {
    char s[128];
    std::snprintf(s, sizeof s, "c%d %dx%d -> %dx%d pad %d/%d", c.n, c.srcw, c.srch, c.w, c.h,
                  c.src_pad, c.dst_pad);
    return s;
}

// Runs one case on `path`; returns the whole destination, padding included.
std::vector<unsigned char> run(const Case &c, const char *path, const unsigned char *src,
                               int srcstride) {
    const int stride = c.w * c.n + c.dst_pad;
    std::vector<unsigned char> dst(static_cast<size_t>(stride) * c.h);
    for (size_t i = 0; i < dst.size(); ++i) dst[i] = static_cast<unsigned char>(0x5A ^ (i * 7));
    ForcePath force(path);
    if (c.src_pad == 0 && c.dst_pad == 0)
        packed(c.n)(src, c.srcw, c.srch, dst.data(), c.w, c.h);
    else
        strided(c.n)(src, c.srcw, c.srch, srcstride, dst.data(), c.w, c.h, stride);
    return dst;
}

enum class Fill { Random, AllMax, Stripes };

// Compares `path` with the scalar path on case `c`; returns false on the first mismatch.
bool same_as_scalar(const char *path, const Case &c, std::mt19937 &rng, Fill fill = Fill::Random) {
    const int srcstride = c.srcw * c.n + c.src_pad;
    // The last row ends at its last pixel, right before the guard page.
    GuardedBytes src(static_cast<size_t>(srcstride) * (c.srch - 1) + c.srcw * c.n);
    for (size_t i = 0; i < src.size(); ++i) {
        switch (fill) {
            case Fill::Random:
                src.data()[i] = static_cast<unsigned char>(rng());
                break;
            case Fill::AllMax:
                src.data()[i] = 255;
                break;
            case Fill::Stripes:
                src.data()[i] = (i / c.n) % 2 ? 255 : 0;
                break;
        }
    }
    const std::vector<unsigned char> want = run(c, "scalar", src.data(), srcstride);
    const std::vector<unsigned char> got = run(c, path, src.data(), srcstride);
    const int stride = c.w * c.n + c.dst_pad;
    for (size_t i = 0; i < want.size(); ++i) {
        if (static_cast<int>(i % stride) >= c.w * c.n) {
            // Padding must keep the value it had before the call.
            const unsigned char before = static_cast<unsigned char>(0x5A ^ (i * 7));
            EXPECT_EQ(before, got[i]) << path << " wrote padding, " << describe(c) << " byte " << i;
            EXPECT_EQ(before, want[i]) << "scalar wrote padding, " << describe(c) << " byte " << i;
        }
        if (want[i] != got[i]) {
            ADD_FAILURE() << path << " differs from scalar, " << describe(c) << ": row "
                          << i / stride << " byte " << i % stride << " scalar " << int(want[i])
                          << " vector " << int(got[i]);
            return false;
        }
    }
    return true;
}

class ResizeSimd : public ::testing::TestWithParam<Path> {
  protected:
    void SetUp() override {
        if (!GetParam().available) GTEST_SKIP() << "CPU lacks " << GetParam().name;
        std::printf("comparing %s with scalar\n", GetParam().name);
    }
};

// Widths around the vector steps (2, 4, 8, 16 pixels and the 32-byte blend),
// each scaled up, down and kept, for every channel count.
TEST_P(ResizeSimd, WidthsAroundVectorStepsUpAndDown) {
    std::mt19937 rng(1234);
    const int widths[] = {2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 65, 130};
    for (int n = 1; n <= 4; ++n) {
        for (int sw : widths) {
            for (int dw : {1, 2, 3, sw / 2 + 1, sw - 1, sw, sw + 1, 2 * sw, 3 * sw + 5}) {
                if (dw < 1) continue;
                const Case c{n, sw, 5, dw, 7, 0, 0};
                ASSERT_TRUE(same_as_scalar(GetParam().name, c, rng));
            }
        }
    }
}

// Random sizes, strides with and without padding, random channel counts.
TEST_P(ResizeSimd, RandomSizesStridedAndPacked) {
    std::mt19937 rng(42);
    std::uniform_int_distribution<int> ch(1, 4), sw(2, 400), sh(2, 40), dw(1, 500), dh(1, 40),
        pad(0, 19);
    for (int iter = 0; iter < 300; ++iter) {
        Case c{ch(rng), sw(rng), sh(rng), dw(rng), dh(rng), 0, 0};
        if (iter % 3 != 0) {
            c.src_pad = pad(rng);
            c.dst_pad = pad(rng) + 1;
        }
        ASSERT_TRUE(same_as_scalar(GetParam().name, c, rng));
    }
}

// Two-pixel-wide and two-row sources, enlarged a lot and shrunk to one pixel;
// saturated and striped pictures, where weight pairs summing to 2049 and the
// largest row values show up.
TEST_P(ResizeSimd, NarrowSourcesAndExtremeValues) {
    std::mt19937 rng(7);
    for (int n = 1; n <= 4; ++n) {
        for (const Case &c :
             {Case{n, 2, 2, 1, 1, 0, 0}, Case{n, 2, 2, 37, 3, 0, 0}, Case{n, 2, 9, 100, 41, 3, 5},
              Case{n, 2, 2, 333, 2, 0, 1}, Case{n, 45, 2, 1, 19, 1, 0}}) {
            ASSERT_TRUE(same_as_scalar(GetParam().name, c, rng));
        }
        for (Fill fill : {Fill::AllMax, Fill::Stripes}) {
            for (const Case &c : {Case{n, 37, 11, 101, 29, 0, 0}, Case{n, 640, 4, 213, 3, 2, 2},
                                  Case{n, 64, 48, 64, 48, 0, 0}}) {
                ASSERT_TRUE(same_as_scalar(GetParam().name, c, rng, fill));
            }
        }
    }
}

// Frame-sized images at the ratios the library is used with (2:1, 3:1,
// non-integer, 1:3 enlarge) exercise long rows and every row-cache move.
TEST_P(ResizeSimd, FrameSizedRatios) {
    std::mt19937 rng(99);
    const Case cases[] = {{3, 640, 360, 320, 180, 0, 0},  {1, 640, 360, 427, 240, 0, 0},
                          {4, 640, 360, 213, 120, 0, 0},  {2, 320, 180, 213, 120, 0, 0},
                          {3, 160, 90, 480, 270, 16, 16}, {3, 426, 240, 416, 416, 0, 0}};
    for (const Case &c : cases) ASSERT_TRUE(same_as_scalar(GetParam().name, c, rng));
}

// Exact 2:1 shrinks in both directions (a separate fast form) with row
// lengths around the 16- and 32-byte steps, odd output widths, padding, and
// the one-pixel output.
TEST_P(ResizeSimd, ExactHalving) {
    std::mt19937 rng(2024);
    for (int n = 1; n <= 4; ++n) {
        for (int w : {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 33, 64, 250}) {
            ASSERT_TRUE(same_as_scalar(GetParam().name, Case{n, 2 * w, 6, w, 3, 0, 0}, rng));
            ASSERT_TRUE(same_as_scalar(GetParam().name, Case{n, 2 * w, 10, w, 5, 5, 3}, rng));
        }
        ASSERT_TRUE(
            same_as_scalar(GetParam().name, Case{n, 64, 48, 32, 24, 0, 0}, rng, Fill::AllMax));
        ASSERT_TRUE(
            same_as_scalar(GetParam().name, Case{n, 64, 48, 32, 24, 0, 0}, rng, Fill::Stripes));
        // Only one direction halved: the general form.
        ASSERT_TRUE(same_as_scalar(GetParam().name, Case{n, 128, 20, 64, 7, 0, 0}, rng));
        ASSERT_TRUE(same_as_scalar(GetParam().name, Case{n, 50, 20, 33, 10, 0, 0}, rng));
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
    for (const char *name : {"neon", "avx2", "sse41", "altivec", ""}) {
        for (int n = 1; n <= 4; ++n) {
            ASSERT_TRUE(same_as_scalar(name, Case{n, 77, 13, 50, 31, 1, 2}, rng)) << name;
        }
    }
}

// The scalar path itself against a direct, independent evaluation of the
// fixed-point rules for a small case with hand-checkable weights: 2:1 in both
// directions gives the mean of each 2x2 block, rounded half up.
TEST(ResizeSimdSelection, ScalarPathHalvesToBlockMeans) {
    std::mt19937 rng(11);
    const int sw = 18, sh = 6, n = 3;
    std::vector<unsigned char> src(sw * sh * n);
    for (auto &b : src) b = static_cast<unsigned char>(rng());
    for (const char *path : {"scalar", ""}) {
        ForcePath force(path);
        std::vector<unsigned char> dst(sw / 2 * sh / 2 * n);
        resize_bilinear_c3(src.data(), sw, sh, dst.data(), sw / 2, sh / 2);
        for (int y = 0; y < sh / 2; ++y)
            for (int x = 0; x < sw / 2; ++x)
                for (int c = 0; c < n; ++c) {
                    auto at = [&](int yy, int xx) { return src[(yy * sw + xx) * n + c]; };
                    const int sum = at(2 * y, 2 * x) + at(2 * y, 2 * x + 1) + at(2 * y + 1, 2 * x) +
                                    at(2 * y + 1, 2 * x + 1);
                    ASSERT_EQ((sum + 2) / 4, dst[(y * sw / 2 + x) * n + c])
                        << path << " at " << x << "," << y << "," << c;
                }
    }
}

}  // namespace
