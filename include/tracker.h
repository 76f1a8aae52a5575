/// @file tracker.h
/// MotionTracker: a tracking-by-detection multi-object tracker with a motion
/// model, global assignment and servo compensation, beside the greedy
/// update_objtracker of objTracker.h (which it does not use or change).
///
/// Per update (one camera frame):
///   1. Servo compensation. When this update and the previous one both carry
///      servo angles and the resolution is above 1e-7 degrees per pixel, every
///      track's predicted position moves by the image shift of the servo's
///      motion under the library's linear model (servo_calc_ImgX / _ImgY,
///      OBJTRACK::calc_delta): with dAz and dPt the angle changes since the
///      previous update, each wrapped once into [-180, 180] degrees,
///          dx = -dAz / resolution,   dy = +dPt / resolution   (pixels)
///      (pan right: the scene moves left; tilt up: the scene moves down). The
///      shift is a known input, so it moves the state without widening its
///      uncertainty beyond `servo_noise` x |shift|. Zoom, roll and lens
///      distortion are not modelled: the shift is the same for every pixel.
///      Angles that are not finite or lie beyond +-3600 degrees count as
///      missing. An update without angles compensates nothing and forgets
///      the previous angles, so the next update with angles compensates
///      nothing either.
///   2. Prediction. Each track holds a Kalman filter with a constant-velocity
///      model on its box centre, width and height (state cx, cy, w, h and their
///      velocities; the noise of each side is proportional to the box's
///      current size, so every coordinate has its own independent two-state
///      filter). A track that missed its last frame keeps its centre velocity
///      but stops changing its size.
///   3. Association, one global assignment (cost 1 - IoU of the predicted box
///      and the detection, pairs below the stage's IoU gate excluded; the
///      assignment maximises the summed gain of the matched pairs) per stage:
///        a. confirmed and lost tracks with the confident detections
///           (score >= high_score), gate match_iou;
///        b. confirmed tracks still unmatched that were matched in the
///           previous frame, with the low-score detections
///           (low_score <= score < high_score), gate low_match_iou;
///        c. tentative tracks with the confident detections left, gate
///           tentative_match_iou.
///      With match_classes a track only takes detections of its class.
///   4. Bookkeeping. A matched track updates its filter with the detection.
///      A track that is re-found after missing frames first has its velocity
///      set to the displacement per frame between its last observation and
///      the new one (so the drift of an occlusion does not persist). A
///      tentative track becomes confirmed after confirm_hits matched updates
///      in a row and is removed when it misses one. A confirmed track that
///      misses becomes lost and is removed after max_lost updates without a
///      match. A confident detection left over with score >= new_track_score
///      starts a tentative track (confirmed at once on the first update of
///      the tracker's life, when there is nothing to confirm against).
///
/// Identifiers: a new track takes the next identifier, starting at
/// params.first_id and counting up; an identifier is never given twice in one
/// tracker's life (until reset()). After INT_MAX has been given no new track
/// is started: update() returns 2 from then on (tracks already held carry on)
/// until reset() starts a new life at params.first_id again.
///
/// Bad input never crashes and never leaves the state unusable:
///   - update() refuses (returns 1, state untouched) a negative count and a
///     null detection pointer with a count above 0;
///   - a detection whose corners or score are NaN or infinite, whose width or
///     height is not above 0 (empty or inverted box), or whose corners lie
///     beyond +-1e6 pixels, is skipped; skipped() tells how many were;
///   - a resolution that is not finite or not above 1e-7 compensates nothing.
///
/// Cost: each update works in time proportional to tracks + detections plus
/// the pairs whose boxes overlap (boxes are swept in x order; pairs that
/// cannot overlap are never measured), and each assignment runs on the
/// connected groups of overlapping pairs only. The tracker allocates only
/// when a frame holds more tracks or detections than any before it (or after
/// reserve()); once it has seen its largest frame it does not allocate.
///
/// Results are the same bits on every target: the arithmetic is IEEE double
/// precision additions, subtractions, multiplications and divisions in a
/// fixed order (no fused multiply-add, no library maths functions).
///
/// Not thread-safe: one tracker is used by one thread at a time; different
/// trackers are independent.
#ifndef QEVO_TRACKER_H
#define QEVO_TRACKER_H

#include <vector>

#include "detection_type_api.h"

namespace qevo {

/// All thresholds of the tracker. The defaults were chosen on MOTChallenge
/// training sequences: 2015 with the public Faster R-CNN detections (scores
/// 0.5 to 1, many false boxes below 0.9) and 2017 with the public FRCNN
/// detections (mostly 1.0), each alternative tried on both; bench/TRACKING.md
/// gives the resulting figures. Score thresholds follow the detector's
/// calibration: for one whose true boxes score lower, lower high_score and
/// new_track_score with them (the demo's simulated detector scores true boxes
/// 0.55 to 0.95; it runs with 0.5 and 0.6).
struct MotionTrackerParams {
    /// Detections scoring at or above high_score take part in the first
    /// association stage and may start tracks; those from low_score up to
    /// high_score only keep tracks matched in the previous update (second
    /// stage); those below low_score are ignored. high_score 0.6 instead:
    /// -1.2 MOTA and -2.6 IDF1 on 2015, +0.1 and +0.6 on 2017.
    float high_score = 0.8f;
    float low_score = 0.1f;  ///< lower bound of the second stage's scores (see high_score)
    /// A confident detection that no track took starts a track when its score
    /// is at least this. 0.7 instead: -0.8 MOTA and -1.0 IDF1 on 2015 (whose
    /// false boxes mostly score below 0.9), no change on 2017.
    float new_track_score = 0.9f;
    /// IoU gates (a pair is considered when its IoU is above 0 and at least
    /// the gate) of the three stages: confirmed and lost tracks with confident
    /// detections, confirmed tracks with low-score detections, tentative
    /// tracks. Neighbouring values (0.15 to 0.25, 0.4, 0.2) moved MOTA and
    /// IDF1 by less than a point, up on one data set and down on the other.
    float match_iou = 0.2f;
    float low_match_iou = 0.5f;        ///< IoU gate of the second stage (see match_iou)
    float tentative_match_iou = 0.3f;  ///< IoU gate of the third stage (see match_iou)
    /// Matched updates in a row that confirm a new track (1: at once). 3
    /// instead: -2.1 IDF1 on 2015, -0.7 on 2017; 1: -1.2 MOTA on 2015.
    int confirm_hits = 2;
    /// Updates a confirmed track survives without a match (0: removed at its
    /// first miss). 30 instead: -1.7 IDF1 on 2015, -2.5 on 2017; 90: -1.5
    /// and -1.4.
    int max_lost = 60;
    /// A track only takes detections of its own class.
    bool match_classes = true;
    /// Kalman noise: standard deviations of position and of velocity per
    /// frame, as fractions of the box's width (x, w) or height (y, h).
    float position_noise = 0.05f;
    float velocity_noise = 0.00625f;  ///< velocity noise per frame (see position_noise)
    /// Extra position standard deviation per pixel of servo shift (0: the
    /// shift is taken as exact, which the virtual pans confirm).
    float servo_noise = 0.0f;
    /// Identifier of the first track.
    int first_id = 1;
};

/// Where a track stands after an update.
enum TrackState : int {
    TRACK_TENTATIVE = 0,  ///< started, not yet confirmed
    TRACK_CONFIRMED = 1,  ///< confirmed and matched in this update
    TRACK_LOST = 2,       ///< confirmed, not matched in this update
};

/// One held track after an update.
struct TrackInfo {
    /// x1..y2: the filter's estimate after this update (for a lost track, its
    /// prediction for this frame, servo shift included); score, classNum and
    /// ID: those of the detection that last matched the track; trackID: the
    /// track's identifier; area: (x2 - x1) * (y2 - y1).
    QEVO::objinfo box;
    TrackState state;  ///< tentative, confirmed or lost
    int hits;          ///< matched updates since the track started (the first included)
    int misses;        ///< updates since the last match (0: matched in this update)
    int age;           ///< updates since the track started (0 in the update that started it)
    /// Lost tracks: the largest share of the box's area that the box of one
    /// track matched in this update covers (0 .. 1), a sign that the object
    /// is hidden behind another rather than gone. 0 for matched tracks.
    float occlusion;
};

/// The motion tracker: a constant-velocity Kalman filter per track, global
/// assignment in three stages (see MotionTrackerParams), and compensation of
/// the servo's motion between frames. One tracker serves one camera; it is not
/// safe to update it from two threads at once.
class QEVO_API MotionTracker {
  public:
    /// A tracker without tracks. Parameters outside their range take their
    /// defaults (params() tells what is in use).
    explicit MotionTracker(const MotionTrackerParams &params = MotionTrackerParams());
    /// Releases the tracks and working storage.
    ~MotionTracker();
    /// Moving hands the tracks over; a moved-from tracker holds none,
    /// refuses updates (1) and may be assigned to or destroyed.
    MotionTracker(MotionTracker &&other) noexcept;
    /// Releases this tracker's tracks, then takes over `other`'s (as above).
    MotionTracker &operator=(MotionTracker &&other) noexcept;
    MotionTracker(const MotionTracker &) = delete;
    MotionTracker &operator=(const MotionTracker &) = delete;

    /// One frame: `count` detections at `detections` (only x1, y1, x2, y2,
    /// score, classNum and ID are read), the frame's servo angles (`sync`,
    /// null when the frame has none; only fAz and fPt are read) and the
    /// camera's resolution in degrees per pixel (0: no compensation).
    /// Returns 0; 1 when refused (negative count, null detections with a
    /// count above 0; nothing changes); 2 when the frame was processed but a
    /// track could not be started because the identifiers are used up.
    int update(const QEVO::objinfo *detections, int count, const QEVO::SyncInfos *sync = nullptr,
               double deg_per_px = 0.0);
    /// The same for the detections of a vector.
    int update(const std::vector<QEVO::objinfo> &detections, const QEVO::SyncInfos *sync = nullptr,
               double deg_per_px = 0.0) {
        return update(detections.data(), static_cast<int>(detections.size()), sync, deg_per_px);
    }

    /// The tracks held after the last update, oldest first: tentative,
    /// confirmed and lost. The array holds track_count() records and stays
    /// valid until the next update(), reset(), reserve() or the tracker's end.
    int track_count() const;
    /// The first of the track_count() records described above.
    const TrackInfo *tracks() const;

    /// The box that the motion model expects for track `track_id` at the next
    /// frame, in this frame's image coordinates (no servo motion assumed): the
    /// point to aim the servo at. Returns 0 and fills `out` (trackID, score,
    /// classNum, ID and area as in TrackInfo); 1 when no held track has that
    /// identifier or `out` is null (then `out` is untouched).
    int predicted_box(int track_id, QEVO::objinfo *out) const;

    /// Detections skipped as invalid by the last update.
    int skipped() const;
    /// Updates since construction or reset().
    long long frame_count() const;
    /// The parameters in use, after out-of-range values took their defaults.
    const MotionTrackerParams &params() const;

    /// Drops every track and starts a new life (identifiers from first_id
    /// again, no previous servo angles); working storage is kept.
    void reset();
    /// Sizes the working storage for this many tracks and detections, so that
    /// updates up to these sizes do not allocate (the assignment's storage
    /// for a large group of overlapping boxes still grows when such a group
    /// first appears). Returns 0; 1 for negative or oversized (above 1 << 20)
    /// requests, which change nothing, or when the storage cannot be
    /// allocated (the tracks are kept).
    int reserve(int tracks, int detections);

  private:
    struct Impl;
    Impl *impl_;
};

}  // namespace qevo

#endif  // QEVO_TRACKER_H
