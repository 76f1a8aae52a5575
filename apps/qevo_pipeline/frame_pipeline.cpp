#include "frame_pipeline.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "imageMat.h"
#include "mat_pixel_resize.h"
#include "utils.h"

namespace pipeline {
namespace {

const int kPatch = 64;
enum Stage {
    kWrap,
    kResize,
    kLayout,
    kDump,
    kNms,
    kPatches,
    kTrack,
    kReadback,
    kMotion,
    kServo,
    kSecond
};
const char *const kStageNames[] = {"wrap",          "resize", "layout",   "dump",           "nms",
                                   "patches",       "track",  "readback", "motion_tracker", "servo",
                                   "second_tracker"};

// Sends standard output to /dev/null for the lifetime of the object.
class QuietStdout {
  public:
    QuietStdout() {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        const int null_fd = open("/dev/null", O_WRONLY);
        if (saved_ >= 0 && null_fd >= 0) dup2(null_fd, STDOUT_FILENO);
        if (null_fd >= 0) close(null_fd);
    }
    ~QuietStdout() {
        std::fflush(stdout);
        if (saved_ >= 0) {
            dup2(saved_, STDOUT_FILENO);
            close(saved_);
        }
    }
    QuietStdout(const QuietStdout &) = delete;
    QuietStdout &operator=(const QuietStdout &) = delete;

  private:
    int saved_ = -1;
};

QEVO::objinfo to_objinfo(const MotBox &b) {
    QEVO::objinfo o{};
    o.x1 = b.x1;
    o.y1 = b.y1;
    o.x2 = b.x2;
    o.y2 = b.y2;
    o.score = b.score;
    o.classNum = b.cls;
    o.ID = -1;
    o.trackID = -1;
    // Inclusive pixel area, as the suppression counts it.
    o.area = (b.x2 - b.x1 + 1) * (b.y2 - b.y1 + 1);
    return o;
}

MotBox to_box(const QEVO::objinfo &o) {
    MotBox b;
    b.id = o.trackID;
    b.x1 = o.x1;
    b.y1 = o.y1;
    b.x2 = o.x2;
    b.y2 = o.y2;
    b.score = o.score;
    b.cls = o.classNum;
    return b;
}

// [lo, hi) span of at least 4 pixels with even ends, inside 0 .. limit (even).
void even_span(float a, float b, int limit, int &lo, int &hi) {
    double fa = std::floor(std::min(a, b)), fb = std::ceil(std::max(a, b));
    if (!std::isfinite(fa) || !std::isfinite(fb)) fa = fb = 0;
    lo = static_cast<int>(std::clamp(fa, 0.0, static_cast<double>(limit - 4)));
    hi = static_cast<int>(std::clamp(fb, static_cast<double>(lo + 4), static_cast<double>(limit)));
    lo &= ~1;
    if ((hi - lo) % 2) ++hi;  // limit is even, so hi stays inside
}

}  // namespace

FramePipeline::FramePipeline(const PipelineConfig &cfg) : cfg_(cfg), motion_(cfg.motion_params) {
    net_w_ = std::min(640, cfg_.width) & ~1;
    net_h_ = static_cast<int>(std::lround(static_cast<double>(net_w_) * cfg_.height / cfg_.width));
    net_h_ = std::max(8, net_h_ & ~1);
    tensor_h_ = net_h_ >= 32 ? net_h_ / 32 * 32 : net_h_;
    tensor_y_ = ((net_h_ - tensor_h_) / 2) & ~1;  // even: chroma rows line up
    net_nv12_.resize(static_cast<size_t>(QEVO::yuv420sp_size(net_w_, net_h_)));
    resized_.y = net_nv12_.data();
    resized_.uv = net_nv12_.data() + static_cast<size_t>(net_w_) * net_h_;
    resized_.y_stride = resized_.uv_stride = net_w_;
    resized_.width = net_w_;
    resized_.height = net_h_;
    input_.dst_width = net_w_;
    input_.dst_height = tensor_h_;
    input_.crop_y1 = tensor_y_;
    input_.crop_x2 = net_w_;
    input_.crop_y2 = tensor_y_ + tensor_h_;
    input_.fit = qevo::FIT_STRETCH;
    input_.format = qevo::TENSOR_U8_CHW;
    input_.bgr = true;
    planar_.resize(qevo::tensor_bytes(input_));
    patch_src_.resize(static_cast<size_t>(QEVO::yuv420sp_size(cfg_.width, cfg_.height)));
    for (const char *n : kStageNames) stages_.push_back(StageTimes{n, {}});
}

std::vector<double> FramePipeline::frame_ms() const {
    std::vector<double> sum(stages_.empty() ? 0 : stages_[0].ms.size(), 0.0);
    for (const StageTimes &s : stages_)
        for (size_t i = 0; i < sum.size() && i < s.ms.size(); ++i) sum[i] += s.ms[i];
    return sum;
}

const StageTimes &FramePipeline::layout_stage() const { return stages_[kLayout]; }

double FramePipeline::tracker_ms() const {
    double total = 0;
    for (int s = kNms; s <= kReadback; ++s) total += stages_[s].total();
    return total;
}

double FramePipeline::motion_tracker_ms() const {
    return stages_[kNms].total() + stages_[kMotion].total();
}

double FramePipeline::inplace_tracker_ms() const {
    return stages_[kNms].total() + stages_[kSecond].total();
}

bool FramePipeline::stage_runs(size_t stage) const {
    switch (stage) {
        case kResize:
        case kLayout:
            return cfg_.network_input;
        case kPatches:
        case kTrack:
        case kReadback:
        case kSecond:
            return cfg_.exact;
        case kMotion:
            return cfg_.motion;
        default:
            return true;
    }
}

void FramePipeline::emit_mosaic(const std::shared_ptr<OBJTRACK> &t, const MosaicSink &sink) {
    if (!t || t->m_imgBuffer == nullptr || !sink) return;
    const int id = ids_.reported(t->_trackID);
    if (id >= 0) sink(id, t->m_imgBuffer);
}

FrameOutput FramePipeline::process(int frame_number, const uint8_t *nv12,
                                   const QEVO::SyncInfos &sync,
                                   const std::vector<MotBox> &raw_detections,
                                   const MosaicSink &sink) {
    FrameOutput out;
    const int W = cfg_.width, H = cfg_.height;
    QEVO::SyncInfos frame_sync = sync;
    unsigned char *frame = const_cast<unsigned char *>(nv12);  // read only below

    QEVO::ImgMat desc;
    desc.data = frame;
    desc.width = W;
    desc.height = H;
    desc.depth = 1;
    desc.layout = QEVO::HWC;
    desc.inlayout = QEVO::NV12;
    desc.frameID = frame_number;
    desc.timestamp = frame_number;
    desc.cfg = static_cast<long long>(reinterpret_cast<intptr_t>(&frame_sync));

    // 1. wrap
    StageClock clock;
    ImageMat image(desc, false);
    stages_[kWrap].ms.push_back(clock.elapsed_ms());

    // 2. resize to the network size
    clock = StageClock();
    if (cfg_.network_input)
        resize_bilinear_yuv420sp(image.data, image.width, image.height, net_nv12_.data(), net_w_,
                                 net_h_);
    stages_[kResize].ms.push_back(clock.elapsed_ms());

    // 3. network input layout: the centre rows of the resized frame as planar
    // BGR bytes, converted straight from NV12 in one call
    clock = StageClock();
    if (cfg_.network_input &&
        qevo::nv12_to_tensor(resized_, input_, planar_.data(), planar_.size()) == 0) {
        TensorMat tensor(1, 3, tensor_h_, net_w_, QEVO::CHW, planar_.data(), QEVO::AI_UINT8, false);
        QEVO::TenMat exported{};
        exported.data = nullptr;  // borrow the tensor's buffer
        if (tensor.toTenMat(&exported) == 0) tensor_bytes_ = static_cast<long>(exported.dataByte);
    }
    stages_[kLayout].ms.push_back(clock.elapsed_ms());

    // 4. debug dump on request
    clock = StageClock();
    out.dump_result = KIVEX::grab_image(desc);
    stages_[kDump].ms.push_back(clock.elapsed_ms());

    // 5. suppression per class
    clock = StageClock();
    std::vector<QEVO::objinfo> raw, kept;
    raw.reserve(raw_detections.size());
    for (const MotBox &b : raw_detections) raw.push_back(to_objinfo(b));
    KIVEX::nms_cls(raw, kept, cfg_.nms_iou, cfg_.num_classes);
    for (const QEVO::objinfo &o : kept) {
        MotBox b = to_box(o);
        b.id = -1;
        out.detections.push_back(b);
    }
    stages_[kNms].ms.push_back(clock.elapsed_ms());

    if (cfg_.exact) exact_trackers(frame_number, frame, desc, kept, out, sink);
    if (cfg_.motion) motion_tracker(kept, frame_sync, out);

    // 9. servo command for the main target: keep the current one while it is
    // reported, else take the largest reported track.
    clock = StageClock();
    const std::vector<MotBox> &main = cfg_.motion ? out.tracks_motion : out.tracks;
    const MotBox *target = nullptr;
    for (const MotBox &b : main)
        if (b.id == main_target_) target = &b;
    if (target == nullptr)
        for (const MotBox &b : main)
            if (target == nullptr || (b.x2 - b.x1) * (b.y2 - b.y1) >
                                         (target->x2 - target->x1) * (target->y2 - target->y1))
                target = &b;
    main_target_ = target != nullptr ? target->id : -1;
    if (target != nullptr && std::isfinite(sync.fAz) && std::isfinite(sync.fPt)) {
        out.main_target = target->id;
        out.servo_az =
            KIVEX::servo_calc_Az(sync.fAz, (target->x1 + target->x2) * 0.5f, cfg_.resolution, W, H);
        out.servo_pt =
            KIVEX::servo_calc_Pt(sync.fPt, (target->y1 + target->y2) * 0.5f, cfg_.resolution, W, H);
    }
    stages_[kServo].ms.push_back(clock.elapsed_ms());

    // 10. second tracker, in place, then the height filter
    if (cfg_.exact) second_tracker(kept, out);
    // Stages that did not run this frame count 0, so every stage has one entry per frame.
    for (StageTimes &st : stages_)
        if (st.ms.size() < stages_[kWrap].ms.size()) st.ms.push_back(0.0);
    return out;
}

void FramePipeline::exact_trackers(int frame_number, unsigned char *frame, QEVO::ImgMat &desc,
                                   std::vector<QEVO::objinfo> &kept, FrameOutput &out,
                                   const MosaicSink &sink) {
    const int W = cfg_.width, H = cfg_.height;
    // 6. one 64 x 64 NV12 patch per detection
    StageClock clock;
    const size_t patch_bytes = static_cast<size_t>(QEVO::yuv420sp_size(kPatch, kPatch));
    if (patches_.size() < kept.size()) patches_.resize(kept.size());
    std::vector<QEVO::ImgMat> blocks;
    blocks.reserve(kept.size());
    for (size_t i = 0; i < kept.size(); ++i) {
        int x1, x2, y1, y2;
        even_span(kept[i].x1, kept[i].x2, W, x1, x2);
        even_span(kept[i].y1, kept[i].y2, H, y1, y2);
        KIVEX::crop_yuv(frame, W, H, x1, y1, x2, y2, patch_src_.data());
        patches_[i].resize(patch_bytes);
        resize_bilinear_yuv420sp(patch_src_.data(), x2 - x1, y2 - y1, patches_[i].data(), kPatch,
                                 kPatch);
        QEVO::ImgMat block;
        block.data = patches_[i].data();
        block.width = kPatch;
        block.height = kPatch;
        block.depth = 1;
        block.inlayout = QEVO::NV12;
        block.frameID = frame_number;
        block.cfg = desc.cfg;
        blocks.push_back(block);
    }
    stages_[kPatches].ms.push_back(clock.elapsed_ms());

    // 7. association with snapshots
    clock = StageClock();
    std::vector<std::shared_ptr<OBJTRACK>> next;
    update_objtracker(kept, tracks_, next, blocks, cfg_.match_distance, &desc);
    stages_[kTrack].ms.push_back(clock.elapsed_ms());
    for (const auto &t : tracks_)
        if (std::find(next.begin(), next.end(), t) == next.end()) emit_mosaic(t, sink);
    tracks_.swap(next);
    std::vector<int> held;
    for (const auto &t : tracks_) held.push_back(t->_trackID);
    ids_.held(held);

    // 8. read back
    clock = StageClock();
    for (const auto &t : tracks_) {
        QEVO::objinfo o{};
        if (t->toObjInfo(o) == 0) out.tracks.push_back(to_box(o));
    }
    stages_[kReadback].ms.push_back(clock.elapsed_ms());
    for (MotBox &b : out.tracks) b.id = ids_.report(b.id);
}

void FramePipeline::motion_tracker(const std::vector<QEVO::objinfo> &kept,
                                   const QEVO::SyncInfos &sync, FrameOutput &out) {
    // M. the motion tracker, with the frame's servo angles when it has them
    StageClock clock;
    const bool angles = std::isfinite(sync.fAz) && std::isfinite(sync.fPt);
    motion_.update(kept, angles ? &sync : nullptr, cfg_.resolution);
    std::vector<int> held;
    for (int i = 0; i < motion_.track_count(); ++i) {
        const qevo::TrackInfo &t = motion_.tracks()[i];
        held.push_back(t.box.trackID);
        const bool hidden =
            t.state == qevo::TRACK_LOST && t.misses <= cfg_.coast && t.occlusion >= kCoastOcclusion;
        if (t.state == qevo::TRACK_CONFIRMED || hidden) out.tracks_motion.push_back(to_box(t.box));
    }
    stages_[kMotion].ms.push_back(clock.elapsed_ms());
    motion_ids_.held(held);
    for (MotBox &b : out.tracks_motion) b.id = motion_ids_.report(b.id);
}

void FramePipeline::second_tracker(std::vector<QEVO::objinfo> &kept, FrameOutput &out) {
    // 10. second tracker, in place, then the height filter
    StageClock clock;
    {
        QuietStdout quiet;
        update_objtracker(kept, inplace_, cfg_.match_iou);
    }
    for (OBJTRACK &t : inplace_) {
        QEVO::objinfo o{};
        if (t.toObjInfo(o) == 0) out.tracks_inplace.push_back(to_box(o));
    }
    std::vector<OBJTRACK> filtered;
    out.filter_result = filter_objtrackers(inplace_, filtered, cfg_.filter_sigma);
    for (OBJTRACK &t : filtered) {
        QEVO::objinfo o{};
        if (t.toObjInfo(o) == 0) ++out.filter_passed;
    }
    out.inplace_total = static_cast<int>(out.tracks_inplace.size());
    stages_[kSecond].ms.push_back(clock.elapsed_ms());
    std::vector<int> held;
    for (const OBJTRACK &t : inplace_) held.push_back(t._trackID);
    inplace_ids_.held(held);
    for (MotBox &b : out.tracks_inplace) b.id = inplace_ids_.report(b.id);
}

void FramePipeline::finish(const MosaicSink &sink) {
    for (const auto &t : tracks_) emit_mosaic(t, sink);
    tracks_.clear();
}

}  // namespace pipeline
