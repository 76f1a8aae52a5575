// Suppression of 5000 random boxes (distinct scores, area fields matching the
// inclusive corner area), the size of a dense detector output.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "utils.h"

namespace {

std::vector<QEVO::tag_Objinfo> random_boxes(int n) {
    std::mt19937 rng(2024);
    std::uniform_real_distribution<float> pos(0.0f, 1880.0f), size(8.0f, 200.0f);
    std::vector<int> rank(n);
    for (int i = 0; i < n; ++i) rank[i] = i;
    std::shuffle(rank.begin(), rank.end(), rng);
    std::vector<QEVO::tag_Objinfo> boxes(n);
    for (int i = 0; i < n; ++i) {
        QEVO::tag_Objinfo &b = boxes[i];
        b = QEVO::tag_Objinfo{};
        b.x1 = pos(rng) * 0.5f;  // 940 x 1880 plane: many overlaps
        b.y1 = pos(rng) * 0.25f;
        b.x2 = b.x1 + size(rng);
        b.y2 = b.y1 + size(rng);
        b.score = (rank[i] + 1) / float(n + 1);
        b.classNum = i % 4;
        b.area = (b.x2 - b.x1 + 1) * (b.y2 - b.y1 + 1);
    }
    return boxes;
}

void BM_nms1(benchmark::State &state) {
    const std::vector<QEVO::tag_Objinfo> boxes = random_boxes(static_cast<int>(state.range(0)));
    std::vector<QEVO::tag_Objinfo> input, output;
    for (auto _ : state) {
        input = boxes;
        output.clear();
        KIVEX::nms1(input, output, 0.45f, 1);
        benchmark::DoNotOptimize(output.data());
    }
    state.counters["kept"] = static_cast<double>(output.size());
}

void BM_nms(benchmark::State &state) {
    const std::vector<QEVO::tag_Objinfo> boxes = random_boxes(static_cast<int>(state.range(0)));
    std::vector<QEVO::tag_Objinfo> input, output;
    // The two progress lines go to standard output on every call: send them
    // to /dev/null while timing, then give the reporter its output back.
    std::fflush(stdout);
    const int saved = dup(1);
    const int devnull = open("/dev/null", O_WRONLY);
    if (devnull >= 0) dup2(devnull, 1);
    for (auto _ : state) {
        input = boxes;
        KIVEX::nms(input, output, 0.45f, static_cast<int>(state.range(1)));
        benchmark::DoNotOptimize(output.data());
    }
    std::fflush(stdout);
    if (saved >= 0) {
        dup2(saved, 1);
        close(saved);
    }
    if (devnull >= 0) close(devnull);
    state.counters["kept"] = static_cast<double>(output.size());
}

void BM_seg_NMS(benchmark::State &state) {
    const std::vector<QEVO::tag_Objinfo> boxes = random_boxes(static_cast<int>(state.range(0)));
    std::vector<QEVO::tag_Objinfo> input, output;
    for (auto _ : state) {
        input = boxes;
        KIVEX::seg_NMS(input, 0.45f, output);
        benchmark::DoNotOptimize(output.data());
    }
    state.counters["kept"] = static_cast<double>(output.size());
}

}  // namespace

BENCHMARK(BM_nms1)->Arg(5000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_nms)->Args({5000, 1})->Args({5000, 2})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_seg_NMS)->Arg(5000)->Unit(benchmark::kMicrosecond);
