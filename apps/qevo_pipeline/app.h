// The program as a whole: picks the frame source, runs the per-frame path,
// writes the outputs and the summary.
//
// Outputs in the output folder:
//   tracks.txt          established tracks of the snapshot tracker, one
//                       MOTChallenge line per track and frame; identifiers
//                       1, 2, ... one per trajectory (trajectory_ids.h)
//   tracks_inplace.txt  the same for the in-place tracker
//   servo.csv           per frame: servo angles, main target, commanded angles
//   frames/frame_NNNNNN.png  annotated frames (every Nth)
//   contact_sheet.png   the annotated frames side by side
//   preview.png         one annotated frame at 640 pixels wide
//   snapshots/track_NNNN.png  snapshot mosaic of each reported track
//   summary.json        timings, rates, counts and quality figures
//   gt.txt, det.txt     built-in scene only: its ground truth and raw
//                       detections, in the formats --gt and --dets read
//
// Runs on detections alone use grey stand-in frames (frame_source.h); their
// size and length come from --size, seqinfo.ini or the boxes.
//
// Exit codes: 0 done; 1 bad input or an output that cannot be written (one
// message on standard error); 2 bad command line.
#ifndef QEVO_PIPELINE_APP_H
#define QEVO_PIPELINE_APP_H

#include "cli.h"
#include "frame_pipeline.h"

namespace pipeline {

// With --mot-root, runs the benchmark folder instead (mot_root.h).
int run_program(const Options &opt);

// Creates `path` and its missing parents. False with a message.
bool make_dirs(const std::string &path, std::string &error);

// Prints "qevo_pipeline: <msg>" on standard error; returns the exit code 1.
int fail(const std::string &msg);

// Writes `text` as the whole file. False with a message.
bool write_text(const std::string &path, const std::string &text, std::string &error);

// Pipeline settings from the options, for frames of width x height.
PipelineConfig pipeline_config(const Options &opt, int width, int height);

// Whether to draw the progress bar.
bool progress_wanted(const Options &opt);

}  // namespace pipeline

#endif
