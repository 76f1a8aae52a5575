// Every vector path of the frame-path operations (float and tensor resizes,
// norms and addition, planar split, padding) against the scalar path, bit for
// bit, over random geometry. Buffers are exactly as large as the operation
// may touch (plus guard bytes that must keep their value), so the sanitizer
// build catches a read or write outside them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "imageMat.h"
#include "mat_pixel_resize.h"
#include "simd_paths.h"
#include "utils.h"

using namespace QEVO;
using qevo_test::scalar_then;

namespace {

// Random floats of both signs over many magnitudes, with some zeros, infinities
// (their products with a zero weight are NaN) and subnormals.
std::vector<float> random_floats(size_t n, std::mt19937 &rng) {
    std::uniform_real_distribution<float> mant(-1.f, 1.f);
    std::uniform_int_distribution<int> expo(-30, 30), kind(0, 49);
    std::vector<float> v(n);
    for (float &x : v) {
        const int k = kind(rng);
        x = k == 0   ? 0.f
            : k == 1 ? std::numeric_limits<float>::infinity()
            : k == 2 ? -std::numeric_limits<float>::denorm_min() * 3
                     : std::ldexp(mant(rng), expo(rng));
    }
    return v;
}

bool same_bits(const std::vector<float> &a, const std::vector<float> &b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

std::vector<float> values(const TensorMat &t) {
    const float *p = static_cast<const float *>(t.data);
    return std::vector<float>(p, p + t.elementNum);
}

class VectorForms : public ::testing::TestWithParam<qevo_test::SimdPath> {
  protected:
    void SetUp() override {
        if (!GetParam().available) GTEST_SKIP() << "CPU lacks " << GetParam().name;
    }
    const char *path() const { return GetParam().name; }
    std::mt19937 rng_{2024};
};

// Random sizes up and down (shrinks beyond about 4.6:1 and rows shorter than
// a vector stay scalar), odd widths, and planes one value wide or high.
TEST_P(VectorForms, FloatBilinearResize) {
    std::uniform_int_distribution<int> sw(1, 300), sh(1, 24), dw(1, 420), dh(1, 24);
    std::vector<std::vector<int>> sizes = {{640, 8, 320, 5}, {640, 6, 1280, 9}, {640, 4, 416, 3},
                                           {1, 9, 33, 7},    {37, 1, 5, 4},     {1, 1, 19, 2},
                                           {900, 3, 7, 2},   {33, 5, 1, 1},     {8, 8, 8, 8},
                                           {17, 17, 9, 40},  {2, 30, 61, 3}};
    for (int i = 0; i < 200; ++i) sizes.push_back({sw(rng_), sh(rng_), dw(rng_), dh(rng_)});
    for (const auto &s : sizes) {
        std::vector<float> src = random_floats(static_cast<size_t>(s[0]) * s[1], rng_), want, got;
        scalar_then(path(), [&](bool scalar) {
            std::vector<float> &dst = scalar ? want : got;
            dst.assign(static_cast<size_t>(s[2]) * s[3] + 1, -5.f);
            resize_bilinear_float_c1(src.data(), s[0], s[1], dst.data(), s[2], s[3]);
        });
        ASSERT_EQ(want.back(), -5.f);
        ASSERT_TRUE(same_bits(want, got)) << s[0] << "x" << s[1] << " -> " << s[2] << "x" << s[3];
    }
}

// Several planes per call, every 32-bit pattern (NaN payloads too) moved
// unchanged.
TEST_P(VectorForms, TensorNearestResize) {
    std::uniform_int_distribution<int> planes(1, 3), sw(1, 200), sh(1, 12), dw(1, 260), dh(1, 12);
    for (int i = 0; i < 120; ++i) {
        const int b = planes(rng_), c = planes(rng_), h = sh(rng_), w = sw(rng_);
        const int nw = i == 0 ? 1 : dw(rng_), nh = dh(rng_);
        std::vector<unsigned> bits(static_cast<size_t>(b) * c * h * w);
        for (unsigned &u : bits) u = static_cast<unsigned>(rng_());
        std::vector<float> want, got;
        scalar_then(path(), [&](bool scalar) {
            TensorMat t(b, c, h, w, CHW, bits.data(), AI_FLOAT, false);
            ASSERT_EQ(t.resize(nw, nh, false), 0);
            (scalar ? want : got) = values(t);
        });
        ASSERT_TRUE(same_bits(want, got)) << w << "x" << h << " -> " << nw << "x" << nh;
    }
}

// The division passes of l2_norm and l1_norm, the column norms of
// des_l2_norm (any width, one or more planes) and the element loop of add,
// also between tensors that borrow overlapping parts of one buffer.
TEST_P(VectorForms, NormsAndAdd) {
    std::uniform_int_distribution<int> w(1, 90), h(1, 20), shift(0, 12);
    for (int i = 0; i < 150; ++i) {
        const int c = 1 + i % 2, hh = h(rng_), ww = w(rng_), n = c * hh * ww;
        const std::vector<float> a = random_floats(n, rng_), b = random_floats(n, rng_);
        for (int op = 0; op < 4; ++op) {
            std::vector<float> want, got;
            scalar_then(path(), [&](bool scalar) {
                TensorMat t(1, c, hh, ww, CHW, const_cast<float *>(a.data()), AI_FLOAT, true);
                TensorMat u(1, c, hh, ww, CHW, const_cast<float *>(b.data()), AI_FLOAT, true);
                if (op == 0) t.l2_norm();
                if (op == 1) t.l1_norm();
                if (op == 2) t.des_l2_norm();
                if (op == 3) t.add(&u);
                (scalar ? want : got) = values(t);
            });
            ASSERT_TRUE(same_bits(want, got)) << "op " << op << ", " << c << "x" << hh << "x" << ww;
        }
        const int k = shift(rng_);  // this tensor starts k floats after the one added to it
        std::vector<float> want, got;
        scalar_then(path(), [&](bool scalar) {
            std::vector<float> buf = a;
            buf.resize(n + k, 1.5f);
            TensorMat from(1, c, hh, ww, CHW, buf.data(), AI_FLOAT, false);
            TensorMat to(1, c, hh, ww, CHW, buf.data() + k, AI_FLOAT, false);
            to.add(&from);
            (scalar ? want : got) = buf;
        });
        ASSERT_TRUE(same_bits(want, got)) << "overlapping add, shift " << k << ", n " << n;
    }
}

// Any pixel count, both plane orders; bytes after the planes stay.
TEST_P(VectorForms, Nhwc2nchw) {
    std::uniform_int_distribution<int> w(1, 120), h(1, 9);
    for (int i = 0; i < 100; ++i) {
        const int ww = w(rng_), hh = i == 0 ? 1 : h(rng_);
        const size_t n = static_cast<size_t>(ww) * hh;
        std::vector<char> src(3 * n);
        for (char &ch : src) ch = static_cast<char>(rng_());
        for (bool swap : {false, true}) {
            std::vector<char> want, got;
            scalar_then(path(), [&](bool scalar) {
                std::vector<char> &dst = scalar ? want : got;
                dst.assign(3 * n + 5, 'g');
                ASSERT_EQ(KIVEX::nhwc2nchw(src.data(), dst.data(), ww, hh, 3, swap), 0);
            });
            ASSERT_EQ(want, got) << ww << "x" << hh << (swap ? " rbswap" : "");
        }
    }
}

// Random pads, sizes and 1 to 5 channels (more than four stay scalar); with
// too few values both paths throw at the same byte.
TEST_P(VectorForms, PadImg) {
    std::uniform_int_distribution<int> pad(0, 40), size(0, 30), chans(1, 5), value(-300, 300);
    for (int i = 0; i < 200; ++i) {
        ImgMat img{};
        img.width = size(rng_);
        img.height = size(rng_);
        img.depth = chans(rng_);
        const int l = pad(rng_), r = pad(rng_), t = pad(rng_), b = pad(rng_);
        std::vector<unsigned char> pixels(static_cast<size_t>(img.width) * img.height * img.depth);
        for (unsigned char &p : pixels) p = static_cast<unsigned char>(rng_());
        img.data = pixels.data();
        std::vector<int> values(i % 10 == 0 ? img.depth - 1 : img.depth);
        for (int &v : values) v = value(rng_);
        const size_t out = static_cast<size_t>(img.width + l + r) * (img.height + t + b) *
                           static_cast<size_t>(img.depth);
        std::vector<unsigned char> want, got;
        bool threw[2] = {false, false};
        scalar_then(path(), [&](bool scalar) {
            std::vector<unsigned char> &dst = scalar ? want : got;
            dst.assign(out + 3, 0xC3);
            try {
                EXPECT_EQ(KIVEX::pad_img(img, l, r, t, b, dst.data(), values), 0);
            } catch (const std::out_of_range &) {
                threw[scalar ? 0 : 1] = true;
            }
        });
        ASSERT_EQ(threw[0], threw[1]);
        ASSERT_EQ(want, got) << img.width << "x" << img.height << "x" << img.depth << " pads " << l
                             << "," << r << "," << t << "," << b;
    }
}

// Joins along the width move short rows (1 to 40 bytes) one by one; every
// destination row is the sources' rows one after the other.
TEST(ConcatRows, WidthJoinOfNarrowTensors) {
    std::mt19937 rng(9);
    std::uniform_int_distribution<int> w(1, 10), h(1, 5);
    for (int i = 0; i < 60; ++i) {
        const DATATYPE type = i % 2 ? AI_UINT8 : AI_FLOAT;
        const int es = i % 2 ? 1 : 4, hh = h(rng), parts = 1 + i % 3;
        std::vector<TensorMat> src;
        std::vector<TensorMat *> list;
        int total = 0;
        for (int n = 0; n < parts; ++n) {
            src.emplace_back(1, 2, hh, w(rng), CHW, type);
            total += src.back().width;
            auto *bytes = static_cast<unsigned char *>(src.back().data);
            for (int k = 0; k < src.back().dataByte; ++k)
                bytes[k] = static_cast<unsigned char>(rng());
        }
        for (TensorMat &t : src) list.push_back(&t);
        TensorMat dst(1, 2, hh, total, CHW, type);
        ASSERT_EQ(concat_width(list, &dst), 0);
        std::vector<unsigned char> want;
        for (int row = 0; row < 2 * hh; ++row) {
            for (const TensorMat &t : src) {
                const auto *p = static_cast<const unsigned char *>(t.data) + row * t.width * es;
                want.insert(want.end(), p, p + t.width * es);
            }
        }
        const auto *got = static_cast<const unsigned char *>(dst.data);
        ASSERT_EQ(std::vector<unsigned char>(got, got + dst.dataByte), want) << "case " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, VectorForms, ::testing::ValuesIn(qevo_test::vector_paths()),
                         [](const ::testing::TestParamInfo<qevo_test::SimdPath> &info) {
                             return std::string(info.param.name);
                         });

}  // namespace
