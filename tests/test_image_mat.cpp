// ImageMat: buffer sizes per format, ownership through copies and moves,
// resize and crop.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "imageMat.h"
#include "objTracker.h"
#include "support.h"
#include "utils.h"

using namespace QEVO;

namespace {

std::vector<unsigned char> ramp(size_t n) {
    std::vector<unsigned char> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = static_cast<unsigned char>(1 + i * 7);
    return v;
}

ImageMat make(int w, int h, int c, INPUT_LAYOUT f, std::vector<unsigned char> &px, bool own) {
    return ImageMat(w, h, c, HWC, f, IR, 0, reinterpret_cast<char *>(px.data()), own);
}

ImgMat record(unsigned char *data, int w, int h, int depth, INPUT_LAYOUT f) {
    ImgMat rec;
    rec.data = data, rec.width = w, rec.height = h, rec.depth = depth, rec.inlayout = f;
    return rec;
}

bool same(const unsigned char *a, const unsigned char *b, size_t n) {
    return a != nullptr && std::memcmp(a, b, n) == 0;
}

}  // namespace

// Copies copy exactly the bytes each constructor sized; reading more would
// trip the sanitizer build, reading fewer fails the comparison.
TEST(ImageMat, BufferSizesPerFormatAndConstructor) {
    std::vector<unsigned char> px = ramp(24);
    ImageMat nv12 = make(4, 2, 1, NV12, px, true);  // semi-planar: 12 bytes
    ImageMat nv21 = make(4, 2, 1, NV21, px, true);  // fields: w x h x c = 8 bytes
    ImgMat rec = record(px.data(), 4, 2, 1, NV21);  // record: semi-planar, 12 bytes
    rec.cfg = 1234;
    ImageMat recNv21(rec, true);
    rec.depth = 3, rec.inlayout = RGB;  // 24 bytes
    ImageMat recRgb(rec, true);
    const std::pair<const ImageMat *, size_t> sized[] = {
        {&nv12, 12}, {&nv21, 8}, {&recNv21, 12}, {&recRgb, 24}};
    for (const auto &k : sized) {
        ImageMat copy(*k.first);
        EXPECT_TRUE(copy.data != k.first->data && same(k.first->data, px.data(), k.second) &&
                    same(copy.data, px.data(), k.second));
    }
    EXPECT_TRUE(recRgb.cfg == 1234 && nv12.cfg == 0);

    rec.data = nullptr;
    EXPECT_EQ(ImageMat(rec, true).data, nullptr);
    EXPECT_EQ(ImageMat(70000, 70000, 3, HWC, RGB, IR, 0, nullptr, true).data, nullptr);
    EXPECT_EQ(make(-4, 2, 3, RGB, px, false).data, nullptr);
}

TEST(ImageMat, OwnershipThroughCopiesAndMoves) {
    std::vector<unsigned char> px = ramp(30);
    const std::vector<unsigned char> before = px;
    ImageMat a = make(5, 2, 3, RGB, px, true);  // owns a copy
    a.DetresultsRects.push_back(objinfo{1, 2, 3, 4, 0.5f, 1, 2, 3, 4});
    {
        ImageMat borrow = make(5, 2, 3, RGB, px, false);
        ImageMat borrowCopy(borrow);
        EXPECT_TRUE(borrowCopy.data == px.data() && !borrowCopy.DeepCopy);

        ImageMat b(a);
        EXPECT_TRUE(b.data != a.data && b.DetresultsRects.size() == 1);

        borrow = b;  // a borrowing image becomes an owning copy
        EXPECT_TRUE(borrow.DeepCopy && borrow.data != b.data);
        b = borrowCopy;  // and back: the owned pixels are released
        EXPECT_EQ(b.data, px.data());
        const ImageMat &self = a;
        a = self;
        EXPECT_TRUE(same(a.data, px.data(), 30));
    }
    EXPECT_EQ(px, before);  // the borrowers neither freed nor wrote it

    unsigned char *p = a.data;
    ImageMat m(std::move(a));
    EXPECT_EQ(m.data, p);
}

TEST(ImageMat, ResizeByFormat) {
    std::vector<unsigned char> px = ramp(48);
    const std::vector<unsigned char> before = px;
    // BGR halved: each byte is the mean of its 2x2 block, halves upward; the
    // first block holds 1, 22, 85, 106 (+7 per channel), the last one
    // 211, 232, 39, 60 (+7). A borrowed source is left alone and the new
    // buffer is the image's own.
    ImageMat img = make(4, 4, 3, BGR, px, false);
    ASSERT_EQ(img.resize(2, 2), 0);
    ASSERT_TRUE(img.DeepCopy && img.width == 2 && img.height == 2 && px == before);
    EXPECT_EQ((std::vector<int>{img.data[0], img.data[1], img.data[2], img.data[9], img.data[10],
                                img.data[11]}),
              (std::vector<int>{54, 61, 68, 136, 143, 150}));
    // GRAY uses one channel: rows 0, 100, 200, 255 to 2x2 give 50, 228.
    std::vector<unsigned char> gray = {0, 100, 200, 255, 0, 100, 200, 255},
                               want = {50, 228, 50, 228};
    ImageMat g = make(4, 2, 1, GRAY, gray, true);
    EXPECT_TRUE(g.resize(2, 2) == 0 && same(g.data, want.data(), 4));
}

TEST(ImageMat, ResizeRefusalsLeaveImageUnchanged) {
    std::vector<unsigned char> px = ramp(48);
    EXPECT_EQ(ImageMat().resize(2, 2), 1);
    // {w, c, format, dw, dh}: NV21, unknown format, empty target, one column (cannot be
    // interpolated), oversized target, a 4x4x1 buffer too small for RGB.
    const int refused[][5] = {{4, 1, NV21, 2, 2}, {4, 3, 42, 2, 2},          {4, 3, RGB, 0, 2},
                              {1, 3, RGB, 2, 2},  {4, 3, RGB, 60000, 60000}, {4, 1, RGB, 2, 2}};
    for (const auto &k : refused) {
        ImageMat img = make(k[0], 4, k[1], static_cast<INPUT_LAYOUT>(k[2]), px, true);
        unsigned char *keep = img.data;
        EXPECT_EQ(img.resize(k[3], k[4]), 1);
        EXPECT_TRUE(img.data == keep && img.width == k[0] &&
                    same(img.data, px.data(), k[0] * 4 * k[1]))
            << k[0] << "x4x" << k[1] << " -> " << k[3];
    }
    // The debug trace names the refusal.
    qevo_test::ScratchDir dir;
    qevo_test::set_marker("./AI_DEBUG", true);
    ImageMat nv = make(4, 4, 1, NV21, px, true);
    const std::string out = qevo_test::capture_stdout([&] { nv.resize(2, 2); });
    EXPECT_NE(out.find("->resize] NV12/NV21 data cannot resize for now"), std::string::npos);
}

TEST(ImageMat, CropClampsAndPrintsAddressTwice) {
    std::vector<unsigned char> px = ramp(300);
    ImageMat img = make(10, 10, 3, RGB, px, false);
    ImageMat c;
    std::string out = qevo_test::capture_stdout([&] { c = img.crop(-5, -5, 3, 2); });
    ASSERT_TRUE(c.width == 3 && c.height == 2 && c.DeepCopy) << c.width << "x" << c.height;
    EXPECT_TRUE(same(c.data, px.data(), 9) && same(c.data + 9, px.data() + 30, 9));
    char line[64];
    std::snprintf(line, sizeof line, "dst.data %p\n", static_cast<void *>(c.data));
    EXPECT_EQ(out, std::string(line) + line);

    out = qevo_test::capture_stdout([&] {
        EXPECT_EQ(img.crop(5, 5, 5, 9).data, nullptr);
        EXPECT_EQ(img.crop(6, 6, 2, 2).data, nullptr);
        EXPECT_EQ(ImageMat().crop(0, 0, 2, 2).data, nullptr);
    });
    EXPECT_EQ(out, "");
}

TEST(ImageMat, SemiPlanarCropCopiesBothPlanes) {
    const int W = 10, H = 8;  // luma 80 bytes, then 4 chroma rows of 10 bytes
    std::vector<unsigned char> frame = ramp(W * H * 3 / 2);
    for (INPUT_LAYOUT f : {NV12, NV21}) {
        ImageMat img(record(frame.data(), W, H, 1, f), true);
        // The corner (3, 3) snaps to (2, 2), 7 columns to 6; 6 rows stay.
        ImageMat c = img.crop(3, 3, 9, 8);
        ASSERT_TRUE(c.width == 6 && c.height == 6) << c.width << "x" << c.height;
        for (int y = 0; y < 9; ++y)  // luma rows 2..7, then chroma rows 1..3
            EXPECT_TRUE(same(c.data + y * 6, frame.data() + (y < 6 ? 2 + y : H + y - 5) * W + 2, 6))
                << y;
        ImageMat copy(c);  // the copy carries all 54 bytes
        EXPECT_TRUE(same(copy.data, c.data, 54));
        EXPECT_EQ(img.crop(4, 4, 5, 8).data, nullptr);  // narrower than a chroma pair
    }
    // Built from fields, NV21 of depth 1 holds luma only: no chroma to crop.
    ImageMat lumaOnly = make(W, H, 1, NV21, frame, true);
    EXPECT_EQ(lumaOnly.crop(0, 0, 4, 4).data, nullptr);
}

// Odd widths too: the crop's chroma rows are `width` bytes apart, as in
// crop_yuv and pasteNV12Block. The crop equals crop_yuv of the snapped
// rectangle, and pasting it back where it came from changes nothing.
TEST(ImageMat, SemiPlanarCropAgreesWithCropYuvAndPaste) {
    std::mt19937 rng(12);
    qevo_test::capture_stdout([&] {  // the crops' address lines
        for (int n = 0; n < 300; ++n) {
            const int W = 3 + static_cast<int>(rng() % 12), H = 2 + static_cast<int>(rng() % 10);
            std::vector<unsigned char> frame(static_cast<size_t>(W * H * 3 / 2));
            for (unsigned char &b : frame) b = static_cast<unsigned char>(rng());
            ImageMat img(record(frame.data(), W, H, 1, NV12), false);
            const int x1 = static_cast<int>(rng() % W), y1 = static_cast<int>(rng() % H);
            ImageMat c = img.crop(x1, y1, x1 + 2 + static_cast<int>(rng() % W),
                                  y1 + 2 + static_cast<int>(rng() % H));
            if (c.data == nullptr) continue;
            const int sx = x1 & ~1, sy = y1 & ~1;
            std::vector<unsigned char> ref(static_cast<size_t>(c.width * c.height * 3 / 2));
            KIVEX::crop_yuv(frame.data(), W, H, sx, sy, sx + c.width, sy + c.height, ref.data());
            ASSERT_TRUE(same(c.data, ref.data(), ref.size()))
                << W << "x" << H << " at " << sx << "," << sy;
            std::vector<unsigned char> back = frame;
            pasteNV12Block(back.data(), W, H, c.data, c.width, c.height, sx, sy);
            ASSERT_EQ(back, frame) << W << "x" << H << " at " << sx << "," << sy;
        }
    });
}
