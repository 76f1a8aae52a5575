// Reference results for the Python tests, computed by calling the library
// directly (no Python involved). Arrays travel as raw native-endian files:
//
//   qevo_pyref resize C SRCW SRCH W H IN OUT          packed 1..4-channel resize
//   qevo_pyref nv12 SRCW SRCH W H IN OUT              resize_bilinear_yuv420sp
//   qevo_pyref float SRCW SRCH W H IN OUT             resize_bilinear_float_c1
//   qevo_pyref nms TYPE THR IN OUT | nms1 THR IN OUT | nms_cls THR CLASSES IN OUT |
//              seg_nms THR IN OUT                     boxes: N x 7 float32
//                                                     (x1, y1, x2, y2, score, class, area)
//   qevo_pyref sigmoid IN OUT | softmax IN OUT        float32 vectors
//   qevo_pyref make_rect IN OUT                       int32 rows (x1, y1, x2, y2, W, H) -> 4
//   qevo_pyref servo IN OUT                           float64 rows (a, b, res, W, H) ->
//                                                     float32 (Az, Pt, ImgX, ImgY)
//   qevo_pyref rgb W H BGR NV21 MATRIX IN OUT         qevo::nv12_to_rgb (packed frame)
//   qevo_pyref tensor W H NV21 DW DH X1 Y1 X2 Y2 FORMAT FIT MATRIX BGR M0 M1 M2 S0 S1 S2
//              P0 P1 P2 IN OUT PLACEMENT              qevo::nv12_to_tensor; placement:
//                                                     8 int32 (crop_x ... height)
//   qevo_pyref track THR SIGMA FRAMES IN OUT          in-place tracker + filter per frame
//   qevo_pyref snaptrack THR LAYOUT FRAMES PW PH IN ANGLES PATCHES OUT MOSAICS SERVO
//   qevo_pyref motion FRAMES HIGH LOW NEW HITS LOST RES IN ANGLES OUT
//                                                     qevo::MotionTracker; ANGLES: float32
//                                                     (az, pt) per frame, NaN for none; OUT:
//                                                     float64 (frame, 13 values of a row as
//                                                     the binding gives them)
//
// Detections of the trackers: float32 rows (frame, x1, y1, x2, y2, score,
// class), frames 0 .. FRAMES - 1 in order. Track rows are float64
// (id, x1, y1, x2, y2, score, class, state), state = toObjInfo's result, the
// box toObjInfo's for state 0 and the track's current one otherwise.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "mat_pixel_resize.h"
#include "objTracker.h"
#include "preprocess.h"
#include "tracker.h"
#include "utils.h"

namespace {

template <typename T>
std::vector<T> load(const char *path) {
    std::ifstream f(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    std::vector<T> v(bytes.size() / sizeof(T));
    if (!v.empty()) std::memcpy(v.data(), bytes.data(), v.size() * sizeof(T));
    return v;
}

template <typename T>
void save(const char *path, const std::vector<T> &v) {
    std::ofstream f(path, std::ios::binary);
    f.write(reinterpret_cast<const char *>(v.data()),
            static_cast<std::streamsize>(v.size() * sizeof(T)));
}

int arg_int(const char *s) { return std::atoi(s); }
float arg_float(const char *s) { return std::strtof(s, nullptr); }

std::vector<QEVO::objinfo> to_records(const std::vector<float> &v, size_t cols, size_t first) {
    std::vector<QEVO::objinfo> out;
    for (size_t r = 0; r + cols <= v.size(); r += cols) {
        const float *p = &v[r + first];
        QEVO::objinfo d{};
        d.x1 = p[0], d.y1 = p[1], d.x2 = p[2], d.y2 = p[3], d.score = p[4];
        d.classNum = static_cast<int>(p[5]);
        d.area = cols - first == 7 ? p[6] : 0.f;
        out.push_back(d);
    }
    return out;
}

std::vector<float> from_records(const std::vector<QEVO::objinfo> &rows) {
    std::vector<float> v;
    for (const auto &d : rows)
        v.insert(v.end(),
                 {d.x1, d.y1, d.x2, d.y2, d.score, static_cast<float>(d.classNum), d.area});
    return v;
}

void append_track(std::vector<double> &out, OBJTRACK &t) {
    QEVO::objinfo d{};
    d.x1 = t._x1, d.y1 = t._y1, d.x2 = t._x2, d.y2 = t._y2, d.score = t._score;
    d.classNum = t._cls;
    const int state = t.toObjInfo(d);
    out.insert(out.end(), {double(t._trackID), d.x1, d.y1, d.x2, d.y2, d.score, double(d.classNum),
                           double(state)});
}

// Detections of one frame out of the (frame, box...) rows.
std::vector<QEVO::objinfo> frame_dets(const std::vector<float> &rows, int frame,
                                      size_t *first_row) {
    std::vector<float> mine;
    for (size_t r = 0; r + 7 <= rows.size(); r += 7) {
        if (static_cast<int>(rows[r]) != frame) continue;
        if (mine.empty()) *first_row = r / 7;
        mine.insert(mine.end(), rows.begin() + r, rows.begin() + r + 7);
    }
    return to_records(mine, 7, 1);
}

// kind "resize" (c channels), "nv12" or "float"; a: SRCW SRCH W H IN OUT.
int resize(const std::string &kind, int c, char **a) {
    const int srcw = arg_int(a[0]), srch = arg_int(a[1]), w = arg_int(a[2]), h = arg_int(a[3]);
    if (kind == "float") {
        std::vector<float> in = load<float>(a[4]), out(size_t(w) * h);
        resize_bilinear_float_c1(in.data(), srcw, srch, out.data(), w, h);
        save(a[5], out);
        return 0;
    }
    std::vector<unsigned char> in = load<unsigned char>(a[4]), out;
    if (kind == "nv12") {
        out.resize(size_t(w) * h * 3 / 2);
        resize_bilinear_yuv420sp(in.data(), srcw, srch, out.data(), w, h);
    } else {
        using K = void (*)(const unsigned char *, int, int, unsigned char *, int, int);
        const K kernels[4] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                              resize_bilinear_c4};
        out.resize(size_t(w) * h * c);
        kernels[c - 1](in.data(), srcw, srch, out.data(), w, h);
    }
    save(a[5], out);
    return 0;
}

// a: W H BGR NV21 MATRIX IN OUT.
int rgb(char **a) {
    const int w = arg_int(a[0]), h = arg_int(a[1]);
    std::vector<unsigned char> in = load<unsigned char>(a[5]), out(size_t(w) * h * 3);
    const int code = qevo::nv12_to_rgb(in.data(), w, h, out.data(), arg_int(a[2]) != 0,
                                       arg_int(a[3]) != 0, qevo::ColorMatrix(arg_int(a[4])));
    save(a[6], out);
    return code;
}

// a: W H NV21 DW DH X1 Y1 X2 Y2 FORMAT FIT MATRIX BGR M0 M1 M2 S0 S1 S2 P0 P1 P2 IN OUT PLACEMENT.
int tensor(char **a) {
    std::vector<unsigned char> in = load<unsigned char>(a[22]);
    qevo::Nv12Frame f;
    f.width = arg_int(a[0]), f.height = arg_int(a[1]), f.nv21 = arg_int(a[2]) != 0;
    f.y = in.data(), f.uv = in.data() + size_t(f.width) * f.height;
    f.y_stride = f.uv_stride = f.width;
    qevo::TensorParams p;
    p.dst_width = arg_int(a[3]), p.dst_height = arg_int(a[4]);
    p.crop_x1 = arg_int(a[5]), p.crop_y1 = arg_int(a[6]);
    p.crop_x2 = arg_int(a[7]), p.crop_y2 = arg_int(a[8]);
    p.format = qevo::TensorFormat(arg_int(a[9]));
    p.fit = qevo::TensorFit(arg_int(a[10]));
    p.matrix = qevo::ColorMatrix(arg_int(a[11]));
    p.bgr = arg_int(a[12]) != 0;
    for (int c = 0; c < 3; ++c) {
        p.mean[c] = arg_float(a[13 + c]);
        p.scale[c] = arg_float(a[16 + c]);
        p.pad[c] = static_cast<unsigned char>(arg_int(a[19 + c]));
    }
    const size_t bytes = qevo::tensor_bytes(p);
    std::vector<float> buf(bytes / sizeof(float) + 1);  // aligned for every form
    qevo::TensorPlacement pl;
    const int code = qevo::nv12_to_tensor(f, p, buf.data(), bytes, &pl);
    const unsigned char *res = reinterpret_cast<const unsigned char *>(buf.data());
    const std::vector<unsigned char> out(res, res + bytes);
    save(a[23], out);
    save(a[24], std::vector<int32_t>{pl.crop_x, pl.crop_y, pl.crop_width, pl.crop_height, pl.x,
                                     pl.y, pl.width, pl.height});
    return code;
}

int suppress(const std::string &cmd, char **a, int n) {
    std::vector<QEVO::objinfo> in = to_records(load<float>(a[n - 2]), 7, 0), kept;
    const float thr = arg_float(a[cmd == "nms" ? 1 : 0]);
    if (cmd == "nms") KIVEX::nms(in, kept, thr, arg_int(a[0]));
    if (cmd == "nms1") KIVEX::nms1(in, kept, thr, 0);
    if (cmd == "nms_cls") KIVEX::nms_cls(in, kept, thr, arg_int(a[1]));
    if (cmd == "seg_nms") KIVEX::seg_NMS(in, thr, kept);
    save(a[n - 1], from_records(kept));
    return 0;
}

int track(char **a) {
    const float thr = arg_float(a[0]), sigma = arg_float(a[1]);
    const int frames = arg_int(a[2]);
    const std::vector<float> rows = load<float>(a[3]);
    std::vector<OBJTRACK> tracks;
    std::vector<double> out;  // (frame, kind, 8 values): kind 0 track, 1 filter code, 2 kept
    for (int f = 0; f < frames; ++f) {
        size_t first = 0;
        update_objtracker(frame_dets(rows, f, &first), tracks, thr);
        std::vector<double> r;
        for (OBJTRACK &t : tracks) append_track(r, t);
        std::vector<OBJTRACK> kept;
        const int code = filter_objtrackers(tracks, kept, sigma);
        for (size_t i = 0; i < r.size(); i += 8) {
            out.insert(out.end(), {double(f), 0.0});
            out.insert(out.end(), r.begin() + i, r.begin() + i + 8);
        }
        out.insert(out.end(), {double(f), 1.0, double(code), 0, 0, 0, 0, 0, 0, 0});
        for (OBJTRACK &t : kept) {
            out.insert(out.end(), {double(f), 2.0});
            append_track(out, t);
        }
    }
    save(a[4], out);
    return 0;
}

int snaptrack(char **a) {
    const float thr = arg_float(a[0]);
    const bool nv12 = std::strcmp(a[1], "nv12") == 0;
    const int frames = arg_int(a[2]), pw = arg_int(a[3]), ph = arg_int(a[4]);
    const std::vector<float> rows = load<float>(a[5]), angles = load<float>(a[6]);
    std::vector<unsigned char> patches = load<unsigned char>(a[7]);
    const size_t patch_bytes = nv12 ? size_t(pw) * ph * 3 / 2 : size_t(pw) * ph * 3;
    std::vector<std::shared_ptr<OBJTRACK>> tracks;
    std::vector<double> out;
    for (int f = 0; f < frames; ++f) {
        size_t first = 0;
        std::vector<QEVO::objinfo> dets = frame_dets(rows, f, &first);
        std::vector<QEVO::ImgMat> blocks(dets.size());
        for (size_t i = 0; i < dets.size(); ++i) {
            blocks[i].data = patches.data() + (first + i) * patch_bytes;
            blocks[i].width = pw, blocks[i].height = ph, blocks[i].depth = nv12 ? 1 : 3;
            blocks[i].inlayout = nv12 ? QEVO::NV12 : QEVO::RGB;
        }
        QEVO::SyncInfos sync{};
        sync.fAz = angles[2 * f], sync.fPt = angles[2 * f + 1];
        QEVO::ImgMat frame;
        frame.inlayout = blocks.empty() ? QEVO::NV12 : blocks[0].inlayout;
        frame.cfg = static_cast<long long>(reinterpret_cast<std::intptr_t>(&sync));
        std::vector<std::shared_ptr<OBJTRACK>> next;
        update_objtracker(dets, tracks, next, blocks, thr, &frame);
        tracks = next;
        for (auto &t : tracks) {
            out.push_back(f);
            append_track(out, *t);
        }
    }
    save(a[8], out);
    std::vector<unsigned char> mosaics;
    std::vector<float> servo;
    const size_t mosaic_bytes = nv12 ? 256 * 256 * 3 / 2 : 256 * 256 * 3;
    for (size_t i = 0; i < tracks.size(); ++i) {
        const unsigned char *m = tracks[i]->m_imgBuffer;
        if (m != nullptr) mosaics.insert(mosaics.end(), m, m + mosaic_bytes);
        for (const auto &p : tracks[i]->m_org_fAZ_PTs)
            servo.insert(servo.end(), {float(i), p.first, p.second});
    }
    save(a[9], mosaics);
    save(a[10], servo);
    return 0;
}

int motion(char **a) {
    const int frames = arg_int(a[0]);
    qevo::MotionTrackerParams p;
    p.high_score = arg_float(a[1]);
    p.low_score = arg_float(a[2]);
    p.new_track_score = arg_float(a[3]);
    p.confirm_hits = arg_int(a[4]);
    p.max_lost = arg_int(a[5]);
    const double res = std::strtod(a[6], nullptr);
    const std::vector<float> rows = load<float>(a[7]), angles = load<float>(a[8]);
    qevo::MotionTracker tracker(p);
    std::vector<double> out;
    for (int f = 0; f < frames; ++f) {
        size_t first = 0;
        std::vector<QEVO::objinfo> dets = frame_dets(rows, f, &first);
        for (size_t i = 0; i < dets.size(); ++i) dets[i].ID = static_cast<int>(i);
        QEVO::SyncInfos sync{};
        sync.fAz = angles[2 * f], sync.fPt = angles[2 * f + 1];
        const bool has = sync.fAz == sync.fAz;  // NaN: no angles for this frame
        tracker.update(dets, has ? &sync : nullptr, res);
        for (int i = 0; i < tracker.track_count(); ++i) {
            const qevo::TrackInfo &k = tracker.tracks()[i];
            const QEVO::objinfo &b = k.box;
            out.insert(out.end(),
                       {double(f), double(b.trackID), b.x1, b.y1, b.x2, b.y2, b.score,
                        double(b.classNum), double(k.state), double(k.hits), double(k.misses),
                        double(k.age), k.occlusion, k.misses == 0 ? double(b.ID) : -1.0});
        }
    }
    save(a[9], out);
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) return 2;
    const std::string cmd = argv[1];
    char **a = argv + 2;
    const int n = argc - 2;
    if (cmd == "resize") return resize(cmd, arg_int(a[0]), a + 1);
    if (cmd == "nv12" || cmd == "float") return resize(cmd, 0, a);
    if (cmd == "nms" || cmd == "nms1" || cmd == "nms_cls" || cmd == "seg_nms")
        return suppress(cmd, a, n);
    if (cmd == "sigmoid" || cmd == "softmax") {
        std::vector<float> v = load<float>(a[0]);
        if (cmd == "softmax")
            v = KIVEX::softmax(v);
        else
            for (float &x : v) x = KIVEX::sigmoid(x);
        save(a[1], v);
        return 0;
    }
    if (cmd == "make_rect") {
        std::vector<int32_t> v = load<int32_t>(a[0]), out;
        for (size_t r = 0; r + 6 <= v.size(); r += 6) {
            int x1 = v[r], y1 = v[r + 1], x2 = v[r + 2], y2 = v[r + 3];
            KIVEX::makeRect(x1, y1, x2, y2, v[r + 4], v[r + 5]);
            out.insert(out.end(), {x1, y1, x2, y2});
        }
        save(a[1], out);
        return 0;
    }
    if (cmd == "servo") {
        std::vector<double> v = load<double>(a[0]);
        std::vector<float> out;
        for (size_t r = 0; r + 5 <= v.size(); r += 5) {
            const float p = float(v[r]), q = float(v[r + 1]);
            const int w = int(v[r + 3]), h = int(v[r + 4]);
            out.insert(out.end(), {KIVEX::servo_calc_Az(p, q, v[r + 2], w, h),
                                   KIVEX::servo_calc_Pt(p, q, v[r + 2], w, h),
                                   KIVEX::servo_calc_ImgX(p, q, v[r + 2], w, h),
                                   KIVEX::servo_calc_ImgY(p, q, v[r + 2], w, h)});
        }
        save(a[1], out);
        return 0;
    }
    if (cmd == "rgb") return rgb(a);
    if (cmd == "tensor") return tensor(a);
    if (cmd == "track") return track(a);
    if (cmd == "snaptrack") return snaptrack(a);
    if (cmd == "motion") return motion(a);
    std::fprintf(stderr, "unknown command %s\n", cmd.c_str());
    return 2;
}
