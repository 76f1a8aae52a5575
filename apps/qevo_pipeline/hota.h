// HOTA (Higher Order Tracking Accuracy, Luiten et al., IJCV 2021) with its
// parts DetA, AssA and LocA, computed as the authors' evaluation code does.
//
// For each localisation threshold alpha = 0.05, 0.10, ... 0.95:
//   - per frame, ground-truth and tracker boxes are matched one to one so as
//     to maximise the sum of (alignment of their identities) x IoU, where the
//     alignment of a ground-truth identity g and a tracker identity t is
//     their summed soft overlap over the sequence, |g ^ t| / (|g| + |t| -
//     |g ^ t|) (each frame's IoU divided by the sum of the IoUs of both boxes
//     with all boxes of the frame, less their own); the matching is made once
//     and pairs with IoU >= alpha count as true positives (TP), the other
//     boxes as misses (FN) or false positives (FP);
//   - DetA = TP / (TP + FN + FP);
//   - AssA = mean over the TP pairs of A(c) = TPA / (TPA + FNA + FPA), where
//     TPA counts the TPs with the pair's two identities, FNA the ground-truth
//     identity's other boxes and FPA the tracker identity's other boxes;
//   - HOTA = sqrt(DetA x AssA); LocA = mean IoU of the TP pairs (1 without
//     any).
// Each figure is the mean over the 19 thresholds. Over several sequences the
// counts are added (AssA and LocA weighted by each sequence's TPs) before the
// ratios are formed.
#ifndef QEVO_PIPELINE_HOTA_H
#define QEVO_PIPELINE_HOTA_H

#include "mot_format.h"

namespace pipeline {

constexpr int kHotaThresholds = 19;

// Per threshold: TP, FN, FP, the sum of A(c) over the TP pairs and the sum of
// their IoUs.
struct HotaCounts {
    double tp[kHotaThresholds] = {}, fn[kHotaThresholds] = {}, fp[kHotaThresholds] = {};
    double assoc[kHotaThresholds] = {}, loc[kHotaThresholds] = {};

    HotaCounts &operator+=(const HotaCounts &o);
};

struct HotaScores {
    double hota = 0, deta = 0, assa = 0, loca = 0;
};

// One sequence; boxes are matched by IoU with continuous coordinates.
HotaCounts hota_counts(const MotSequence &gt, const MotSequence &tracks);

HotaScores hota_scores(const HotaCounts &c);

}  // namespace pipeline

#endif
