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
    for (int i = 0; i < t.elementNum; ++i) static_cast<float *>(t.data)[i] = base + i;
    return t;
}

std::vector<float> values(const TensorMat &t) {
    const float *p = static_cast<const float *>(t.data);
    return std::vector<float>(p, p + t.elementNum);
}

float at(const TensorMat &t, const int i[4]) {
    return values(t)[((i[0] * t.depth + i[1]) * t.height + i[2]) * t.width + i[3]];
}

}  // namespace

TEST(Concat, JoinsInListOrder) {
    TensorMat A = filled(1, 3, 2, 2, 0), B = filled(1, 3, 2, 2, 12);  // B's values follow A's
    TensorMat depth = filled(1, 6, 2, 2, -1), batch = filled(2, 3, 2, 2, -1);
    ASSERT_EQ(concat({&A, &B}, 1, &depth) + concat({&A, &B}, 0, &batch), 0);
    EXPECT_EQ(values(depth), values(filled(1, 6, 2, 2, 0)));
    EXPECT_EQ(values(batch), values(depth));

    // Three sources of unequal extent along each dimension: every destination
    // element comes from the source and position the joined order names.
    int (*join[4])(std::vector<TensorMat *>, TensorMat *) = {concat_batch, concat_depth,
                                                             concat_height, concat_width};
    for (int dim = 0; dim < 4; ++dim) {
        std::vector<TensorMat> parts;
        int j[4] = {2, 3, 2, 3};
        for (int n = 1; n <= 3; ++n) {
            j[dim] = n;
            parts.push_back(filled(j[0], j[1], j[2], j[3], 1000.f * n));
        }
        j[dim] = 6;
        TensorMat dst = filled(j[0], j[1], j[2], j[3], -1);
        ASSERT_EQ(join[dim]({&parts[0], &parts[1], &parts[2]}, &dst), 0) << dim;
        for (int i = 0; i < dst.elementNum; ++i) {
            int idx[4] = {i / (j[1] * j[2] * j[3]), i / (j[2] * j[3]) % j[1], i / j[3] % j[2],
                          i % j[3]};
            const int n = idx[dim] == 0 ? 0 : (idx[dim] < 3 ? 1 : 2);
            idx[dim] -= n * (n + 1) / 2;  // parts start at 0, 1 and 3
            ASSERT_EQ(values(dst)[i], at(parts[n], idx)) << "dim " << dim << " element " << i;
        }
    }

    // Bytes: the element size comes from the destination.
    std::vector<unsigned char> x = {1, 2, 3, 4}, y = {5, 6}, want = {1, 2, 5, 3, 4, 6};
    TensorMat X(1, 1, 2, 2, CHW, x.data(), AI_UINT8, false), XY(1, 1, 2, 3, CHW, AI_UINT8);
    TensorMat Y(1, 1, 2, 1, CHW, y.data(), AI_UINT8, false);
    ASSERT_EQ(concat_width({&X, &Y}, &XY), 0);
    EXPECT_EQ(0, std::memcmp(XY.data, want.data(), 6));
}

TEST(Concat, FailuresReportAndCopyNothing) {
    qevo_test::ScratchDir dir;
    qevo_test::set_marker("./AI_DEBUG", true);
    TensorMat A = filled(1, 3, 2, 2, 0), B = filled(1, 3, 2, 2, 100), C = filled(1, 1, 2, 2, 50);
    TensorMat dst4 = filled(1, 4, 2, 2, -1), dst5 = filled(1, 5, 2, 2, -1);
    TensorMat dst6 = filled(1, 6, 2, 2, -1), u8(1, 3, 2, 2, CHW, AI_UINT8);
    TensorMat taller = filled(1, 3, 3, 2, 0), ints(1, 6, 2, 2, CHW, AI_INT32);
    const std::vector<float> dst6Before = values(dst6);

    EXPECT_EQ(concat_depth({&A, &C}, &dst4), 0);  // the join itself allows it
    EXPECT_EQ(concat({&A, &C}, 1, &dst4) + concat({&A, &B}, 4, &dst6) +  // unequal counts, dim
                  concat_depth({&A, &u8}, &dst6) + concat_width({&A, &taller}, &dst6) +
                  concat_height({}, &dst6) + concat_batch({&A, &B}, nullptr) +
                  concat_depth({&A, &B}, &ints) + concat_batch({&A, nullptr}, &dst6),
              8);
    // The debug trace names the failing join, then the dispatcher.
    const std::string out = qevo_test::capture_stdout([&] {
        EXPECT_EQ(concat({&A, &B}, 1, &dst5), 1);
    });
    const size_t pos = out.find("->concat_depth] ConCat error: dstMat attr not matched");
    EXPECT_NE(pos, std::string::npos) << out;
    EXPECT_NE(out.find("->concat] concat error", pos), std::string::npos) << out;

    // Buffers that cannot hold what the shapes say are refused before any copy.
    TensorMat noBuf(1, 3, 2, 2, CHW, AI_BF16);
    noBuf.dataType = AI_FLOAT;
    EXPECT_EQ(concat_depth({&A, &noBuf}, &dst6), 1);
    for (int bytes : {20, 40}) {  // below the element count (size 0), another type's size
        dst6.dataByte = bytes;
        EXPECT_EQ(concat_depth({&A, &B}, &dst6), 1) << bytes;
    }
    dst6.elementNum = 10;  // consistent, but short of 24 floats
    EXPECT_EQ(concat_depth({&A, &B}, &dst6) + concat_batch({&A, &B}, &dst6), 2);
    dst6.elementNum = 24;
    EXPECT_EQ(values(dst6), dst6Before);

    EXPECT_THROW(concat({}, 0, &dst6), std::out_of_range);
}
