// Target snapshots: NV12 block paste and the 4 x 4 mosaic of a track, against
// a plain reference paste.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "objTracker.h"

namespace {

constexpr int kSide = 256;
constexpr int kNV12Bytes = kSide * kSide * 3 / 2;

QEVO::objinfo det(float x1, float y1, float x2, float y2) {
    QEVO::objinfo d{};
    d.x1 = x1, d.y1 = y1, d.x2 = x2, d.y2 = y2, d.score = 0.9f;
    return d;
}

// An NV12 block of w x h whose every byte is `value`.
struct Patch {
    std::vector<unsigned char> bytes;
    QEVO::ImgMat img;
    Patch(int w, int h, unsigned char value, QEVO::INPUT_LAYOUT layout = QEVO::NV12)
        : bytes(layout == QEVO::RGB ? w * h * 3 : w * h + w * (h / 2), value) {
        img.data = bytes.data(), img.width = w, img.height = h, img.inlayout = layout;
    }
};

// Reference NV12 paste of a uniform w x h block at (x, y) into a W x H image
// `m`, clipped to it: the luma rectangle and chroma rows y / 2 onwards.
void fill_rect(std::vector<unsigned char> &m, int W, int H, int x, int y, int w, int h,
               unsigned char value) {
    for (int r = 0; r < h + h / 2; ++r)
        for (int c = x; c < x + w; ++c) {
            const int row = r < h ? y + r : y / 2 + r - h, rows = r < h ? H : H / 2;
            if (row >= 0 && row < rows && c >= 0 && c < W)
                m[(r < h ? 0 : W * H) + row * W + c] = value;
        }
}

// Tile k (0..15) of a 256 x 256 mosaic filled with `value`.
void fill_tile(std::vector<unsigned char> &m, int k, unsigned char value) {
    fill_rect(m, kSide, kSide, 64 * (k % 4), 64 * (k / 4), 64, 64, value);
}

std::vector<unsigned char> mosaic_of(const OBJTRACK &t) {
    return std::vector<unsigned char>(t.m_imgBuffer, t.m_imgBuffer + kNV12Bytes);
}

}  // namespace

TEST(Snapshots, PasteNV12BlockPositionsOddHeightAndClipping) {
    // 8 x 6 destination (luma 48 bytes, chroma 3 rows of 8), 4 x 3 source.
    std::vector<unsigned char> dst8(8 * 6 * 3 / 2, 0), src(4 * 3 + 4 * 1);
    for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<unsigned char>(i + 1);
    pasteNV12Block(dst8.data(), 8, 6, src.data(), 4, 3, 2, 3);
    std::vector<unsigned char> want(dst8.size(), 0);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) want[(3 + r) * 8 + 2 + c] = src[r * 4 + c];
    for (int c = 0; c < 4; ++c) want[48 + 1 * 8 + 2 + c] = src[12 + c];  // chroma row 3 / 2 = 1
    EXPECT_EQ(want, dst8);

    // Clipping; guard bytes around the destination catch any write outside it.
    const int W = 8, H = 4, bytes = W * H * 3 / 2;
    std::vector<unsigned char> buf(bytes + 64, 0xEE);
    unsigned char *dst = buf.data() + 32;
    std::fill(dst, dst + bytes, 0);
    src.assign(6 * 4 * 3 / 2, 9);
    pasteNV12Block(dst, W, H, src.data(), 6, 4, 5, 2);    // reaches right and bottom
    pasteNV12Block(dst, W, H, src.data(), 6, 4, -4, -2);  // reaches left and top
    pasteNV12Block(nullptr, W, H, src.data(), 6, 4, 0, 0);
    pasteNV12Block(dst, W, H, src.data(), 0, 4, 0, 0);
    std::vector<unsigned char> inner(bytes, 0);
    want.assign(buf.size(), 0xEE);
    fill_rect(inner, W, H, 5, 2, 6, 4, 9);
    fill_rect(inner, W, H, -4, -2, 6, 4, 9);
    std::copy(inner.begin(), inner.end(), want.begin() + 32);
    EXPECT_EQ(want, buf);
}

TEST(Snapshots, MosaicTilesFollowMatchedObservationsWhateverThePatchSize) {
    Patch first(64, 64, 1);
    OBJTRACK t(det(0, 0, 10, 10), first.img, 5, 10, nullptr);
    ASSERT_NE(nullptr, t.m_imgBuffer);
    std::vector<unsigned char> want(kNV12Bytes, 0);
    fill_tile(want, 0, 1);
    EXPECT_EQ(want, mosaic_of(t));
    // Matched observation m writes tile (m - 1) mod 16; misses write nothing.
    for (int m = 1; m <= 17; ++m) {
        Patch p(64, 64, static_cast<unsigned char>(10 + m));
        t.add(det(0, 0, 0, 0), p.img, nullptr);  // a miss between every hit
        t.add(det(0, 0, 10, 10), p.img, nullptr);
        fill_tile(want, (m - 1) % 16, static_cast<unsigned char>(10 + m));
        ASSERT_EQ(want, mosaic_of(t)) << "observation " << m;
    }
    // Spot check of the layout: tile 4 starts at chroma row 32.
    EXPECT_EQ(15, t.m_imgBuffer[kSide * kSide + 32 * kSide]);
    // The count never overflows, and the tiles keep their order past INT_MAX.
    t._nExistCnt = INT_MAX - 1;
    for (int k : {14, 15, 0, 1}) {
        Patch p(64, 64, static_cast<unsigned char>(50 + k));
        t.add(det(0, 0, 10, 10), p.img, nullptr);
        fill_tile(want, k, static_cast<unsigned char>(50 + k));
        ASSERT_EQ(want, mosaic_of(t)) << "tile " << k;
        ASSERT_GE(t._nExistCnt, INT_MAX - 15);
    }

    // A patch larger than a tile is cut to the tile: tile 5 gets 64 x 64 of it,
    // nothing spills into its neighbours.
    Patch big(100, 90, 8);
    OBJTRACK u(det(0, 0, 10, 10), big.img, 5, 10, nullptr);
    for (int m = 0; m < 6; ++m) u.add(det(0, 0, 10, 10), big.img, nullptr);
    want.assign(kNV12Bytes, 0);
    for (int k = 0; k <= 5; ++k) fill_tile(want, k, 8);
    EXPECT_EQ(want, mosaic_of(u));
}

TEST(Snapshots, LayoutsWithoutAndWithRgbMosaic) {
    for (QEVO::INPUT_LAYOUT layout : {QEVO::BGR, QEVO::NV21}) {
        Patch p(16, 16, 3);
        p.img.inlayout = layout;
        OBJTRACK t(det(0, 0, 10, 10), p.img, 5, 10, nullptr);
        EXPECT_EQ(nullptr, t.m_imgBuffer);
        t.add(det(0, 0, 10, 10), p.img, nullptr);
        EXPECT_EQ(1, t._nExistCnt);
    }

    // RGB: interleaved tiles, 3 bytes per pixel, row pitch 768.
    Patch rgb(2, 2, 0, QEVO::RGB);
    for (size_t i = 0; i < rgb.bytes.size(); ++i) rgb.bytes[i] = static_cast<unsigned char>(i + 1);
    OBJTRACK t(det(0, 0, 10, 10), rgb.img, 5, 10, nullptr);
    ASSERT_NE(nullptr, t.m_imgBuffer);
    t.add(det(0, 0, 10, 10), rgb.img, nullptr);  // tile 0 again
    t.add(det(0, 0, 10, 10), rgb.img, nullptr);  // tile 1 at pixel column 2
    std::vector<unsigned char> want(kSide * kSide * 3, 0);
    for (int x0 : {0, 2})
        for (int r = 0; r < 2; ++r)
            for (int b = 0; b < 6; ++b) want[r * 768 + x0 * 3 + b] = rgb.bytes[r * 6 + b];
    EXPECT_EQ(0, std::memcmp(want.data(), t.m_imgBuffer, want.size()));
    Patch nv(2, 2, 99);  // an NV12 patch does not fit an RGB mosaic and is left out
    t.add(det(0, 0, 10, 10), nv.img, nullptr);
    EXPECT_EQ(0, std::memcmp(want.data(), t.m_imgBuffer, want.size()));
}
