// Semi-planar YUV resize and single-precision plane resize.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "mat_pixel_resize.h"
#include "resize_reference.h"

namespace {

std::vector<unsigned char> noise(size_t n, uint32_t seed) {
    std::vector<unsigned char> v(n);
    for (auto &b : v) {
        seed = seed * 1664525u + 1013904223u;
        b = static_cast<unsigned char>(seed >> 24);
    }
    return v;
}

// Output of the YUV resize built by hand: the luma plane through the
// one-channel kernel, the chroma plane through the two-channel kernel.
std::vector<unsigned char> yuv_by_planes(const std::vector<unsigned char> &src, int sw, int sh,
                                         int w, int h, size_t dst_size) {
    std::vector<unsigned char> out(dst_size, 0x5a);
    resize_bilinear_c1(src.data(), sw, sh, out.data(), w, h);
    resize_bilinear_c2(src.data() + sw * sh, sw / 2, sh / 2, out.data() + w * h, w / 2, h / 2);
    return out;
}

}  // namespace

TEST(ResizeYuv420sp, MatchesPlaneKernels) {
    struct Case {
        int sw, sh, w, h;
    };
    const Case cases[] = {{640, 480, 320, 240}, {640, 480, 321, 241}, {36, 20, 50, 31},
                          {7, 9, 4, 4},         {4, 4, 9, 6},         {10, 8, 10, 8}};
    for (const Case &k : cases) {
        const std::vector<unsigned char> src = noise(k.sw * k.sh + 2 * (k.sw / 2) * (k.sh / 2), 7u);
        // One guard byte after the semi-planar size must survive.
        const size_t size = static_cast<size_t>(k.w) * k.h + 2 * (k.w / 2) * (k.h / 2);
        std::vector<unsigned char> dst(size + 1, 0x5a);
        resize_bilinear_yuv420sp(src.data(), k.sw, k.sh, dst.data(), k.w, k.h);
        const std::vector<unsigned char> want = yuv_by_planes(src, k.sw, k.sh, k.w, k.h, size + 1);
        ASSERT_EQ(dst, want) << k.sw << "x" << k.sh << " -> " << k.w << "x" << k.h;
    }

    // The two planes are separate: a frame with constant luma 16 and chroma
    // pairs (128, 200) keeps exactly those values at 320x240 -> 160x120.
    std::vector<unsigned char> frame(320 * 240 * 3 / 2, 16);
    for (size_t i = 320 * 240; i < frame.size(); i += 2) {
        frame[i] = 128;
        frame[i + 1] = 200;
    }
    std::vector<unsigned char> small(160 * 120 * 3 / 2, 0);
    resize_bilinear_yuv420sp(frame.data(), 320, 240, small.data(), 160, 120);
    for (int i = 0; i < 160 * 120; ++i) ASSERT_EQ(small[i], 16) << i;
    for (size_t i = 160 * 120; i < small.size(); i += 2) {
        ASSERT_EQ(small[i], 128) << i;
        ASSERT_EQ(small[i + 1], 200) << i;
    }
}

TEST(ResizeYuv420sp, SmallFramesAndTargetsWriteNothingOutside) {
    const std::vector<unsigned char> src = noise(64, 3u);
    // Frames below 4x4 and empty targets: nothing written at all.
    const int refused[][4] = {{3, 8, 4, 4}, {8, 3, 4, 4}, {8, 8, 0, 4}, {8, 8, 4, -2}};
    for (const auto &k : refused) {
        std::vector<unsigned char> dst(64, 0xee);
        resize_bilinear_yuv420sp(src.data(), k[0], k[1], dst.data(), k[2], k[3]);
        EXPECT_EQ(dst, std::vector<unsigned char>(64, 0xee)) << k[0] << "x" << k[1];
    }
    resize_bilinear_yuv420sp(nullptr, 8, 8, nullptr, 4, 4);

    // A target one pixel wide has no chroma: only its luma column is written.
    std::vector<unsigned char> dst(16, 0xee);
    resize_bilinear_yuv420sp(src.data(), 4, 4, dst.data(), 1, 5);
    std::vector<unsigned char> luma(5, 0);
    resize_bilinear_c1(src.data(), 4, 4, luma.data(), 1, 5);
    EXPECT_EQ(std::vector<unsigned char>(dst.begin(), dst.begin() + 5), luma);
    EXPECT_EQ(std::vector<unsigned char>(dst.begin() + 5, dst.end()),
              std::vector<unsigned char>(11, 0xee));
}

TEST(SingleBilinear, BlendRule) {
    EXPECT_EQ(single_bilinear(1.25f, 1, 2, 4.f, 8.f), 5.f);
    EXPECT_EQ(single_bilinear(3.f, 3, 4, 0.1f, 100.f), 0.1f);
    // alpha is the distance from x0 on either side; x1 is ignored.
    EXPECT_EQ(single_bilinear(0.75f, 1, 99, 4.f, 8.f), 5.f);
    // Two rounded products then a sum: 0.1 * 0.7f and 0.9 * 0.3f as floats.
    const float a = 0.9f;
    const float p = (1.f - a) * 0.7f;
    const float q = a * 0.3f;
    EXPECT_EQ(single_bilinear(a, 0, 1, 0.7f, 0.3f), p + q);
}

TEST(ResizeFloatC1, ExamplesAndClamping) {
    std::vector<float> row = {0, 10, 20, 30};
    std::vector<float> out(4, -1.f);
    resize_bilinear_float_c1(row.data(), 4, 1, out.data(), 4, 1);
    const float want4[] = {3, 11, 19, 27};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(out[i], want4[i], 1e-5f) << i;

    std::vector<float> wide(8, -1.f);
    resize_bilinear_float_c1(row.data(), 4, 1, wide.data(), 8, 1);
    EXPECT_FLOAT_EQ(wide.front(), 0.f);
    EXPECT_FLOAT_EQ(wide.back(), 30.f);
    for (int i = 1; i < 8; ++i) EXPECT_GE(wide[i], wide[i - 1]);

    float seven = 7.f;
    std::vector<float> many(5 * 3, 0.f);
    resize_bilinear_float_c1(&seven, 1, 1, many.data(), 5, 3);
    for (float v : many) EXPECT_NEAR(v, 7.f, 1e-5f);

    // Bad sizes write nothing.
    std::vector<float> guard(6, -3.f);
    resize_bilinear_float_c1(row.data(), 4, 1, guard.data(), 0, 1);
    resize_bilinear_float_c1(row.data(), 0, 1, guard.data(), 2, 1);
    resize_bilinear_float_c1(row.data(), 4, 1, guard.data(), 2, -1);
    resize_bilinear_float_c1(nullptr, 4, 1, guard.data(), 2, 1);
    EXPECT_EQ(guard, std::vector<float>(6, -3.f));
}

TEST(ResizeFloatC1, MatchesReferenceBitForBit) {
    const int sizes[][4] = {{5, 3, 7, 4},  {640, 640, 320, 320}, {1, 9, 4, 2},
                            {17, 1, 3, 5}, {12, 12, 12, 12},     {3, 8, 31, 2}};
    for (const auto &k : sizes) {
        std::vector<float> src(static_cast<size_t>(k[0]) * k[1]);
        for (size_t i = 0; i < src.size(); ++i) src[i] = std::cos(0.013f * i) * 255.f + 0.1f * i;
        std::vector<float> dst(static_cast<size_t>(k[2]) * k[3] + 1, -7.f);
        resize_bilinear_float_c1(src.data(), k[0], k[1], dst.data(), k[2], k[3]);
        const std::vector<float> want = qevo_test::reference_bilinear(src, k[0], k[1], k[2], k[3]);
        for (size_t i = 0; i < want.size(); ++i) {
            ASSERT_EQ(dst[i], want[i])
                << k[0] << "x" << k[1] << " -> " << k[2] << "x" << k[3] << " at " << i;
        }
        EXPECT_EQ(dst.back(), -7.f);
    }
}
