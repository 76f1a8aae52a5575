// Colour conversion and the fused network-input path (preprocess.h): the
// textbook bound over every (Y, U, V) triple, channel and chroma orders,
// refusals, the fused path against the chain of public steps it is defined
// by, and every vector path against the scalar one.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "mat_pixel_resize.h"
#include "preprocess.h"
#include "simd_paths.h"
#include "utils.h"

namespace {

using Bytes = std::vector<unsigned char>;
using qevo_test::vector_paths;

// Runs f() with QEVO_SIMD set to `path` (read by the library at every call).
template <typename F>
void on_path(const char *path, F &&f) {
    setenv("QEVO_SIMD", path, 1);
    f();
    unsetenv("QEVO_SIMD");
}

// ------------------------------------------------------------ textbook bound

struct Textbook {
    double gain, offset, rv, gu, gv, bu;
};
const Textbook kTextbook[3] = {
    {1.164383, 16, 1.596027, 0.391762, 0.812968, 2.017232},  // BT601_LIMITED
    {1.0, 0, 1.402, 0.344136, 0.714136, 1.772},              // BT601_FULL
    {1.164383, 16, 1.792741, 0.213249, 0.532909, 2.112402},  // BT709_LIMITED
};

// Rounded to nearest (halves up) and clamped; |v| stays far below 512.
int rounded(double v) {
    const int r = static_cast<int>(v + 512.5) - 512;
    return r < 0 ? 0 : (r > 255 ? 255 : r);
}

// Every (Y, U, V) triple through nv12_to_rgb: 256 frames of 512 x 128 per
// matrix, one per U; in each, chroma pair column v carries V = v and luma
// block row k carries Y = 4k .. 4k + 3, so each frame holds every (Y, V)
// once. The scalar bytes lie within 1 of the textbook values, and every
// vector path gives the scalar bytes.
TEST(Nv12ToRgb, EveryTripleWithinOneOfTextbookOnEveryPath) {
    const int W = 512, H = 128;
    Bytes frame(W * H * 3 / 2), want(W * H * 3), got(want.size());
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) frame[y * W + x] = 4 * (y / 2) + 2 * (y % 2) + x % 2;
    for (int m = 0; m < 3; ++m) {
        const Textbook &t = kTextbook[m];
        const auto matrix = static_cast<qevo::ColorMatrix>(m);
        double luma[256], rv[256], gv[256];
        std::vector<int> red(256 * 256);  // by Y, V
        for (int i = 0; i < 256; ++i) {
            luma[i] = t.gain * (i - t.offset);
            rv[i] = t.rv * (i - 128.0);
            gv[i] = t.gv * (i - 128.0);
        }
        for (int i = 0; i < 256 * 256; ++i) red[i] = rounded(luma[i / 256] + rv[i % 256]);
        long far = 0, differ = 0;
        for (int U = 0; U < 256; ++U) {
            for (int i = W * H; i < W * H * 3 / 2; i += 2) {
                frame[i] = static_cast<unsigned char>(U);
                frame[i + 1] = static_cast<unsigned char>((i / 2) % 256);
            }
            on_path("scalar", [&] {
                ASSERT_EQ(0,
                          qevo::nv12_to_rgb(frame.data(), W, H, want.data(), false, false, matrix));
            });
            const double gu = t.gu * (U - 128.0), bu = t.bu * (U - 128.0);
            for (int p = 0; p < W * H; ++p) {
                const int Y = frame[p], V = (p % W) / 2;
                const unsigned char *o = &want[3 * p];
                far += std::abs(o[0] - red[Y * 256 + V]) > 1;
                far += std::abs(o[1] - rounded(luma[Y] - gu - gv[V])) > 1;
                far += std::abs(o[2] - rounded(luma[Y] + bu)) > 1;
            }
            for (const auto &path : vector_paths()) {
                if (!path.available) continue;
                on_path(path.name, [&] {
                    qevo::nv12_to_rgb(frame.data(), W, H, got.data(), false, false, matrix);
                });
                differ += got != want;
            }
        }
        EXPECT_EQ(0, far) << "matrix " << m << ": bytes more than 1 from the textbook";
        EXPECT_EQ(0, differ) << "matrix " << m << ": vector frames differing from scalar";
    }
}

// ------------------------------------------------------------ orders, strides

Bytes random_bytes(size_t n, std::mt19937 &rng) {
    Bytes v(n);
    for (auto &b : v) b = static_cast<unsigned char>(rng());
    return v;
}

// NV21 with the chroma bytes exchanged equals NV12; BGR is RGB with the
// first and third byte exchanged; the strided form with padded rows equals
// the packed form and leaves the padding alone.
TEST(Nv12ToRgb, ChromaOrderChannelOrderAndStrides) {
    std::mt19937 rng(7);
    const int W = 46, H = 10;
    const Bytes nv12 = random_bytes(W * H * 3 / 2, rng);
    Bytes nv21 = nv12;
    for (int i = W * H; i < W * H * 3 / 2; i += 2) std::swap(nv21[i], nv21[i + 1]);
    for (int m = 0; m < 3; ++m) {
        const auto matrix = static_cast<qevo::ColorMatrix>(m);
        Bytes rgb(W * H * 3), from21(rgb.size()), bgr(rgb.size());
        ASSERT_EQ(0, qevo::nv12_to_rgb(nv12.data(), W, H, rgb.data(), false, false, matrix));
        ASSERT_EQ(0, qevo::nv12_to_rgb(nv21.data(), W, H, from21.data(), false, true, matrix));
        ASSERT_EQ(0, qevo::nv12_to_rgb(nv21.data(), W, H, bgr.data(), true, true, matrix));
        EXPECT_EQ(rgb, from21);
        for (int p = 0; p < W * H; ++p) std::swap(bgr[3 * p], bgr[3 * p + 2]);
        EXPECT_EQ(rgb, bgr);

        const int ys = W + 3, uvs = W + 5, ds = 3 * W + 7;
        Bytes y(ys * H, 1), uv(uvs * H / 2, 2), dst(ds * H, 0xEE);
        for (int r = 0; r < H; ++r) std::memcpy(&y[r * ys], &nv12[r * W], W);
        for (int r = 0; r < H / 2; ++r) std::memcpy(&uv[r * uvs], &nv12[W * H + r * W], W);
        ASSERT_EQ(0, qevo::nv12_to_rgb(y.data(), ys, uv.data(), uvs, W, H, dst.data(), ds, false,
                                       false, matrix));
        for (int r = 0; r < H; ++r) {
            EXPECT_EQ(0, std::memcmp(&dst[r * ds], &rgb[r * W * 3], W * 3)) << "row " << r;
            EXPECT_EQ(Bytes(7, 0xEE), Bytes(&dst[r * ds + 3 * W], &dst[r * ds + ds]));
        }
    }
}

// ------------------------------------------------------------ fused path

struct Frame {
    int w = 0, h = 0, ys = 0, uvs = 0;
    bool nv21 = false;
    Bytes packed;  // w x h luma, then the chroma plane
    Bytes y, uv;   // the same planes with row padding
    qevo::Nv12Frame view() const {
        qevo::Nv12Frame f;
        f.y = y.data();
        f.uv = uv.data();
        f.y_stride = ys;
        f.uv_stride = uvs;
        f.width = w;
        f.height = h;
        f.nv21 = nv21;
        return f;
    }
};

Frame random_frame(int w, int h, int pad, std::mt19937 &rng) {
    Frame f;
    f.w = w;
    f.h = h;
    f.ys = w + pad;
    f.uvs = w + pad;
    f.nv21 = rng() % 2;
    f.packed = random_bytes(w * h * 3 / 2, rng);
    f.y = random_bytes(f.ys * h, rng);
    f.uv = random_bytes(f.uvs * h / 2, rng);
    for (int r = 0; r < h; ++r) std::memcpy(&f.y[r * f.ys], &f.packed[r * w], w);
    for (int r = 0; r < h / 2; ++r) std::memcpy(&f.uv[r * f.uvs], &f.packed[w * h + r * w], w);
    return f;
}

// The placement the header's rules give, worked out in floating point.
qevo::TensorPlacement expected_placement(const Frame &f, const qevo::TensorParams &p) {
    int x1 = 0, y1 = 0, x2 = f.w, y2 = f.h;
    if (p.crop_x1 || p.crop_y1 || p.crop_x2 || p.crop_y2) {
        x1 = std::max(0, p.crop_x1) / 2 * 2;
        y1 = std::max(0, p.crop_y1) / 2 * 2;
        x2 = (std::min(f.w, p.crop_x2) + 1) / 2 * 2;
        y2 = (std::min(f.h, p.crop_y2) + 1) / 2 * 2;
    }
    const int cw = x2 - x1, ch = y2 - y1, W = p.dst_width, H = p.dst_height;
    int tw = W, th = H;
    if (p.fit == qevo::FIT_LETTERBOX) {
        if (static_cast<double>(cw) / ch >= static_cast<double>(W) / H)
            th = static_cast<int>(std::floor(static_cast<double>(ch) * W / cw + 0.5));
        else
            tw = static_cast<int>(std::floor(static_cast<double>(cw) * H / ch + 0.5));
    }
    tw = std::max(2, tw / 2 * 2);
    th = std::max(2, th / 2 * 2);
    return {x1, y1, cw, ch, (W - tw) / 2, (H - th) / 2, tw, th};
}

// The definition: crop_yuv, resize_bilinear_yuv420sp, nv12_to_rgb, pad_img,
// nhwc2nchw and normalisation, each called on its own full frame.
Bytes composed(const Frame &f, const qevo::TensorParams &p, const qevo::TensorPlacement &pl) {
    Bytes crop(pl.crop_width * pl.crop_height * 3 / 2);
    KIVEX::crop_yuv(const_cast<unsigned char *>(f.packed.data()), f.w, f.h, pl.crop_x, pl.crop_y,
                    pl.crop_x + pl.crop_width, pl.crop_y + pl.crop_height, crop.data());
    Bytes content(pl.width * pl.height * 3 / 2), rgb(pl.width * pl.height * 3);
    resize_bilinear_yuv420sp(crop.data(), pl.crop_width, pl.crop_height, content.data(), pl.width,
                             pl.height);
    EXPECT_EQ(0, qevo::nv12_to_rgb(content.data(), pl.width, pl.height, rgb.data(), p.bgr, f.nv21,
                                   p.matrix));
    const int W = p.dst_width, H = p.dst_height;
    Bytes padded(W * H * 3), planes(padded.size());
    QEVO::ImgMat img;
    img.data = rgb.data();
    img.width = pl.width;
    img.height = pl.height;
    img.depth = 3;
    KIVEX::pad_img(img, pl.x, W - pl.width - pl.x, pl.y, H - pl.height - pl.y, padded.data(),
                   {p.pad[0], p.pad[1], p.pad[2]});
    if (p.format == qevo::TENSOR_U8_HWC) return padded;
    KIVEX::nhwc2nchw(reinterpret_cast<char *>(padded.data()),
                     reinterpret_cast<char *>(planes.data()), W, H, 3, false);
    if (p.format == qevo::TENSOR_U8_CHW) return planes;
    Bytes out(planes.size() * sizeof(float));
    for (size_t i = 0; i < planes.size(); ++i) {
        const int c = static_cast<int>(i / (W * H));
        const float v = (static_cast<float>(planes[i]) - p.mean[c]) * p.scale[c];
        std::memcpy(&out[i * sizeof(float)], &v, sizeof v);
    }
    return out;
}

qevo::TensorParams random_params(const Frame &f, std::mt19937 &rng) {
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    qevo::TensorParams p;
    p.dst_width = pick(2, 90);
    p.dst_height = pick(2, 70);
    if (rng() % 3 != 0) {  // a rectangle, odd edges and overhangs included
        p.crop_x1 = pick(-6, f.w - 5);
        p.crop_y1 = pick(-6, f.h - 5);
        p.crop_x2 = pick(p.crop_x1 + 5, f.w + 6);
        p.crop_y2 = pick(p.crop_y1 + 5, f.h + 6);
    }
    if (rng() % 8 == 0) {  // content as large as the source rectangle
        const qevo::TensorPlacement pl = expected_placement(f, p);
        p.dst_width = pl.crop_width + pick(0, 1);
        p.dst_height = pl.crop_height + pick(0, 1);
    }
    p.format = static_cast<qevo::TensorFormat>(pick(0, 2));
    p.fit = static_cast<qevo::TensorFit>(pick(0, 1));
    p.matrix = static_cast<qevo::ColorMatrix>(pick(0, 2));
    p.bgr = rng() % 2;
    std::uniform_real_distribution<float> mean(-130.f, 130.f), scale(-0.05f, 0.05f);
    for (int c = 0; c < 3; ++c) {
        p.pad[c] = static_cast<unsigned char>(rng());
        p.mean[c] = mean(rng);
        p.scale[c] = scale(rng);
    }
    return p;
}

// Runs nv12_to_tensor into a buffer of exactly the documented size.
Bytes fused(const Frame &f, const qevo::TensorParams &p, qevo::TensorPlacement *pl) {
    std::vector<float> storage((qevo::tensor_bytes(p) + 3) / 4);
    EXPECT_EQ(0, qevo::nv12_to_tensor(f.view(), p, storage.data(), qevo::tensor_bytes(p), pl));
    const auto *b = reinterpret_cast<const unsigned char *>(storage.data());
    return Bytes(b, b + qevo::tensor_bytes(p));
}

bool same_placement(const qevo::TensorPlacement &a, const qevo::TensorPlacement &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Random frames (strided or not, NV12 or NV21), rectangles, output sizes odd
// and even, both fits, all three formats: the fused path gives exactly the
// composition's bytes and floats, and places the content by the rules.
TEST(Nv12ToTensor, EqualsCompositionOfPublicSteps) {
    std::mt19937 rng(11);
    for (int iter = 0; iter < 400; ++iter) {
        const int w = 2 * std::uniform_int_distribution<int>(2, 48)(rng);
        const int h = 2 * std::uniform_int_distribution<int>(2, 36)(rng);
        const Frame f = random_frame(w, h, iter % 2 ? 3 : 0, rng);
        const qevo::TensorParams p = random_params(f, rng);
        const qevo::TensorPlacement want_pl = expected_placement(f, p);
        if (want_pl.crop_width < 4 || want_pl.crop_height < 4) continue;  // refused, tested below
        qevo::TensorPlacement pl;
        const Bytes got = fused(f, p, &pl);
        ASSERT_TRUE(same_placement(want_pl, pl)) << "iteration " << iter;
        ASSERT_EQ(composed(f, p, pl), got)
            << "iteration " << iter << ": " << w << "x" << h << " -> " << p.dst_width << "x"
            << p.dst_height << " format " << p.format << " fit " << p.fit;
    }
    // Frame sizes the demo and the benchmarks use.
    const Frame hd = random_frame(1280, 720, 0, rng);
    qevo::TensorParams p;
    p.dst_width = p.dst_height = 416;
    qevo::TensorPlacement pl;
    const Bytes got = fused(hd, p, &pl);
    EXPECT_TRUE(same_placement(qevo::TensorPlacement{0, 0, 1280, 720, 0, 91, 416, 234}, pl));
    EXPECT_EQ(composed(hd, p, pl), got);
}

// Every vector path gives the scalar bytes and floats: nv12_to_rgb on widths
// around the 16- and 32-pixel steps, and the fused path on random cases with
// rows long enough for several steps.
TEST(Nv12ToTensor, VectorPathsMatchScalar) {
    std::mt19937 rng(13);
    for (const auto &path : vector_paths()) {
        if (!path.available) continue;
        for (int w = 2; w <= 100; w += 2) {
            const Frame f = random_frame(w, 4, 0, rng);
            for (int nv21 = 0; nv21 < 2; ++nv21)
                for (int bgr = 0; bgr < 2; ++bgr) {
                    Bytes want(w * 4 * 3), got(want.size());
                    qevo_test::scalar_then(path.name, [&](bool scalar) {
                        qevo::nv12_to_rgb(f.packed.data(), w, 4, (scalar ? want : got).data(), bgr,
                                          nv21);
                    });
                    ASSERT_EQ(want, got) << path.name << " width " << w;
                }
        }
        for (int iter = 0; iter < 60; ++iter) {
            const int w = 2 * std::uniform_int_distribution<int>(2, 120)(rng);
            const Frame f =
                random_frame(w, 2 * std::uniform_int_distribution<int>(2, 20)(rng), iter % 3, rng);
            qevo::TensorParams p = random_params(f, rng);
            p.dst_width = std::uniform_int_distribution<int>(2, 260)(rng);
            const qevo::TensorPlacement want_pl = expected_placement(f, p);
            if (want_pl.crop_width < 4 || want_pl.crop_height < 4) continue;
            Bytes want, got;
            qevo_test::scalar_then(
                path.name, [&](bool scalar) { (scalar ? want : got) = fused(f, p, nullptr); });
            ASSERT_EQ(want, got) << path.name << " iteration " << iter;
        }
    }
}

// Refused calls return 1 and leave the output (and the placement) as it was.
TEST(Preprocess, RefusalsLeaveOutputUntouched) {
    std::mt19937 rng(17);
    const Frame f = random_frame(16, 12, 0, rng);
    const Bytes fresh = random_bytes(64 * 64 * 3 * 4 + 4, rng);
    Bytes out = fresh;
    unsigned char *d = out.data();
    const unsigned char *src = f.packed.data(), *uv = src + 16 * 12;
    const auto matrix_3 = static_cast<qevo::ColorMatrix>(3);  // no enumerator
    const int rgb_results[] = {
        qevo::nv12_to_rgb(nullptr, 16, 12, d),
        qevo::nv12_to_rgb(src, 16, 12, nullptr),
        qevo::nv12_to_rgb(src, 15, 12, d),
        qevo::nv12_to_rgb(src, 16, 11, d),
        qevo::nv12_to_rgb(src, 0, 12, d),
        qevo::nv12_to_rgb(src, 16, -2, d),
        qevo::nv12_to_rgb(src, 16, 12, d, false, false, matrix_3),
        qevo::nv12_to_rgb(src, 15, uv, 16, 16, 12, d, 48),
        qevo::nv12_to_rgb(src, 16, uv, 14, 16, 12, d, 48),
        qevo::nv12_to_rgb(src, 16, uv, 16, 16, 12, d, 47),
        qevo::nv12_to_rgb(src, 16, nullptr, 16, 16, 12, d, 48),
    };
    for (int r : rgb_results) EXPECT_EQ(1, r);
    EXPECT_EQ(fresh, out);

    auto refused = [&](qevo::Nv12Frame fr, qevo::TensorParams p, size_t bytes, int offset = 0) {
        qevo::TensorPlacement pl{1, 2, 3, 4, 5, 6, 7, 8};
        const int r = qevo::nv12_to_tensor(fr, p, out.data() + offset, bytes, &pl);
        return r == 1 && same_placement(pl, qevo::TensorPlacement{1, 2, 3, 4, 5, 6, 7, 8}) &&
               out == fresh;
    };
    qevo::TensorParams p;
    p.dst_width = p.dst_height = 8;
    const qevo::Nv12Frame ok = f.view();
    const size_t n = qevo::tensor_bytes(p);
    ASSERT_EQ(192u, n);
    qevo::Nv12Frame fr = ok;
    fr.y = nullptr;
    EXPECT_TRUE(refused(fr, p, n));
    fr = ok;
    fr.uv = nullptr;
    EXPECT_TRUE(refused(fr, p, n));
    EXPECT_EQ(1, qevo::nv12_to_tensor(ok, p, nullptr, n));
    for (auto size : {std::make_pair(15, 12), std::make_pair(16, 13), std::make_pair(2, 12),
                      std::make_pair(16, 2)}) {
        fr = ok;
        fr.width = size.first;
        fr.height = size.second;
        EXPECT_TRUE(refused(fr, p, n)) << size.first << "x" << size.second;
    }
    fr = ok;
    fr.y_stride = 15;
    EXPECT_TRUE(refused(fr, p, n));
    fr = ok;
    fr.uv_stride = 14;
    EXPECT_TRUE(refused(fr, p, n));
    EXPECT_TRUE(refused(ok, p, n - 1));  // destination one byte short
    for (int bad = 0; bad < 5; ++bad) {
        qevo::TensorParams q = p;
        if (bad == 0) q.dst_width = 1;
        if (bad == 1) q.dst_height = 0;
        if (bad == 2) q.format = static_cast<qevo::TensorFormat>(3);
        if (bad == 3) q.fit = static_cast<qevo::TensorFit>(-1);
        if (bad == 4) q.matrix = matrix_3;
        EXPECT_TRUE(refused(ok, q, out.size())) << "parameter " << bad;
    }
    // Rectangles empty, outside, or below 4 x 4 after widening to even edges.
    const int rects[][4] = {{4, 4, 4, 10}, {20, 0, 30, 12}, {-9, -9, -1, 5},
                            {3, 3, 4, 9},  {0, 0, 2, 12},   {6, 9, 16, 10}};
    for (const auto &r : rects) {
        qevo::TensorParams q = p;
        q.crop_x1 = r[0];
        q.crop_y1 = r[1];
        q.crop_x2 = r[2];
        q.crop_y2 = r[3];
        EXPECT_TRUE(refused(ok, q, n)) << r[0] << "," << r[1] << "," << r[2] << "," << r[3];
    }
    qevo::TensorParams q = p;
    q.format = qevo::TENSOR_F32_CHW;
    EXPECT_TRUE(refused(ok, q, out.size() - 1, 1));  // floats not aligned
}

}  // namespace
