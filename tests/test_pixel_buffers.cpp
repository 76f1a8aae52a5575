// Activations, box squaring, crops, pads, planar re-layout and class colours.
#include <gtest/gtest.h>

#include <algorithm>
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

    EXPECT_TRUE(KIVEX::softmax({}).empty());
    const float total = (std::exp(1.0f) + std::exp(2.0f)) + std::exp(-1.0f);
    EXPECT_EQ(KIVEX::softmax({1.0f, 2.0f, -1.0f}),
              (std::vector<float>{std::exp(1.0f) / total, std::exp(2.0f) / total,
                                  std::exp(-1.0f) / total}));
    // Not shifted by the maximum: an overflowing score gives NaN, the finite ones 0.
    const std::vector<float> o = KIVEX::softmax({1.0f, 100.0f, 2.0f});
    EXPECT_TRUE(o.size() == 3 && o[0] == 0.0f && std::isnan(o[1]) && o[2] == 0.0f);
}

TEST(Activations, MakeRectSquaresAndClips) {
    // Box, image width and height, squared box.
    const std::vector<int> cases[] = {{10, 20, 30, 60, 100, 100, 0, 20, 40, 60},
                                      {30, 30, 71, 50, 200, 200, 29, 19, 70, 60},
                                      {40, 40, 60, 50, 50, 45, 40, 35, 49, 44}};  // clipped
    for (const std::vector<int> &c : cases) {
        int x1 = c[0], y1 = c[1], x2 = c[2], y2 = c[3];
        KIVEX::makeRect(x1, y1, x2, y2, c[4], c[5]);
        EXPECT_EQ((std::vector<int>{x1, y1, x2, y2}), std::vector<int>(c.begin() + 6, c.end()))
            << c[0] << "," << c[1];
    }
    // Extreme corners neither overflow nor wrap.
    int x1 = INT_MIN, y1 = INT_MIN, x2 = INT_MAX, y2 = INT_MAX;
    KIVEX::makeRect(x1, y1, x2, y2, INT_MAX, INT_MAX);
    EXPECT_TRUE(x1 == 0 && y1 == 0 && x2 >= 0 && y2 >= 0);
}

// `rows` rows of `row_bytes` bytes read from `src` at `off` with pitch `stride`.
Bytes window(const Bytes &src, size_t off, int rows, int row_bytes, int stride) {
    Bytes out(size_t(rows) * row_bytes);
    for (int r = 0; r < rows; ++r)
        std::copy_n(src.begin() + off + size_t(r) * stride, row_bytes, out.begin() + r * row_bytes);
    return out;
}

// The crop, then guard bytes that must stay untouched.
void expect_crop(const Bytes &dst, const Bytes &want) {
    EXPECT_EQ(Bytes(dst.begin(), dst.begin() + want.size()), want);
    EXPECT_EQ(Bytes(dst.begin() + want.size(), dst.end()), Bytes(dst.size() - want.size(), 0xEE));
}

TEST(PixelBuffers, CropImgAndCropYuvClampAndCopyRows) {
    const int w = 640, h = 480, c = 3;
    Bytes src = pattern(size_t(w) * h * c);
    Bytes dst(100 * 50 * c + 16, 0xEE);  // (-10, -10)-(100, 50) clamps to 100 x 50
    KIVEX::crop_img(src.data(), w, h, c, -10, -10, 100, 50, dst.data());
    expect_crop(dst, window(src, 0, 50, 100 * c, w * c));
    Bytes edge(40 * 10 * c + 8, 0xEE);  // (600, 470)-(700, 500) clamps to 40 x 10
    KIVEX::crop_img(src.data(), w, h, c, 600, 470, 700, 500, edge.data());
    expect_crop(edge, window(src, (470 * w + 600) * c, 10, 40 * c, w * c));

    // NV12: 200 luma rows, then 100 chroma rows from chroma row 25.
    Bytes yuv(60000 + 16, 0xEE);
    KIVEX::crop_yuv(src.data(), w, h, 100, 50, 300, 250, yuv.data());
    Bytes want = window(src, 50 * w + 100, 200, 200, w);
    for (uint8_t v : window(src, w * h + 25 * w + 100, 100, 200, w)) want.push_back(v);
    expect_crop(yuv, want);
    // Odd height 5 and odd top row 3: 5 luma rows, 2 chroma rows starting
    // (3 * 8) / 2 = 12 bytes into the chroma plane, plus x1.
    Bytes out(4 * 5 + 2 * 4 + 4, 0xEE);
    KIVEX::crop_yuv(src.data(), 8, 8, 2, 3, 6, 8, out.data());
    want = window(src, 3 * 8 + 2, 5, 4, 8);
    for (uint8_t v : window(src, 64 + 12 + 2, 2, 4, 8)) want.push_back(v);
    expect_crop(out, want);

    // Empty, inverted and outside rectangles write nothing.
    Bytes untouched(64, 0xEE);
    const int rects[][4] = {{50, 10, 50, 20}, {50, 20, 40, 30}, {700, 10, 800, 20}};
    for (const auto &r : rects) {
        KIVEX::crop_img(src.data(), w, h, c, r[0], r[1], r[2], r[3], untouched.data());
        KIVEX::crop_yuv(src.data(), w, h, r[0], r[1], r[2], r[3], untouched.data());
    }
    EXPECT_EQ(untouched, Bytes(64, 0xEE));
}

TEST(PixelBuffers, PadImgBordersValuesAndRefusals) {
    unsigned char pixel[3] = {7, 8, 9};
    QEVO::ImgMat img;
    img.data = pixel, img.width = img.height = 1, img.depth = 3;
    img.layout = QEVO::CHW;           // ignored
    Bytes dst(3 * 2 * 3 + 18, 0xEE);  // 3 x 2 output pixels, then a guard
    EXPECT_EQ(KIVEX::pad_img(img, 2, 0, 0, 1, dst.data(), {1, 2, 3, 99}), 0);
    Bytes want = {1, 2, 3, 1, 2, 3, 7, 8, 9, 1, 2, 3, 1, 2, 3, 1, 2, 3};
    want.resize(dst.size(), 0xEE);
    EXPECT_EQ(dst, want);

    // A 2 x 2 two-channel image with every border, values taken modulo 256.
    unsigned char px[8] = {10, 11, 12, 13, 14, 15, 16, 17};
    QEVO::ImgMat two = img;
    two.data = px, two.width = two.height = two.depth = 2;
    Bytes out(4 * 4 * 2);
    KIVEX::pad_img(two, 1, 1, 1, 1, out.data(), {256, -1});
    want.clear();
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const bool inside = y >= 1 && y <= 2 && x >= 1 && x <= 2;
            want.push_back(inside ? px[((y - 1) * 2 + (x - 1)) * 2] : 0);
            want.push_back(inside ? px[((y - 1) * 2 + (x - 1)) * 2 + 1] : 255);
        }
    EXPECT_EQ(out, want);

    // Too few values: out_of_range at the first border pixel needing the
    // missing one, the bytes before it written. Here the left border of row 0
    // (no top pad): channel 0 written, channel 1 missing.
    Bytes partial(3 * 2 * 2, 0xEE);
    EXPECT_THROW(KIVEX::pad_img(two, 1, 0, 0, 0, partial.data(), {5}), std::out_of_range);
    EXPECT_TRUE(partial[0] == 5 && partial[1] == 0xEE);

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
    char dst[7] = {'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    EXPECT_EQ(KIVEX::nhwc2nchw(src, dst, 2, 1, 3, true), 0);  // channels reversed
    EXPECT_EQ(std::vector<char>(dst, dst + 7), (std::vector<char>{30, 60, 20, 50, 10, 40, 'x'}));

    KIVEX::nhwc2nchw(src, dst, 2, 1, 3, false);
    EXPECT_EQ(std::vector<char>(dst, dst + 6), (std::vector<char>{10, 40, 20, 50, 30, 60}));
    std::fill(dst, dst + 7, 'x');
    int ret = -1;
    EXPECT_EQ(qevo_test::capture_stdout([&] { ret = KIVEX::nhwc2nchw(src, dst, 2, 1, 4, false); }),
              "function only support for channels=3\n");
    EXPECT_EQ(ret, 1);
    EXPECT_EQ(std::vector<char>(dst, dst + 7), std::vector<char>(7, 'x'));
}

TEST(PixelBuffers, GetColorTableAndRunningSums) {
    EXPECT_EQ(KIVEX::get_color(3), (std::vector<int>{145, 200, 200}));  // (400, 200, 200) % 255
    for (int cls : {-1, INT_MIN}) EXPECT_EQ(KIVEX::get_color(cls), (std::vector<int>{0, 0, 0}));
    // Running sums, as a display loop would add them up.
    for (int cls : {0, 1, 2, 1001, 65537}) {
        long long clr[3] = {0, 0, 0};
        for (int i = 0; i < cls + 1; ++i) clr[i % 3] += 200;
        EXPECT_EQ(KIVEX::get_color(cls),
                  (std::vector<int>{int(clr[0] % 255), int(clr[1] % 255), int(clr[2] % 255)}))
            << cls;
    }
    for (int v : KIVEX::get_color(INT_MAX)) EXPECT_TRUE(v >= 0 && v < 255) << v;
}

}  // namespace
