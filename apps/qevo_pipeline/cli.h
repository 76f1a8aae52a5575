// Command line of the frame-pipeline program.
#ifndef QEVO_PIPELINE_CLI_H
#define QEVO_PIPELINE_CLI_H

#include <cmath>
#include <limits>
#include <string>

#include "mot_format.h"

namespace pipeline {

// Trackers to run: the text's exact trackers (snapshot and in-place
// update_objtracker), the motion tracker (tracker.h), or both.
enum class TrackerChoice { kExact, kMotion, kBoth };

struct Options {
    std::string out_dir = "out";
    std::string frames_file;  // raw NV12 frames (user data)
    std::string dets_file;    // MOTChallenge detections (user data)
    std::string gt_file;      // MOTChallenge ground truth (user data)
    std::string mot_root;     // folder of MOTChallenge sequences
    std::string servo_file;   // servo angles per frame (servo_file.h)
    std::string video_file;   // a recording any way OpenCV decodes it (video_run.h)
    bool scene = false;       // the built-in scene (also the choice without any data)
    // Video runs: the view's share of each side, the servo's slew limit,
    // whether it moves, the track to follow, the detector's input scale.
    double view_fraction = 0.6;
    double slew = 0.5;  // degrees per frame
    bool servo = true;
    int follow = -1;
    double detect_scale = 1.25;
    int width = 0, height = 0;    // --size (0: not given); also sets the built-in scene's size
    long header = 0;              // bytes before the first frame of --frames
    int every = 30;               // annotate every Nth frame
    int length = 0;               // process at most this many frames (0: all)
    int scene_frames = 300;       // length of the built-in scene
    float match_distance = 0.5f;  // distance factor of the snapshot tracker
    float match_iou = 0.3f;       // overlap threshold of the in-place tracker
    float nms_iou = 0.5f;         // suppression threshold
    float filter_sigma = 3.0f;    // band of the height filter
    double resolution = 0.05;     // degrees per pixel: servo commands and compensation
    TrackerChoice tracker = TrackerChoice::kBoth;
    Scoring scoring = Scoring::kDevkit;
    int coast = 0;  // frames a hidden lost track of the motion tracker is still reported
    // Score thresholds of the motion tracker (tracker.h); NaN: the library's
    // default, or the built-in scene's for its simulated detector.
    float high_score = NAN, low_score = NAN, new_track_score = NAN;
    double min_score = -std::numeric_limits<double>::infinity();  // detections below are dropped
    int progress = -1;  // -1: when standard error is a terminal; 0 off; 1 on
    bool help = false;

    bool user_data() const {
        return !frames_file.empty() || !dets_file.empty() || !gt_file.empty() ||
               !servo_file.empty() || !video_file.empty();
    }
    bool exact() const { return tracker != TrackerChoice::kMotion; }
    bool motion() const { return tracker != TrackerChoice::kExact; }
};

// Parses and validates the arguments. Returns false with a one-line message.
bool parse_cli(int argc, const char *const *argv, Options &opt, std::string &error);

std::string usage_text();

}  // namespace pipeline

#endif
