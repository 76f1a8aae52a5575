#include "app.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>

#include "frame_pipeline.h"
#include "frame_source.h"
#include "json_writer.h"
#include "metrics.h"
#include "mot_root.h"
#include "raster.h"
#include "scene.h"
#include "sequence_info.h"
#include "sequence_run.h"
#include "utils.h"
#include "video_run.h"

namespace pipeline {

bool make_dirs(const std::string &path, std::string &error) {
    std::string cur;
    size_t pos = 0;
    while (pos <= path.size()) {
        const size_t slash = path.find('/', pos);
        cur = path.substr(0, slash == std::string::npos ? path.size() : slash);
        pos = slash == std::string::npos ? path.size() + 1 : slash + 1;
        if (cur.empty()) continue;
        if (mkdir(cur.c_str(), 0777) != 0 && errno != EEXIST) {
            error = "cannot create folder '" + cur + "': " + std::strerror(errno);
            return false;
        }
    }
    struct stat st {};
    if (stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        error = "'" + path + "' is not a folder";
        return false;
    }
    return true;
}

PipelineConfig pipeline_config(const Options &opt, int width, int height) {
    PipelineConfig pc;
    pc.width = width;
    pc.height = height;
    pc.nms_iou = opt.nms_iou;
    pc.match_distance = opt.match_distance;
    pc.match_iou = opt.match_iou;
    pc.filter_sigma = opt.filter_sigma;
    pc.resolution = opt.resolution;
    pc.exact = opt.exact();
    pc.motion = opt.motion();
    pc.coast = opt.coast;
    if (std::isfinite(opt.high_score)) pc.motion_params.high_score = opt.high_score;
    if (std::isfinite(opt.low_score)) pc.motion_params.low_score = opt.low_score;
    if (std::isfinite(opt.new_track_score)) pc.motion_params.new_track_score = opt.new_track_score;
    return pc;
}

bool progress_wanted(const Options &opt) {
    return opt.progress == 1 || (opt.progress < 0 && isatty(STDERR_FILENO));
}

int fail(const std::string &msg) {
    std::fprintf(stderr, "qevo_pipeline: %s\n", msg.c_str());
    return 1;
}

bool write_text(const std::string &path, const std::string &text, std::string &error) {
    std::ofstream f(path, std::ios::binary);
    f << text;
    f.close();
    if (!f) error = "cannot write '" + path + "': " + std::strerror(errno);
    return static_cast<bool>(f);
}

namespace {

// A text output file; remembers the first write failure.
class TextOut {
  public:
    bool open(const std::string &path) {
        path_ = path;
        f_ = std::fopen(path.c_str(), "w");
        return f_ != nullptr;
    }
    void line(const std::string &s) {
        if (f_ != nullptr && (std::fputs(s.c_str(), f_) < 0 || std::fputc('\n', f_) == EOF))
            failed_ = true;
    }
    bool close() {
        if (f_ == nullptr) return true;
        if (std::ferror(f_)) failed_ = true;
        if (std::fclose(f_) != 0) failed_ = true;
        f_ = nullptr;
        return !failed_;
    }
    ~TextOut() {
        if (f_ != nullptr) std::fclose(f_);
    }
    const std::string &path() const { return path_; }

  private:
    FILE *f_ = nullptr;
    std::string path_;
    bool failed_ = false;
};

Rgb track_color(int id) {
    const std::vector<int> c = KIVEX::get_color(id);
    return Rgb{static_cast<uint8_t>(c[0]), static_cast<uint8_t>(c[1]), static_cast<uint8_t>(c[2])};
}

RgbImage annotate(const uint8_t *nv12, int w, int h, int frame, const FrameOutput &fo) {
    RgbImage img = nv12_to_rgb(nv12, w, h);
    const int scale = std::max(1, w / 640);
    for (const MotBox &d : fo.detections)
        draw_box(img, static_cast<int>(d.x1), static_cast<int>(d.y1), static_cast<int>(d.x2) - 1,
                 static_cast<int>(d.y2) - 1, Rgb{150, 150, 150}, 1);
    for (const MotBox &t : fo.tracks_motion.empty() ? fo.tracks : fo.tracks_motion) {
        const Rgb c = track_color(t.id);
        const int x1 = static_cast<int>(std::floor(t.x1)), y1 = static_cast<int>(std::floor(t.y1));
        const int x2 = static_cast<int>(std::ceil(t.x2)) - 1,
                  y2 = static_cast<int>(std::ceil(t.y2)) - 1;
        draw_box(img, x1, y1, x2, y2, c, 2 * scale);
        draw_label(img, std::max(0, x1), std::max(0, y1), "#" + std::to_string(t.id), c, scale * 2);
        if (t.id == fo.main_target) {
            const int cx = (x1 + x2) / 2, cy = (y1 + y2) / 2, r = 8 * scale;
            fill_rect(img, cx - r, cy - scale / 2, cx + r, cy + scale / 2, Rgb{255, 255, 255});
            fill_rect(img, cx - scale / 2, cy - r, cx + scale / 2, cy + r, Rgb{255, 255, 255});
        }
    }
    const std::string head = "FRAME " + std::to_string(frame) + "  TRACKS " +
                             std::to_string(std::max(fo.tracks.size(), fo.tracks_motion.size()));
    draw_label(img, 4 * scale, 4 * scale, head, Rgb{20, 20, 20}, 2 * scale);
    return img;
}

void write_stage(JsonWriter &j, const char *name, const std::vector<double> &ms) {
    StageTimes s{name, ms};
    j.begin_object(name).value("mean", s.mean()).value("p95", s.p95()).end_object();
}

void write_metrics(JsonWriter &j, const char *key, const TrackingMetrics &m,
                   const TrajectoryIds &ids, bool have_gt) {
    j.begin_object(key);
    j.value("track_ids", m.track_ids).value("track_boxes", m.track_boxes);
    j.begin_object("identifiers")
        .value("trajectories", ids.trajectories())
        .value("library_ids_reused", ids.reused_library_ids())
        .value("remapped", ids.remapped())
        .end_object();
    if (have_gt) {
        j.value("mota", m.mota)
            .value("motp_iou", m.motp)
            .value("idf1", m.idf1)
            .value("idp", m.idp)
            .value("idr", m.idr)
            .value("hota", m.hota)
            .value("deta", m.deta)
            .value("assa", m.assa)
            .value("loca", m.loca)
            .value("id_switches", m.id_switches)
            .value("fragmentations", m.fragmentations)
            .value("mostly_tracked", m.mostly_tracked)
            .value("partly_tracked", m.partly_tracked)
            .value("mostly_lost", m.mostly_lost)
            .value("removed_on_not_evaluated", m.removed)
            .value("matches", m.matches)
            .value("misses", m.misses)
            .value("false_positives", m.false_positives);
    }
    j.end_object();
}

std::string frame_name(int frame) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "frame_%06d.png", frame);
    return buf;
}

// Size and length of the stand-in frames of a run on detections alone:
// seqinfo.ini in the detections' folder or the one above it (a benchmark's
// SEQ/det/det.txt), else the size from --size or from the boxes and the
// length from the last frame with boxes.
bool standin_geometry(const Options &opt, const SequenceData &data, int &w, int &h, int &frames,
                      std::string &size_from, std::string &error) {
    w = opt.width;
    h = opt.height;
    size_from = "--size";
    const size_t slash = opt.dets_file.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : opt.dets_file.substr(0, slash + 1);
    for (const std::string &ini : {dir + "seqinfo.ini", dir + "../seqinfo.ini"}) {
        if (access(ini.c_str(), F_OK) != 0) continue;
        SequenceInfo info;
        if (!read_sequence_info(ini, info, error)) return false;
        if (w == 0) {
            w = info.width;
            h = info.height;
            size_from = ini;
        }
        frames = info.length;
        return true;
    }
    frames = std::max(
        {last_frame(data.dets), last_frame(data.gt.scored), last_frame(data.gt.not_evaluated)});
    if (frames == 0) {
        error = "'" + opt.dets_file + "' holds no detections: nothing to run";
        return false;
    }
    if (w > 0) return true;
    double bw = 0, bh = 0, gw = 0, gh = 0;
    box_extent(data.dets, bw, bh);
    box_extent(data.gt.scored, gw, gh);
    bw = std::max(bw, gw);
    bh = std::max(bh, gh);
    if (bw < 1 || bh < 1 || bw > kMaxFrameSide || bh > kMaxFrameSide) {
        const std::string side = std::to_string(kMaxFrameSide);
        error = "the boxes reach " + std::to_string(static_cast<long>(bw)) + "x" +
                std::to_string(static_cast<long>(bh)) + ", not a frame size from 1x1 to " + side +
                "x" + side + ": give --size";
        return false;
    }
    w = static_cast<int>(bw);
    h = static_cast<int>(bh);
    size_from = "boxes";
    return true;
}

}  // namespace

int run_program(const Options &opt) {
    if (!opt.mot_root.empty()) return run_mot_root(opt);
    if (!opt.video_file.empty()) return run_video(opt);
    const auto wall0 = std::chrono::steady_clock::now();
    std::string err;
    const bool builtin = !opt.user_data();
    int W = opt.width, H = opt.height;  // size of the frames (or of the boxes' picture)
    std::string size_from = builtin ? "built-in scene" : "--size";

    // Inputs.
    std::unique_ptr<Scene> scene;
    std::unique_ptr<FrameSource> source;
    SequenceData data;
    bool have_gt = builtin;
    int num_classes = 1;
    int frame_w = W, frame_h = H;  // size of the NV12 frames
    if (builtin) {
        SceneConfig sc;
        sc.width = W;
        sc.height = H;
        sc.frames = opt.scene_frames;
        scene.reset(new Scene(sc));
        source.reset(new SceneSource(*scene));
        num_classes = scene->num_classes();
    } else {
        if (!load_sequence(opt.dets_file, opt.gt_file, opt.scoring, data, err)) return fail(err);
        have_gt = data.have_gt;
        if (!opt.frames_file.empty()) {
            source = RawFileSource::open(opt.frames_file, W, H, opt.header, err);
            if (!source) return fail(err);
        } else {
            int n = 0;
            if (!standin_geometry(opt, data, W, H, n, size_from, err)) return fail(err);
            GreySource *grey = new GreySource(W, H, n);
            source.reset(grey);
            frame_w = grey->width();
            frame_h = grey->height();
        }
    }
    ServoTrack servo;
    if (!opt.servo_file.empty() && !load_servo(opt.servo_file, servo, err)) return fail(err);
    int frames = source->count();
    if (opt.length > 0) frames = std::min(frames, opt.length);
    if (!builtin) keep_frames(data, frames, "qevo_pipeline");
    MotSequence &gt = data.gt.scored;

    // Output folder.
    const std::string out = opt.out_dir;
    if (!make_dirs(out, err) || !make_dirs(out + "/frames", err) ||
        !make_dirs(out + "/snapshots", err))
        return fail("cannot use output folder: " + err);
    TextOut tracks_txt, inplace_txt, motion_txt, servo_csv, gt_txt, det_txt;
    if ((opt.exact() && (!tracks_txt.open(out + "/tracks.txt") ||
                         !inplace_txt.open(out + "/tracks_inplace.txt"))) ||
        (opt.motion() && !motion_txt.open(out + "/tracks_motion.txt")) ||
        !servo_csv.open(out + "/servo.csv") ||
        (builtin && (!gt_txt.open(out + "/gt.txt") || !det_txt.open(out + "/det.txt"))))
        return fail("cannot write to output folder '" + out + "': " + std::strerror(errno));
    servo_csv.line("frame,az,pt,target_id,target_az,target_pt");

    PipelineConfig pc = pipeline_config(opt, frame_w, frame_h);
    pc.num_classes = num_classes;
    if (builtin) {
        pc.resolution = scene->resolution();
        // The scene's simulated detector scores its real boxes 0.55 to 0.95 and
        // its inventions 0.3 to 0.6: confident from 0.5, new tracks from 0.6.
        if (!std::isfinite(opt.high_score)) pc.motion_params.high_score = 0.5f;
        if (!std::isfinite(opt.new_track_score)) pc.motion_params.new_track_score = 0.6f;
    }
    FramePipeline pipe(pc);

    std::string output_error;
    int mosaics = 0;
    auto sink = [&](int id, const uint8_t *nv12) {
        char name[64];
        std::snprintf(name, sizeof name, "/snapshots/track_%04d.png", id);
        std::string e;
        if (!write_png(out + name, nv12_to_rgb(nv12, 256, 256), e)) {
            if (output_error.empty()) output_error = e;
        } else {
            ++mosaics;
        }
    };

    ProgressBar bar(frames, progress_wanted(opt));
    MotSequence main_seq, inplace_seq, motion_seq;
    std::vector<RgbImage> thumbs;
    const int thumb_w = 320, thumb_h = std::max(2, 320 * frame_h / frame_w);
    const int preview_frame = 1 + (frames - 1) / 2 / opt.every * opt.every;
    long annotated = 0;
    RunCounts counts;
    FrameOutput last;

    auto inputs = [&](int f, QEVO::SyncInfos &frame_sync, std::vector<MotBox> &frame_dets) {
        if (builtin) {
            const ServoState s = scene->servo(f);
            frame_sync.fAz = s.az;
            frame_sync.fPt = s.pt;
            frame_dets = scene->detections(f);
            for (MotBox g : scene->ground_truth(f)) {
                gt[f].push_back(g);
                gt_txt.line(format_gt_line(f, g));
            }
            for (const MotBox &d : frame_dets) det_txt.line(format_det_line(f, d));
        } else {
            servo_angles(servo.empty() && opt.servo_file.empty() ? nullptr : &servo, f, frame_sync);
            auto it = data.dets.find(f);
            if (it != data.dets.end()) frame_dets = it->second;
        }
    };
    auto result = [&](int f, const QEVO::SyncInfos &sync, const std::vector<uint8_t> &nv12,
                      const FrameOutput &fo, std::string &e) {
        for (const MotBox &t : fo.tracks) {
            main_seq[f].push_back(t);
            tracks_txt.line(format_track_line(f, t));
        }
        for (const MotBox &t : fo.tracks_inplace) {
            inplace_seq[f].push_back(t);
            inplace_txt.line(format_track_line(f, t));
        }
        for (const MotBox &t : fo.tracks_motion) {
            motion_seq[f].push_back(t);
            motion_txt.line(format_track_line(f, t));
        }
        char line[160];
        std::snprintf(line, sizeof line, "%d,%.4f,%.4f,%d,%.4f,%.4f", f, sync.fAz, sync.fPt,
                      fo.main_target, fo.servo_az, fo.servo_pt);
        servo_csv.line(line);
        last = fo;
        if ((f - 1) % opt.every != 0) return true;
        RgbImage img = annotate(nv12.data(), frame_w, frame_h, f, fo);
        if (!write_png(out + "/frames/" + frame_name(f), img, e)) return false;
        ++annotated;
        thumbs.push_back(scaled(img, thumb_w, thumb_h));
        return f != preview_frame ||
               write_png(out + "/preview.png",
                         scaled(img, 640, std::max(2, 640 * frame_h / frame_w)), e);
    };
    if (!run_frames(pipe, *source, frames, opt.min_score, inputs, result, sink, bar, 0, counts,
                    err))
        return fail(err);
    bar.finish();
    pipe.finish(sink);
    if (!output_error.empty()) return fail(output_error);
    if (!thumbs.empty() &&
        !write_png(out + "/contact_sheet.png", contact_sheet(thumbs, 4, thumb_w, thumb_h, 4), err))
        return fail(err);
    for (TextOut *t : {&tracks_txt, &inplace_txt, &motion_txt, &servo_csv, &gt_txt, &det_txt})
        if (!t->close()) return fail("write error on '" + t->path() + "'");

    // Quality and timing.
    const TrackingMetrics mm = score_against(data.gt, main_seq);
    const TrackingMetrics mi = score_against(data.gt, inplace_seq);
    const TrackingMetrics mo = score_against(data.gt, motion_seq);
    const std::vector<double> per_frame = pipe.frame_ms();
    const double total_ms = StageTimes{"", per_frame}.total();
    const double fps = total_ms > 0 ? frames * 1000.0 / total_ms : 0.0;
    const double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();

    JsonWriter j;
    j.begin_object();
    j.begin_object("input");
    j.value("source", builtin ? "built-in scene" : "user data");
    j.value("size_from", size_from);
    if (frame_w != W || frame_h != H)
        j.value("frame_width", frame_w).value("frame_height", frame_h);
    if (std::isfinite(opt.min_score)) j.value("min_score", opt.min_score);
    if (!opt.frames_file.empty()) j.value("frames_file", opt.frames_file);
    if (!opt.dets_file.empty()) j.value("detections_file", opt.dets_file);
    if (!opt.gt_file.empty()) j.value("ground_truth_file", opt.gt_file);
    j.value("width", W).value("height", H).value("frames", frames);
    j.end_object();
    j.begin_object("network_input")
        .value("resized_width", pipe.network_width())
        .value("resized_height", pipe.network_height())
        .value("tensor_layout", "CHW")
        .value("tensor_width", pipe.network_width())
        .value("tensor_height", pipe.tensor_height())
        .value("tensor_bytes", pipe.tensor_bytes())
        .end_object();
    j.value("fps", fps).value("library_path_ms_per_frame", StageTimes{"", per_frame}.mean());
    j.value("wall_seconds", wall);
    j.begin_object("stages_ms");
    for (size_t st = 0; st < pipe.stages().size(); ++st)
        if (pipe.stage_runs(st))
            write_stage(j, pipe.stages()[st].name.c_str(), pipe.stages()[st].ms);
    write_stage(j, "frame_total", per_frame);
    j.end_object();
    j.begin_object("detections")
        .value("raw", counts.raw)
        .value("below_min_score", counts.below_min_score)
        .value("after_nms", counts.after_nms)
        .end_object();
    j.value("tracks", opt.exact() ? pipe.ids().trajectories() : pipe.ids_motion().trajectories());
    if (have_gt) {
        long not_evaluated = 0;
        for (const auto &kv : data.gt.not_evaluated) not_evaluated += kv.second.size();
        j.begin_object("ground_truth")
            .value("objects", mm.gt_objects)
            .value("boxes", mm.gt_boxes)
            .value("class_columns", data.gt.has_classes)
            .value("not_evaluated_rows", not_evaluated)
            .value("dropped_rows", data.gt.dropped)
            .end_object();
    } else {
        j.null("ground_truth");
    }
    if (opt.exact()) {
        write_metrics(j, "tracker", mm, pipe.ids(), have_gt);
        write_metrics(j, "tracker_inplace", mi, pipe.ids_inplace(), have_gt);
    }
    if (opt.motion()) write_metrics(j, "tracker_motion", mo, pipe.ids_motion(), have_gt);
    j.begin_object("height_filter")
        .value("sigma", static_cast<double>(opt.filter_sigma))
        .value("established_track_frames", counts.filter_in)
        .value("passed_track_frames", counts.filter_out)
        .end_object();
    j.begin_object("servo")
        .value("resolution_deg_per_px", pc.resolution)
        .value("frames_without_angles", counts.without_angles)
        .value("last_target", last.main_target)
        .value("last_target_az", static_cast<double>(last.servo_az))
        .value("last_target_pt", static_cast<double>(last.servo_pt))
        .end_object();
    j.begin_object("outputs")
        .value("annotated_frames", annotated)
        .value("snapshot_mosaics", mosaics)
        .end_object();
    j.end_object();
    if (!write_text(out + "/summary.json", j.str(), err)) return fail(err);

    std::printf("qevo_pipeline: %d frames of %dx%d, %.1f fps through the library path\n", frames, W,
                H, fps);
    std::printf("  network input %dx%d (nv12_to_tensor): layout stage %.3f ms per frame\n",
                pipe.network_width(), pipe.tensor_height(), pipe.layout_stage().mean());
    auto report = [&](const char *name, const TrackingMetrics &m, const TrajectoryIds &ids,
                      double ms) {
        std::printf("  %-22s %4d tracks, %.3f ms per frame", name, ids.trajectories(),
                    frames > 0 ? ms / frames : 0.0);
        if (have_gt)
            std::printf("; MOTA %.3f  IDF1 %.3f  HOTA %.3f  switches %ld", m.mota, m.idf1, m.hota,
                        m.id_switches);
        std::printf("\n");
    };
    if (opt.exact()) {
        report("exact (snapshot):", mm, pipe.ids(), pipe.tracker_ms());
        report("exact (in place):", mi, pipe.ids_inplace(), pipe.inplace_tracker_ms());
    }
    if (opt.motion()) report("motion tracker:", mo, pipe.ids_motion(), pipe.motion_tracker_ms());
    if (opt.exact() && pipe.ids().remapped() > 0)
        std::printf(
            "  library identifiers reused: %d (tracks given an identifier of their own: %d)\n",
            pipe.ids().reused_library_ids(), pipe.ids().remapped());
    std::printf(
        "  outputs in %s/: summary.json, tracks*.txt, frames/, contact_sheet.png, "
        "snapshots/\n",
        out.c_str());
    return 0;
}

}  // namespace pipeline
