// Activations, box squaring, crops, pads, planar re-layout and class colours.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "support.h"
#include "utils.h"

namespace {

using Bytes = std::vector<unsigned char>;

// An image whose every byte tells its own position.
Bytes pattern(size_t n) {
    Bytes v(n);
    for (size_t i = 0; i < n; ++i) v[i] = static_cast<unsigned char>((i * 7 + i / 251) & 0xff);
    return v;
}

TEST(Activations, SigmoidAndSoftmax) {
    EXPECT_EQ(KIVEX::sigmoid(0.0f), 0.5f);
    EXPECT_EQ(KIVEX::sigmoid(-200.0f), 0.0f);  // exp overflows to infinity
    EXPECT_EQ(KIVEX::sigmoid(200.0f), 1.0f);
    EXPECT_EQ(KIVEX::sigmoid(1.5f), 1.0f / (std::exp(-1.5f) + 1.0f));

    EXPECT_TRUE(KIVEX::softmax({}).empty());
    EXPECT_EQ(KIVEX::softmax({3.0f}), std::vector<float>{1.0f});
    for (float v : KIVEX::softmax({0.7f, 0.7f, 0.7f, 0.7f})) EXPECT_EQ(v, 0.25f);
    const std::vector<float> s = KIVEX::softmax({1.0f, 2.0f, -1.0f});
    const float total = (std::exp(1.0f) + std::exp(2.0f)) + std::exp(-1.0f);
    ASSERT_EQ(s.size(), 3u);
    EXPECT_EQ(s[0], std::exp(1.0f) / total);
    EXPECT_EQ(s[1], std::exp(2.0f) / total);
    EXPECT_EQ(s[2], std::exp(-1.0f) / total);
    // Not shifted by the maximum: one overflowing score gives NaN there and 0
    // for the finite ones.
    const std::vector<float> o = KIVEX::softmax({1.0f, 100.0f, 2.0f});
    EXPECT_EQ(o[0], 0.0f);
    EXPECT_TRUE(std::isnan(o[1]));
    EXPECT_EQ(o[2], 0.0f);
}

TEST(Activations, MakeRectSquaresAndClips) {
    struct Case {
        int in[4], w, h, out[4];
    } cases[] = {
        {{10, 20, 30, 60}, 100, 100, {0, 20, 40, 60}},
        {{0, 0, 10, 40}, 100, 100, {0, 0, 25, 40}},
        {{30, 30, 71, 50}, 200, 200, {29, 19, 70, 60}},
        {{0, 0, 5, 5}, 100, 100, {0, 0, 4, 4}},
        {{90, 10, 99, 20}, 100, 100, {89, 10, 99, 20}},
        {{40, 40, 60, 50}, 50, 45, {40, 35, 49, 44}},  // clipped right and bottom
    };
    for (const Case &c : cases) {
        int x1 = c.in[0], y1 = c.in[1], x2 = c.in[2], y2 = c.in[3];
        KIVEX::makeRect(x1, y1, x2, y2, c.w, c.h);
        EXPECT_EQ((std::vector<int>{x1, y1, x2, y2}),
                  (std::vector<int>{c.out[0], c.out[1], c.out[2], c.out[3]}))
            << "box " << c.in[0] << "," << c.in[1] << "," << c.in[2] << "," << c.in[3];
    }
    // Extreme corners neither overflow nor wrap.
    int x1 = INT_MIN, y1 = INT_MIN, x2 = INT_MAX, y2 = INT_MAX;
    KIVEX::makeRect(x1, y1, x2, y2, INT_MAX, INT_MAX);
    EXPECT_EQ(x1, 0);
    EXPECT_EQ(y1, 0);
    EXPECT_GE(x2, 0);
    EXPECT_GE(y2, 0);
}

TEST(PixelBuffers, CropImgClampsToTheImage) {
    const int w = 640, h = 480, c = 3;
    Bytes src = pattern(static_cast<size_t>(w) * h * c);
    Bytes dst(100 * 50 * c + 16, 0xEE);
    KIVEX::crop_img(src.data(), w, h, c, -10, -10, 100, 50, dst.data());
    for (int y = 0; y < 50; ++y)
        for (int x = 0; x < 100 * c; ++x)
            ASSERT_EQ(dst[y * 100 * c + x], src[y * w * c + x]) << y << "," << x;
    for (size_t i = 100 * 50 * c; i < dst.size(); ++i) EXPECT_EQ(dst[i], 0xEE);

    // Right and bottom edges clamp too: (600, 470)-(700, 500) is 40 x 10.
    Bytes edge(40 * 10 * c + 8, 0xEE);
    KIVEX::crop_img(src.data(), w, h, c, 600, 470, 700, 500, edge.data());
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 40 * c; ++x)
            ASSERT_EQ(edge[y * 40 * c + x], src[(470 + y) * w * c + 600 * c + x]);
    EXPECT_EQ(edge[40 * 10 * c], 0xEE);

    Bytes untouched(64, 0xEE);
    const int rects[][4] = {{50, 10, 50, 20},   {50, 20, 40, 30},   {10, 30, 20, 30},
                            {700, 10, 800, 20}, {-50, -50, -1, -1}, {30, 20, 10, 5}};
    for (const auto &r : rects) {
        KIVEX::crop_img(src.data(), w, h, c, r[0], r[1], r[2], r[3], untouched.data());
        KIVEX::crop_yuv(src.data(), w, h, r[0], r[1], r[2], r[3], untouched.data());
    }
    EXPECT_EQ(untouched, Bytes(64, 0xEE));
}

TEST(PixelBuffers, CropYuvCopiesLumaAndChromaRows) {
    const int w = 640, h = 480;
    Bytes src = pattern(static_cast<size_t>(w) * h * 3 / 2);
    Bytes dst(60000 + 16, 0xEE);
    KIVEX::crop_yuv(src.data(), w, h, 100, 50, 300, 250, dst.data());
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 200; ++x) ASSERT_EQ(dst[y * 200 + x], src[(50 + y) * w + 100 + x]);
    const size_t chroma = static_cast<size_t>(w) * h;
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 200; ++x)
            ASSERT_EQ(dst[40000 + y * 200 + x], src[chroma + 16100 + y * w + x]);
    EXPECT_EQ(dst[60000], 0xEE);

    // Odd height 5 and odd top row 3: 5 luma rows, 2 chroma rows starting
    // (3 * 8) / 2 = 12 bytes into the chroma plane, plus x1.
    const int sw = 8, sh = 8;
    Bytes small = pattern(sw * sh * 3 / 2);
    Bytes out(4 * 5 + 2 * 4 + 4, 0xEE);
    KIVEX::crop_yuv(small.data(), sw, sh, 2, 3, 6, 8, out.data());
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(out[y * 4 + x], small[(3 + y) * sw + 2 + x]);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(out[20 + y * 4 + x], small[64 + 12 + 2 + y * sw + x]);
    EXPECT_EQ(out[28], 0xEE);
}

TEST(PixelBuffers, PadImgBordersValuesAndRefusals) {
    unsigned char pixel[3] = {7, 8, 9};
    QEVO::ImgMat img;
    img.data = pixel;
    img.width = img.height = 1;
    img.depth = 3;
    img.layout = QEVO::CHW;           // ignored
    Bytes dst(3 * 2 * 3 + 18, 0xEE);  // 3 x 2 output pixels, then a guard
    EXPECT_EQ(KIVEX::pad_img(img, 2, 0, 0, 1, dst.data(), {1, 2, 3, 99}), 0);
    EXPECT_EQ(dst, (Bytes{1,    2,    3,    1,    2,    3,    7,    8,    9,    1,    2,    3,
                          1,    2,    3,    1,    2,    3,    0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE,
                          0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));

    // A 2 x 2 two-channel image with every border, values taken modulo 256.
    unsigned char px[8] = {10, 11, 12, 13, 14, 15, 16, 17};
    QEVO::ImgMat two;
    two.data = px;
    two.width = two.height = 2;
    two.depth = 2;
    Bytes out(4 * 4 * 2);
    KIVEX::pad_img(two, 1, 1, 1, 1, out.data(), {256, -1});
    Bytes want;
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const bool inside = y >= 1 && y <= 2 && x >= 1 && x <= 2;
            want.push_back(inside ? px[((y - 1) * 2 + (x - 1)) * 2] : 0);
            want.push_back(inside ? px[((y - 1) * 2 + (x - 1)) * 2 + 1] : 255);
        }
    EXPECT_EQ(out, want);

    // No pads: a plain copy, and no value is needed.
    Bytes copy(8, 0);
    KIVEX::pad_img(two, 0, 0, 0, 0, copy.data(), {});
    EXPECT_EQ(copy, Bytes(px, px + 8));

    // Too few values: out_of_range at the first border pixel needing the
    // missing one, the bytes before it written. Here the left border of row 0
    // (no top pad): channel 0 written, channel 1 missing.
    Bytes partial(3 * 2 * 2, 0xEE);
    EXPECT_THROW(KIVEX::pad_img(two, 1, 0, 0, 0, partial.data(), {5}), std::out_of_range);
    EXPECT_EQ(partial[0], 5);
    EXPECT_EQ(partial[1], 0xEE);

    // A negative pad writes nothing.
    Bytes none(64, 0xEE);
    for (int k = 0; k < 4; ++k) {
        int pads[4] = {1, 1, 1, 1};
        pads[k] = -1;
        EXPECT_EQ(KIVEX::pad_img(two, pads[0], pads[1], pads[2], pads[3], none.data(), {1, 2}), 0);
    }
    EXPECT_EQ(none, Bytes(64, 0xEE));
}

TEST(PixelBuffers, Nhwc2nchwPlanesAndRefusal) {
    qevo_test::ScratchDir dir;  // no ./AI_DEBUG: the refusal line is printed anyway
    char src[6] = {10, 20, 30, 40, 50, 60};
    char dst[7];
    std::fill(dst, dst + 7, 'x');
    EXPECT_EQ(KIVEX::nhwc2nchw(src, dst, 2, 1, 3, false), 0);
    EXPECT_EQ(std::vector<char>(dst, dst + 7), (std::vector<char>{10, 40, 20, 50, 30, 60, 'x'}));
    EXPECT_EQ(KIVEX::nhwc2nchw(src, dst, 2, 1, 3, true), 0);
    EXPECT_EQ(std::vector<char>(dst, dst + 7), (std::vector<char>{30, 60, 20, 50, 10, 40, 'x'}));

    // A 3 x 2 image: plane k holds channel k of every pixel, in raster order.
    Bytes img = pattern(18);
    std::vector<char> planes(18);
    KIVEX::nhwc2nchw(reinterpret_cast<char *>(img.data()), planes.data(), 3, 2, 3, false);
    for (int k = 0; k < 3; ++k)
        for (int p = 0; p < 6; ++p)
            EXPECT_EQ(static_cast<unsigned char>(planes[k * 6 + p]), img[p * 3 + k]);

    std::fill(dst, dst + 7, 'x');
    int ret = -1;
    const std::string out =
        qevo_test::capture_stdout([&] { ret = KIVEX::nhwc2nchw(src, dst, 2, 1, 4, false); });
    EXPECT_EQ(ret, 1);
    EXPECT_EQ(out, "function only support for channels=3\n");
    EXPECT_EQ(std::vector<char>(dst, dst + 7), std::vector<char>(7, 'x'));
}

TEST(PixelBuffers, GetColorTableAndRunningSums) {
    const int table[][4] = {{0, 200, 0, 0},     {1, 200, 200, 0},   {2, 200, 200, 200},
                            {3, 145, 200, 200}, {4, 145, 145, 200}, {5, 145, 145, 145},
                            {6, 90, 145, 145},  {9, 35, 90, 90},    {12, 235, 35, 35},
                            {15, 180, 235, 235}};
    for (const auto &row : table)
        EXPECT_EQ(KIVEX::get_color(row[0]), (std::vector<int>{row[1], row[2], row[3]})) << row[0];
    EXPECT_EQ(KIVEX::get_color(-1), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(KIVEX::get_color(INT_MIN), (std::vector<int>{0, 0, 0}));
    // Running sums, as a display loop would add them up.
    for (int cls : {100, 1001, 65537}) {
        long long clr[3] = {0, 0, 0};
        for (int i = 0; i < cls + 1; ++i) clr[i % 3] += 200;
        EXPECT_EQ(KIVEX::get_color(cls),
                  (std::vector<int>{int(clr[0] % 255), int(clr[1] % 255), int(clr[2] % 255)}));
    }
    for (int v : KIVEX::get_color(INT_MAX)) {
        EXPECT_GE(v, 0);
        EXPECT_LT(v, 255);
    }
}

}  // namespace
