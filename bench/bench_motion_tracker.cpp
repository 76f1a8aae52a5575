// Per-frame time of MotionTracker::update with 10, 50 and 200 people in a
// panning view (tracker_scene.h), warm: the tracker has seen the whole
// sequence once before the timed frames, so its storage is sized.
#include <benchmark/benchmark.h>

#include "tracker.h"
#include "tracker_scene.h"

namespace {

void BM_MotionTracker(benchmark::State &state) {
    const int people = static_cast<int>(state.range(0));
    const std::vector<qevo_bench::TrackerFrame> frames = qevo_bench::tracker_scene(people, 300);
    qevo::MotionTracker tracker;
    for (const auto &f : frames) tracker.update(f.dets, &f.sync, qevo_bench::kSceneResolution);
    tracker.reset();
    size_t i = 0;
    long held = 0, dets = 0;
    for (auto _ : state) {
        if (i == frames.size()) {
            state.PauseTiming();
            tracker.reset();
            i = 0;
            state.ResumeTiming();
        }
        const qevo_bench::TrackerFrame &f = frames[i++];
        tracker.update(f.dets, &f.sync, qevo_bench::kSceneResolution);
        held += tracker.track_count();
        dets += static_cast<long>(f.dets.size());
    }
    state.counters["tracks"] =
        benchmark::Counter(static_cast<double>(held), benchmark::Counter::kAvgIterations);
    state.counters["detections"] =
        benchmark::Counter(static_cast<double>(dets), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_MotionTracker)->Arg(10)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);

}  // namespace
