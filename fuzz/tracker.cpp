// The tracker over frame sequences: all three update_objtracker forms side by
// side on the same detections (patches sized exactly as documented, missing
// patches, frame descriptors with and without servo records), toObjInfo,
// filter_objtrackers, track copies, the servo conversions, and pasteNV12Block
// against a clipped reference paste. The record's invariants and distinct,
// non-negative identifiers are checked after every frame.
#include <algorithm>
#include <memory>

#include "fuzz_input.h"
#include "objTracker.h"
#include "utils.h"

using namespace qevo_fuzz;
using QEVO::ImgMat;
using QEVO::objinfo;

namespace {

using Shared = std::vector<std::shared_ptr<OBJTRACK> >;

objinfo any_det(Input &in) {
    objinfo d{};
    if (in.byte() < 220) {  // a plausible box near one of a few places
        d.x1 = static_cast<float>(in.in(0, 6) * 40 + in.in(0, 6));
        d.y1 = static_cast<float>(in.in(0, 3) * 40 + in.in(0, 6));
        d.x2 = d.x1 + static_cast<float>(in.in(0, 30));
        d.y2 = d.y1 + static_cast<float>(in.in(0, 30));
    } else {
        d.x1 = in.any_float(300), d.y1 = in.any_float(300);
        d.x2 = in.any_float(300), d.y2 = in.any_float(300);
    }
    d.score = in.any_float(1);
    d.classNum = in.byte() < 230 ? in.in(-1, 10) : in.any_int(20);
    return d;
}

// A patch as the tracker documents it: NV12 blocks of w x h luma bytes and
// h / 2 rows of w chroma bytes, RGB/BGR of w x h x 3 bytes, GRAY w x h.
ImgMat any_patch(Input &in, std::vector<std::vector<unsigned char> > &keep) {
    ImgMat p;
    p.inlayout = in.pick<QEVO::INPUT_LAYOUT>(
        {QEVO::NV12, QEVO::NV12, QEVO::RGB, QEVO::GRAY, QEVO::BGR, QEVO::NV21});
    p.width = in.in(0, 80), p.height = in.in(0, 80);
    const size_t px = static_cast<size_t>(p.width) * p.height;
    const size_t bytes = p.inlayout == QEVO::NV12 || p.inlayout == QEVO::NV21
                             ? px + static_cast<size_t>(p.height / 2) * p.width
                         : p.inlayout == QEVO::GRAY ? px
                                                    : px * 3;
    if (in.byte() < 20) return p;  // no data
    keep.push_back(in.bytes(bytes));
    p.data = keep.back().data();
    return p;
}

const OBJTRACK &track(const OBJTRACK &t) { return t; }
const OBJTRACK &track(const std::shared_ptr<OBJTRACK> &t) { return *t; }

template <typename List>
void check_list(const List &tracks) {
    std::vector<int> ids;
    for (const auto &e : tracks) {
        const OBJTRACK &t = track(e);
        QEVO_FUZZ_CHECK(t.scores.size() == static_cast<size_t>(t._length));
        QEVO_FUZZ_CHECK(t.m_delable >= 0 && t._nExistCnt >= 0 && t._length <= 10);
        QEVO_FUZZ_CHECK(t.clsCount.size() == static_cast<size_t>(t._clsNum));
        QEVO_FUZZ_CHECK(t._trackID >= 0);
        ids.push_back(t._trackID);
        objinfo out{};
        out.ID = 77;
        OBJTRACK &m = const_cast<OBJTRACK &>(t);
        const int r = m.toObjInfo(out);
        QEVO_FUZZ_CHECK(r == m.toObjInfo_predict(out) && r >= 0 && r <= 2 && out.ID == 77);
        if (r == 0) QEVO_FUZZ_CHECK(out.trackID == t._trackID);
    }
    std::sort(ids.begin(), ids.end());
    QEVO_FUZZ_CHECK(std::adjacent_find(ids.begin(), ids.end()) == ids.end());
}

// Pushes a counter or an identifier of one track to the top of its range, as
// a very long run would; identifiers stay distinct.
template <typename List>
void age(Input &in, List &tracks) {
    if (tracks.empty()) return;
    OBJTRACK &t = const_cast<OBJTRACK &>(track(tracks[in.byte() % tracks.size()]));
    const int top = INT_MAX - in.in(0, 2);
    switch (in.byte() % 3) {
        case 0:
            t.m_delable = top;
            break;
        case 1:
            t._nExistCnt = top;
            break;
        default:
            for (const auto &e : tracks)
                if (track(e)._trackID == top) return;
            t._trackID = top;
            break;
    }
}

void paste(Input &in) {
    const int dw = in.size(40), dh = in.size(40), sw = in.size(24), sh = in.size(24);
    const int px = in.any_int(50), py = in.any_int(50);
    auto frame = [](int w, int h) { return product({w, h + h / 2LL}, kMaxBytes); };
    const long long dbytes = frame(dw, dh), sbytes = frame(sw, sh);
    const bool valid = dw > 0 && dh > 0 && sw > 0 && sh > 0;
    if (valid && (dbytes < 0 || sbytes < 0)) return;
    std::vector<unsigned char> dest = in.bytes(valid ? dbytes : 4),
                               src = in.bytes(valid ? sbytes : 4);
    std::vector<unsigned char> want = dest;
    pasteNV12Block(dest.data(), dw, dh, src.data(), sw, sh, px, py);
    if (valid) {
        for (long long y = 0; y < sh + sh / 2; ++y) {
            const bool luma = y < sh;
            const long long dy = luma ? py + y : py / 2 + (y - sh);
            if (dy < 0 || dy >= (luma ? dh : dh / 2)) continue;
            for (long long x = 0; x < sw; ++x) {
                const long long dx = px + x;
                if (dx < 0 || dx >= dw) continue;
                want[static_cast<size_t>((luma ? 0 : static_cast<long long>(dw) * dh) + dy * dw +
                                         dx)] = src[static_cast<size_t>(y * sw + x)];
            }
        }
    }
    QEVO_FUZZ_CHECK(dest == want);
}

void servo(Input &in) {
    const float a = in.any_float(400), b = in.any_float(400);
    const double res =
        in.byte() < 200 ? in.in(0, 1000) / 10000.0 : static_cast<double>(in.any_float(1));
    const int w = in.any_int(2000), h = in.any_int(2000);
    KIVEX::servo_calc_Az(a, b, res, w, h);
    KIVEX::servo_calc_Pt(a, b, res, w, h);
    KIVEX::servo_calc_ImgX(a, b, res, w, h);
    KIVEX::servo_calc_ImgY(a, b, res, w, h);
    OBJTRACK().calc_delta(static_cast<double>(a) - b, res);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    std::vector<OBJTRACK> inplace, copying;
    Shared shared;
    QEVO::SyncInfos sync{};
    for (int frame = 0; frame < 40 && in.left() > 0; ++frame) {
        std::vector<std::vector<unsigned char> > keep;
        std::vector<objinfo> dets(in.byte() < 40 ? 0 : in.in(1, 8));
        for (objinfo &d : dets) d = any_det(in);
        std::vector<ImgMat> patches(in.byte() < 30 ? in.in(0, static_cast<int>(dets.size()))
                                                   : dets.size());
        for (ImgMat &p : patches) p = any_patch(in, keep);
        sync.fAz = in.any_float(360), sync.fPt = in.any_float(90);
        ImgMat desc;
        desc.cfg = in.byte() < 200 ? reinterpret_cast<long long>(&sync) : 0;
        const float thr = in.byte() < 200 ? in.in(0, 100) / 100.0f : in.any_float(3);
        const float dist = in.byte() < 200 ? in.in(0, 40) / 10.0f : in.any_float(3);

        update_objtracker(dets, inplace, thr);
        std::vector<OBJTRACK> next;
        update_objtracker(dets, copying, next, thr);
        copying = std::move(next);
        Shared snext;
        update_objtracker(dets, shared, snext, patches, dist, in.byte() < 20 ? nullptr : &desc);
        shared = std::move(snext);
        check_list(inplace);
        check_list(copying);
        check_list(shared);

        switch (in.byte() % 8) {
            case 0:
                age(in, inplace);
                break;
            case 1:
                age(in, copying);
                break;
            case 2:
                age(in, shared);
                break;
            case 3: {
                std::vector<OBJTRACK> kept;
                const int r = filter_objtrackers(copying, kept, in.any_float(4));
                QEVO_FUZZ_CHECK((r == 0 || r == 2) && kept.size() <= copying.size());
                break;
            }
            case 4:
                if (!shared.empty()) {  // a copy owns a duplicate of the mosaic
                    OBJTRACK copy = *shared[in.byte() % shared.size()];
                    OBJTRACK moved = std::move(copy);
                    copy = moved;
                }
                break;
            case 5:
                paste(in);
                break;
            case 6:
                servo(in);
                break;
            default:
                break;
        }
    }
    return 0;
}
