// Runs every sequence of a MOTChallenge folder (--mot-root DIR):
//
//   DIR/SEQ/seqinfo.ini   name, size, length and optional servoResolution
//                         (sequence_info.h)
//   DIR/SEQ/det/det.txt   detections
//   DIR/SEQ/gt/gt.txt     ground truth, when present
//   DIR/SEQ/servo.txt     servo angles per frame, when present (servo_file.h)
//
// Folders without seqinfo.ini are passed over; pictures (img1/) are not
// read: the frame path runs on grey stand-in frames of the sequence's size.
// Every input is read and checked before anything is written. Outputs in
// the output folder:
//   SEQ.txt       the sequence's tracks, MOTChallenge format (the layout
//                 the official evaluation reads); with both trackers in
//                 exact/SEQ.txt and motion/SEQ.txt
//   summary.csv   per tracker, one row per sequence and an OVERALL row over
//                 all of them
//   summary.json  the same rows, with a few more counts
// The table is also printed. Sequences are run one after another with fresh
// trackers; an OVERALL row adds up the counts of all sequences (the ratios
// are computed from the sums, not averaged) and its tracker time is the total
// over all frames. The exact tracker's row is the snapshot update_objtracker.
// Without servo.txt a sequence's frames carry zero angles (nothing to
// compensate); the resolution is the sequence's servoResolution, else
// --resolution.
#ifndef QEVO_PIPELINE_MOT_ROOT_H
#define QEVO_PIPELINE_MOT_ROOT_H

#include <string>
#include <vector>

#include "cli.h"
#include "metrics.h"
#include "mot_format.h"

namespace pipeline {

// One row of the table.
struct SummaryRow {
    std::string name;
    std::string tracker;  // "exact" or "motion"
    int frames = 0;
    bool have_gt = false;
    TrackingMetrics m;
    double tracker_ms = 0;  // total over the frames
    int trajectories = 0, library_ids_reused = 0, remapped = 0;
};

// The OVERALL row of one tracker's sequence rows; its figures cover the
// sequences with ground truth.
SummaryRow overall_row(const std::vector<SummaryRow> &sequences);

// One tracker's rows with its OVERALL row last.
struct TrackerRows {
    std::vector<SummaryRow> sequences;
    SummaryRow overall;
};

// The table, one block per tracker: as printed (ratios in percent), as CSV
// and as JSON (ratios as fractions; figures without ground truth empty or
// null).
std::string format_table(const std::vector<TrackerRows> &blocks);
std::string format_csv(const std::vector<TrackerRows> &blocks);
std::string format_json(const std::vector<TrackerRows> &blocks, Scoring scoring);

int run_mot_root(const Options &opt);

}  // namespace pipeline

#endif
