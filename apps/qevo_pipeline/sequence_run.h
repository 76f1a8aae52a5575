// One pass of the frame pipeline over a sequence, shared by single runs and
// the benchmark-folder runs.
#ifndef QEVO_PIPELINE_SEQUENCE_RUN_H
#define QEVO_PIPELINE_SEQUENCE_RUN_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "frame_pipeline.h"
#include "frame_source.h"
#include "run_stats.h"
#include "servo_file.h"

namespace pipeline {

// Detections and ground truth of one sequence.
struct SequenceData {
    MotSequence dets;
    GroundTruth gt;
    bool have_gt = false;
};

// Reads the detections and, when `gt_path` is not empty, the ground truth.
// False with the parser's message.
bool load_sequence(const std::string &dets_path, const std::string &gt_path, Scoring scoring,
                   SequenceData &data, std::string &error);

// Drops detections and ground truth after frame `frames`; each kind dropped
// gets a warning on standard error, starting with `who`.
void keep_frames(SequenceData &data, int frames, const std::string &who);

// Servo angles and raw detections of a frame. `sync` starts at zero angles;
// NaN angles mean the frame has none (servo_angles()).
using FrameInputs =
    std::function<void(int frame, QEVO::SyncInfos &sync, std::vector<MotBox> &detections)>;
// Sees each frame's servo angles, pixels and result; false with a message
// stops the run.
using FrameResult =
    std::function<bool(int frame, const QEVO::SyncInfos &sync, const std::vector<uint8_t> &nv12,
                       const FrameOutput &out, std::string &error)>;

struct RunCounts {
    long raw = 0;              // detections given
    long below_min_score = 0;  // of those, dropped before suppression
    long after_nms = 0;        // kept by the suppression
    long filter_in = 0;        // established frames of the in-place tracker's tracks
    long filter_out = 0;       // of those, passed by the height filter
    long without_angles = 0;   // frames whose servo angles were missing
};

// The angles of `frame` from a servo file: NaN when the file has no line
// for it, zero when there is no file.
void servo_angles(const ServoTrack *servo, int frame, QEVO::SyncInfos &sync);

// Runs frames 1 .. `frames` of `source` through `pipe`. Detections scoring
// below `min_score` never reach the pipeline. After each frame the bar
// shows `bar_offset` + frame. False with a message on a frame that cannot
// be read or when `result` says so.
bool run_frames(FramePipeline &pipe, FrameSource &source, int frames, double min_score,
                const FrameInputs &inputs, const FrameResult &result,
                const FramePipeline::MosaicSink &sink, ProgressBar &bar, int bar_offset,
                RunCounts &counts, std::string &error);

}  // namespace pipeline

#endif
