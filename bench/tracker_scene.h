// A synthetic crowd for the motion tracker's per-frame cost: n people of
// 40 x 100 to 60 x 150 pixels walking at constant speed in a 1920 x 1080
// frame and turning at its edges, each detected in 19 of 20 frames with up
// to 2 pixels of box noise, one in six with a low score, while the servo
// pans 4 pixels per frame. Integer arithmetic only, so every build and
// target sees the same detections.
#ifndef QEVO_BENCH_TRACKER_SCENE_H
#define QEVO_BENCH_TRACKER_SCENE_H

#include <vector>

#include "detection_type_api.h"

namespace qevo_bench {

struct TrackerFrame {
    std::vector<QEVO::objinfo> dets;
    QEVO::SyncInfos sync;
};

// Degrees per pixel of the scene's servo.
constexpr double kSceneResolution = 0.05;

inline std::vector<TrackerFrame> tracker_scene(int people, int frames) {
    unsigned seed = 12345u + static_cast<unsigned>(people);
    auto rnd = [&seed](unsigned n) {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 8) % n;
    };
    struct Person {
        int x, y, vx, vy, w, h;
    };
    std::vector<Person> crowd(static_cast<size_t>(people));
    for (Person &p : crowd) {
        p.w = 40 + static_cast<int>(rnd(21));
        p.h = p.w * 5 / 2;
        p.x = static_cast<int>(rnd(1920 - 60)) * 16;  // positions in 1/16 pixel
        p.y = static_cast<int>(rnd(1080 - 150)) * 16;
        p.vx = static_cast<int>(rnd(65)) - 32;
        p.vy = static_cast<int>(rnd(17)) - 8;
    }
    std::vector<TrackerFrame> out(static_cast<size_t>(frames));
    for (int f = 0; f < frames; ++f) {
        TrackerFrame &fr = out[static_cast<size_t>(f)];
        fr.sync = QEVO::SyncInfos{};
        fr.sync.fAz = static_cast<float>(100.0 + 0.2 * f);  // 4 px per frame at 0.05
        const int pan = 4 * 16 * f;
        for (Person &p : crowd) {
            p.x += p.vx;
            p.y += p.vy;
            if (p.x < 0 || p.x > (1920 - p.w) * 16) p.vx = -p.vx;
            if (p.y < 0 || p.y > (1080 - p.h) * 16) p.vy = -p.vy;
            if (rnd(20) == 0) continue;
            QEVO::objinfo d{};
            d.x1 = static_cast<float>(p.x - pan) / 16.0f + static_cast<float>(rnd(5)) - 2.0f;
            d.y1 = static_cast<float>(p.y) / 16.0f + static_cast<float>(rnd(5)) - 2.0f;
            d.x2 = d.x1 + static_cast<float>(p.w) + static_cast<float>(rnd(5)) - 2.0f;
            d.y2 = d.y1 + static_cast<float>(p.h) + static_cast<float>(rnd(5)) - 2.0f;
            d.score = rnd(6) == 0 ? 0.5f : 0.95f;
            d.ID = -1;
            d.trackID = -1;
            fr.dets.push_back(d);
        }
    }
    return out;
}

}  // namespace qevo_bench

#endif
