// TensorMat: construction and shape mapping, export, resizing, norms, addition.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "imageMat.h"
#include "resize_reference.h"
#include "support.h"
#include "utils.h"

using namespace QEVO;

namespace {

std::vector<float> values(const TensorMat &t) {
    const float *p = static_cast<const float *>(t.data);
    return std::vector<float>(p, p + t.elementNum);
}

struct Dims {
    int b, c, h, w;
};

Dims dims(const TensorMat &t) { return {t.batchsize, t.depth, t.height, t.width}; }

bool operator==(const Dims &a, const Dims &b) {
    return a.b == b.b && a.c == b.c && a.h == b.h && a.w == b.w;
}

std::ostream &operator<<(std::ostream &os, const Dims &d) {
    return os << d.b << "x" << d.c << "x" << d.h << "x" << d.w;
}

}  // namespace

TEST(TensorMatConstruct, SizesPerTypeAndOwnership) {
    TensorMat t(1, 3, 2, 2, CHW, AI_FLOAT);
    EXPECT_EQ(t.elementNum, 12);
    EXPECT_EQ(t.dataByte, 48);
    EXPECT_EQ(t.wstride, 2);
    EXPECT_NE(t.data, nullptr);
    EXPECT_TRUE(t.DeepCopy);

    const std::pair<DATATYPE, int> bytes[] = {{AI_BOOL, 20},   {AI_FLOAT16, 40}, {AI_DOUBLE, 160},
                                              {AI_INT8, 20},   {AI_UINT8, 20},   {AI_INT16, 40},
                                              {AI_UINT16, 40}, {AI_INT32, 80},   {AI_UINT32, 80},
                                              {AI_FLOAT, 80},  {AI_INT64, 160},  {AI_UINT64, 160}};
    for (const auto &k : bytes) {
        TensorMat m(2, 1, 1, 10, HWC, k.first);
        EXPECT_EQ(m.dataByte, k.second) << k.first;
        EXPECT_EQ(m.elementNum, 20);
        EXPECT_NE(m.data, nullptr);
    }

    TensorMat d;
    EXPECT_EQ(d.data, nullptr);
    EXPECT_EQ(d.elementNum, 0);
    EXPECT_EQ(d.dataByte, 0);
    EXPECT_TRUE(d.DeepCopy);
    EXPECT_EQ(d.zeroPoint, 0.f);
    EXPECT_EQ(d.scaleFactor, 1.f);

    // Wrapping without a copy keeps the caller's pointer and leaves it alone;
    // with a copy the tensor has its own bytes.
    std::vector<float> buf = {1, 2, 3, 4, 5, 6};
    {
        TensorMat wrap(1, 1, 2, 3, CHW, buf.data(), AI_FLOAT, false);
        EXPECT_EQ(wrap.data, buf.data());
        EXPECT_FALSE(wrap.DeepCopy);
        TensorMat copy(1, 1, 2, 3, CHW, buf.data(), AI_FLOAT, true);
        EXPECT_NE(copy.data, buf.data());
        EXPECT_EQ(values(copy), buf);
        TensorMat listWrap(std::vector<int>{2, 3}, CHW, buf.data(), AI_FLOAT, false);
        EXPECT_EQ(listWrap.data, buf.data());
    }
    EXPECT_EQ(buf, (std::vector<float>{1, 2, 3, 4, 5, 6}));

    // Moves transfer the buffer and leave the source empty.
    void *p = t.data;
    TensorMat moved(std::move(t));
    EXPECT_EQ(moved.data, p);
    EXPECT_EQ(t.data, nullptr);
    TensorMat other(1, 1, 1, 4, CHW, AI_FLOAT);
    other = std::move(moved);
    EXPECT_EQ(other.data, p);
    EXPECT_EQ(other.elementNum, 12);
    EXPECT_EQ(moved.data, nullptr);
}

TEST(TensorMatConstruct, UnsizedTypesAndBadShapes) {
    qevo_test::ScratchDir dir;
    // Without the debug marker, only the plain messages appear.
    std::string out = qevo_test::capture_stdout([] {
        TensorMat bf(1, 1, 1, 4, CHW, AI_BF16);
        EXPECT_EQ(bf.data, nullptr);
        EXPECT_EQ(bf.elementNum, 4);
        EXPECT_EQ(bf.dataByte, 0);
    });
    EXPECT_EQ(out, "");
    std::vector<float> buf(4, 1.f);
    out = qevo_test::capture_stdout([&] {
        TensorMat wrap(1, 1, 1, 4, CHW, buf.data(), AI_STRING, false);
        EXPECT_EQ(wrap.data, nullptr);
        EXPECT_FALSE(wrap.DeepCopy);
    });
    EXPECT_EQ(out, "datatype error\n");
    out = qevo_test::capture_stdout([] {
        TensorMat e(std::vector<int>{}, CHW, AI_FLOAT);
        EXPECT_EQ(e.data, nullptr);
        TensorMat five(std::vector<int>{1, 2, 3, 4, 5}, CHW, nullptr, AI_FLOAT, true);
        EXPECT_EQ(five.data, nullptr);
        EXPECT_EQ(five.elementNum, 0);
    });
    EXPECT_EQ(out, "shapes errorshapes error");

    qevo_test::set_marker("./AI_DEBUG", true);
    out = qevo_test::capture_stdout([] { TensorMat bf(1, 1, 1, 4, CHW, AI_COMPLEX64); });
    EXPECT_NE(out.find("->_TensorMat] datatype error\n"), std::string::npos);
    out = qevo_test::capture_stdout([] {
        TensorMat t(std::vector<int>{1, 2, 3}, static_cast<DATA_LAYOUT>(9), AI_FLOAT);
        EXPECT_EQ(t.data, nullptr);
        EXPECT_EQ(t.width, 0);
    });
    EXPECT_NE(out.find("->TensorMat] Data layout error"), std::string::npos);

    // Counts beyond 31 bits and negative dimensions never allocate.
    TensorMat big(1, 1, 50000, 50000, CHW, AI_UINT8);
    EXPECT_EQ(big.data, nullptr);
    EXPECT_EQ(big.elementNum, 0);
    TensorMat bigBytes(1, 1, 30000, 30000, CHW, AI_DOUBLE);
    EXPECT_EQ(bigBytes.data, nullptr);
    EXPECT_EQ(bigBytes.dataByte, 0);
    TensorMat neg(1, 1, -2, -2, CHW, buf.data(), AI_FLOAT, false);
    EXPECT_EQ(neg.data, nullptr);
    TensorMat negCopy(1, -1, 2, 2, CHW, buf.data(), AI_FLOAT, true);
    EXPECT_EQ(negCopy.data, nullptr);
}

TEST(TensorMatConstruct, ShapeListMapping) {
    struct Case {
        std::vector<int> list;
        DATA_LAYOUT layout;
        Dims want;
    };
    const Case cases[] = {
        {{7}, WHC, {1, 1, 1, 7}},
        {{5, 7}, static_cast<DATA_LAYOUT>(9), {1, 1, 5, 7}},
        {{224, 224, 3}, HWC, {1, 3, 224, 224}},
        {{224, 224, 3}, CHW, {1, 224, 224, 3}},
        {{4, 5, 6}, WHC, {1, 6, 5, 4}},
        {{2, 4, 5, 3}, HWC, {2, 3, 4, 5}},
        {{2, 3, 4, 5}, CHW, {2, 3, 4, 5}},
        {{2, 16, 8, 3}, WHC, {2, 3, 8, 16}},
    };
    for (const Case &k : cases) {
        TensorMat t(k.list, k.layout, AI_UINT8);
        EXPECT_EQ(dims(t), k.want);
        EXPECT_EQ(t.layout, k.layout);
        EXPECT_EQ(t.elementNum, k.want.b * k.want.c * k.want.h * k.want.w);
        EXPECT_EQ(t.wstride, k.want.w);
        EXPECT_NE(t.data, nullptr);
    }
}

TEST(TensorMatExport, BorrowOrCopyIntoRecord) {
    std::vector<float> src(120);
    for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<float>(i) * 0.5f;
    TensorMat t(2, 3, 4, 5, CHW, src.data(), AI_FLOAT, true);

    TenMat rec{};
    rec.timestamp = 11;
    rec.cfg = 22;
    EXPECT_EQ(t.toTenMat(&rec), 0);
    EXPECT_EQ(rec.data, t.data);
    EXPECT_EQ(rec.dataByte, 480u);
    EXPECT_EQ(rec.elementNum, 60);
    EXPECT_EQ(rec.width, 5);
    EXPECT_EQ(rec.height, 4);
    EXPECT_EQ(rec.depth, 3);
    EXPECT_EQ(rec.type, AI_FLOAT);
    EXPECT_EQ(rec.layout, CHW);
    EXPECT_EQ(rec.timestamp, 11);
    EXPECT_EQ(rec.cfg, 22);

    std::vector<unsigned char> small(100, 0xab);
    TenMat tight{};
    tight.data = small.data();
    tight.dataByte = small.size();
    {
        qevo_test::ScratchDir dir;
        qevo_test::set_marker("./AI_DEBUG", true);
        std::string out = qevo_test::capture_stdout([&] { EXPECT_EQ(t.toTenMat(&tight), 2); });
        EXPECT_NE(out.find("->toTenMat] TenMat donot have enough space, [100]<[480]"),
                  std::string::npos);
    }
    EXPECT_EQ(tight.dataByte, 100u);
    EXPECT_EQ(tight.width, 0);
    EXPECT_EQ(small, std::vector<unsigned char>(100, 0xab));

    std::vector<float> room(130, -1.f);
    TenMat wide{};
    wide.data = room.data();
    wide.dataByte = room.size() * sizeof(float);
    EXPECT_EQ(t.toTenMat(&wide), 0);
    EXPECT_EQ(wide.data, room.data());
    EXPECT_EQ(std::vector<float>(room.begin(), room.begin() + 120), src);
    EXPECT_EQ(room[120], -1.f);
    EXPECT_EQ(wide.dataByte, 480u);

    EXPECT_EQ(t.toTenMat(nullptr), 1);
}

TEST(TensorMatResize, NearestSampling) {
    TensorMat t(std::vector<int>{2, 2}, CHW, AI_FLOAT);
    const std::vector<float> px = {1, 2, 3, 4};
    std::copy(px.begin(), px.end(), static_cast<float *>(t.data));
    ASSERT_EQ(t.resize(4, 4, false), 0);
    EXPECT_EQ(values(t), (std::vector<float>{1, 1, 2, 2, 1, 1, 2, 2, 3, 3, 4, 4, 3, 3, 4, 4}));
    EXPECT_EQ(t.wstride, 4);
    EXPECT_EQ(t.dataByte, 64);
    ASSERT_EQ(t.resize(1, 1, false), 0);
    EXPECT_EQ(values(t), (std::vector<float>{1}));

    // Width 3 to 2 takes columns 0 and 1; every plane of every batch item alike.
    std::vector<float> rows = {10, 11, 12, 20, 21, 22, 30, 31, 32, 40, 41, 42};
    TensorMat planes(2, 2, 1, 3, CHW, rows.data(), AI_FLOAT, true);
    ASSERT_EQ(planes.resize(2, 1, false), 0);
    EXPECT_EQ(values(planes), (std::vector<float>{10, 11, 20, 21, 30, 31, 40, 41}));
    EXPECT_EQ(dims(planes), (Dims{2, 2, 1, 2}));

    TensorMat sized(1, 3, 4, 4, CHW, AI_FLOAT);
    ASSERT_EQ(sized.resize(2, 2, false), 0);
    EXPECT_EQ(sized.elementNum, 12);
    EXPECT_EQ(sized.dataByte, 48);

    // Same size keeps the very buffer.
    void *keep = sized.data;
    EXPECT_EQ(sized.resize(2, 2, false), 0);
    EXPECT_EQ(sized.resize(2, 2, true), 0);
    EXPECT_EQ(sized.data, keep);
}

TEST(TensorMatResize, BilinearMatchesPlaneByPlaneRule) {
    const int sw = 5, sh = 3;
    std::vector<float> src(2 * 3 * sw * sh);
    for (size_t i = 0; i < src.size(); ++i) src[i] = std::sin(0.37f * i) * 100.f;
    const std::vector<float> before = src;
    TensorMat t(2, 3, sh, sw, CHW, src.data(), AI_FLOAT, false);
    ASSERT_EQ(t.resize(7, 4, true), 0);
    EXPECT_TRUE(t.DeepCopy);
    EXPECT_NE(t.data, src.data());
    EXPECT_EQ(src, before);  // the borrowed input is neither freed nor written
    EXPECT_EQ(dims(t), (Dims{2, 3, 4, 7}));
    EXPECT_EQ(t.elementNum, 168);
    EXPECT_EQ(t.dataByte, 672);
    const std::vector<float> got = values(t);
    for (int p = 0; p < 6; ++p) {
        std::vector<float> plane(src.begin() + p * sw * sh, src.begin() + (p + 1) * sw * sh);
        const std::vector<float> want = qevo_test::reference_bilinear(plane, sw, sh, 7, 4);
        for (int i = 0; i < 28; ++i) ASSERT_EQ(got[p * 28 + i], want[i]) << p << "," << i;
    }
}

TEST(TensorMatResize, DeclinedRequestsLeaveTensorUnchanged) {
    qevo_test::ScratchDir dir;
    qevo_test::set_marker("./AI_DEBUG", true);

    TensorMat u8(1, 1, 4, 4, CHW, AI_UINT8);
    std::string out = qevo_test::capture_stdout([&] { EXPECT_EQ(u8.resize(2, 2, true), 1); });
    EXPECT_NE(out.find("->resize] only float type support"), std::string::npos);

    TensorMat hwc(1, 1, 4, 4, HWC, AI_FLOAT);
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(hwc.resize(2, 2, true), 1); });
    EXPECT_EQ(out, "");
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(hwc.resize(2, 2, false), 1); });
    EXPECT_NE(out.find("->resize_nearest_nhwc] resize_nearest_nhwc not support for now"),
              std::string::npos);

    TensorMat empty(1, 1, 1, 4, CHW, AI_BF16);
    empty.dataType = AI_FLOAT;
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(empty.resize(2, 2, false), 1); });
    EXPECT_NE(out.find("->resize_nearest_nchw] TensorMat is empty, should init first"),
              std::string::npos);
    out = qevo_test::capture_stdout([&] { EXPECT_EQ(empty.resize(2, 2, true), 1); });
    EXPECT_NE(out.find("->resize_bilinear_nchw] TensorMat is empty"), std::string::npos);

    TensorMat f(1, 2, 4, 4, CHW, AI_FLOAT);
    void *keep = f.data;
    for (bool interpo : {false, true}) {
        EXPECT_EQ(f.resize(0, 3, interpo), 1);
        EXPECT_EQ(f.resize(3, -1, interpo), 1);
        EXPECT_EQ(f.resize(50000, 50000, interpo), 1);
    }
    f.dataByte = 16;  // a buffer shorter than the shape is not read past its end
    EXPECT_EQ(f.resize(2, 2, false), 1);
    EXPECT_EQ(f.data, keep);
    EXPECT_EQ(f.width, 4);
}

TEST(TensorMatMath, NormsAndAddition) {
    auto make = [](std::vector<float> v, int h, int w) {
        return TensorMat(1, 1, h, w, CHW, v.data(), AI_FLOAT, true);
    };
    TensorMat a = make({3, 4}, 1, 2);
    EXPECT_EQ(a.l2_norm(), 0);
    EXPECT_EQ(values(a), (std::vector<float>{3.f / 5.f, 4.f / 5.f}));

    TensorMat b = make({1, -3}, 1, 2);
    EXPECT_EQ(b.l1_norm(), 0);
    EXPECT_EQ(values(b), (std::vector<float>{0.25f, -0.75f}));
    TensorMat z = make({0, 0}, 1, 2);
    EXPECT_EQ(z.l1_norm(), 0);
    EXPECT_EQ(values(z), (std::vector<float>{0, 0}));
    EXPECT_EQ(z.l2_norm(), 0);
    EXPECT_TRUE(std::isnan(values(z)[0]));

    TensorMat c = make({3, 0, 4, 2}, 2, 2);
    EXPECT_EQ(c.des_l2_norm(), 0);
    EXPECT_EQ(values(c), (std::vector<float>{0.6f, 0.f, 0.8f, 1.f}));
    // Only the first plane is normalised.
    TensorMat two(1, 2, 1, 2, CHW, std::vector<float>{3, 4, 3, 4}.data(), AI_FLOAT, true);
    two.des_l2_norm();
    EXPECT_EQ(values(two), (std::vector<float>{1, 1, 3, 4}));

    TensorMat x = make({1, 2, 3}, 1, 3);
    TensorMat y = make({10, 20, 30}, 1, 3);
    EXPECT_EQ(x.add(&y), 0);
    EXPECT_EQ(values(x), (std::vector<float>{11, 22, 33}));
    EXPECT_EQ(values(y), (std::vector<float>{10, 20, 30}));

    {
        qevo_test::ScratchDir dir;
        qevo_test::set_marker("./AI_DEBUG", true);
        TensorMat col = make({1, 2, 3}, 3, 1);
        std::string out = qevo_test::capture_stdout([&] { EXPECT_EQ(x.add(&col), 1); });
        EXPECT_NE(out.find("->add] both shape must be same, [1x1x1x3] != [1x1x3x1]"),
                  std::string::npos);
        EXPECT_EQ(values(x), (std::vector<float>{11, 22, 33}));
    }

    // Without a buffer (element type without a size) nothing is touched.
    TensorMat none(1, 1, 1, 3, CHW, AI_BF16);
    ASSERT_EQ(none.elementNum, 3);
    EXPECT_EQ(none.l2_norm(), 0);
    EXPECT_EQ(none.l1_norm(), 0);
    EXPECT_EQ(none.des_l2_norm(), 0);
    EXPECT_EQ(none.add(&x), 1);
    EXPECT_EQ(x.add(nullptr), 1);
    EXPECT_EQ(values(x), (std::vector<float>{11, 22, 33}));

    // A byte tensor is never read past its buffer.
    TensorMat bytes(1, 1, 1, 6, CHW, AI_UINT8);
    EXPECT_EQ(bytes.l2_norm(), 0);
    EXPECT_EQ(bytes.l1_norm(), 0);
    EXPECT_EQ(bytes.des_l2_norm(), 0);
    TensorMat bytes2(1, 1, 1, 6, CHW, AI_UINT8);
    EXPECT_EQ(bytes.add(&bytes2), 1);

    // add_TensorMat only holds the tensors for the call.
    auto sa = std::make_shared<TensorMat>(1, 1, 1, 2, CHW, AI_FLOAT);
    auto sb = std::make_shared<TensorMat>(1, 1, 1, 2, CHW, AI_FLOAT);
    EXPECT_EQ(KIVEX::add_TensorMat(sa, sb), 0);
    EXPECT_EQ(sa.use_count(), 1);
    EXPECT_EQ(sb.use_count(), 1);
}
