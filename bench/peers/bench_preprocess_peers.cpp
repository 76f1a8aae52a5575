// Colour conversion and network-input preparation against the peers, on the
// same NV12 frames, single-threaded:
//   - nv12_to_rgb 1920x1080 against cv::cvtColor(COLOR_YUV2RGB_NV12) and
//     libyuv::NV12ToRGB24 (BT.601 limited range in all three);
//   - nv12_to_tensor from 1920x1080 to a 640x640 letterboxed float CHW input
//     and from 1280x720 to a 416x416 letterboxed uint8 CHW input, against the
//     OpenCV and libyuv chains of preprocess_cases.h.
// Every call writes into buffers allocated once, outside the timed loop.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <libyuv/convert_argb.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "bench_inputs.h"
#include "peer_table.h"
#include "preprocess.h"
#include "preprocess_cases.h"

namespace {

// An NV12 frame of w x h pixels, the same bytes for every case of that size.
std::vector<unsigned char> random_frame(int w, int h) {
    return random_bytes(static_cast<size_t>(w) * h * 3 / 2, 21);
}

// ---------------------------------------------------------------- nv12_to_rgb

constexpr int kW = 1920, kH = 1080;

void BM_RgbOurs(benchmark::State &state, const char *path) {
    const auto src = random_frame(kW, kH);
    std::vector<unsigned char> dst(static_cast<size_t>(kW) * kH * 3);
    ForcePath force(path);
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

using qevo_bench::InputCase;

void BM_InputOurs(benchmark::State &state, InputCase c, const char *path) {
    const auto src = random_frame(c.sw, c.sh);
    qevo_bench::OursInput ours(c, src.data());
    ForcePath force(path);
    for (auto _ : state) {
        if (ours.run() != 0) state.SkipWithError("nv12_to_tensor refused");
        benchmark::DoNotOptimize(ours.out.data());
        benchmark::ClobberMemory();
    }
}

void BM_InputOpenCV(benchmark::State &state, InputCase c) {
    auto src = random_frame(c.sw, c.sh);
    qevo_bench::OpenCvChain chain(c, src.data());
    for (auto _ : state) {
        chain.run();
        benchmark::DoNotOptimize(chain.blob.data);
        benchmark::ClobberMemory();
    }
}

void BM_InputLibyuv(benchmark::State &state, InputCase c) {
    const auto src = random_frame(c.sw, c.sh);
    qevo_bench::LibyuvChain chain(c, src.data());
    for (auto _ : state) {
        chain.run();
        benchmark::DoNotOptimize(chain.u8.data());
        benchmark::DoNotOptimize(chain.f32.data());
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
    for (const InputCase &c : qevo_bench::kInputCases) {
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
