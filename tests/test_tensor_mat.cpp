// TensorMat: construction and shape lists, export, resizing, norms, addition.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
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

std::vector<int> dims(const TensorMat &t) { return {t.batchsize, t.depth, t.height, t.width}; }

TensorMat floats(std::vector<float> v, int h, int w) {
    return TensorMat(1, 1, h, w, CHW, v.data(), AI_FLOAT, true);
}

// Values of an h x w float tensor after `op`.
std::vector<float> after(std::vector<float> v, int h, int w, int (TensorMat::*op)()) {
    TensorMat t = floats(v, h, w);
    (t.*op)();
    return values(t);
}

}  // namespace

TEST(TensorMat, ConstructionSizesAndOwnership) {
    TensorMat t(1, 3, 2, 2, CHW, AI_FLOAT);
    EXPECT_EQ((std::vector<int>{t.elementNum, t.dataByte, t.wstride}),
              (std::vector<int>{12, 48, 2}));

    std::vector<float> buf = {1, 2, 3, 4, 5, 6};
    {
        TensorMat wrap(std::vector<int>{2, 3}, CHW, buf.data(), AI_FLOAT, false);
        TensorMat copy(1, 1, 2, 3, CHW, buf.data(), AI_FLOAT, true);
        EXPECT_TRUE(wrap.data == buf.data() && copy.data != buf.data() && values(copy) == buf);
        void *p = copy.data;
        TensorMat moved(std::move(copy));
        EXPECT_TRUE(moved.data == p && copy.data == nullptr);
        wrap = std::move(moved);  // the borrowed pointer is dropped, not freed
        EXPECT_EQ(wrap.data, p);
    }
    EXPECT_EQ(buf, (std::vector<float>{1, 2, 3, 4, 5, 6}));

    // Counts beyond 31 bits and negative dimensions never allocate or borrow.
    EXPECT_EQ(TensorMat(1, 1, 50000, 50000, CHW, AI_UINT8).data, nullptr);
    EXPECT_EQ(TensorMat(1, 1, 30000, 30000, CHW, AI_DOUBLE).dataByte, 0);
    EXPECT_EQ(TensorMat(1, 1, -2, -2, CHW, buf.data(), AI_FLOAT, false).data, nullptr);
}

TEST(TensorMat, ShapeListsAndConstructionMessages) {
    // Shorter lists fill from the right; the layout orders three or four entries.
    EXPECT_EQ(dims(TensorMat({5, 7}, DATA_LAYOUT(9), AI_UINT8)), (std::vector<int>{1, 1, 5, 7}));
    EXPECT_EQ(dims(TensorMat({224, 224, 3}, HWC, AI_UINT8)), (std::vector<int>{1, 3, 224, 224}));
    EXPECT_EQ(dims(TensorMat({2, 16, 8, 3}, WHC, AI_UINT8)), (std::vector<int>{2, 3, 8, 16}));

    qevo_test::ScratchDir dir;
    std::vector<float> buf(4, 1.f);
    std::string out = qevo_test::capture_stdout([&] {
        TensorMat bf(1, 1, 1, 4, CHW, AI_BF16);  // gated trace only
        EXPECT_TRUE(bf.data == nullptr && bf.elementNum == 4);
        EXPECT_EQ(TensorMat(1, 1, 1, 4, CHW, buf.data(), AI_STRING, false).data, nullptr);
        EXPECT_EQ(TensorMat(std::vector<int>{}, CHW, AI_FLOAT).data, nullptr);
        EXPECT_EQ(TensorMat(std::vector<int>{1, 2, 3, 4, 5}, CHW, nullptr, AI_FLOAT, true).width,
                  0);
    });
    EXPECT_EQ(out, "datatype error\nshapes errorshapes error");
}

TEST(TensorMat, ExportBorrowsOrCopies) {
    std::vector<float> src(120);
    for (size_t i = 0; i < src.size(); ++i) src[i] = 0.5f * i;
    TensorMat t(2, 3, 4, 5, CHW, src.data(), AI_FLOAT, true);
    TenMat rec{};  // no buffer of its own: borrows the tensor's
    EXPECT_EQ(t.toTenMat(&rec), 0);
    EXPECT_TRUE(rec.data == t.data && rec.dataByte == 480u);

    std::vector<unsigned char> small(100, 0xab);
    TenMat tight{};
    tight.data = small.data(), tight.dataByte = small.size();
    qevo_test::ScratchDir dir;
    qevo_test::set_marker("./AI_DEBUG", true);
    const std::string out = qevo_test::capture_stdout([&] { EXPECT_EQ(t.toTenMat(&tight), 2); });
    EXPECT_NE(out.find("->toTenMat] TenMat donot have enough space, [100]<[480]"),
              std::string::npos)
        << out;
    EXPECT_EQ(small, std::vector<unsigned char>(100, 0xab));  // nothing written past the room

    std::vector<float> room(121, -1.f);  // room to spare: copied, the rest untouched
    tight.data = room.data(), tight.dataByte = room.size() * sizeof(float);
    EXPECT_EQ(t.toTenMat(&tight), 0);
    src.push_back(-1.f);
    EXPECT_EQ(room, src);
    EXPECT_EQ(t.toTenMat(nullptr), 1);

    // Batch 0 allows sizes whose product fits no integer: exported as 0.
    TensorMat huge(0, INT_MAX, INT_MAX, INT_MAX, CHW, AI_FLOAT);
    EXPECT_EQ(huge.toTenMat(&rec), 0);
    EXPECT_EQ(rec.elementNum, 0);
}

TEST(TensorMat, Resize) {
    // Nearest: width 3 to 2 takes columns 0 and 1, in every plane of every batch item.
    std::vector<float> rows = {10, 11, 12, 20, 21, 22, 30, 31, 32, 40, 41, 42};
    TensorMat planes(2, 2, 1, 3, CHW, rows.data(), AI_FLOAT, true);
    ASSERT_EQ(planes.resize(2, 1, false), 0);
    EXPECT_EQ(values(planes), (std::vector<float>{10, 11, 20, 21, 30, 31, 40, 41}));
    EXPECT_EQ((std::vector<int>{planes.dataByte, planes.wstride}), (std::vector<int>{32, 2}));
    void *keep = planes.data;
    EXPECT_EQ(planes.resize(2, 1, true), 0);  // same size: kept as is
    EXPECT_EQ(planes.data, keep);

    // Bilinear: each plane as the float plane rule gives it; a borrowed
    // source stays intact and the new buffer is the tensor's own.
    std::vector<float> src(2 * 3 * 5 * 3);
    for (size_t i = 0; i < src.size(); ++i) src[i] = std::sin(0.37f * i) * 100.f;
    const std::vector<float> before = src;
    TensorMat b(2, 3, 3, 5, CHW, src.data(), AI_FLOAT, false);
    ASSERT_EQ(b.resize(7, 4, true), 0);
    EXPECT_TRUE(b.DeepCopy && src == before);
    EXPECT_EQ(dims(b), (std::vector<int>{2, 3, 4, 7}));
    const std::vector<float> got = values(b);
    for (int p = 0; p < 6; ++p) {
        std::vector<float> plane(src.begin() + p * 15, src.begin() + (p + 1) * 15);
        EXPECT_EQ(std::vector<float>(got.begin() + p * 28, got.begin() + (p + 1) * 28),
                  qevo_test::reference_bilinear(plane, 5, 3, 7, 4))
            << p;
    }
}

TEST(TensorMat, ResizeRefusals) {
    TensorMat u8(1, 1, 4, 4, CHW, AI_UINT8), hwc(1, 1, 4, 4, HWC, AI_FLOAT);
    TensorMat empty(1, 1, 1, 4, CHW, AI_BF16);
    empty.dataType = AI_FLOAT;
    EXPECT_EQ(u8.resize(2, 2, true) + hwc.resize(2, 2, false) + hwc.resize(2, 2, true) +
                  empty.resize(2, 2, false) + empty.resize(2, 2, true),
              5);

    TensorMat f(1, 2, 4, 4, CHW, AI_FLOAT);
    void *keep = f.data;
    for (bool interpo : {false, true})
        EXPECT_EQ(
            f.resize(0, 3, interpo) + f.resize(3, -1, interpo) + f.resize(50000, 50000, interpo),
            3);
    f.dataByte = 16;  // a buffer shorter than the shape is never read past
    EXPECT_EQ(f.resize(2, 2, false), 1);
    EXPECT_TRUE(f.data == keep && f.width == 4);
}

TEST(TensorMat, NormsAndAddition) {
    EXPECT_EQ(after({3, 4}, 1, 2, &TensorMat::l2_norm), (std::vector<float>{0.6f, 0.8f}));
    EXPECT_EQ(after({1, -3}, 1, 2, &TensorMat::l1_norm), (std::vector<float>{0.25f, -0.75f}));
    EXPECT_EQ(after({0, 0}, 1, 2, &TensorMat::l1_norm), (std::vector<float>{0, 0}));  // no 0/0
    std::vector<float> two = {3, 0, 4, 2, 3, 0, 4, 2};
    TensorMat planes(1, 2, 2, 2, CHW, two.data(), AI_FLOAT, true);
    planes.des_l2_norm();  // per column, in the first plane only
    EXPECT_EQ(values(planes), (std::vector<float>{0.6f, 0.f, 0.8f, 1.f, 3, 0, 4, 2}));

    TensorMat x = floats({1, 2, 3}, 1, 3), y = floats({10, 20, 30}, 1, 3);
    EXPECT_EQ(x.add(&y), 0);
    EXPECT_EQ(values(x), (std::vector<float>{11, 22, 33}));
    TensorMat col = floats({1, 2, 3}, 3, 1);
    // No buffer (a type without a size), or a buffer shorter than elementNum
    // floats: nothing is read or written.
    TensorMat none(1, 1, 1, 3, CHW, AI_BF16);
    EXPECT_EQ(none.l2_norm() + none.l1_norm() + none.des_l2_norm(), 0);
    TensorMat bytes(1, 1, 1, 6, CHW, AI_UINT8), bytes2(1, 1, 1, 6, CHW, AI_UINT8);
    std::memset(bytes.data, 1, 6);  // allocated, not cleared: the norms read one float of it
    EXPECT_EQ(bytes.l2_norm() + bytes.l1_norm() + bytes.des_l2_norm(), 0);
    EXPECT_EQ(x.add(&col) + none.add(&x) + x.add(nullptr) + bytes.add(&bytes2), 4);
    EXPECT_EQ(values(x), (std::vector<float>{11, 22, 33}));

    auto sa = std::make_shared<TensorMat>(1, 1, 1, 2, CHW, AI_FLOAT);
    EXPECT_EQ(KIVEX::add_TensorMat(sa, sa), 0);
    EXPECT_EQ(sa.use_count(), 1);
}
