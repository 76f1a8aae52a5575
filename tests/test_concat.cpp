// Joining tensors along batch, depth, height and width.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "imageMat.h"
#include "support.h"

using namespace QEVO;

namespace {

// A float tensor whose element i holds base + i.
TensorMat filled(int b, int c, int h, int w, float base) {
    TensorMat t(b, c, h, w, CHW, AI_FLOAT);
    float *p = static_cast<float *>(t.data);
    for (int i = 0; i < t.elementNum; ++i) p[i] = base + static_cast<float>(i);
    return t;
}

float at(const TensorMat &t, int b, int c, int h, int w) {
    const float *p = static_cast<const float *>(t.data);
    return p[((b * t.depth + c) * t.height + h) * t.width + w];
}

// The joined tensor, element by element: along `dim` the sources follow one
// another in list order.
void expect_joined(const std::vector<TensorMat *> &srcs, int dim, const TensorMat &dst) {
    for (int b = 0; b < dst.batchsize; ++b)
        for (int c = 0; c < dst.depth; ++c)
            for (int h = 0; h < dst.height; ++h)
                for (int w = 0; w < dst.width; ++w) {
                    int idx[4] = {b, c, h, w};
                    size_t n = 0;
                    while (true) {
                        const int ext[4] = {srcs[n]->batchsize, srcs[n]->depth, srcs[n]->height,
                                            srcs[n]->width};
                        if (idx[dim] < ext[dim]) break;
                        idx[dim] -= ext[dim];
                        ++n;
                    }
                    ASSERT_EQ(at(dst, b, c, h, w), at(*srcs[n], idx[0], idx[1], idx[2], idx[3]))
                        << "dim " << dim << " at " << b << c << h << w;
                }
}

}  // namespace

TEST(Concat, JoinsInListOrderAlongEveryDimension) {
    TensorMat A = filled(1, 3, 2, 2, 0), B = filled(1, 3, 2, 2, 100);
    const std::vector<TensorMat *> ab = {&A, &B};

    TensorMat depth = filled(1, 6, 2, 2, -1);
    ASSERT_EQ(concat(ab, 1, &depth), 0);
    const float *d = static_cast<const float *>(depth.data);
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(d[i], i);
        EXPECT_EQ(d[12 + i], 100 + i);
    }
    TensorMat batch = filled(2, 3, 2, 2, -1);
    ASSERT_EQ(concat(ab, 0, &batch), 0);
    EXPECT_EQ(0, std::memcmp(batch.data, depth.data, 96));

    TensorMat height = filled(1, 3, 4, 2, -1);
    ASSERT_EQ(concat(ab, 2, &height), 0);
    // Channel 1: A's rows 2..3 then B's.
    const float *h = static_cast<const float *>(height.data) + 8;
    EXPECT_EQ(std::vector<float>(h, h + 8), (std::vector<float>{4, 5, 6, 7, 104, 105, 106, 107}));
    expect_joined(ab, 2, height);

    TensorMat width = filled(1, 3, 2, 4, -1);
    ASSERT_EQ(concat(ab, 3, &width), 0);
    const float *w = static_cast<const float *>(width.data);
    EXPECT_EQ(std::vector<float>(w, w + 8), (std::vector<float>{0, 1, 100, 101, 2, 3, 102, 103}));
    expect_joined(ab, 3, width);

    // Batch items interleave in a depth join.
    TensorMat P = filled(2, 1, 1, 2, 0), Q = filled(2, 1, 1, 2, 10);
    TensorMat pq = filled(2, 2, 1, 2, -1);
    ASSERT_EQ(concat_depth({&P, &Q}, &pq), 0);
    const float *r = static_cast<const float *>(pq.data);
    EXPECT_EQ(std::vector<float>(r, r + 8), (std::vector<float>{0, 1, 10, 11, 2, 3, 12, 13}));

    // Unequal extents along the joined dimension, three sources, 8-byte type.
    for (int dim = 0; dim < 4; ++dim) {
        int e[3][4] = {{2, 3, 2, 3}, {2, 3, 2, 3}, {2, 3, 2, 3}};
        e[0][dim] = 1;
        e[2][dim] = 3;
        std::vector<TensorMat> parts;
        parts.reserve(3);
        for (int n = 0; n < 3; ++n)
            parts.push_back(filled(e[n][0], e[n][1], e[n][2], e[n][3], 1000.f * n));
        int j[4] = {2, 3, 2, 3};
        j[dim] = 1 + j[dim] + 3;
        TensorMat dst = filled(j[0], j[1], j[2], j[3], -1);
        std::vector<TensorMat *> list = {&parts[0], &parts[1], &parts[2]};
        const int rc = dim == 0   ? concat_batch(list, &dst)
                       : dim == 1 ? concat_depth(list, &dst)
                       : dim == 2 ? concat_height(list, &dst)
                                  : concat_width(list, &dst);
        ASSERT_EQ(rc, 0) << dim;
        expect_joined(list, dim, dst);
    }

    // One tensor is copied whole.
    TensorMat one = filled(1, 2, 3, 4, 7), same = filled(1, 2, 3, 4, -1);
    ASSERT_EQ(concat({&one}, 2, &same), 0);
    EXPECT_EQ(0, std::memcmp(one.data, same.data, 96));

    // Other element types: the element size comes from the destination.
    std::vector<unsigned char> x = {1, 2, 3, 4}, y = {5, 6};
    TensorMat X(1, 1, 2, 2, CHW, x.data(), AI_UINT8, false),
        Y(1, 1, 2, 1, CHW, y.data(), AI_UINT8, false);
    TensorMat XY(1, 1, 2, 3, CHW, AI_UINT8);
    ASSERT_EQ(concat_width({&X, &Y}, &XY), 0);
    const unsigned char *xy = static_cast<const unsigned char *>(XY.data);
    EXPECT_EQ(std::vector<unsigned char>(xy, xy + 6),
              (std::vector<unsigned char>{1, 2, 5, 3, 4, 6}));
}

TEST(Concat, FailuresReportAndLeaveDestinationUntouched) {
    qevo_test::ScratchDir dir;
    qevo_test::set_marker("./AI_DEBUG", true);
    TensorMat A = filled(1, 3, 2, 2, 0), B = filled(1, 3, 2, 2, 100), C = filled(1, 1, 2, 2, 50);
    TensorMat dst4 = filled(1, 4, 2, 2, -1);

    // Unequal element counts: the joining routine accepts them, concat does not.
    EXPECT_EQ(concat_depth({&A, &C}, &dst4), 0);
    TensorMat untouched = filled(1, 4, 2, 2, -1);
    std::string out = qevo_test::capture_stdout([&] {
        EXPECT_EQ(concat({&A, &C}, 1, &untouched), 1);
    });
    EXPECT_NE(out.find("->concat] elenum should be same"), std::string::npos);

    out = qevo_test::capture_stdout([&] { EXPECT_EQ(concat({&A, &B}, 4, &untouched), 1); });
    EXPECT_NE(out.find("->concat] dim error"), std::string::npos);

    TensorMat wrongDepth = filled(1, 5, 2, 2, -1);
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(concat({&A, &B}, 1, &wrongDepth), 1); });
    const size_t first = out.find("->concat_depth] ConCat error: dstMat attr not matched");
    const size_t second = out.find("->concat] concat error");
    EXPECT_NE(first, std::string::npos);
    EXPECT_NE(second, std::string::npos);
    EXPECT_LT(first, second);

    TensorMat u8(1, 3, 2, 2, CHW, AI_UINT8);
    TensorMat dst6 = filled(1, 6, 2, 2, -1);
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(concat_depth({&A, &u8}, &dst6), 1); });
    EXPECT_NE(out.find("ConCat error: TensorMat attr not matched"), std::string::npos);
    TensorMat taller = filled(1, 3, 3, 2, 0);
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(concat_width({&A, &taller}, &dst6), 1); });
    EXPECT_NE(out.find("ConCat error: TensorMat attr not matched"), std::string::npos);
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(concat_height({}, &dst6), 1); });
    EXPECT_NE(out.find("->concat_height] ConCat error: input vector is empty"), std::string::npos);
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(concat_batch({&A, &B}, nullptr), 1); });
    EXPECT_NE(out.find("ConCat error: dstMat is NULL"), std::string::npos);
    TensorMat dstType(1, 6, 2, 2, CHW, AI_INT32);
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(concat_depth({&A, &B}, &dstType), 1); });
    EXPECT_NE(out.find("ConCat error: dstMat attr not matched"), std::string::npos);

    // Buffers that cannot hold what their shapes say are refused before any copy.
    TensorMat noBuf(1, 3, 2, 2, CHW, AI_BF16);
    noBuf.dataType = AI_FLOAT;
    noBuf.elementNum = 12;
    EXPECT_EQ(concat_depth({&A, &noBuf}, &dst6), 1);
    TensorMat shortDst = filled(1, 6, 2, 2, -1);
    shortDst.dataByte = 40;  // bytes disagree with the float type
    EXPECT_EQ(concat_depth({&A, &B}, &shortDst), 1);
    shortDst.elementNum = 10;  // consistent, but too small for 24 floats
    EXPECT_EQ(concat_depth({&A, &B}, &shortDst), 1);
    EXPECT_EQ(concat_batch({&A, &B}, &shortDst), 1);
    EXPECT_EQ(concat_batch({&A, nullptr}, &dst6), 1);
    const float *u = static_cast<const float *>(untouched.data);
    const float *s = static_cast<const float *>(shortDst.data);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(u[i], -1.f + i);
    for (int i = 0; i < 24; ++i) EXPECT_EQ(s[i], -1.f + i);

    EXPECT_THROW(concat({}, 0, &dst6), std::out_of_range);
}
