// Executed aarch64 instructions per frame of MotionTracker::update, for the
// synthetic crowd of bench/tracker_scene.h (bench/run_tracking.sh runs it
// under qemu-aarch64 with the arm-icount plugin):
//
//   tracker_icount PEOPLE    prints "calls=N": N updates inside the counted region
//
// The whole sequence runs once outside the region first (storage sized, as
// in a running application), then again after reset() inside it.
#include <cstdio>
#include <cstdlib>

#include "roi.h"
#include "tracker.h"
#include "tracker_scene.h"

int main(int argc, char **argv) {
    const int people = argc > 1 ? std::atoi(argv[1]) : 0;
    if (people < 1 || people > 1000) {
        std::fprintf(stderr, "usage: tracker_icount PEOPLE (1 to 1000)\n");
        return 2;
    }
    const auto frames = qevo_bench::tracker_scene(people, 300);
    qevo::MotionTracker tracker;
    for (const auto &f : frames) tracker.update(f.dets, &f.sync, qevo_bench::kSceneResolution);
    tracker.reset();
    armcount_begin();
    for (const auto &f : frames) tracker.update(f.dets, &f.sync, qevo_bench::kSceneResolution);
    armcount_end();
    std::printf("calls=%zu\n", frames.size());
    return 0;
}
