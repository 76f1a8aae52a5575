// Fixed-point bilinear resize of interleaved 8-bit images: whole frames.
#include <benchmark/benchmark.h>

#include <vector>

#include "mat_pixel_resize.h"

namespace {

using Packed = void (*)(const unsigned char *, int, int, unsigned char *, int, int);

void run(benchmark::State &state, Packed kernel, int channels, int sw, int sh, int w, int h) {
    std::vector<unsigned char> src(static_cast<size_t>(sw) * sh * channels);
    for (size_t i = 0; i < src.size(); ++i)
        src[i] = static_cast<unsigned char>((i * 2654435761u) >> 24);
    std::vector<unsigned char> dst(static_cast<size_t>(w) * h * channels);
    for (auto _ : state) {
        kernel(src.data(), sw, sh, dst.data(), w, h);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(dst.size()));
    state.counters["out_px"] = static_cast<double>(w) * h;
}

void BM_resize_bilinear_c3_1080p_to_360p(benchmark::State &s) {
    run(s, resize_bilinear_c3, 3, 1920, 1080, 640, 360);
}
void BM_resize_bilinear_c1_1080p_to_360p(benchmark::State &s) {
    run(s, resize_bilinear_c1, 1, 1920, 1080, 640, 360);
}
void BM_resize_bilinear_c4_1080p_to_360p(benchmark::State &s) {
    run(s, resize_bilinear_c4, 4, 1920, 1080, 640, 360);
}
void BM_resize_bilinear_c2_960x540_to_320x180(benchmark::State &s) {
    run(s, resize_bilinear_c2, 2, 960, 540, 320, 180);
}
// Enlarging mostly reuses and slides the two cached rows.
void BM_resize_bilinear_c3_360p_to_1080p(benchmark::State &s) {
    run(s, resize_bilinear_c3, 3, 640, 360, 1920, 1080);
}
// Typical network input from a camera frame.
void BM_resize_bilinear_c3_1080p_to_640x640(benchmark::State &s) {
    run(s, resize_bilinear_c3, 3, 1920, 1080, 640, 640);
}

}  // namespace

BENCHMARK(BM_resize_bilinear_c3_1080p_to_360p)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_resize_bilinear_c1_1080p_to_360p)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_resize_bilinear_c4_1080p_to_360p)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_resize_bilinear_c2_960x540_to_320x180)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_resize_bilinear_c3_360p_to_1080p)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_resize_bilinear_c3_1080p_to_640x640)->Unit(benchmark::kMillisecond);
