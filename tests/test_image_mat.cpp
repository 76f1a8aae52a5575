// ImageMat: construction sizes, ownership through copies and moves, resize
// and crop.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "imageMat.h"
#include "support.h"

using namespace QEVO;

namespace {

std::vector<unsigned char> ramp(size_t n, int start = 0) {
    std::vector<unsigned char> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = static_cast<unsigned char>(start + i * 7);
    return v;
}

char *as_chars(std::vector<unsigned char> &v) { return reinterpret_cast<char *>(v.data()); }

ImageMat owned(int w, int h, int c, INPUT_LAYOUT f, std::vector<unsigned char> &px) {
    return ImageMat(w, h, c, HWC, f, IR, 0, as_chars(px), true);
}

bool same_bytes(const unsigned char *a, const unsigned char *b, size_t n) {
    return std::memcmp(a, b, n) == 0;
}

}  // namespace

TEST(ImageMatConstruct, DefaultsAndSizesPerFormat) {
    ImageMat d;
    EXPECT_EQ(d.data, nullptr);
    EXPECT_EQ(d.inlayout, RGB);
    EXPECT_EQ(d.mode, IR);
    EXPECT_TRUE(d.goDet);
    EXPECT_FALSE(d.goSeg || d.hasSegResult || d.hasDetResult || d.relayout);
    EXPECT_TRUE(d.DetresultsRects.empty() && d.SegresultsRects.empty());
    EXPECT_TRUE(d.DeepCopy);
    EXPECT_EQ(d.timestamp, 0);
    EXPECT_EQ(d.cfg, 0);

    // Fields: NV12 4x2 takes 12 bytes, NV21 depth 1 takes 8. Copies of the
    // images copy exactly that many bytes (an overrun would trip the sanitizer).
    std::vector<unsigned char> src = ramp(12);
    ImageMat nv12(4, 2, 1, HWC, NV12, VIS, 77, as_chars(src), true);
    ASSERT_NE(nv12.data, nullptr);
    EXPECT_NE(nv12.data, src.data());
    EXPECT_TRUE(same_bytes(nv12.data, src.data(), 12));
    EXPECT_EQ(nv12.mode, VIS);
    EXPECT_EQ(nv12.timestamp, 77);
    EXPECT_EQ(nv12.cfg, 0);
    ImageMat nv12copy(nv12);
    EXPECT_TRUE(same_bytes(nv12copy.data, src.data(), 12));
    ImageMat nv21(4, 2, 1, HWC, NV21, IR, 0, as_chars(src), true);
    EXPECT_TRUE(same_bytes(nv21.data, src.data(), 8));
    ImageMat nv21copy(nv21);
    EXPECT_TRUE(same_bytes(nv21copy.data, src.data(), 8));

    // Record: NV21 4x2 is semi-planar (12 bytes); RGB 4x2x3 takes 24.
    std::vector<unsigned char> rgb = ramp(24, 3);
    ImgMat rec;
    rec.data = src.data();
    rec.width = 4;
    rec.height = 2;
    rec.depth = 1;
    rec.inlayout = NV21;
    rec.frameID = 9;
    rec.cfg = 1234;
    ImageMat fromRec(rec, true);
    EXPECT_NE(fromRec.data, src.data());
    EXPECT_TRUE(same_bytes(fromRec.data, src.data(), 12));
    EXPECT_EQ(fromRec.frameID, 9);
    EXPECT_EQ(fromRec.cfg, 1234);
    ImageMat fromRecCopy = fromRec;
    EXPECT_TRUE(same_bytes(fromRecCopy.data, src.data(), 12));
    rec.data = rgb.data();
    rec.depth = 3;
    rec.inlayout = RGB;
    ImageMat rgbImg(rec, true);
    EXPECT_TRUE(same_bytes(rgbImg.data, rgb.data(), 24));

    // A null record pointer leaves the image without pixels, even when copying.
    rec.data = nullptr;
    ImageMat none(rec, true);
    EXPECT_EQ(none.data, nullptr);
    EXPECT_TRUE(none.DeepCopy);

    // Sizes that do not fit 31 bits, and negative sizes, give no buffer.
    ImageMat huge(70000, 70000, 3, HWC, RGB, IR, 0, nullptr, true);
    EXPECT_EQ(huge.data, nullptr);
    ImageMat negative(-4, 2, 3, HWC, RGB, IR, 0, as_chars(rgb), false);
    EXPECT_EQ(negative.data, nullptr);
}

TEST(ImageMatConstruct, FieldConstructorTraceIsGated) {
    qevo_test::ScratchDir dir;
    std::string quiet =
        qevo_test::capture_stdout([] { ImageMat img(2, 2, 1, HWC, GRAY, IR, 0, nullptr, true); });
    EXPECT_EQ(quiet, "");
    qevo_test::set_marker("./AI_DEBUG", true);
    std::string loud =
        qevo_test::capture_stdout([] { ImageMat img(2, 2, 1, HWC, GRAY, IR, 0, nullptr, true); });
    EXPECT_NE(loud.find("\n[DEBUG:"), std::string::npos);
    EXPECT_NE(loud.find("->ImageMat] [WARNING]no init config param in this function"),
              std::string::npos);
}

TEST(ImageMatOwnership, BorrowCopyMoveAndAssign) {
    std::vector<unsigned char> px = ramp(30);
    const std::vector<unsigned char> before = px;
    {
        ImageMat borrow(5, 2, 3, HWC, RGB, IR, 0, as_chars(px), false);
        EXPECT_EQ(borrow.data, px.data());
        ImageMat borrowCopy(borrow);
        EXPECT_EQ(borrowCopy.data, px.data());
        EXPECT_FALSE(borrowCopy.DeepCopy);
        ImgMat rec;
        rec.data = px.data();
        rec.width = 5;
        rec.height = 2;
        rec.depth = 3;
        ImageMat recBorrow(rec, false);
        EXPECT_EQ(recBorrow.data, px.data());
    }
    EXPECT_EQ(px, before);  // nothing freed or written by the borrowers

    ImageMat a = owned(5, 2, 3, RGB, px);
    a.DetresultsRects.push_back(objinfo{1, 2, 3, 4, 0.5f, 1, 2, 3, 4});
    a.frameID = 42;
    ImageMat b(a);
    ASSERT_NE(b.data, nullptr);
    EXPECT_NE(b.data, a.data);
    EXPECT_TRUE(same_bytes(b.data, px.data(), 30));
    EXPECT_EQ(b.DetresultsRects.size(), 1u);
    EXPECT_EQ(b.frameID, 42);
    b.data[0] ^= 0xff;
    EXPECT_EQ(a.data[0], px[0]);  // independent pixels

    // Assignment over an owning image releases the old pixels (sanitizer
    // checks the leak) and copies; self-assignment keeps everything.
    ImageMat c = owned(2, 2, 3, BGR, px);
    c = a;
    EXPECT_EQ(c.width, 5);
    EXPECT_NE(c.data, a.data);
    EXPECT_TRUE(same_bytes(c.data, px.data(), 30));
    const ImageMat &alias = c;
    c = alias;
    EXPECT_TRUE(same_bytes(c.data, px.data(), 30));

    unsigned char *moved = a.data;
    ImageMat d(std::move(a));
    EXPECT_EQ(d.data, moved);
    EXPECT_EQ(a.data, nullptr);
    c = std::move(d);
    EXPECT_EQ(c.data, moved);
    EXPECT_EQ(d.data, nullptr);

    // A growing vector copies or moves its images many times.
    std::vector<ImageMat> list;
    for (int i = 0; i < 20; ++i) {
        list.push_back(owned(5, 2, 3, RGB, px));
        list.emplace_back(5, 2, 3, HWC, RGB, IR, 0, as_chars(px), false);
    }
    std::vector<ImageMat> copyList = list;
    for (size_t i = 0; i < copyList.size(); ++i) {
        EXPECT_TRUE(same_bytes(copyList[i].data, px.data(), 30));
        if (i % 2 == 1) {
            EXPECT_EQ(copyList[i].data, px.data());
        }
    }
    EXPECT_EQ(px, before);
}

TEST(ImageMatResize, KernelsByFormat) {
    // BGR 4x4 halved: every output byte is the mean of its 2x2 block, halves up.
    std::vector<unsigned char> px = ramp(48, 1);
    ImageMat img = owned(4, 4, 3, BGR, px);
    ASSERT_EQ(img.resize(2, 2), 0);
    EXPECT_EQ(img.width, 2);
    EXPECT_EQ(img.height, 2);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) {
            for (int c = 0; c < 3; ++c) {
                auto at = [&](int yy, int xx) { return px[(yy * 4 + xx) * 3 + c]; };
                const int sum = at(2 * y, 2 * x) + at(2 * y, 2 * x + 1) + at(2 * y + 1, 2 * x) +
                                at(2 * y + 1, 2 * x + 1);
                EXPECT_EQ(img.data[(y * 2 + x) * 3 + c], (sum + 2) / 4)
                    << y << "," << x << "," << c;
            }
        }
    }

    // Same size: a new buffer with identical bytes.
    ImageMat same = owned(4, 4, 3, RGB, px);
    unsigned char *old = same.data;
    ASSERT_EQ(same.resize(4, 4), 0);
    EXPECT_NE(same.data, old);
    EXPECT_TRUE(same_bytes(same.data, px.data(), 48));

    // RGBA: four channels of a constant image stay constant.
    std::vector<unsigned char> rgba(6 * 4 * 4, 200);
    ImageMat four = owned(6, 4, 4, RGBA, rgba);
    ASSERT_EQ(four.resize(9, 3), 0);
    for (int i = 0; i < 9 * 3 * 4; ++i) ASSERT_EQ(four.data[i], 200);

    // GRAY uses the one-channel kernel: rows 0,100,200,255 to 2x2 give 50,228.
    std::vector<unsigned char> gray = {0, 100, 200, 255, 0, 100, 200, 255};
    ImageMat g = owned(4, 2, 1, GRAY, gray);
    ASSERT_EQ(g.resize(2, 2), 0);
    EXPECT_EQ(std::vector<unsigned char>(g.data, g.data + 4),
              (std::vector<unsigned char>{50, 228, 50, 228}));
}

TEST(ImageMatResize, BorrowedSourceIsLeftAlone) {
    std::vector<unsigned char> px = ramp(48);
    const std::vector<unsigned char> before = px;
    {
        ImageMat img(4, 4, 3, HWC, RGB, IR, 0, as_chars(px), false);
        ASSERT_EQ(img.resize(8, 8), 0);
        EXPECT_NE(img.data, px.data());
        EXPECT_TRUE(img.DeepCopy);  // the new buffer is the image's own
        ImageMat copy(img);
        EXPECT_NE(copy.data, img.data);
        EXPECT_TRUE(same_bytes(copy.data, img.data, 8 * 8 * 3));
    }
    EXPECT_EQ(px, before);
}

TEST(ImageMatResize, RefusalsLeaveImageUnchanged) {
    qevo_test::ScratchDir dir;
    qevo_test::set_marker("./AI_DEBUG", true);
    std::vector<unsigned char> px = ramp(48);

    ImageMat empty;
    std::string out = qevo_test::capture_stdout([&] { EXPECT_EQ(empty.resize(2, 2), 1); });
    EXPECT_NE(out.find("->resize] TensorMat is empty, should init first"), std::string::npos);

    for (INPUT_LAYOUT f : {NV12, NV21}) {
        ImageMat yuv = owned(4, 4, 1, f, px);
        unsigned char *keep = yuv.data;
        out = qevo_test::capture_stdout([&] { EXPECT_EQ(yuv.resize(2, 2), 1); });
        EXPECT_NE(out.find("->resize] NV12/NV21 data cannot resize for now"), std::string::npos);
        EXPECT_EQ(yuv.data, keep);
        EXPECT_EQ(yuv.width, 4);
    }

    struct Case {
        int w, h, c;
        INPUT_LAYOUT f;
        int dw, dh;
    };
    const Case refused[] = {
        {4, 4, 3, static_cast<INPUT_LAYOUT>(42), 2, 2},  // unknown format
        {4, 4, 3, RGB, 0, 2},                            // zero target
        {4, 4, 3, RGB, 2, -1},                           // negative target
        {1, 4, 3, RGB, 2, 2},                            // too narrow to interpolate
        {4, 4, 3, RGB, 60000, 60000},                    // target too large
    };
    for (const Case &k : refused) {
        ImageMat img = owned(k.w, k.h, k.c, k.f, px);
        unsigned char *keep = img.data;
        EXPECT_EQ(img.resize(k.dw, k.dh), 1) << k.dw << "x" << k.dh;
        EXPECT_EQ(img.data, keep);
        EXPECT_EQ(img.width, k.w);
        EXPECT_EQ(img.height, k.h);
        EXPECT_TRUE(same_bytes(img.data, px.data(), k.w * k.h * k.c));
    }
}

TEST(ImageMatCrop, ClampingAndPrintedAddress) {
    std::vector<unsigned char> px = ramp(300);
    ImageMat img = owned(10, 10, 3, RGB, px);
    img.frameID = 5;
    img.cfg = 99;
    img.timestamp = 1234;

    ImageMat c;
    std::string out = qevo_test::capture_stdout([&] { c = img.crop(-5, -5, 3, 2); });
    ASSERT_NE(c.data, nullptr);
    EXPECT_EQ(c.width, 3);
    EXPECT_EQ(c.height, 2);
    EXPECT_EQ(c.depth, 3);
    EXPECT_TRUE(c.DeepCopy);
    EXPECT_EQ(c.timestamp, 1234);
    EXPECT_EQ(c.cfg, 0);
    EXPECT_TRUE(same_bytes(c.data, px.data(), 9));
    EXPECT_TRUE(same_bytes(c.data + 9, px.data() + 30, 9));
    char line[64];
    std::snprintf(line, sizeof line, "dst.data %p\n", static_cast<void *>(c.data));
    EXPECT_EQ(out, std::string(line) + line);

    ImageMat corner = img.crop(8, 8, 20, 20);
    ASSERT_EQ(corner.width, 2);
    ASSERT_EQ(corner.height, 2);
    for (int y = 0; y < 2; ++y) {
        EXPECT_TRUE(same_bytes(corner.data + y * 6, px.data() + ((8 + y) * 10 + 8) * 3, 6));
    }

    for (auto r : {std::vector<int>{5, 5, 5, 9}, std::vector<int>{6, 6, 2, 2},
                   std::vector<int>{20, 0, 30, 5}}) {
        std::string none = qevo_test::capture_stdout([&] {
            ImageMat e = img.crop(r[0], r[1], r[2], r[3]);
            EXPECT_EQ(e.data, nullptr);
            EXPECT_EQ(e.width, 0);
        });
        EXPECT_EQ(none, "");
    }
    ImageMat empty;
    EXPECT_EQ(empty.crop(0, 0, 2, 2).data, nullptr);

    // The crop of a borrowed image owns its pixels.
    std::vector<unsigned char> keep = px;
    {
        ImageMat borrow(10, 10, 3, HWC, RGB, IR, 0, as_chars(px), false);
        ImageMat part = borrow.crop(1, 1, 4, 4);
        EXPECT_TRUE(part.DeepCopy);
        EXPECT_NE(part.data, px.data());
    }
    EXPECT_EQ(px, keep);
}

TEST(ImageMatCrop, SemiPlanarCropsBothPlanes) {
    // 10x8 frame: luma 80 bytes, chroma 4 rows of 10 bytes (5 pairs).
    const int W = 10, H = 8;
    std::vector<unsigned char> frame = ramp(W * H * 3 / 2, 11);
    for (INPUT_LAYOUT f : {NV12, NV21}) {
        ImgMat rec;
        rec.data = frame.data();
        rec.width = W;
        rec.height = H;
        rec.depth = 1;
        rec.inlayout = f;
        ImageMat img(rec, true);
        // (3, 3) snaps to (2, 2); 9 - 2 = 7 columns snap to 6, 8 - 2 rows stay 6.
        ImageMat c = img.crop(3, 3, 9, 8);
        ASSERT_NE(c.data, nullptr);
        ASSERT_EQ(c.width, 6);
        ASSERT_EQ(c.height, 6);
        EXPECT_EQ(c.inlayout, f);
        for (int y = 0; y < 6; ++y) {
            for (int x = 0; x < 6; ++x) {
                ASSERT_EQ(c.data[y * 6 + x], frame[(2 + y) * W + 2 + x]) << y << "," << x;
            }
        }
        const unsigned char *uv = c.data + 36;
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 6; ++x) {
                ASSERT_EQ(uv[y * 6 + x], frame[W * H + (1 + y) * W + 2 + x]) << y << "," << x;
            }
        }
        // Copies of the crop carry the whole semi-planar buffer.
        ImageMat copy(c);
        EXPECT_TRUE(same_bytes(copy.data, c.data, 54));
        // A rectangle narrower than one chroma pair snaps to nothing.
        EXPECT_EQ(img.crop(4, 4, 5, 8).data, nullptr);
    }
}
