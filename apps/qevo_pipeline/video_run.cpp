#include "video_run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include "app.h"
#include "frame_pipeline.h"
#include "json_writer.h"
#include "mat_pixel_resize.h"
#include "metrics.h"
#include "people_detector.h"
#include "raster.h"
#include "run_stats.h"
#include "sequence_run.h"
#include "servo_sim.h"
#include "utils.h"
#include "video_source.h"
#include "virtual_pan.h"

namespace pipeline {

int choose_target(const std::vector<MotBox> &tracks, const std::vector<int> &first_seen,
                  int follow) {
    int best = -1;
    for (const MotBox &t : tracks) {
        if (follow >= 0) {
            if (t.id == follow) return follow;
            continue;
        }
        const auto seen = [&first_seen](int id) {
            return id >= 0 && id < static_cast<int>(first_seen.size()) ? first_seen[id] : 1 << 30;
        };
        if (best < 0 || seen(t.id) < seen(best) || (seen(t.id) == seen(best) && t.id < best))
            best = t.id;
    }
    return best;
}

namespace {

namespace fs = std::filesystem;

// The annotated video: H.264 in MP4 where the encoder is there, else MPEG-4
// Part 2 in MP4, else Motion JPEG in AVI.
struct VideoOut {
    cv::VideoWriter writer;
    std::string file, codec;

    bool open(const std::string &dir, double fps, int w, int h) {
        const struct {
            const char *fourcc, *file, *codec;
        } choices[] = {{"avc1", "view.mp4", "H.264 (MP4)"},
                       {"mp4v", "view.mp4", "MPEG-4 Part 2 (MP4)"},
                       {"MJPG", "view.avi", "Motion JPEG (AVI)"}};
        for (const auto &c : choices) {
            const int fourcc =
                cv::VideoWriter::fourcc(c.fourcc[0], c.fourcc[1], c.fourcc[2], c.fourcc[3]);
            if (writer.open(dir + "/" + c.file, cv::CAP_FFMPEG, fourcc, fps, cv::Size(w, h)) ||
                writer.open(dir + "/" + c.file, fourcc, fps, cv::Size(w, h))) {
                file = c.file;
                codec = c.codec;
                return true;
            }
        }
        return false;
    }
};

cv::Scalar track_colour(int id) {
    const std::vector<int> c = KIVEX::get_color(id);
    return cv::Scalar(c[2], c[1], c[0]);  // BGR
}

// The view as the application shows it: tracks with identifiers, the target,
// the servo's aim at the centre, and the whole frame in an inset with the
// view's window on it.
cv::Mat annotate(const std::vector<uint8_t> &view_nv12, int vw, int vh, const cv::Mat &frame,
                 int vx, int vy, const FrameOutput &fo, const std::vector<MotBox> &tracks,
                 int target, const QEVO::SyncInfos &sync, int number) {
    cv::Mat img(vh, vw, CV_8UC3);
    qevo::nv12_to_rgb(view_nv12.data(), vw, vh, img.data, /*bgr=*/true);
    for (const MotBox &d : fo.detections)
        cv::rectangle(img, cv::Point(std::lround(d.x1), std::lround(d.y1)),
                      cv::Point(std::lround(d.x2), std::lround(d.y2)), cv::Scalar(160, 160, 160),
                      1);
    for (const MotBox &t : tracks) {
        const cv::Point a(std::lround(t.x1), std::lround(t.y1)),
            b(std::lround(t.x2), std::lround(t.y2));
        const bool is_target = t.id == target;
        cv::rectangle(img, a, b, is_target ? cv::Scalar(255, 255, 255) : track_colour(t.id),
                      is_target ? 3 : 2);
        const std::string label = (is_target ? "TARGET #" : "#") + std::to_string(t.id);
        cv::putText(img, label, a + cv::Point(2, -4), cv::FONT_HERSHEY_SIMPLEX, 0.45,
                    track_colour(t.id), 1, cv::LINE_AA);
    }
    const cv::Point c(vw / 2, vh / 2);  // the servo aims the view's centre
    cv::line(img, c - cv::Point(10, 0), c + cv::Point(10, 0), cv::Scalar(0, 255, 255), 1);
    cv::line(img, c - cv::Point(0, 10), c + cv::Point(0, 10), cv::Scalar(0, 255, 255), 1);
    char hud[96];
    std::snprintf(hud, sizeof hud, "frame %d  az %.2f  pt %.2f", number, sync.fAz, sync.fPt);
    cv::putText(img, hud, cv::Point(6, vh - 8), cv::FONT_HERSHEY_SIMPLEX, 0.45,
                cv::Scalar(0, 255, 255), 1, cv::LINE_AA);
    // Inset: the whole frame at a quarter of the view's width, top right.
    const int iw = std::max(16, vw / 4) & ~1;
    const int ih = std::max(2, iw * frame.rows / frame.cols);
    cv::Mat inset(ih, iw, CV_8UC3);
    const cv::Mat whole = frame.isContinuous() ? frame : frame.clone();
    resize_bilinear_c3(whole.data, whole.cols, whole.rows, inset.data, iw, ih);
    const double s = static_cast<double>(iw) / frame.cols;
    cv::rectangle(inset, cv::Point(std::lround(vx * s), std::lround(vy * s)),
                  cv::Point(std::lround((vx + vw) * s) - 1, std::lround((vy + vh) * s) - 1),
                  cv::Scalar(0, 255, 255), 1);
    const cv::Rect place(vw - iw - 4, 4, iw, ih);
    inset.copyTo(img(place));
    cv::rectangle(img, place, cv::Scalar(0, 0, 0), 1);
    return img;
}

RgbImage to_rgb(const cv::Mat &bgr) {
    RgbImage out(bgr.cols, bgr.rows);
    cv::Mat rgb(bgr.rows, bgr.cols, CV_8UC3, out.pixels.data());
    cv::cvtColor(bgr, rgb, cv::COLOR_BGR2RGB);
    return out;
}

// The boxes of a recording's frame as the view at (vx, vy) sees them.
std::vector<MotBox> in_view(const MotSequence &seq, int frame, int vx, int vy, int vw, int vh) {
    std::vector<MotBox> out;
    auto it = seq.find(frame);
    if (it == seq.end()) return out;
    for (const MotBox &b : it->second) {
        MotBox v;
        if (into_view(b, vx, vy, vw, vh, v)) out.push_back(v);
    }
    return out;
}

std::string view_line(int frame, int vx, int vy, int vw, int vh) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "%d,%d,%d,%d,%d", frame, vx + 1, vy + 1, vw, vh);
    return buf;
}

// Sum over frames of the listed stages of the pipeline.
std::vector<double> stage_sum(const FramePipeline &pipe,
                              std::initializer_list<const char *> names) {
    std::vector<double> sum;
    for (const StageTimes &s : pipe.stages())
        for (const char *n : names)
            if (s.name == n) {
                if (sum.size() < s.ms.size()) sum.resize(s.ms.size(), 0.0);
                for (size_t i = 0; i < s.ms.size(); ++i) sum[i] += s.ms[i];
            }
    return sum;
}

}  // namespace

int run_video(const Options &opt) {
    const auto wall0 = std::chrono::steady_clock::now();
    std::string err;
    std::unique_ptr<VideoSource> src = VideoSource::open(opt.video_file, err);
    if (!src) return fail(err);
    const int W = src->width(), H = src->height();

    // Detections and ground truth of the recording, checked before anything is written.
    SequenceData data;
    if ((!opt.dets_file.empty() || !opt.gt_file.empty()) &&
        !load_sequence(opt.dets_file, opt.gt_file, opt.scoring, data, err))
        return fail(err);
    int limit = src->announced_frames();
    if (opt.length > 0) limit = limit > 0 ? std::min(limit, opt.length) : opt.length;
    for (const MotSequence *s : {&data.dets, &data.gt.scored, &data.gt.not_evaluated})
        if (src->announced_frames() > 0 && last_frame(*s) > src->announced_frames())
            return fail("'" + (s == &data.dets ? opt.dets_file : opt.gt_file) + "' reaches frame " +
                        std::to_string(last_frame(*s)) + ", beyond the " +
                        std::to_string(src->announced_frames()) + " frames of '" + opt.video_file +
                        "'");

    // The camera's view and its servo.
    const int vw = std::max(16, static_cast<int>(std::lround(W * opt.view_fraction)) & ~1);
    const int vh = std::max(16, static_cast<int>(std::lround(H * opt.view_fraction)) & ~1);
    ServoConfig sc;
    sc.scene_w = W, sc.scene_h = H, sc.view_w = vw, sc.view_h = vh;
    sc.resolution = opt.resolution;
    sc.max_slew = opt.servo ? opt.slew : 0.0;
    ServoSim servo(sc);

    DetectorConfig dc;
    dc.input_scale = opt.detect_scale;
    PeopleDetector detector(dc);
    const qevo::TensorParams input = detector.input_params(vw, vh);
    std::vector<unsigned char> tensor(qevo::tensor_bytes(input));
    const bool live = opt.dets_file.empty();

    PipelineConfig pc = pipeline_config(opt, vw, vh);
    pc.network_input = false;  // the detector's input is laid out above
    // The detector's scores are sigmoid(SVM margin): 0.5 at the margin 0.
    if (live && !std::isfinite(opt.high_score)) pc.motion_params.high_score = 0.6f;
    if (live && !std::isfinite(opt.new_track_score)) pc.motion_params.new_track_score = 0.65f;
    FramePipeline pipe(pc);
    const bool motion = opt.motion();

    // Outputs go to a folder of their own and are moved into place at the end.
    const std::string out = opt.out_dir, tmp = out + "/.partial";
    std::error_code ec;
    fs::remove_all(tmp, ec);
    if (!make_dirs(tmp + "/frames", err)) return fail("cannot use output folder: " + err);
    VideoOut video;
    if (!video.open(tmp, src->fps(), vw, vh))
        return fail("cannot write a video in '" + tmp + "': no encoder for MP4 or AVI");
    std::string tracks_txt, scene_txt, view_txt, servo_csv = "frame,az,pt,target,aim_az,aim_pt\n";

    ProgressBar bar(limit > 0 ? limit : 0, progress_wanted(opt));
    StageTimes decode{"decode", {}}, layout{"layout", {}}, detect{"detector", {}},
        steer{"servo", {}}, draw{"drawing", {}};
    MotSequence tracked, gt_view_scored, gt_view_ignored;
    std::vector<RgbImage> thumbs;
    std::vector<int> first_seen;
    long boxes = 0;
    int frames = 0, target = -1;
    cv::Mat bgr;
    std::vector<uint8_t> nv12, view_nv12(static_cast<size_t>(QEVO::yuv420sp_size(vw, vh)));
    for (int f = 1; limit <= 0 || f <= limit; ++f) {
        StageClock clock;
        if (!src->next(bgr, nv12)) break;
        decode.ms.push_back(clock.elapsed_ms());
        frames = f;
        const QEVO::SyncInfos sync = servo.angles();
        const int vx = servo.view_x(), vy = servo.view_y();

        clock = StageClock();
        KIVEX::crop_yuv(nv12.data(), W, H, vx, vy, vx + vw, vy + vh, view_nv12.data());
        qevo::Nv12Frame view;
        view.y = view_nv12.data();
        view.uv = view_nv12.data() + static_cast<size_t>(vw) * vh;
        view.y_stride = view.uv_stride = vw;
        view.width = vw, view.height = vh;
        qevo::TensorPlacement where;
        const bool laid_out =
            live && qevo::nv12_to_tensor(view, input, tensor.data(), tensor.size(), &where) == 0;
        layout.ms.push_back(clock.elapsed_ms());

        clock = StageClock();
        std::vector<MotBox> dets =
            live ? (laid_out ? detector.detect(tensor.data(), input, where) : std::vector<MotBox>())
                 : in_view(data.dets, f, vx, vy, vw, vh);
        dets.erase(std::remove_if(dets.begin(), dets.end(),
                                  [&](const MotBox &d) { return d.score < opt.min_score; }),
                   dets.end());
        detect.ms.push_back(clock.elapsed_ms());
        boxes += static_cast<long>(dets.size());

        const FrameOutput fo = pipe.process(f, view_nv12.data(), sync, dets, {});
        const std::vector<MotBox> &reported = motion ? fo.tracks_motion : fo.tracks;

        clock = StageClock();
        for (const MotBox &t : reported) {
            if (t.id >= static_cast<int>(first_seen.size())) first_seen.resize(t.id + 1, 1 << 30);
            first_seen[t.id] = std::min(first_seen[t.id], f);
        }
        target = choose_target(reported, first_seen, opt.follow);
        float aim_az = sync.fAz, aim_pt = sync.fPt;
        for (const MotBox &t : reported)
            if (t.id == target) {
                aim_az =
                    KIVEX::servo_calc_Az(sync.fAz, (t.x1 + t.x2) * 0.5f, opt.resolution, vw, vh);
                aim_pt =
                    KIVEX::servo_calc_Pt(sync.fPt, (t.y1 + t.y2) * 0.5f, opt.resolution, vw, vh);
                servo.command(aim_az, aim_pt);
            }
        steer.ms.push_back(clock.elapsed_ms());

        clock = StageClock();
        const cv::Mat shown =
            annotate(view_nv12, vw, vh, bgr, vx, vy, fo, reported, target, sync, f);
        video.writer.write(shown);
        if ((f - 1) % opt.every == 0) {
            const RgbImage rgb = to_rgb(shown);
            char name[64];
            std::snprintf(name, sizeof name, "/frames/frame_%06d.png", f);
            if (!write_png(tmp + name, rgb, err)) return fail(err);
            thumbs.push_back(scaled(rgb, 320, std::max(2, 320 * vh / vw)));
        }
        draw.ms.push_back(clock.elapsed_ms());

        for (const MotBox &t : reported) {
            tracked[f].push_back(t);
            tracks_txt += format_track_line(f, t) + "\n";
            MotBox s = t;
            s.x1 += vx, s.x2 += vx, s.y1 += vy, s.y2 += vy;
            scene_txt += format_track_line(f, s) + "\n";
        }
        view_txt += view_line(f, vx, vy, vw, vh) + "\n";
        char line[128];
        std::snprintf(line, sizeof line, "%d,%.4f,%.4f,%d,%.4f,%.4f\n", f, sync.fAz, sync.fPt,
                      target, aim_az, aim_pt);
        servo_csv += line;
        for (const MotBox &g : in_view(data.gt.scored, f, vx, vy, vw, vh))
            gt_view_scored[f].push_back(g);
        for (const MotBox &g : in_view(data.gt.not_evaluated, f, vx, vy, vw, vh))
            gt_view_ignored[f].push_back(g);
        bar.update(f);
    }
    bar.finish();
    video.writer.release();
    if (frames == 0) {
        fs::remove_all(tmp, ec);
        return fail("no frame of '" + opt.video_file + "' could be decoded");
    }
    const bool stopped = src->stopped_early() && (opt.length <= 0 || frames < opt.length);
    if (stopped)
        std::fprintf(stderr,
                     "qevo_pipeline: warning: decoding of '%s' stopped after %d of the %d frames "
                     "it announces; the results cover those %d frames\n",
                     opt.video_file.c_str(), frames, src->announced_frames(), frames);
    if (!thumbs.empty() &&
        !write_png(tmp + "/contact_sheet.png",
                   contact_sheet(thumbs, 4, 320, std::max(2, 320 * vh / vw), 4), err))
        return fail(err);
    if (!write_text(tmp + "/tracks.txt", tracks_txt, err) ||
        !write_text(tmp + "/tracks_scene.txt", scene_txt, err) ||
        !write_text(tmp + "/view.txt", view_txt, err) ||
        !write_text(tmp + "/servo.csv", servo_csv, err))
        return fail(err);

    // Quality against the ground truth, clipped to the view as it moved.
    const bool have_gt = data.have_gt;
    GroundTruth gt_view;
    gt_view.scored = gt_view_scored;
    gt_view.not_evaluated = gt_view_ignored;
    const TrackingMetrics m = score_against(gt_view, tracked);

    const std::vector<double> suppression = stage_sum(pipe, {"nms"});
    const std::vector<double> tracker =
        stage_sum(pipe, {"patches", "track", "readback", "motion_tracker", "second_tracker"});
    const double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
    JsonWriter j;
    j.begin_object();
    j.begin_object("input")
        .value("video", opt.video_file)
        .value("width", W)
        .value("height", H)
        .value("fps", src->fps())
        .value("frames", frames)
        .value("announced_frames", src->announced_frames())
        .value("decoding_stopped_early", stopped);
    if (!live) j.value("detections_file", opt.dets_file);
    if (have_gt) j.value("ground_truth_file", opt.gt_file);
    j.end_object();
    j.begin_object("view")
        .value("width", vw)
        .value("height", vh)
        .value("fraction", opt.view_fraction)
        .end_object();
    j.begin_object("servo")
        .value("moving", opt.servo)
        .value("resolution_deg_per_px", opt.resolution)
        .value("max_slew_deg_per_frame", opt.slew)
        .value("follow", opt.follow)
        .value("last_target", target)
        .end_object();
    j.begin_object("detector");
    if (live)
        j.value("kind", "OpenCV HOG people detector (built-in coefficients)")
            .value("input_width", input.dst_width)
            .value("input_height", input.dst_height)
            .value("pyramid_step", detector.config().pyramid_step)
            .value("margin", detector.config().margin);
    else
        j.value("kind", "detection file");
    j.value("boxes_per_frame", static_cast<double>(boxes) / frames).end_object();
    auto stage = [&j](const char *name, const std::vector<double> &ms) {
        const StageTimes s{name, ms};
        j.begin_object(name).value("mean", s.mean()).value("p95", s.p95()).end_object();
    };
    j.begin_object("stages_ms");
    stage("decode", decode.ms);
    stage("layout", layout.ms);
    stage("detector", detect.ms);
    stage("suppression", suppression);
    stage("tracker", tracker);
    stage("servo", steer.ms);
    stage("drawing", draw.ms);
    j.end_object();
    j.value("wall_seconds", wall);
    j.value("tracks", motion ? pipe.ids_motion().trajectories() : pipe.ids().trajectories());
    j.value("steering_tracker", motion ? "motion" : "exact");
    if (have_gt) {
        j.begin_object("quality")
            .value("mota", m.mota)
            .value("idf1", m.idf1)
            .value("hota", m.hota)
            .value("id_switches", m.id_switches)
            .value("false_positives", m.false_positives)
            .value("misses", m.misses)
            .value("gt_boxes", m.gt_boxes)
            .end_object();
    } else {
        j.null("quality");
    }
    j.begin_object("outputs")
        .value("video", video.file)
        .value("codec", video.codec)
        .value("annotated_frames", static_cast<long>(thumbs.size()))
        .end_object();
    j.end_object();
    if (!write_text(tmp + "/summary.json", j.str(), err)) return fail(err);

    // Into place: the files, then the pictures' folder.
    for (const char *f : {"view.mp4", "view.avi", "contact_sheet.png", "tracks.txt",
                          "tracks_scene.txt", "view.txt", "servo.csv", "summary.json"}) {
        fs::remove(out + "/" + f, ec);
        if (fs::exists(tmp + "/" + f)) fs::rename(tmp + "/" + f, out + "/" + f, ec);
        if (ec)
            return fail("cannot move '" + std::string(f) + "' into '" + out + "': " + ec.message());
    }
    fs::remove_all(out + "/frames", ec);
    fs::rename(tmp + "/frames", out + "/frames", ec);
    fs::remove_all(tmp, ec);

    std::printf("qevo_pipeline: %d frames of %dx%d from %s, view %dx%d, %.1f s\n", frames, W, H,
                opt.video_file.c_str(), vw, vh, wall);
    const StageTimes sup{"", suppression}, trk{"", tracker};
    std::printf(
        "  ms per frame: decode %.2f  layout %.2f  detector %.2f  suppression %.3f  "
        "tracker %.3f  servo %.3f  drawing %.2f\n",
        decode.mean(), layout.mean(), detect.mean(), sup.mean(), trk.mean(), steer.mean(),
        draw.mean());
    std::printf("  %.2f boxes per frame, %d tracks", static_cast<double>(boxes) / frames,
                motion ? pipe.ids_motion().trajectories() : pipe.ids().trajectories());
    if (have_gt) std::printf("; MOTA %.3f  IDF1 %.3f  HOTA %.3f", m.mota, m.idf1, m.hota);
    std::printf(
        "\n  outputs in %s/: %s (%s), contact_sheet.png, summary.json, tracks.txt, "
        "tracks_scene.txt, view.txt\n",
        out.c_str(), video.file.c_str(), video.codec.c_str());
    return 0;
}

}  // namespace pipeline
