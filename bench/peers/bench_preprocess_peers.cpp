// Colour conversion and network-input preparation against the peers, on the
// same NV12 frames, single-threaded:
//   - nv12_to_rgb 1920x1080 against cv::cvtColor(COLOR_YUV2RGB_NV12) and
//     libyuv::NV12ToRGB24 (BT.601 limited range in all three);
//   - nv12_to_tensor from 1920x1080 to a 640x640 letterboxed float CHW input
//     and from 1280x720 to a 416x416 letterboxed uint8 CHW input, against the
//     chains a user of the peers writes: OpenCV cvtColor, resize,
//     copyMakeBorder and dnn::blobFromImage; libyuv NV12Scale (bilinear),
//     NV12ToRGB24 and a plain loop that pads and lays out the planes.
// Every call writes into buffers allocated once, outside the timed loop.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <libyuv/convert_argb.h>
#include <libyuv/scale.h>
#include <opencv2/core.hpp>
#include <opencv2/dnn/dnn.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "peer_table.h"
#include "preprocess.h"

namespace {

std::vector<unsigned char> random_frame(int w, int h) {
    std::mt19937 rng(21);
    std::vector<unsigned char> v(static_cast<size_t>(w) * h * 3 / 2);
    for (auto &b : v) b = static_cast<unsigned char>(rng());
    return v;
}

// Runs the benchmark with QEVO_SIMD set to `path` (nullptr: best available).
struct SimdPath {
    explicit SimdPath(const char *path) {
        if (path != nullptr) setenv("QEVO_SIMD", path, 1);
    }
    ~SimdPath() { unsetenv("QEVO_SIMD"); }
};

// ---------------------------------------------------------------- nv12_to_rgb

constexpr int kW = 1920, kH = 1080;

void BM_RgbOurs(benchmark::State &state, const char *path) {
    const auto src = random_frame(kW, kH);
    std::vector<unsigned char> dst(static_cast<size_t>(kW) * kH * 3);
    SimdPath p(path);
    for (auto _ : state) {
        qevo::nv12_to_rgb(src.data(), kW, kH, dst.data());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

void BM_RgbOpenCV(benchmark::State &state) {
    auto src = random_frame(kW, kH);
    const cv::Mat nv12(kH * 3 / 2, kW, CV_8UC1, src.data());
    cv::Mat rgb(kH, kW, CV_8UC3);
    for (auto _ : state) {
        cv::cvtColor(nv12, rgb, cv::COLOR_YUV2RGB_NV12);
        benchmark::DoNotOptimize(rgb.data);
        benchmark::ClobberMemory();
    }
}

void BM_RgbLibyuv(benchmark::State &state) {
    const auto src = random_frame(kW, kH);
    std::vector<unsigned char> dst(static_cast<size_t>(kW) * kH * 3);
    for (auto _ : state) {
        libyuv::NV12ToRGB24(src.data(), kW, src.data() + kW * kH, kW, dst.data(), kW * 3, kW, kH);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

// ---------------------------------------------------------------- network input

struct InputCase {
    const char *name;
    int sw, sh, dw, dh;
    bool f32;
};

const InputCase kInputCases[] = {
    {"1920x1080 -> 640x640 letterbox f32 CHW", 1920, 1080, 640, 640, true},
    {"1280x720 -> 416x416 letterbox u8 CHW", 1280, 720, 416, 416, false},
};

constexpr unsigned char kPad = 114;
const float kMean[3] = {123.675f, 116.28f, 103.53f};
constexpr float kScale = 1.f / 58.f;  // one factor, as blobFromImage takes

// Content size of the letterbox (the source is wider than the input here).
int content_height(const InputCase &c) { return (c.sh * c.dw + c.sw / 2) / c.sw / 2 * 2; }

void BM_InputOurs(benchmark::State &state, InputCase c, const char *path) {
    const auto src = random_frame(c.sw, c.sh);
    qevo::Nv12Frame frame;
    frame.y = src.data();
    frame.uv = src.data() + c.sw * c.sh;
    frame.y_stride = frame.uv_stride = c.sw;
    frame.width = c.sw;
    frame.height = c.sh;
    qevo::TensorParams p;
    p.dst_width = c.dw;
    p.dst_height = c.dh;
    p.format = c.f32 ? qevo::TENSOR_F32_CHW : qevo::TENSOR_U8_CHW;
    for (int ch = 0; ch < 3; ++ch) {
        p.pad[ch] = kPad;
        p.mean[ch] = kMean[ch];
        p.scale[ch] = kScale;
    }
    std::vector<float> dst(qevo::tensor_bytes(p) / sizeof(float) + 1);
    SimdPath sp(path);
    for (auto _ : state) {
        if (qevo::nv12_to_tensor(frame, p, dst.data(), qevo::tensor_bytes(p)) != 0)
            state.SkipWithError("nv12_to_tensor refused");
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

void BM_InputOpenCV(benchmark::State &state, InputCase c) {
    auto src = random_frame(c.sw, c.sh);
    const cv::Mat nv12(c.sh * 3 / 2, c.sw, CV_8UC1, src.data());
    const int th = content_height(c), top = (c.dh - th) / 2;
    cv::Mat rgb, small, boxed, blob;
    const cv::Scalar mean = c.f32 ? cv::Scalar(kMean[0], kMean[1], kMean[2]) : cv::Scalar();
    const double scale = c.f32 ? kScale : 1.0;
    for (auto _ : state) {
        cv::cvtColor(nv12, rgb, cv::COLOR_YUV2RGB_NV12);
        cv::resize(rgb, small, cv::Size(c.dw, th), 0, 0, cv::INTER_LINEAR);
        cv::copyMakeBorder(small, boxed, top, c.dh - th - top, 0, 0, cv::BORDER_CONSTANT,
                           cv::Scalar(kPad, kPad, kPad));
        cv::dnn::blobFromImage(boxed, blob, scale, cv::Size(), mean, false, false,
                               c.f32 ? CV_32F : CV_8U);
        benchmark::DoNotOptimize(blob.data);
        benchmark::ClobberMemory();
    }
}

// The relayout a libyuv user writes by hand: border rows, then the content
// rows (libyuv's RGB24 is B, G, R in memory) split into R, G, B planes.
template <typename T, typename Conv>
void relayout(const unsigned char *bgr, int w, int th, int dw, int dh, T *dst, Conv conv) {
    const int top = (dh - th) / 2;
    const size_t plane = static_cast<size_t>(dw) * dh;
    for (int c = 0; c < 3; ++c) {
        T *p = dst + plane * c;
        const T pad = conv(kPad, c);
        for (int y = 0; y < dh; ++y) {
            T *row = p + static_cast<size_t>(y) * dw;
            if (y < top || y >= top + th) {
                for (int x = 0; x < dw; ++x) row[x] = pad;
                continue;
            }
            const unsigned char *s = bgr + static_cast<size_t>(y - top) * w * 3 + (2 - c);
            for (int x = 0; x < w; ++x) row[x] = conv(s[3 * x], c);
        }
    }
}

void BM_InputLibyuv(benchmark::State &state, InputCase c) {
    const auto src = random_frame(c.sw, c.sh);
    const int th = content_height(c);
    std::vector<unsigned char> small(static_cast<size_t>(c.dw) * th * 3 / 2);
    std::vector<unsigned char> bgr(static_cast<size_t>(c.dw) * th * 3);
    std::vector<float> f32(static_cast<size_t>(c.dw) * c.dh * 3);
    std::vector<unsigned char> u8(f32.size());
    unsigned char *sy = small.data(), *suv = sy + c.dw * th;
    for (auto _ : state) {
        libyuv::NV12Scale(src.data(), c.sw, src.data() + c.sw * c.sh, c.sw, c.sw, c.sh, sy, c.dw,
                          suv, c.dw, c.dw, th, libyuv::kFilterBilinear);
        libyuv::NV12ToRGB24(sy, c.dw, suv, c.dw, bgr.data(), c.dw * 3, c.dw, th);
        if (c.f32) {
            relayout(bgr.data(), c.dw, th, c.dw, c.dh, f32.data(), [](unsigned char v, int ch) {
                return (static_cast<float>(v) - kMean[ch]) * kScale;
            });
            benchmark::DoNotOptimize(f32.data());
        } else {
            relayout(bgr.data(), c.dw, th, c.dw, c.dh, u8.data(),
                     [](unsigned char v, int) { return v; });
            benchmark::DoNotOptimize(u8.data());
        }
        benchmark::ClobberMemory();
    }
}

}  // namespace

std::vector<PeerRow> register_preprocess_peers() {
    std::vector<PeerRow> rows;
    const std::string rgb = "nv12_to_rgb 1920x1080";
    benchmark::RegisterBenchmark((rgb + " /ours").c_str(), BM_RgbOurs, nullptr);
    benchmark::RegisterBenchmark((rgb + " /ours-scalar").c_str(), BM_RgbOurs, "scalar");
    benchmark::RegisterBenchmark((rgb + " /opencv").c_str(), BM_RgbOpenCV);
    benchmark::RegisterBenchmark((rgb + " /libyuv").c_str(), BM_RgbLibyuv);
    rows.push_back({rgb, rgb + " /ours", rgb + " /opencv", rgb + " /ours-scalar",
                    "cv::cvtColor COLOR_YUV2RGB_NV12"});
    rows.push_back(
        {rgb, rgb + " /ours", rgb + " /libyuv", rgb + " /ours-scalar", "libyuv::NV12ToRGB24"});
    for (const InputCase &c : kInputCases) {
        const std::string base = std::string("nv12_to_tensor ") + c.name;
        benchmark::RegisterBenchmark((base + " /ours").c_str(), BM_InputOurs, c, nullptr);
        benchmark::RegisterBenchmark((base + " /ours-scalar").c_str(), BM_InputOurs, c, "scalar");
        benchmark::RegisterBenchmark((base + " /opencv").c_str(), BM_InputOpenCV, c);
        benchmark::RegisterBenchmark((base + " /libyuv").c_str(), BM_InputLibyuv, c);
        rows.push_back({base, base + " /ours", base + " /opencv", base + " /ours-scalar",
                        "OpenCV cvtColor, resize, copyMakeBorder, blobFromImage"});
        rows.push_back({base, base + " /ours", base + " /libyuv", base + " /ours-scalar",
                        "libyuv NV12Scale, NV12ToRGB24, relayout loop"});
    }
    return rows;
}
