// A recorded video through the library, with a servo in the loop (--video):
//
//   decode      the next frame (OpenCV), turned into NV12 once, as the
//               camera delivers it;
//   layout      the camera's view cut out of the frame (KIVEX::crop_yuv at
//               the servo's window) and the detector's input laid out from
//               it (qevo::nv12_to_tensor);
//   detector    the stand-in for the application's network (OpenCV's HOG
//               people detector, people_detector.h) on that input, boxes
//               mapped back into the view with the TensorPlacement; or, with
//               --dets, the file's boxes of the recording moved into the view
//               and clipped to it (kept when at least half shows);
//   suppression KIVEX::nms_cls;
//   tracker     the trackers of FramePipeline on the view, with the frame's
//               servo angles in its SyncInfos;
//   servo       the application's choice of target (the longest-reported
//               confirmed track, or --follow ID) and the command toward it
//               (servo_calc_Az / servo_calc_Pt); the simulated servo
//               (servo_sim.h) moves the window for the next frame;
//   drawing     the annotated view with an inset of the whole frame.
//
// Outputs in the output folder: view.mp4 (H.264; see the summary for the
// codec actually used), contact_sheet.png and frames/ (every Nth annotated
// frame), summary.json, tracks.txt (the steering tracker's tracks in view
// coordinates, MOTChallenge format), tracks_scene.txt (the same in the
// recording's coordinates), view.txt (frame,left,top,width,height of the
// view in the recording, 1-based like the tracks) and servo.csv.
// Everything is written under temporary names and moved into place when
// the run has finished, so a failed run leaves no outputs that look whole.
#ifndef QEVO_PIPELINE_VIDEO_RUN_H
#define QEVO_PIPELINE_VIDEO_RUN_H

#include <vector>

#include "cli.h"
#include "mot_format.h"

namespace pipeline {

int run_video(const Options &opt);

// The application's target: `follow` when it is among the reported tracks
// (and no other when it is not), else the track reported for the longest
// time, `first_seen` giving each identifier's first reported frame. -1 when
// there is none.
int choose_target(const std::vector<MotBox> &tracks, const std::vector<int> &first_seen,
                  int follow);

}  // namespace pipeline

#endif
