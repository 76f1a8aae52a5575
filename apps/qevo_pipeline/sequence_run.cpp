#include "sequence_run.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace pipeline {

bool load_sequence(const std::string &dets_path, const std::string &gt_path, Scoring scoring,
                   SequenceData &data, std::string &error) {
    ParseResult r;
    if (!dets_path.empty()) r = load_detections(dets_path, data.dets);
    if (r.ok && !gt_path.empty()) r = load_ground_truth(gt_path, data.gt, scoring);
    data.have_gt = !gt_path.empty();
    if (!r.ok) error = r.error;
    return r.ok;
}

void keep_frames(SequenceData &data, int frames, const std::string &who) {
    if (drop_after(data.dets, frames))
        std::fprintf(stderr, "%s: warning: detections after frame %d are ignored\n", who.c_str(),
                     frames);
    const bool scored = drop_after(data.gt.scored, frames);
    if (drop_after(data.gt.not_evaluated, frames) || scored)
        std::fprintf(stderr, "%s: warning: ground truth after frame %d is ignored\n", who.c_str(),
                     frames);
}

void servo_angles(const ServoTrack *servo, int frame, QEVO::SyncInfos &sync) {
    if (servo == nullptr) return;
    auto it = servo->find(frame);
    if (it != servo->end()) {
        sync.fAz = it->second.fAz;
        sync.fPt = it->second.fPt;
    } else {
        sync.fAz = sync.fPt = NAN;
    }
}

bool run_frames(FramePipeline &pipe, FrameSource &source, int frames, double min_score,
                const FrameInputs &inputs, const FrameResult &result,
                const FramePipeline::MosaicSink &sink, ProgressBar &bar, int bar_offset,
                RunCounts &counts, std::string &error) {
    std::vector<uint8_t> nv12;
    std::vector<MotBox> dets;
    for (int f = 1; f <= frames; ++f) {
        if (!source.read(f, nv12, error)) return false;
        QEVO::SyncInfos sync{};
        dets.clear();
        inputs(f, sync, dets);
        if (!std::isfinite(sync.fAz) || !std::isfinite(sync.fPt)) ++counts.without_angles;
        counts.raw += static_cast<long>(dets.size());
        const auto low = std::remove_if(dets.begin(), dets.end(),
                                        [&](const MotBox &d) { return d.score < min_score; });
        counts.below_min_score += static_cast<long>(dets.end() - low);
        dets.erase(low, dets.end());
        const FrameOutput fo = pipe.process(f, nv12.data(), sync, dets, sink);
        counts.after_nms += static_cast<long>(fo.detections.size());
        counts.filter_in += fo.inplace_total;
        counts.filter_out += fo.filter_passed;
        if (result && !result(f, sync, nv12, fo, error)) return false;
        bar.update(bar_offset + f);
    }
    return true;
}

}  // namespace pipeline
