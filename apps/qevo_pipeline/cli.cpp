#include "cli.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace pipeline {
namespace {

bool parse_long(const char *s, long &v) {
    if (s == nullptr || *s == '\0') return false;
    errno = 0;
    char *end = nullptr;
    v = std::strtol(s, &end, 10);
    return errno == 0 && *end == '\0';
}

bool parse_double(const char *s, double &v) {
    if (s == nullptr || *s == '\0') return false;
    errno = 0;
    char *end = nullptr;
    v = std::strtod(s, &end);
    return errno == 0 && *end == '\0' && std::isfinite(v);
}

bool parse_size(const char *s, int &w, int &h) {
    const char *x = std::strchr(s, 'x');
    if (x == nullptr) return false;
    std::string a(s, x);
    long lw = 0, lh = 0;
    if (!parse_long(a.c_str(), lw) || !parse_long(x + 1, lh)) return false;
    if (lw < 16 || lh < 16 || lw > 16384 || lh > 16384 || lw % 2 || lh % 2) return false;
    w = static_cast<int>(lw);
    h = static_cast<int>(lh);
    return true;
}

}  // namespace

std::string usage_text() {
    return "usage: qevo_pipeline [options]\n"
           "\n"
           "Without data options, runs the built-in scene (1280x720 NV12, 300 frames).\n"
           "\n"
           "data:\n"
           "  --frames FILE     raw NV12 frames, one after another (needs --size)\n"
           "  --size WxH        frame size (even, 16..16384); with no data options it\n"
           "                    sets the size of the built-in scene\n"
           "  --header N        bytes to skip at the start of --frames (default 0)\n"
           "  --dets FILE       detections, MOTChallenge format\n"
           "                    (frame,id,left,top,width,height,conf[,x,y,z])\n"
           "  --gt FILE         ground truth, MOTChallenge format, for the quality figures\n"
           "\n"
           "run:\n"
           "  --out DIR         output folder (default out)\n"
           "  --every N         write an annotated picture of every Nth frame (default 30)\n"
           "  --length N        process at most N frames\n"
           "  --scene-frames N  length of the built-in scene (default 300)\n"
           "  --match-distance F  distance factor of the snapshot tracker (default 0.5)\n"
           "  --match-iou F     overlap threshold of the second tracker (default 0.3)\n"
           "  --nms-iou F       suppression threshold (default 0.5)\n"
           "  --sigma F         band of the height filter, in deviations (default 3)\n"
           "  --resolution F    degrees per pixel for the servo commands (default 0.05)\n"
           "  --progress | --no-progress   progress bar on standard error (default: when\n"
           "                    standard error is a terminal)\n"
           "  -h, --help        this text\n";
}

bool parse_cli(int argc, const char *const *argv, Options &opt, std::string &error) {
    bool size_given = false, header_given = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto need = [&](const char *&v) {
            if (i + 1 >= argc) {
                error = "option " + a + " needs a value";
                return false;
            }
            v = argv[++i];
            return true;
        };
        const char *v = nullptr;
        long n = 0;
        double d = 0;
        if (a == "-h" || a == "--help") {
            opt.help = true;
        } else if (a == "--progress") {
            opt.progress = 1;
        } else if (a == "--no-progress") {
            opt.progress = 0;
        } else if (a == "--out") {
            if (!need(v)) return false;
            if (*v == '\0') {
                error = "--out needs a folder name";
                return false;
            }
            opt.out_dir = v;
        } else if (a == "--frames" || a == "--dets" || a == "--gt") {
            if (!need(v)) return false;
            if (*v == '\0') {
                error = a + " needs a file name";
                return false;
            }
            (a == "--frames" ? opt.frames_file : a == "--dets" ? opt.dets_file : opt.gt_file) = v;
        } else if (a == "--size") {
            if (!need(v)) return false;
            if (!parse_size(v, opt.width, opt.height)) {
                error = std::string("--size expects WxH with even sizes from 16 to 16384, got '") +
                        v + "'";
                return false;
            }
            size_given = true;
        } else if (a == "--header") {
            if (!need(v)) return false;
            if (!parse_long(v, n) || n < 0) {
                error = std::string("--header expects a byte count >= 0, got '") + v + "'";
                return false;
            }
            opt.header = n;
            header_given = true;
        } else if (a == "--every" || a == "--length" || a == "--scene-frames") {
            if (!need(v)) return false;
            if (!parse_long(v, n) || n < 1 || n > 10000000) {
                error = a + " expects a whole number >= 1, got '" + v + "'";
                return false;
            }
            (a == "--every"    ? opt.every
             : a == "--length" ? opt.length
                               : opt.scene_frames) = static_cast<int>(n);
        } else if (a == "--match-distance" || a == "--match-iou" || a == "--nms-iou" ||
                   a == "--sigma" || a == "--resolution") {
            if (!need(v)) return false;
            if (!parse_double(v, d) || d < 0 || (a == "--resolution" && d <= 0)) {
                error = a + " expects a " + (a == "--resolution" ? "positive" : "non-negative") +
                        " number, got '" + v + "'";
                return false;
            }
            if (a == "--resolution")
                opt.resolution = d;
            else
                (a == "--match-distance" ? opt.match_distance
                 : a == "--match-iou"    ? opt.match_iou
                 : a == "--nms-iou"      ? opt.nms_iou
                                         : opt.filter_sigma) = static_cast<float>(d);
        } else {
            error = "unknown argument '" + a + "' (see --help)";
            return false;
        }
    }
    if (opt.help) return true;
    if (header_given && opt.frames_file.empty()) {
        error = "--header only applies to --frames";
        return false;
    }
    if (opt.user_data()) {
        if (!size_given) {
            error = "--size WxH is required with --frames, --dets or --gt";
            return false;
        }
        if (opt.frames_file.empty() && opt.dets_file.empty()) {
            error = "--gt needs --dets or --frames to evaluate";
            return false;
        }
    } else if (!size_given) {
        opt.width = 1280;
        opt.height = 720;
    }
    return true;
}

}  // namespace pipeline
