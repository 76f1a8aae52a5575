// Tracking quality against ground truth: CLEAR-MOT (MOTA, MOTP, identity
// switches, fragmentations) and the identity measures (IDF1, IDP, IDR).
//
// A ground-truth box and a track box correspond in a frame when their
// intersection over union (continuous coordinates, width = x2 - x1) is at
// least the threshold (0.5).
//
// CLEAR-MOT, frame by frame: a ground-truth object keeps the track it was last
// matched to while that track is present and still overlaps enough; the
// remaining objects and tracks are matched by a minimum-cost assignment on
// 1 - IoU that first maximises the number of matches. A match whose track
// differs from the object's previous track counts as an identity switch.
// A fragmentation is counted each time an object's tracking is interrupted
// (object present, unmatched) and later resumes.
// MOTA = 1 - (misses + false positives + switches) / ground-truth boxes;
// MOTP here is the mean IoU of the matched pairs. An object is mostly
// tracked when it is matched in at least 80 % of the frames it is present
// in, mostly lost when in at most 20 %, partly tracked otherwise.
//
// Identity measures: one global one-to-one matching between ground-truth
// identifiers and track identifiers that maximises the number of frames in
// which matched pairs correspond (IDTP). IDF1 = 2 IDTP / (gt boxes + track
// boxes), IDP = IDTP / track boxes, IDR = IDTP / gt boxes.
// Ratios with a zero denominator are NaN.
//
// HOTA, DetA, AssA and LocA as hota.h describes them.
//
// Before scoring against ground truth with "do not evaluate" rows
// (mot_format.h), each frame's tracker boxes are matched one to one with all
// of the frame's ground-truth rows, scored and not, in the same way (IoU >=
// 0.5, most pairs, then least total 1 - IoU); tracker boxes matched to a "do
// not evaluate" row are removed. A tracker box that covers both a scored row
// and a "do not evaluate" row therefore goes to the better overlap.
#ifndef QEVO_PIPELINE_METRICS_H
#define QEVO_PIPELINE_METRICS_H

#include "hota.h"
#include "mot_format.h"

namespace pipeline {

struct TrackingMetrics {
    long gt_boxes = 0;
    long track_boxes = 0;
    int gt_objects = 0;  // distinct ground-truth identifiers
    int track_ids = 0;   // distinct track identifiers
    long matches = 0;
    long misses = 0;
    long false_positives = 0;
    long id_switches = 0;
    long fragmentations = 0;
    int mostly_tracked = 0, partly_tracked = 0, mostly_lost = 0;
    long removed = 0;    // tracker boxes removed on "do not evaluate" rows
    double iou_sum = 0;  // over the matched pairs
    double mota = 0;
    double motp = 0;
    long idtp = 0, idfp = 0, idfn = 0;
    double idf1 = 0, idp = 0, idr = 0;
    HotaCounts hota_counts;
    double hota = 0, deta = 0, assa = 0, loca = 0;
};

// IoU with continuous coordinates; 0 when the union is empty.
double box_iou(const MotBox &a, const MotBox &b);

TrackingMetrics evaluate_tracking(const MotSequence &gt, const MotSequence &tracks,
                                  double iou_threshold = 0.5);

// Removes the tracker boxes on "do not evaluate" rows (above), then scores
// the rest against the scored rows.
TrackingMetrics score_against(const GroundTruth &gt, MotSequence tracks,
                              double iou_threshold = 0.5);

// Several sequences taken together: counts are added up (identities are
// matched per sequence) and the ratios computed from the sums.
TrackingMetrics combine(const std::vector<TrackingMetrics> &parts);

}  // namespace pipeline

#endif
