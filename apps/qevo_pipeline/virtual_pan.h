// A virtual pan: turns a MOTChallenge sequence into what a camera on a
// pan/tilt servo would see of it. The camera's view is a window of the
// recorded frame (a fraction of each side), whose offset follows a smooth
// servo trajectory; the servo angles follow from the offset at a given
// resolution (degrees per pixel): azimuth grows with the x offset, pitch
// falls as the y offset grows, as the library's servo model has it.
//
// Trajectory of frame f (1-based), with room R = frame side - view side on
// each axis: offset = R / 2 x (1 - cos(2 pi (f - 1) / P)), the period P
// chosen so that the fastest step is `speed` pixels per frame in x and
// 0.4 x `speed` in y (P = pi R / speed); an axis without room stays at 0.
// Angles: azimuth = azimuth0 + x offset x resolution (wrapped into
// [0, 360)), pitch = pitch0 - y offset x resolution.
//
// Every detection and ground-truth row is moved into the view (minus the
// offset), clipped to it, and kept when at least half of its area is
// visible; the other fields of a row are kept as they are. Written:
//   SEQ/det/det.txt, SEQ/gt/gt.txt (when the source has one),
//   SEQ/seqinfo.ini (the view's size and servoResolution),
//   SEQ/servo.txt   (frame,azimuth,pitch).
// With `unshifted`, the same rows are written without the shift, in the
// recorded frame's coordinates (the view a perfectly compensated tracker
// would see), with the frame's size and no servo file: the yardstick for the
// panned run.
#ifndef QEVO_PIPELINE_VIRTUAL_PAN_H
#define QEVO_PIPELINE_VIRTUAL_PAN_H

#include <string>

#include "mot_format.h"

namespace pipeline {

struct PanConfig {
    double view = 0.6;         // view side / frame side
    double speed = 15.0;       // fastest x step, pixels per frame
    double resolution = 0.05;  // degrees per pixel
    double azimuth0 = 350.0;   // angles at offset 0
    double pitch0 = 10.0;
    bool unshifted = false;
};

// A box of the recording as the view with top-left corner (ox, oy) and size
// vw x vh sees it: moved into the view and clipped to it. False when less
// than half of the box's area shows (the box is then dropped).
bool into_view(const MotBox &in, double ox, double oy, int vw, int vh, MotBox &out);

// View offset of frame `frame` for a frame of `room` pixels more than the
// view on this axis, with the given fastest step.
double pan_offset(int frame, int room, double speed);

// Writes the panned copy of the sequence folder `in` (seqinfo.ini,
// det/det.txt, gt/gt.txt) to the folder `out` (created). False with a
// message.
bool virtual_pan(const std::string &in, const std::string &out, const PanConfig &cfg,
                 std::string &error);

}  // namespace pipeline

#endif
