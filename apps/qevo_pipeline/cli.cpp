#include "cli.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <map>
#include <memory>

#include "frame_source.h"
#include "mot_format.h"

namespace pipeline {
namespace {

// A finite number of at least `lo`.
CLI::Validator finite_from(double lo) {
    return CLI::Validator(
        [lo](std::string &s) -> std::string {
            double v = 0;
            if (!to_double(s, v) || v < lo)
                return std::string("expected a finite number") + (lo == 0 ? " >= 0" : "") +
                       ", got '" + s + "'";
            return "";
        },
        "");
}

// "WxH" with whole numbers from 1 to kMaxFrameSide.
bool parse_size(const std::string &s, int &w, int &h) {
    const size_t x = s.find('x');
    if (x == std::string::npos) return false;
    long lw = 0, lh = 0;
    if (!parse_long(s.substr(0, x), lw) || !parse_long(s.substr(x + 1), lh)) return false;
    if (lw < 1 || lh < 1 || lw > kMaxFrameSide || lh > kMaxFrameSide) return false;
    w = static_cast<int>(lw);
    h = static_cast<int>(lh);
    return true;
}

struct Cli {
    CLI::App app{
        "Runs the library's frame path on the built-in scene (1280x720 NV12, 300 frames),\n"
        "on a recording (--frames, --dets, --gt) or on every sequence of a MOTChallenge\n"
        "folder (--mot-root), and writes tracks, pictures and a summary.",
        "qevo_pipeline"};
    std::string size;
    CLI::Option *frames = nullptr, *dets = nullptr, *gt = nullptr, *size_opt = nullptr,
                *header = nullptr, *root = nullptr, *scene = nullptr, *servo = nullptr,
                *resolution = nullptr, *video = nullptr, *scene_flag = nullptr;
};

std::unique_ptr<Cli> make_cli(Options &o) {
    std::unique_ptr<Cli> c(new Cli);
    CLI::App &a = c->app;
    a.set_help_flag("-h,--help", "this text");
    a.option_defaults()->always_capture_default();
    const CLI::Validator whole = CLI::Range(1, 10000000).description("");
    a.add_option("--out", o.out_dir, "output folder")->type_name("DIR");

    const char *data = "data";
    c->video = a.add_option("--video", o.video_file,
                            "a recording (any file OpenCV decodes): its frames as NV12 through "
                            "the library, a people detector and a servo that follows a target")
                   ->type_name("FILE")
                   ->group(data);
    c->scene_flag =
        a.add_flag("--scene", o.scene, "the built-in synthetic scene (with exact ground truth)")
            ->group(data);
    c->frames = a.add_option("--frames", o.frames_file, "raw NV12 frames, one after another")
                    ->type_name("FILE")
                    ->group(data);
    c->size_opt =
        a.add_option("--size", c->size, "frame size (see below)")->type_name("WxH")->group(data);
    c->header = a.add_option("--header", o.header, "bytes to skip at the start of --frames")
                    ->check(CLI::Range(0L, 2147483647L).description(""))
                    ->type_name("N")
                    ->group(data);
    c->dets = a.add_option("--dets", o.dets_file,
                           "detections: frame,id,left,top,width,height,conf[,x,y,z]")
                  ->type_name("FILE")
                  ->group(data);
    c->gt = a.add_option("--gt", o.gt_file,
                         "ground truth, MOTChallenge format, for the quality figures")
                ->type_name("FILE")
                ->group(data);
    c->servo = a.add_option("--servo", o.servo_file,
                            "servo angles per frame: frame,azimuth,pitch (degrees)")
                   ->type_name("FILE")
                   ->group(data);
    c->root = a.add_option("--mot-root", o.mot_root,
                           "run every sequence of a MOTChallenge folder (see below)")
                  ->type_name("DIR")
                  ->group(data);

    const char *video = "video runs (--video)";
    a.add_option("--view", o.view_fraction, "the camera's view as a share of each side")
        ->check(CLI::Range(0.1, 1.0).description(""))
        ->type_name("F")
        ->group(video);
    a.add_option("--slew", o.slew, "the servo's fastest move, degrees per frame on each axis")
        ->check(CLI::Range(0.0, 90.0).description(""))
        ->type_name("D")
        ->group(video);
    a.add_flag_callback(
         "--no-servo", [&o] { o.servo = false; }, "keep the view still, in the middle")
        ->group(video);
    a.add_option("--follow", o.follow,
                 "follow this track (default: the one reported for the longest time)")
        ->check(CLI::Range(1, 1 << 30).description(""))
        ->type_name("ID")
        ->default_str("")
        ->group(video);
    a.add_option("--detect-scale", o.detect_scale,
                 "the people detector's input size as a multiple of the view's")
        ->check(CLI::Range(0.25, 4.0).description(""))
        ->type_name("S")
        ->group(video);

    const char *run = "run";
    a.add_option("--tracker", o.tracker,
                 "exact: the snapshot and in-place update_objtracker; motion: "
                 "qevo::MotionTracker; both")
        ->transform(CLI::CheckedTransformer(
                        std::map<std::string, TrackerChoice>{{"exact", TrackerChoice::kExact},
                                                             {"motion", TrackerChoice::kMotion},
                                                             {"both", TrackerChoice::kBoth}},
                        CLI::ignore_case)
                        .description(""))
        ->type_name("exact|motion|both")
        ->default_str("both")
        ->group(run);
    a.add_option("--scoring", o.scoring,
                 "ground truth with classes: devkit (the development kit's distractor rules) or "
                 "motmetrics (flag-1 rows, nothing removed)")
        ->transform(CLI::CheckedTransformer(
                        std::map<std::string, Scoring>{{"devkit", Scoring::kDevkit},
                                                       {"motmetrics", Scoring::kMotmetrics}},
                        CLI::ignore_case)
                        .description(""))
        ->type_name("devkit|motmetrics")
        ->default_str("devkit")
        ->group(run);
    const std::string score_note = " (default: the library's; the built-in scene's own)";
    a.add_option("--high-score", o.high_score,
                 "motion tracker: detections at or above S are confident" + score_note)
        ->check(finite_from(-INFINITY))
        ->type_name("S")
        ->default_str("")
        ->group(run);
    a.add_option("--low-score", o.low_score,
                 "motion tracker: detections below S are ignored" + score_note)
        ->check(finite_from(-INFINITY))
        ->type_name("S")
        ->default_str("")
        ->group(run);
    a.add_option("--new-track-score", o.new_track_score,
                 "motion tracker: a detection left over starts a track from S on" + score_note)
        ->check(finite_from(-INFINITY))
        ->type_name("S")
        ->default_str("")
        ->group(run);
    a.add_option("--coast", o.coast,
                 "also report a lost motion track for up to N frames while a visible track "
                 "hides at least 30 % of it (default 0: off)")
        ->check(CLI::Range(0, 1000).description(""))
        ->type_name("N")
        ->group(run);
    a.add_option("--min-score", o.min_score,
                 "drop detections scoring below S before suppression (default: keep all)")
        ->check(finite_from(-INFINITY))
        ->type_name("S")
        ->default_str("")
        ->group(run);
    a.add_option("--every", o.every, "write an annotated picture of every Nth frame")
        ->check(whole)
        ->type_name("N")
        ->group(run);
    a.add_option("--length", o.length, "process at most N frames of each sequence")
        ->check(whole)
        ->type_name("N")
        ->default_str("")
        ->group(run);
    c->scene = a.add_option("--scene-frames", o.scene_frames, "length of the built-in scene")
                   ->check(whole)
                   ->type_name("N")
                   ->group(run);
    a.add_option("--match-distance", o.match_distance, "distance factor of the snapshot tracker")
        ->check(finite_from(0))
        ->type_name("F")
        ->group(run);
    a.add_option("--match-iou", o.match_iou, "overlap threshold of the second tracker")
        ->check(finite_from(0))
        ->type_name("F")
        ->group(run);
    a.add_option("--nms-iou", o.nms_iou, "suppression threshold")
        ->check(finite_from(0))
        ->type_name("F")
        ->group(run);
    a.add_option("--sigma", o.filter_sigma, "band of the height filter, in deviations")
        ->check(finite_from(0))
        ->type_name("F")
        ->group(run);
    c->resolution = a.add_option("--resolution", o.resolution,
                                 "degrees per pixel: servo commands and the motion tracker's "
                                 "compensation (a benchmark's servoResolution wins)")
                        ->check(finite_from(0) & CLI::PositiveNumber.description(""))
                        ->type_name("F")
                        ->group(run);
    a.add_flag_callback(
         "--progress", [&o] { o.progress = 1; },
         "progress bar on standard error (default: when standard error is a terminal)")
        ->group(run);
    a.add_flag_callback(
         "--no-progress", [&o] { o.progress = 0; }, "no progress bar")
        ->group(run);
    const std::string side = std::to_string(kMaxFrameSide);
    a.footer(
        "Files are MOTChallenge text files, fields separated by commas or white space;\n"
        "ground truth: frame,id,left,top,width,height[,flag,class,visibility] (README).\n"
        "\n"
        "--size: even sizes from 16 to " +
        side +
        " with --frames and for the built-in scene;\n"
        "any size up to " +
        side +
        " with --dets alone. Without it, a run on --dets takes the\n"
        "size and length from seqinfo.ini in the detections' folder or the one above,\n"
        "else the size from the boxes.\n"
        "\n"
        "--mot-root DIR runs every DIR/SEQ with a seqinfo.ini (size, length, optional\n"
        "servoResolution), reading SEQ/det/det.txt and, when present, SEQ/gt/gt.txt and\n"
        "SEQ/servo.txt. It writes OUT/SEQ.txt per sequence (OUT/exact/ and OUT/motion/\n"
        "with both trackers) and the table (rows per sequence and tracker, OVERALL rows\n"
        "over all sequences) to OUT/summary.csv and OUT/summary.json, and prints it.");
    return c;
}

}  // namespace

std::string usage_text() {
    Options o;
    return make_cli(o)->app.help();
}

bool parse_cli(int argc, const char *const *argv, Options &opt, std::string &error) {
    std::unique_ptr<Cli> c = make_cli(opt);
    try {
        c->app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        opt.help = true;
        return true;
    } catch (const CLI::ParseError &e) {
        error = std::string(e.what()) + " (see --help)";
        return false;
    }
    if (!opt.mot_root.empty())
        for (CLI::Option *other :
             {c->frames, c->dets, c->gt, c->size_opt, c->header, c->scene, c->servo})
            if (other->count() > 0) {
                error = "--mot-root cannot be combined with " + other->get_name();
                return false;
            }
    if (!opt.video_file.empty())
        for (CLI::Option *other :
             {c->frames, c->root, c->scene_flag, c->size_opt, c->header, c->servo, c->scene})
            if (other->count() > 0) {
                error = "--video cannot be combined with " + other->get_name();
                return false;
            }
    if (opt.scene && opt.user_data()) {
        error = "--scene cannot be combined with recorded data";
        return false;
    }
    if (c->header->count() > 0 && opt.frames_file.empty()) {
        error = "--header only applies to --frames";
        return false;
    }
    const bool given = !c->size.empty();
    if (given && !parse_size(c->size, opt.width, opt.height)) {
        error = "--size expects WxH with whole numbers from 1 to " + std::to_string(kMaxFrameSide) +
                ", got '" + c->size + "'";
        return false;
    }
    // The NV12 path needs even sizes: frames read from a file or rendered.
    const bool nv12 = !opt.frames_file.empty() || (!opt.user_data() && opt.mot_root.empty());
    if (nv12 && given && (opt.width < 16 || opt.height < 16 || opt.width % 2 || opt.height % 2)) {
        error = "--size expects even sizes from 16 to " + std::to_string(kMaxFrameSide) +
                " for NV12 frames, got '" + c->size + "'";
        return false;
    }
    if (!opt.frames_file.empty() && !given) {
        error = "--size WxH is required with --frames";
        return false;
    }
    if (!opt.servo_file.empty() && opt.frames_file.empty() && opt.dets_file.empty()) {
        error = "--servo needs --dets or --frames";
        return false;
    }
    if (!opt.gt_file.empty() && opt.frames_file.empty() && opt.dets_file.empty() &&
        opt.video_file.empty()) {
        error = "--gt needs --dets, --frames or --video to evaluate";
        return false;
    }
    if (!opt.user_data() && opt.mot_root.empty() && !given) {
        opt.width = 1280;
        opt.height = 720;
    }
    return true;
}

}  // namespace pipeline
