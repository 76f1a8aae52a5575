// Semi-planar YUV and float plane resize timings.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "mat_pixel_resize.h"

namespace {

std::vector<unsigned char> frame_bytes(size_t n) {
    std::vector<unsigned char> v(n);
    uint32_t s = 12345u;
    for (auto &b : v) {
        s = s * 1664525u + 1013904223u;
        b = static_cast<unsigned char>(s >> 24);
    }
    return v;
}

void BM_Nv12_1920x1080_to_1280x720(benchmark::State &state) {
    const std::vector<unsigned char> src = frame_bytes(1920 * 1080 * 3 / 2);
    std::vector<unsigned char> dst(1280 * 720 * 3 / 2);
    for (auto _ : state) {
        resize_bilinear_yuv420sp(src.data(), 1920, 1080, dst.data(), 1280, 720);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * src.size());
}
BENCHMARK(BM_Nv12_1920x1080_to_1280x720)->Unit(benchmark::kMillisecond);

void BM_Float_640x640_to_320x320(benchmark::State &state) {
    std::vector<float> src(640 * 640);
    for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<float>(i % 977) * 0.25f;
    std::vector<float> dst(320 * 320);
    for (auto _ : state) {
        resize_bilinear_float_c1(src.data(), 640, 640, dst.data(), 320, 320);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Float_640x640_to_320x320)->Unit(benchmark::kMillisecond);

}  // namespace
