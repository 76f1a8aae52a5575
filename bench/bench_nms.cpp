// Suppression of 5000 random boxes (distinct scores, area fields matching the
// inclusive corner area), the size of a raw detector output, on two layouts.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include "mute_stdout.h"
#include "utils.h"

namespace {

// Two layouts: "dense" puts boxes of 8 to 200 pixels on a 940 x 470 area
// (each box meets about a tenth of the others), "sparse" boxes of 8 to 120
// pixels on a 1920 x 1080 frame.
std::vector<QEVO::tag_Objinfo> random_boxes(int n, bool sparse) {
    std::mt19937 rng(2024);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    const float area_w = sparse ? 1920.0f : 940.0f, area_h = sparse ? 1080.0f : 470.0f;
    const float min_side = 8.0f, max_side = sparse ? 120.0f : 200.0f;
    std::vector<int> rank(n);
    for (int i = 0; i < n; ++i) rank[i] = i;
    std::shuffle(rank.begin(), rank.end(), rng);
    std::vector<QEVO::tag_Objinfo> boxes(n);
    for (int i = 0; i < n; ++i) {
        QEVO::tag_Objinfo &b = boxes[i];
        b = QEVO::tag_Objinfo{};
        b.x1 = unit(rng) * area_w;
        b.y1 = unit(rng) * area_h;
        b.x2 = b.x1 + min_side + unit(rng) * (max_side - min_side);
        b.y2 = b.y1 + min_side + unit(rng) * (max_side - min_side);
        b.score = (rank[i] + 1) / float(n + 1);
        b.classNum = i % 4;
        b.area = (b.x2 - b.x1 + 1) * (b.y2 - b.y1 + 1);
    }
    return boxes;
}

void BM_nms1(benchmark::State &state) {
    const std::vector<QEVO::tag_Objinfo> boxes =
        random_boxes(static_cast<int>(state.range(0)), state.range(1) != 0);
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
    const std::vector<QEVO::tag_Objinfo> boxes =
        random_boxes(static_cast<int>(state.range(0)), state.range(1) != 0);
    std::vector<QEVO::tag_Objinfo> input, output;
    {
        MuteStdout mute;  // the two progress lines printed on every call
        for (auto _ : state) {
            input = boxes;
            KIVEX::nms(input, output, 0.45f, static_cast<int>(state.range(2)));
            benchmark::DoNotOptimize(output.data());
        }
    }
    state.counters["kept"] = static_cast<double>(output.size());
}

void BM_seg_NMS(benchmark::State &state) {
    const std::vector<QEVO::tag_Objinfo> boxes =
        random_boxes(static_cast<int>(state.range(0)), state.range(1) != 0);
    std::vector<QEVO::tag_Objinfo> input, output;
    for (auto _ : state) {
        input = boxes;
        KIVEX::seg_NMS(input, 0.45f, output);
        benchmark::DoNotOptimize(output.data());
    }
    state.counters["kept"] = static_cast<double>(output.size());
}

}  // namespace

// Arguments: box count, layout (0 dense, 1 sparse)[, overlap rule of nms].
BENCHMARK(BM_nms1)->Args({5000, 0})->Args({5000, 1})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_nms)
    ->Args({5000, 0, 1})
    ->Args({5000, 1, 1})
    ->Args({5000, 0, 2})
    ->Args({5000, 1, 2})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_seg_NMS)->Args({5000, 0})->Args({5000, 1})->Unit(benchmark::kMicrosecond);
