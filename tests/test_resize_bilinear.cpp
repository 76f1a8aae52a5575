// Fixed-point bilinear resize of interleaved 8-bit images.
//
// The reference below computes every output byte on its own, straight from
// the arithmetic of the kernel (half-pixel mapping, clamped border pairs,
// 11-bit weights, >> 4 horizontally, >> 16 and +2 >> 2 vertically), with no
// tables, no row cache and no buffer exchange, so a fault in the kernel's
// bookkeeping shows up as a byte that differs.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "mat_pixel_resize.h"

namespace {

using Strided = void (*)(const unsigned char *, int, int, int, unsigned char *, int, int, int);
using Packed = void (*)(const unsigned char *, int, int, unsigned char *, int, int);

const Strided kStrided[5] = {nullptr, resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                             resize_bilinear_c4};
const Packed kPacked[5] = {nullptr, resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                           resize_bilinear_c4};

// Left/upper source index and the two 11-bit weights (rounded half away from
// zero; both are non-negative) for output index d.
struct Tap {
    int s, w0, w1;
};

Tap tap(int d, int src_len, int dst_len) {
    const float pos =
        static_cast<float>((d + 0.5) * (static_cast<double>(src_len) / dst_len) - 0.5);
    int s = static_cast<int>(std::floor(pos));
    float frac = pos - static_cast<float>(s);
    if (s < 0) s = 0, frac = 0.f;
    if (s >= src_len - 1) s = src_len - 2, frac = 1.f;
    return {s, static_cast<int>((1.f - frac) * 2048.f + 0.5f),
            static_cast<int>(frac * 2048.f + 0.5f)};
}

// Expected destination: `dst` is updated in place so untouched bytes stay.
void reference(const unsigned char *src, int srcw, int srch, int srcstride, unsigned char *dst,
               int w, int h, int stride, int n) {
    for (int dy = 0; dy < h; ++dy) {
        const Tap ty = tap(dy, srch, h);
        const unsigned char *up = src + static_cast<size_t>(srcstride) * ty.s;
        const unsigned char *down = up + srcstride;
        for (int dx = 0; dx < w; ++dx) {
            const Tap tx = tap(dx, srcw, w);
            for (int c = 0; c < n; ++c) {
                const int l = tx.s * n + c, r = (tx.s + 1) * n + c;
                const int16_t top = static_cast<int16_t>((up[l] * tx.w0 + up[r] * tx.w1) >> 4);
                const int16_t bot = static_cast<int16_t>((down[l] * tx.w0 + down[r] * tx.w1) >> 4);
                const int v = (((ty.w0 * top) >> 16) + ((ty.w1 * bot) >> 16) + 2) >> 2;
                dst[static_cast<size_t>(stride) * dy + dx * n + c] = static_cast<unsigned char>(v);
            }
        }
    }
}

std::vector<unsigned char> random_bytes(std::mt19937 &rng, size_t n) {
    std::vector<unsigned char> v(n);
    for (auto &b : v) b = static_cast<unsigned char>(rng() & 0xff);
    return v;
}

}  // namespace

// Hand-computed: rows 0, 100, 200, 255 to 2x2 give 50, 228. Same size copies;
// exact halving gives the mean of each 2x2 block, halves rounded upward.
TEST(ResizeBilinear, WorkedExampleSameSizeAndHalving) {
    const unsigned char four[8] = {0, 100, 200, 255, 0, 100, 200, 255};
    std::vector<unsigned char> two(4, 1);
    resize_bilinear_c1(four, 4, 2, two.data(), 2, 2);
    EXPECT_EQ((std::vector<unsigned char>{50, 228, 50, 228}), two);

    std::mt19937 rng(11);
    const int sw = 10, sh = 6;
    for (int n = 1; n <= 4; ++n) {
        const auto src = random_bytes(rng, static_cast<size_t>(sw) * sh * n);
        std::vector<unsigned char> same(src.size(), 0), half(src.size() / 4, 0);
        kPacked[n](src.data(), sw, sh, same.data(), sw, sh);
        EXPECT_EQ(src, same) << "channels " << n;
        kPacked[n](src.data(), sw, sh, half.data(), sw / 2, sh / 2);
        for (size_t i = 0; i < half.size(); ++i) {
            const int c = i % n, x = i / n % (sw / 2) * 2, y = i / n / (sw / 2) * 2;
            const unsigned char *p = &src[(y * sw + x) * n + c], *q = p + sw * n;
            EXPECT_EQ((p[0] + p[n] + q[0] + q[n] + 2) / 4, half[i]) << n << "ch byte " << i;
        }
    }
}

// Weight pairs may sum to 2049; a saturated picture must still give exactly 255.
TEST(ResizeBilinear, SaturatedInputStaysSaturatedAtEverySize) {
    const std::vector<unsigned char> src(static_cast<size_t>(23) * 17 * 4, 255);
    for (int n = 1; n <= 4; ++n)
        for (int w = 1; w <= 60; w += 3)
            for (int h = 1; h <= 45; h += 4) {
                std::vector<unsigned char> dst(static_cast<size_t>(w) * h * n, 0);
                kPacked[n](src.data(), 23, 17, dst.data(), w, h);
                ASSERT_EQ(dst, std::vector<unsigned char>(dst.size(), 255))
                    << n << "ch " << w << "x" << h;
            }
}

// Random sizes up and down, 1 to 4 channels, random row padding on both
// sides. Destination padding must keep its sentinel
// bytes and source padding must not matter. Source buffers are sized exactly,
// so a read past them is an overrun the sanitizer build reports.
TEST(ResizeBilinear, MatchesIndependentReference) {
    std::mt19937 rng(20240611);
    auto pick = [&](int lo, int hi) { return lo + static_cast<int>(rng() % (hi - lo + 1)); };
    for (int iter = 0; iter < 600; ++iter) {
        const int n = 1 + iter % 4;
        const int sw = pick(2, 70), sh = pick(2, 50);
        // Enlarge, shrink (often by more than half), or anything.
        const int w = iter % 3 == 0 ? pick(sw, 3 * sw) : iter % 3 == 1 ? pick(1, sw) : pick(1, 110);
        const int h = iter % 3 == 0 ? pick(sh, 3 * sh) : iter % 3 == 1 ? pick(1, sh) : pick(1, 80);
        const int srcstride = sw * n + pick(0, 13), stride = w * n + pick(0, 13);

        const auto src = random_bytes(rng, static_cast<size_t>(srcstride) * (sh - 1) + sw * n);
        std::vector<unsigned char> got(static_cast<size_t>(stride) * h, 0xA5), want = got;
        kStrided[n](src.data(), sw, sh, srcstride, got.data(), w, h, stride);
        reference(src.data(), sw, sh, srcstride, want.data(), w, h, stride, n);
        ASSERT_EQ(want, got) << n << "ch " << sw << "x" << sh << " (stride " << srcstride << ") -> "
                             << w << "x" << h << " (stride " << stride << ")";
    }
}

TEST(ResizeBilinear, RefusedInputLeavesDestinationUntouched) {
    const std::vector<unsigned char> src(64 * 64 * 4, 77);
    for (int n = 1; n <= 4; ++n) {
        std::vector<unsigned char> dst(64 * 64 * 4, 0x5A);
        const auto fresh = dst;
        const unsigned char *s = src.data();
        unsigned char *d = dst.data();
        struct {
            const unsigned char *src;
            int sw, sh, ss;
            unsigned char *dst;
            int w, h, ds;
            const char *why;
        } const bad[] = {
            {nullptr, 8, 8, 8 * n, d, 4, 4, 4 * n, "null source"},
            {s, 8, 8, 8 * n, nullptr, 4, 4, 4 * n, "null destination"},
            {s, 1, 8, 8 * n, d, 4, 4, 4 * n, "source one pixel wide"},
            {s, 8, 1, 8 * n, d, 4, 4, 4 * n, "source one row high"},
            {s, 8, 8, 8 * n, d, 0, 4, 4 * n, "width 0"},
            {s, 8, 8, 8 * n, d, 4, -4, 4 * n, "negative height"},
            {s, 8, 8, 8 * n - 1, d, 4, 4, 4 * n, "short source stride"},
            {s, 8, 8, 8 * n, d, 4, 4, 4 * n - 1, "short destination stride"},
            {s, INT_MAX, 8, INT_MAX, d, 4, 4, 4 * n, "row too long for int"},
            {s, 8, 8, 8 * n, d, INT_MAX, 1, INT_MAX, "destination row too long"},
        };
        for (const auto &b : bad) {
            if (n == 1 && b.sw == INT_MAX) continue;  // fits int at 1 byte/px
            kStrided[n](b.src, b.sw, b.sh, b.ss, b.dst, b.w, b.h, b.ds);
            ASSERT_EQ(fresh, dst) << n << "ch: " << b.why;
        }
        kPacked[n](s, 1, 8, d, 4, 4);  // the packed form goes through the same checks
        EXPECT_EQ(fresh, dst) << n << "ch packed";
    }
}
