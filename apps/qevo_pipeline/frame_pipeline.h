// The per-frame path through the library, the way an application on the
// board drives it:
//   1. wrap the NV12 frame in an ImageMat (borrowed, no copy);
//   2. resize it to the network size with the semi-planar YUV kernel;
//   3. lay out the network input: the centre rows (a height that is a
//      multiple of 32) as planar BGR bytes with nv12_to_tensor, wrapped in a
//      TensorMat and exported as a TenMat;
//   4. dump the frame when ./AI_WRITE exists (grab_image);
//   5. suppress overlapping detections class by class (nms_cls);
// with the exact trackers (the snapshot and in-place update_objtracker):
//   6. cut a 64 x 64 NV12 patch per surviving detection (crop_yuv of the box
//      aligned to even pixels, then the YUV resize);
//   7. associate with update_objtracker (shared-pointer form, with patches
//      and the frame descriptor whose cfg holds the frame's SyncInfos);
//   8. read established tracks back with toObjInfo;
// with the motion tracker:
//   M. qevo::MotionTracker::update with the frame's servo angles (none when
//      they are not finite) and the resolution; confirmed tracks are
//      reported, and with `coast` also lost tracks, at their predicted box,
//      for up to `coast` frames while at least kCoastOcclusion of the box is
//      hidden behind a visible track;
// then:
//   9. servo angles centring the main target (servo_calc_Az / servo_calc_Pt)
//      among the tracks of the motion tracker when it runs, else of the
//      snapshot tracker;
//  10. with the exact trackers, a second one on the same detections with the
//      in-place form of update_objtracker, then filter_objtrackers.
// Each step is timed per frame. The in-place tracker prints progress lines
// on standard output; they are discarded while it runs. Tracks leave the
// pipeline with identifiers of their own per trajectory (trajectory_ids.h),
// not the library's.
#ifndef QEVO_PIPELINE_FRAME_PIPELINE_H
#define QEVO_PIPELINE_FRAME_PIPELINE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "detection_type_api.h"
#include "mot_format.h"
#include "objTracker.h"
#include "preprocess.h"
#include "run_stats.h"
#include "tracker.h"
#include "trajectory_ids.h"

namespace pipeline {

struct PipelineConfig {
    int width = 0, height = 0;  // frame size (even, >= 16)
    int num_classes = 1;
    float nms_iou = 0.5f;
    float match_distance = 0.5f;
    float match_iou = 0.3f;
    float filter_sigma = 3.0f;
    double resolution = 0.05;   // degrees per pixel
    bool network_input = true;  // steps 2 and 3 (off when the caller lays out its own input)
    bool exact = true;          // steps 6 to 8 and 10
    bool motion = true;         // step M
    qevo::MotionTrackerParams motion_params;
    int coast = 0;  // frames a hidden lost track of the motion tracker is still reported
};

// Share of a lost track's box that a visible track must cover for the track
// to be reported as hidden (coasting).
constexpr float kCoastOcclusion = 0.3f;

struct FrameOutput {
    std::vector<MotBox> detections;      // after suppression
    std::vector<MotBox> tracks;          // established tracks, snapshot tracker (output ids)
    std::vector<MotBox> tracks_inplace;  // established tracks, in-place tracker (output ids)
    std::vector<MotBox> tracks_motion;   // reported tracks of the motion tracker (output ids)
    int inplace_total = 0;               // tracks held by the in-place tracker
    int filter_passed = 0;               // of those, passed by the height filter
    int filter_result = 0;               // result of filter_objtrackers
    int main_target = -1;                // track id the servo would follow, or -1
    float servo_az = 0, servo_pt = 0;    // commanded angles for the main target
    int dump_result = 0;                 // result of grab_image
};

class FramePipeline {
  public:
    // Called with a track's output identifier and its 256 x 256 NV12 mosaic when a
    // track that was reported at least once leaves the tracker, and for the
    // remaining ones by finish().
    using MosaicSink = std::function<void(int track_id, const uint8_t *nv12_256)>;

    explicit FramePipeline(const PipelineConfig &cfg);
    // resized_ points into net_nv12_, so a copy would read the original's buffer.
    FramePipeline(const FramePipeline &) = delete;
    FramePipeline &operator=(const FramePipeline &) = delete;

    FrameOutput process(int frame_number, const uint8_t *nv12, const QEVO::SyncInfos &sync,
                        const std::vector<MotBox> &raw_detections, const MosaicSink &sink);
    void finish(const MosaicSink &sink);

    int network_width() const { return net_w_; }
    int network_height() const { return net_h_; }
    int tensor_height() const { return tensor_h_; }
    long tensor_bytes() const { return tensor_bytes_; }

    // Stage timings in the order of the steps above.
    const std::vector<StageTimes> &stages() const { return stages_; }
    std::vector<double> frame_ms() const;    // sum of the stages per frame
    const StageTimes &layout_stage() const;  // step 3
    // Milliseconds the snapshot tracker took over the whole run: suppression,
    // patches, association and read-back (steps 5 to 8).
    double tracker_ms() const;
    // The same for the motion tracker (suppression and step M) and the
    // in-place tracker (suppression and step 10).
    double motion_tracker_ms() const;
    double inplace_tracker_ms() const;
    // Whether a stage runs with this configuration.
    bool stage_runs(size_t stage) const;

    // Output identifiers of the snapshot, the in-place and the motion tracker.
    const TrajectoryIds &ids() const { return ids_; }
    const TrajectoryIds &ids_inplace() const { return inplace_ids_; }
    const TrajectoryIds &ids_motion() const { return motion_ids_; }

  private:
    // Steps 6 to 8, M and 10.
    void exact_trackers(int frame_number, unsigned char *frame, QEVO::ImgMat &desc,
                        std::vector<QEVO::objinfo> &kept, FrameOutput &out, const MosaicSink &sink);
    void motion_tracker(const std::vector<QEVO::objinfo> &kept, const QEVO::SyncInfos &sync,
                        FrameOutput &out);
    void second_tracker(std::vector<QEVO::objinfo> &kept, FrameOutput &out);
    void emit_mosaic(const std::shared_ptr<OBJTRACK> &t, const MosaicSink &sink);

    PipelineConfig cfg_;
    int net_w_ = 0, net_h_ = 0, tensor_h_ = 0, tensor_y_ = 0;
    long tensor_bytes_ = 0;
    qevo::Nv12Frame resized_;   // the resized frame, as the layout step reads it
    qevo::TensorParams input_;  // the layout step's conversion
    std::vector<uint8_t> net_nv12_, planar_, patch_src_;
    std::vector<std::vector<uint8_t>> patches_;
    std::vector<std::shared_ptr<OBJTRACK>> tracks_;
    std::vector<OBJTRACK> inplace_;
    qevo::MotionTracker motion_;
    TrajectoryIds ids_, inplace_ids_, motion_ids_;
    int main_target_ = -1;
    std::vector<StageTimes> stages_;
};

}  // namespace pipeline

#endif
