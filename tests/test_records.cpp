// Enumerator values, ImgMat defaults, element sizes and semi-planar sizes.
#include <gtest/gtest.h>

#include <cstring>

#include "detection_type_api.h"

using namespace QEVO;

TEST(Records, EnumeratorValuesAreFixed) {
    const int counted[] = {IR, VIS, CHW, HWC, WHC, RGB, BGR, RGBA, BGRA, NV12, NV21, GRAY};
    const int from_one[] = {1, 2, 1, 2, 3, 1, 2, 3, 4, 5, 6, 7};
    for (int i = 0; i < 12; ++i) EXPECT_EQ(from_one[i], counted[i]) << "index " << i;

    EXPECT_EQ(-1, AI_DT_UNDEFINED);
    const int types[] = {AI_FLOAT,  AI_FLOAT16,   AI_INT8,       AI_INT32,  AI_UINT8,  AI_INT16,
                         AI_UINT16, AI_UINT32,    AI_INT64,      AI_UINT64, AI_DOUBLE, AI_BOOL,
                         AI_STRING, AI_COMPLEX64, AI_COMPLEX128, AI_BF16};
    const int values[] = {0, 1, 2, 3, 4, 6, 7, 8, 9, 10, 11, 12, 13, 16, 17, 27};
    for (int i = 0; i < 16; ++i) EXPECT_EQ(values[i], types[i]) << "index " << i;

    // DATATYPE holds -1, so it must compare as a signed value.
    DATATYPE t = AI_DT_UNDEFINED;
    EXPECT_LT(t, 0);
}

TEST(Records, ImgMatDefaultsAndCopies) {
    ImgMat m;
    EXPECT_EQ(nullptr, m.data);
    EXPECT_EQ(0, m.width + m.height + m.depth + m.frameID);
    EXPECT_EQ(0, m.timestamp + m.cfg);
    EXPECT_EQ(HWC, m.layout);
    EXPECT_EQ(RGB, m.inlayout);
    EXPECT_EQ(IR, m.mode);
    ImgMat arr[2] = {};  // value-initialised elements get the same defaults
    EXPECT_EQ(HWC, arr[1].layout);

    // cfg carries a record's address as an integer and gets it back intact.
    SyncInfos sync{12.5f, -3.25f, 1.0, 2.0, 3.0, 4.0, 5.0};
    m.cfg = reinterpret_cast<long long>(&sync);
    m.timestamp = 0x7fffffffffffLL;
    ImgMat copy = m;
    EXPECT_EQ(0, std::memcmp(&copy.timestamp, &m.timestamp, sizeof m.timestamp));
    const SyncInfos *back = reinterpret_cast<const SyncInfos *>(copy.cfg);
    EXPECT_EQ(12.5f, back->fAz);
    EXPECT_EQ(-3.25f, back->fPt);
}

TEST(Records, ElementSizesIncludingGaps) {
    struct {
        int type;
        int size;
    } const table[] = {{0, 4}, {1, 2}, {2, 1}, {3, 4},  {4, 1},  {6, 2},
                       {7, 2}, {8, 4}, {9, 8}, {10, 8}, {11, 8}, {12, 1}};
    for (const auto &e : table)
        EXPECT_EQ(e.size, datatype_size(static_cast<DATATYPE>(e.type))) << "type " << e.type;

    // No element size: undefined, string, complex, bf16 and every gap.
    const int none[] = {-1, 5, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 100};
    for (int v : none) EXPECT_EQ(0, datatype_size(static_cast<DATATYPE>(v))) << "type " << v;

    static_assert(datatype_size(AI_DOUBLE) == 8, "usable in constant expressions");
}

TEST(Records, SemiPlanarSizeTruncates) {
    EXPECT_EQ(22, yuv420sp_size(5, 3));  // 22.5 truncated
    EXPECT_EQ(3110400, yuv420sp_size(1920, 1080));
    EXPECT_EQ(12, yuv420sp_size(4, 2));
    EXPECT_EQ(1, yuv420sp_size(1, 1));  // 1.5
    EXPECT_EQ(0, yuv420sp_size(0, 1080));
    EXPECT_EQ(-1, yuv420sp_size(-1, 1));  // -1.5 truncated towards zero
    // Largest size that still fits: 46341 x 30893 x 1.5 = 2147418769.5.
    EXPECT_EQ(2147418769, yuv420sp_size(46341, 30893));
    // Past the int range the result is -1, never a wrapped positive size.
    EXPECT_EQ(-1, yuv420sp_size(65536, 65536));
    EXPECT_EQ(-1, yuv420sp_size(-65536, 65536));
}
