// The motion tracker over frame sequences: plausible and malformed boxes
// (NaN, infinities, inverted, empty, huge), negative counts and null lists,
// frames with and without servo angles (absurd ones included), any
// resolution, any parameters, reset, reserve and moves. After every update
// the reported tracks must be consistent: identifiers distinct, never given
// twice in the tracker's life, states matching the miss counts, finite boxes,
// and a refused update must change nothing.
#include <climits>
#include <set>
#include <utility>

#include "fuzz_input.h"
#include "tracker.h"

using namespace qevo_fuzz;

namespace {

QEVO::objinfo any_box(Input &in) {
    QEVO::objinfo d{};
    if (in.byte() < 210) {  // near one of a few places, so tracks form
        d.x1 = static_cast<float>(in.in(0, 8) * 60 + in.in(-4, 4));
        d.y1 = static_cast<float>(in.in(0, 4) * 60 + in.in(-4, 4));
        d.x2 = d.x1 + static_cast<float>(in.in(-2, 50));
        d.y2 = d.y1 + static_cast<float>(in.in(-2, 90));
    } else {
        d.x1 = in.any_float(2000), d.y1 = in.any_float(2000);
        d.x2 = in.any_float(2000), d.y2 = in.any_float(2000);
    }
    d.score = in.byte() < 220 ? in.in(0, 100) / 100.0f : in.any_float(2);
    d.classNum = in.byte() < 230 ? in.in(0, 2) : in.any_int(100);
    d.ID = in.any_int(1000);
    return d;
}

qevo::MotionTrackerParams any_params(Input &in) {
    qevo::MotionTrackerParams p;
    if (in.byte() < 150) return p;
    p.high_score = in.any_float(1);
    p.low_score = in.any_float(1);
    p.new_track_score = in.any_float(1);
    p.match_iou = in.any_float(1);
    p.low_match_iou = in.any_float(1);
    p.tentative_match_iou = in.any_float(1);
    p.confirm_hits = in.any_int(5);
    p.max_lost = in.any_int(10);
    p.match_classes = in.flag();
    p.position_noise = in.any_float(1);
    p.velocity_noise = in.any_float(1);
    p.servo_noise = in.any_float(1);
    p.first_id = in.byte() < 128 ? INT_MAX - in.in(0, 20) : in.any_int(100);
    return p;
}

struct Life {
    std::set<int> given;  // identifiers seen since the last reset
};

void check(const qevo::MotionTracker &t, Life &life, int count, int result) {
    const qevo::MotionTrackerParams &p = t.params();
    QEVO_FUZZ_CHECK(result >= 0 && result <= 2);
    QEVO_FUZZ_CHECK(t.skipped() >= 0 && t.skipped() <= (count > 0 ? count : 0));
    std::set<int> now;
    int previous = INT_MIN;
    for (int i = 0; i < t.track_count(); ++i) {
        const qevo::TrackInfo &k = t.tracks()[i];
        const int id = k.box.trackID;
        QEVO_FUZZ_CHECK(id >= p.first_id && id > previous);  // oldest first, distinct
        previous = id;
        now.insert(id);
        QEVO_FUZZ_CHECK(k.hits >= 1 && k.misses >= 0 && k.age >= k.misses && k.age >= 0);
        QEVO_FUZZ_CHECK(k.misses <= p.max_lost);
        switch (k.state) {
            case qevo::TRACK_TENTATIVE:
            case qevo::TRACK_CONFIRMED:
                QEVO_FUZZ_CHECK(k.misses == 0 && k.occlusion == 0.0f);
                break;
            case qevo::TRACK_LOST:
                QEVO_FUZZ_CHECK(k.misses >= 1 && k.occlusion >= 0.0f && k.occlusion <= 1.0f);
                break;
            default:
                fail("state outside the enumeration");
        }
        for (float v : {k.box.x1, k.box.y1, k.box.x2, k.box.y2, k.box.score})
            QEVO_FUZZ_CHECK(std::isfinite(v));
        QEVO::objinfo pred{};
        QEVO_FUZZ_CHECK(t.predicted_box(id, &pred) == 0 && pred.trackID == id);
    }
    // A track that is not held any more never comes back.
    for (int id : now) {
        if (life.given.count(id) == 0) {
            QEVO_FUZZ_CHECK(life.given.empty() || id > *life.given.rbegin());
            life.given.insert(id);
        }
    }
    QEVO::objinfo none{};
    QEVO_FUZZ_CHECK(life.given.empty() || *life.given.rbegin() == INT_MAX ||
                    t.predicted_box(*life.given.rbegin() + 1, &none) == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    qevo::MotionTracker tracker(any_params(in));
    Life life;
    for (int frame = 0; frame < 60 && in.left() > 0; ++frame) {
        std::vector<QEVO::objinfo> dets(in.byte() < 30 ? 0 : in.in(1, 12));
        for (QEVO::objinfo &d : dets) d = any_box(in);
        QEVO::SyncInfos sync{};
        const uint8_t angles = in.byte();
        const QEVO::SyncInfos *s = angles < 40 ? nullptr : &sync;
        if (angles < 200) {
            sync.fAz = static_cast<float>(in.in(-40, 400)) + in.in(0, 99) / 100.0f;
            sync.fPt = static_cast<float>(in.in(-100, 100));
        } else {
            sync.fAz = in.any_float(1000), sync.fPt = in.any_float(1000);
        }
        const double res = in.byte() < 200 ? in.in(0, 200) / 1000.0
                                           : static_cast<double>(in.any_float(1)) * in.in(-2, 2);
        int count = static_cast<int>(dets.size());
        const QEVO::objinfo *list = dets.empty() ? nullptr : dets.data();
        const uint8_t call = in.byte();
        if (call < 8) count = in.any_int(5) < 0 ? -in.in(1, 100) : count;  // negative count
        if (call >= 8 && call < 14) list = nullptr;                        // null list

        const int held = tracker.track_count();
        const long long frames = tracker.frame_count();
        const int r = tracker.update(list, count, s, res);
        if (count < 0 || (count > 0 && list == nullptr)) {
            QEVO_FUZZ_CHECK(r == 1 && tracker.track_count() == held &&
                            tracker.frame_count() == frames);
            continue;
        }
        QEVO_FUZZ_CHECK(r != 1 && tracker.frame_count() == frames + 1);
        check(tracker, life, count, r);

        switch (in.byte() % 16) {
            case 0:
                tracker.reset();
                life.given.clear();
                QEVO_FUZZ_CHECK(tracker.track_count() == 0 && tracker.frame_count() == 0);
                break;
            case 1: {
                const int a = in.size(300), b = in.size(300);
                const int rr = tracker.reserve(a, b);
                QEVO_FUZZ_CHECK(rr == ((a < 0 || b < 0 || a > (1 << 20) || b > (1 << 20)) ? 1 : 0));
                break;
            }
            case 2: {  // a move keeps the tracks; the moved-from tracker refuses
                qevo::MotionTracker other = std::move(tracker);
                QEVO_FUZZ_CHECK(tracker.update(nullptr, 0) == 1 && tracker.track_count() == 0);
                tracker = std::move(other);
                break;
            }
            default:
                break;
        }
    }
    return 0;
}
