// The built-in scene: a deterministic NV12 sequence with moving, crossing,
// stopping and leaving targets, a slowly panning servo and a simulated
// detector derived from the ground truth.
//
// Everything is computed from the frame number and a fixed seed with the
// program's own random generator, so two runs produce the same frames, the
// same ground truth and the same detections on every platform.
#ifndef QEVO_PIPELINE_SCENE_H
#define QEVO_PIPELINE_SCENE_H

#include <cstdint>
#include <vector>

#include "mot_format.h"

namespace pipeline {

// Small deterministic generator (splitmix64).
class Rng {
  public:
    explicit Rng(uint64_t seed) : state_(seed) {}
    uint64_t next();
    double uniform();                      // [0, 1)
    double uniform(double lo, double hi);  // [lo, hi)
    bool chance(double p) { return uniform() < p; }

  private:
    uint64_t state_;
};

struct SceneConfig {
    int width = 1280;
    int height = 720;
    int frames = 300;
    uint64_t seed = 7;
};

// Servo state of one frame, degrees.
struct ServoState {
    float az = 0;
    float pt = 0;
};

class Scene {
  public:
    explicit Scene(const SceneConfig &cfg);

    const SceneConfig &config() const { return cfg_; }
    int num_classes() const { return 3; }
    // Degrees per pixel of the simulated camera.
    double resolution() const { return 0.05; }

    ServoState servo(int frame) const;  // frame is 1-based

    // Renders frame `frame` into `nv12` (resized to width x height x 3 / 2).
    void render(int frame, std::vector<uint8_t> &nv12) const;

    // Visible targets of the frame, clipped to the picture (id, class, box).
    std::vector<MotBox> ground_truth(int frame) const;

    // Raw detector output of the frame: jittered boxes, misses (more often
    // when a target is mostly covered by one in front of it), duplicates and
    // false positives, each with a class and a score.
    std::vector<MotBox> detections(int frame) const;

  private:
    struct Waypoint {
        int frame;
        float x, y;  // centre, fractions of the picture
    };
    struct Target {
        int id;
        int cls;
        float w, h;  // fractions of the picture height
        uint8_t y, u, v;
        std::vector<Waypoint> path;
    };
    // Unclipped box of target t at frame f, or false when it is not in the scene.
    bool target_box(const Target &t, int frame, MotBox &box) const;
    float pan_pixels(int frame) const;

    SceneConfig cfg_;
    std::vector<Target> targets_;
};

}  // namespace pipeline

#endif
