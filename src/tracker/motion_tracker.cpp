// MotionTracker: per-frame servo compensation, prediction, three-stage
// association and track bookkeeping (rules in include/tracker.h).
#include <algorithm>
#include <climits>
#include <cmath>
#include <new>
#include <utility>

#include "tracker.h"
#include "tracker/assignment.h"
#include "tracker/box_filter.h"
#include "tracker/pair_finder.h"

namespace qevo {
namespace {

using qevo_internal::BoxFilter;
using qevo_internal::BoxState;
using qevo_internal::GatedPair;
using qevo_internal::StageBox;

// Corners beyond this many pixels from the origin are not a detection.
constexpr double kMaxCoordinate = 1e6;
// Servo angles beyond this many degrees are not angles.
constexpr double kMaxAngle = 3600.0;
// Resolutions at or below this count as absent (as in the servo conversions).
constexpr double kMinResolution = 1e-7;
constexpr int kMaxReserve = 1 << 20;

struct Track {
    BoxState state;
    StageBox box;      // this update's predicted box, then the estimate; the class
    double last_z[4];  // last observed cx, cy, w, h (moved with the servo shifts)
    int id;
    TrackState status;
    int hits, streak, misses, age;
    float score;
    int det_id;
    double occlusion;  // lost tracks: the share of the box a visible track covers
};

struct Detection {
    StageBox box;
    float score;
    int id;
};

// One angle difference wrapped once into [-180, 180] and turned into pixels,
// as OBJTRACK::calc_delta does.
double angle_to_pixels(double delta, double deg_per_px) {
    if (delta > 180.0) delta -= 360.0;
    if (delta < -180.0) delta += 360.0;
    return delta / deg_per_px;
}

// The filter's observation of a box: centre x, centre y, width, height.
void observe(const StageBox &b, double z[4]) {
    z[0] = (b.x1 + b.x2) * 0.5;
    z[1] = (b.y1 + b.y2) * 0.5;
    z[2] = b.x2 - b.x1;
    z[3] = b.y2 - b.y1;
}

bool usable_angles(const QEVO::SyncInfos *sync) {
    return sync != nullptr && std::isfinite(sync->fAz) && std::isfinite(sync->fPt) &&
           std::fabs(sync->fAz) <= kMaxAngle && std::fabs(sync->fPt) <= kMaxAngle;
}

bool valid_detection(const QEVO::objinfo &d) {
    const float v[5] = {d.x1, d.y1, d.x2, d.y2, d.score};
    for (float f : v)
        if (!std::isfinite(f)) return false;
    for (int i = 0; i < 4; ++i)
        if (std::fabs(static_cast<double>(v[i])) > kMaxCoordinate) return false;
    return d.x2 > d.x1 && d.y2 > d.y1;
}

// The parameters with every field outside its range replaced by its default.
MotionTrackerParams sanitized(const MotionTrackerParams &in) {
    const MotionTrackerParams def;
    MotionTrackerParams p = in;
    auto finite_or = [](float v, float d) { return std::isfinite(v) ? v : d; };
    auto unit_or = [](float v, float d) { return v >= 0.0f && v <= 1.0f ? v : d; };
    auto positive_or = [](float v, float d) { return std::isfinite(v) && v > 0.0f ? v : d; };
    p.high_score = finite_or(p.high_score, def.high_score);
    p.low_score = finite_or(p.low_score, def.low_score);
    p.new_track_score = finite_or(p.new_track_score, def.new_track_score);
    p.match_iou = unit_or(p.match_iou, def.match_iou);
    p.low_match_iou = unit_or(p.low_match_iou, def.low_match_iou);
    p.tentative_match_iou = unit_or(p.tentative_match_iou, def.tentative_match_iou);
    if (p.confirm_hits < 1) p.confirm_hits = def.confirm_hits;
    if (p.max_lost < 0) p.max_lost = def.max_lost;
    p.position_noise = positive_or(p.position_noise, def.position_noise);
    p.velocity_noise = positive_or(p.velocity_noise, def.velocity_noise);
    if (!(std::isfinite(p.servo_noise) && p.servo_noise >= 0.0f)) p.servo_noise = def.servo_noise;
    if (p.first_id < 0) p.first_id = def.first_id;
    return p;
}

}  // namespace

// The class is exported; its implementation is not.
struct __attribute__((visibility("hidden"))) MotionTracker::Impl {
    explicit Impl(const MotionTrackerParams &params)
        : p(sanitized(params)), filter(p.position_noise, p.velocity_noise) {
        next_id = p.first_id;
    }

    int update(const QEVO::objinfo *in, int count, const QEVO::SyncInfos *sync, double res);
    void servo_shift(const QEVO::SyncInfos *sync, double res);
    // One association stage between the tracks that `use_track(i)` selects
    // and the detections that `use_det(j)` selects; matches go to
    // match_of_track and taken.
    template <typename TrackSel, typename DetSel>
    void associate(TrackSel use_track, DetSel use_det, double gate);
    void apply_match(Track &t, const Detection &d);
    void start_track(const Detection &d);
    void measure_occlusion();
    void publish();
    void grow(size_t tracks, size_t dets);

    MotionTrackerParams p;
    BoxFilter filter;
    std::vector<Track> tracks;
    std::vector<TrackInfo> out;
    std::vector<Detection> dets;
    std::vector<int> match_of_track;  // detection index or -1
    std::vector<char> taken;          // per detection
    // Stage working storage: positions into tracks / dets, their boxes, the
    // pairs and the solver's answer.
    std::vector<int> stage_rows, stage_cols;
    std::vector<StageBox> row_boxes, col_boxes;
    std::vector<GatedPair> pairs;
    std::vector<int> row_match, col_match;
    std::vector<double> covered;
    qevo_internal::PairFinder finder;
    qevo_internal::GatedAssignment solver;

    bool have_angles = false;
    double last_az = 0.0, last_pt = 0.0;
    long long frames = 0;
    long long next_id = 1;
    int skipped = 0;
};

void MotionTracker::Impl::grow(size_t n_tracks, size_t n_dets) {
    // Room for every track that can exist after this update (the held ones
    // plus one per detection), growing geometrically.
    const size_t t = n_tracks + n_dets;
    if (tracks.capacity() < t) tracks.reserve(std::max(t, 2 * tracks.capacity()));
    if (dets.capacity() < n_dets) dets.reserve(std::max(n_dets, 2 * dets.capacity()));
    const size_t nt = tracks.capacity(), nd = dets.capacity(), both = std::max(nt, nd);
    for (std::vector<int> *v : {&match_of_track, &stage_rows, &row_match}) v->reserve(nt);
    out.reserve(nt);
    row_boxes.reserve(nt);
    covered.reserve(nt);
    // Stage columns are detections, and lost tracks in the occlusion pass.
    stage_cols.reserve(both);
    col_boxes.reserve(both);
    taken.reserve(nd);
    col_match.reserve(nd);
    finder.reserve(static_cast<int>(nt));
}

void MotionTracker::Impl::servo_shift(const QEVO::SyncInfos *sync, double res) {
    const bool now = usable_angles(sync);
    double dx = 0.0, dy = 0.0;
    if (now && have_angles && std::isfinite(res) && res > kMinResolution) {
        dx = -angle_to_pixels(static_cast<double>(sync->fAz) - last_az, res);
        dy = angle_to_pixels(static_cast<double>(sync->fPt) - last_pt, res);
    }
    have_angles = now;
    if (now) {
        last_az = sync->fAz;
        last_pt = sync->fPt;
    }
    if (dx == 0.0 && dy == 0.0) return;
    const double extra = static_cast<double>(p.servo_noise) * std::sqrt(dx * dx + dy * dy);
    for (Track &t : tracks) {
        BoxFilter::shift(t.state, dx, dy, extra);
        t.last_z[0] += dx;
        t.last_z[1] += dy;
    }
}

template <typename TrackSel, typename DetSel>
void MotionTracker::Impl::associate(TrackSel use_track, DetSel use_det, double gate) {
    stage_rows.clear();
    stage_cols.clear();
    row_boxes.clear();
    col_boxes.clear();
    for (size_t i = 0; i < tracks.size(); ++i)
        if (use_track(i)) {
            stage_rows.push_back(static_cast<int>(i));
            row_boxes.push_back(tracks[i].box);
        }
    for (size_t j = 0; j < dets.size(); ++j)
        if (use_det(j)) {
            stage_cols.push_back(static_cast<int>(j));
            col_boxes.push_back(dets[j].box);
        }
    finder.find(row_boxes, col_boxes, gate, p.match_classes, pairs);
    row_match.resize(stage_rows.size());
    col_match.resize(stage_cols.size());
    solver.solve(static_cast<int>(stage_rows.size()), static_cast<int>(stage_cols.size()), pairs,
                 1.0 - gate, row_match.data(), col_match.data());
    for (size_t r = 0; r < stage_rows.size(); ++r) {
        if (row_match[r] < 0) continue;
        const int d = stage_cols[row_match[r]];
        match_of_track[stage_rows[r]] = d;
        taken[d] = 1;
    }
}

void MotionTracker::Impl::apply_match(Track &t, const Detection &d) {
    double z[4];
    observe(d.box, z);
    if (t.misses > 0) {
        // Re-found after a gap: the motion over the gap is known from the two
        // observations, the filter's drift is not.
        const double frames_apart = static_cast<double>(t.misses) + 1.0;
        filter.restart_velocity(t.state, (z[0] - t.last_z[0]) / frames_apart,
                                (z[1] - t.last_z[1]) / frames_apart);
    }
    filter.correct(t.state, z);
    for (int i = 0; i < 4; ++i) t.last_z[i] = z[i];
    ++t.hits;
    ++t.streak;
    t.misses = 0;
    t.score = d.score;
    t.det_id = d.id;
    if (t.status == TRACK_LOST || (t.status == TRACK_TENTATIVE && t.streak >= p.confirm_hits))
        t.status = TRACK_CONFIRMED;
}

void MotionTracker::Impl::start_track(const Detection &d) {
    Track t;
    observe(d.box, t.last_z);
    t.state = filter.start(t.last_z[0], t.last_z[1], t.last_z[2], t.last_z[3]);
    t.id = static_cast<int>(next_id++);
    t.status = (frames == 1 || p.confirm_hits <= 1) ? TRACK_CONFIRMED : TRACK_TENTATIVE;
    t.hits = t.streak = 1;
    t.misses = t.age = 0;
    t.score = d.score;
    t.box = d.box;
    t.det_id = d.id;
    t.occlusion = 0.0;
    tracks.push_back(t);
}

int MotionTracker::Impl::update(const QEVO::objinfo *in, int count, const QEVO::SyncInfos *sync,
                                double res) {
    if (count < 0 || (count > 0 && in == nullptr)) return 1;
    grow(tracks.size(), static_cast<size_t>(count));
    ++frames;

    // Detections worth associating.
    dets.clear();
    skipped = 0;
    for (int i = 0; i < count; ++i) {
        const QEVO::objinfo &o = in[i];
        if (!valid_detection(o)) {
            ++skipped;
            continue;
        }
        if (!(o.score >= p.low_score)) continue;
        dets.push_back(Detection{StageBox{o.x1, o.y1, o.x2, o.y2, o.classNum}, o.score, o.ID});
    }
    taken.assign(dets.size(), 0);

    // Prediction, with the servo's shift.
    for (Track &t : tracks) {
        ++t.age;
        filter.predict(t.state, t.misses > 0);
    }
    servo_shift(sync, res);
    for (Track &t : tracks) BoxFilter::corners(t.state, t.box.x1, t.box.y1, t.box.x2, t.box.y2);
    match_of_track.assign(tracks.size(), -1);

    const float high = p.high_score;
    auto confident = [&](size_t j) { return dets[j].score >= high; };
    // a. confirmed and lost tracks with the confident detections.
    associate([&](size_t i) { return tracks[i].status != TRACK_TENTATIVE; }, confident,
              p.match_iou);
    // b. confirmed tracks matched in the previous update, still free, with
    // the low-score detections.
    associate(
        [&](size_t i) { return tracks[i].status == TRACK_CONFIRMED && match_of_track[i] < 0; },
        [&](size_t j) { return !confident(j); }, p.low_match_iou);
    // c. tentative tracks with the confident detections left.
    associate([&](size_t i) { return tracks[i].status == TRACK_TENTATIVE; },
              [&](size_t j) { return !taken[j] && confident(j); }, p.tentative_match_iou);

    // Bookkeeping, keeping the order of the tracks.
    size_t kept = 0;
    for (size_t i = 0; i < tracks.size(); ++i) {
        Track &t = tracks[i];
        bool keep = true;
        if (match_of_track[i] >= 0) {
            apply_match(t, dets[match_of_track[i]]);
            BoxFilter::corners(t.state, t.box.x1, t.box.y1, t.box.x2, t.box.y2);
        } else {
            ++t.misses;
            t.streak = 0;
            if (t.status == TRACK_TENTATIVE)
                keep = false;
            else if (t.misses > p.max_lost)
                keep = false;
            else
                t.status = TRACK_LOST;
        }
        if (keep) {
            if (kept != i) tracks[kept] = t;
            ++kept;
        }
    }
    tracks.resize(kept);

    int result = 0;
    for (size_t j = 0; j < dets.size(); ++j) {
        if (taken[j] || !(dets[j].score >= high) || !(dets[j].score >= p.new_track_score)) continue;
        if (next_id > INT_MAX) {
            result = 2;
            continue;
        }
        start_track(dets[j]);
    }
    measure_occlusion();
    publish();
    return result;
}

void MotionTracker::Impl::measure_occlusion() {
    row_boxes.clear();
    col_boxes.clear();
    stage_cols.clear();
    for (size_t i = 0; i < tracks.size(); ++i) {
        Track &t = tracks[i];
        t.occlusion = 0.0;
        if (t.misses == 0) {
            row_boxes.push_back(t.box);
        } else {
            col_boxes.push_back(t.box);
            stage_cols.push_back(static_cast<int>(i));
        }
    }
    if (col_boxes.empty()) return;
    finder.coverage(row_boxes, col_boxes, covered);
    for (size_t k = 0; k < stage_cols.size(); ++k) tracks[stage_cols[k]].occlusion = covered[k];
}

void MotionTracker::Impl::publish() {
    out.clear();
    for (const Track &t : tracks) {
        TrackInfo info;
        QEVO::objinfo &b = info.box;
        b.x1 = static_cast<float>(t.box.x1);
        b.y1 = static_cast<float>(t.box.y1);
        b.x2 = static_cast<float>(t.box.x2);
        b.y2 = static_cast<float>(t.box.y2);
        b.score = t.score;
        b.classNum = t.box.cls;
        b.ID = t.det_id;
        b.trackID = t.id;
        b.area = (b.x2 - b.x1) * (b.y2 - b.y1);
        info.state = t.status;
        info.hits = t.hits;
        info.misses = t.misses;
        info.age = t.age;
        info.occlusion = static_cast<float>(t.occlusion);
        out.push_back(info);
    }
}

MotionTracker::MotionTracker(const MotionTrackerParams &params) : impl_(new Impl(params)) {}

MotionTracker::~MotionTracker() { delete impl_; }

MotionTracker::MotionTracker(MotionTracker &&other) noexcept : impl_(other.impl_) {
    other.impl_ = nullptr;
}

MotionTracker &MotionTracker::operator=(MotionTracker &&other) noexcept {
    if (this != &other) {
        delete impl_;
        impl_ = other.impl_;
        other.impl_ = nullptr;
    }
    return *this;
}

int MotionTracker::update(const QEVO::objinfo *detections, int count, const QEVO::SyncInfos *sync,
                          double deg_per_px) {
    if (impl_ == nullptr) return 1;
    try {
        return impl_->update(detections, count, sync, deg_per_px);
    } catch (const std::bad_alloc &) {
        return 1;
    }
}

int MotionTracker::track_count() const {
    return impl_ == nullptr ? 0 : static_cast<int>(impl_->out.size());
}

const TrackInfo *MotionTracker::tracks() const {
    return impl_ == nullptr || impl_->out.empty() ? nullptr : impl_->out.data();
}

int MotionTracker::predicted_box(int track_id, QEVO::objinfo *out) const {
    if (impl_ == nullptr || out == nullptr) return 1;
    for (size_t i = 0; i < impl_->tracks.size(); ++i) {
        const Track &t = impl_->tracks[i];
        if (t.id != track_id) continue;
        BoxState s = t.state;
        impl_->filter.predict(s, t.misses > 0);
        double x1, y1, x2, y2;
        BoxFilter::corners(s, x1, y1, x2, y2);
        *out = impl_->out[i].box;
        out->x1 = static_cast<float>(x1);
        out->y1 = static_cast<float>(y1);
        out->x2 = static_cast<float>(x2);
        out->y2 = static_cast<float>(y2);
        out->area = (out->x2 - out->x1) * (out->y2 - out->y1);
        return 0;
    }
    return 1;
}

int MotionTracker::skipped() const { return impl_ == nullptr ? 0 : impl_->skipped; }

long long MotionTracker::frame_count() const { return impl_ == nullptr ? 0 : impl_->frames; }

const MotionTrackerParams &MotionTracker::params() const {
    static const MotionTrackerParams defaults;
    return impl_ == nullptr ? defaults : impl_->p;
}

void MotionTracker::reset() {
    if (impl_ == nullptr) return;
    impl_->tracks.clear();
    impl_->out.clear();
    impl_->have_angles = false;
    impl_->frames = 0;
    impl_->next_id = impl_->p.first_id;
    impl_->skipped = 0;
}

int MotionTracker::reserve(int tracks, int detections) {
    if (impl_ == nullptr || tracks < 0 || detections < 0 || tracks > kMaxReserve ||
        detections > kMaxReserve)
        return 1;
    try {
        impl_->grow(static_cast<size_t>(tracks), static_cast<size_t>(detections));
        impl_->solver.reserve(tracks, detections, 0);
    } catch (const std::bad_alloc &) {
        return 1;
    }
    return 0;
}

}  // namespace qevo
