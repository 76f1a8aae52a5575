// Per-frame time of the tracker's association with 100 tracks and 100
// detections: a 10 x 10 grid of 30 x 30 boxes moving back and forth by 1 px
// per frame, so every track keeps matching its own object.
//
// The in-place overload prints its progress lines unconditionally; they are
// sent to /dev/null while the benchmark runs, so the figure includes the
// formatting and write calls but no terminal.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

#include "objTracker.h"
#include "mute_stdout.h"

namespace {

std::vector<QEVO::objinfo> grid_frame(int frame) {
    const int phase = frame % 40;
    const float shift = static_cast<float>(phase < 20 ? phase : 40 - phase);
    std::vector<QEVO::objinfo> dets;
    dets.reserve(100);
    for (int r = 0; r < 10; ++r) {
        for (int c = 0; c < 10; ++c) {
            QEVO::objinfo d{};
            d.x1 = c * 50.0f + shift;
            d.y1 = r * 50.0f;
            d.x2 = d.x1 + 30.0f;
            d.y2 = d.y1 + 30.0f;
            d.score = 0.8f;
            d.classNum = (r + c) % 9;
            dets.push_back(d);
        }
    }
    return dets;
}

void BM_UpdateInPlace_100x100(benchmark::State &state) {
    std::vector<std::vector<QEVO::objinfo> > frames;
    for (int f = 0; f < 40; ++f) frames.push_back(grid_frame(f));
    std::vector<OBJTRACK> tracks;
    MuteStdout mute;
    update_objtracker(frames[0], tracks, 0.3f);
    int f = 1;
    for (auto _ : state) {
        update_objtracker(frames[f % 40], tracks, 0.3f);
        ++f;
    }
    state.counters["tracks"] = static_cast<double>(tracks.size());
}
BENCHMARK(BM_UpdateInPlace_100x100)->Unit(benchmark::kMicrosecond);

void BM_UpdateCopying_100x100(benchmark::State &state) {
    std::vector<std::vector<QEVO::objinfo> > frames;
    for (int f = 0; f < 40; ++f) frames.push_back(grid_frame(f));
    std::vector<OBJTRACK> tracks;
    update_objtracker(frames[0], {}, tracks, 0.3f);
    int f = 1;
    for (auto _ : state) {
        std::vector<OBJTRACK> next;
        update_objtracker(frames[f % 40], tracks, next, 0.3f);
        tracks.swap(next);
        ++f;
    }
    state.counters["tracks"] = static_cast<double>(tracks.size());
}
BENCHMARK(BM_UpdateCopying_100x100)->Unit(benchmark::kMicrosecond);

}  // namespace
