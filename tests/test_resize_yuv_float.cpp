// Semi-planar YUV resize and single-precision plane resize.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "mat_pixel_resize.h"
#include "resize_reference.h"

namespace {

std::vector<unsigned char> noise(size_t n) {
    std::vector<unsigned char> v(n);
    uint32_t seed = 7u;
    for (auto &b : v) {
        seed = seed * 1664525u + 1013904223u;
        b = static_cast<unsigned char>(seed >> 24);
    }
    return v;
}

}  // namespace

// The frame equals the luma plane through the one-channel kernel and the
// chroma plane through the two-channel kernel, run by hand; one guard byte
// after the semi-planar size survives.
TEST(ResizeYuv420sp, EqualsPlaneKernelsByHand) {
    const int cases[][4] = {
        {640, 480, 320, 240}, {640, 480, 321, 241}, {36, 20, 50, 31}, {7, 9, 4, 4}, {4, 4, 1, 5}};
    for (const auto &k : cases) {
        const int sw = k[0], sh = k[1], w = k[2], h = k[3];
        const std::vector<unsigned char> src = noise(sw * sh + 2 * (sw / 2) * (sh / 2));
        const size_t size = static_cast<size_t>(w) * h + 2 * (w / 2) * (h / 2);
        std::vector<unsigned char> dst(size + 1, 0x5a), want(size + 1, 0x5a);
        resize_bilinear_yuv420sp(src.data(), sw, sh, dst.data(), w, h);
        resize_bilinear_c1(src.data(), sw, sh, want.data(), w, h);
        if (w / 2 > 0 && h / 2 > 0) {
            resize_bilinear_c2(src.data() + sw * sh, sw / 2, sh / 2, want.data() + w * h, w / 2,
                               h / 2);
        }
        ASSERT_EQ(dst, want) << sw << "x" << sh << " -> " << w << "x" << h;
    }
    // Frames below 4x4 and empty targets write nothing at all.
    const std::vector<unsigned char> src = noise(64);
    const int refused[][4] = {{3, 8, 4, 4}, {8, 3, 4, 4}, {8, 8, 0, 4}, {8, 8, 4, -2}};
    for (const auto &k : refused) {
        std::vector<unsigned char> dst(64, 0xee);
        resize_bilinear_yuv420sp(src.data(), k[0], k[1], dst.data(), k[2], k[3]);
        EXPECT_EQ(dst, std::vector<unsigned char>(64, 0xee)) << k[0] << "x" << k[1];
    }
}

TEST(ResizeFloatC1, ExamplesAndBlendRule) {
    EXPECT_EQ(single_bilinear(1.25f, 1, 2, 4.f, 8.f), 5.f);
    EXPECT_EQ(single_bilinear(3.f, 3, 4, 0.1f, 100.f), 0.1f);
    EXPECT_EQ(single_bilinear(0.75f, 1, 99, 4.f, 8.f), 5.f);  // |x - x0|; x1 unused

    std::vector<float> row = {0, 10, 20, 30}, same(4), wide(8);
    resize_bilinear_float_c1(row.data(), 4, 1, same.data(), 4, 1);
    const float want[] = {3, 11, 19, 27};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(same[i], want[i], 1e-5f) << i;
    resize_bilinear_float_c1(row.data(), 4, 1, wide.data(), 8, 1);
    EXPECT_FLOAT_EQ(wide.front(), 0.f);
    EXPECT_FLOAT_EQ(wide.back(), 30.f);
    float seven = 7.f;
    std::vector<float> many(15);
    resize_bilinear_float_c1(&seven, 1, 1, many.data(), 5, 3);
    for (float v : many) EXPECT_NEAR(v, 7.f, 1e-5f);

    std::vector<float> guard(6, -3.f);  // bad sizes write nothing
    resize_bilinear_float_c1(row.data(), 4, 1, guard.data(), 0, 1);
    resize_bilinear_float_c1(row.data(), 0, 1, guard.data(), 2, 1);
    resize_bilinear_float_c1(nullptr, 4, 1, guard.data(), 2, 1);
    EXPECT_EQ(guard, std::vector<float>(6, -3.f));
}

TEST(ResizeFloatC1, MatchesPlainReferenceBitForBit) {
    const int sizes[][4] = {{5, 3, 7, 4},  {640, 640, 320, 320}, {1, 9, 4, 2},
                            {17, 1, 3, 5}, {12, 12, 12, 12},     {3, 8, 31, 2}};
    for (const auto &k : sizes) {
        std::vector<float> src(static_cast<size_t>(k[0]) * k[1]);
        for (size_t i = 0; i < src.size(); ++i) src[i] = std::cos(0.013f * i) * 255.f + 0.1f * i;
        std::vector<float> dst(static_cast<size_t>(k[2]) * k[3] + 1, -7.f);
        resize_bilinear_float_c1(src.data(), k[0], k[1], dst.data(), k[2], k[3]);
        std::vector<float> want = qevo_test::reference_bilinear(src, k[0], k[1], k[2], k[3]);
        want.push_back(-7.f);
        ASSERT_EQ(dst, want) << k[0] << "x" << k[1] << " -> " << k[2] << "x" << k[3];
    }
}
