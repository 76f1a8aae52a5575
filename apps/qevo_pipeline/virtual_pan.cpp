#include "virtual_pan.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <vector>

#include "app.h"
#include "mot_format.h"
#include "sequence_info.h"
#include "servo_file.h"

namespace pipeline {
namespace {

constexpr double kPi = 3.14159265358979323846;

struct Offset {
    double x, y;
};

// Moves the rows of a detection or ground-truth file into the view; false
// with a message on a line that is not a MOTChallenge row.
bool pan_rows(const std::string &in_path, const std::string &out_path,
              const std::vector<Offset> &offsets, int view_w, int view_h, bool unshifted,
              std::string &error) {
    std::ifstream in(in_path);
    if (!in) {
        error = in_path + ": cannot open file";
        return false;
    }
    std::string text, line;
    int lineno = 0;
    while (std::getline(in, line)) {
        ++lineno;
        std::vector<std::string> f = split_fields(line);
        if (f.empty() || f[0][0] == '#') continue;
        double v[6];
        bool ok = f.size() >= 6;
        for (int i = 0; ok && i < 6; ++i) ok = to_double(f[i], v[i]);
        const int frame = static_cast<int>(v[0]);
        if (!ok || frame < 1 || frame != v[0] || !(v[4] > 0) || !(v[5] > 0)) {
            error = in_path + ":" + std::to_string(lineno) + ": not a MOTChallenge row";
            return false;
        }
        if (frame > static_cast<int>(offsets.size())) continue;  // beyond the sequence
        const Offset o = offsets[frame - 1];
        // 1-based left/top to 0-based corners, then into the view.
        MotBox box, seen;
        box.x1 = static_cast<float>(v[2] - 1), box.y1 = static_cast<float>(v[3] - 1);
        box.x2 = static_cast<float>(v[2] - 1 + v[4]), box.y2 = static_cast<float>(v[3] - 1 + v[5]);
        if (!into_view(box, o.x, o.y, view_w, view_h, seen)) continue;
        const double dx = unshifted ? o.x : 0.0, dy = unshifted ? o.y : 0.0;
        char buf[160];
        std::snprintf(buf, sizeof buf, "%s,%s,%.3f,%.3f,%.3f,%.3f", f[0].c_str(), f[1].c_str(),
                      seen.x1 + dx + 1, seen.y1 + dy + 1, static_cast<double>(seen.x2) - seen.x1,
                      static_cast<double>(seen.y2) - seen.y1);
        text += buf;
        for (size_t i = 6; i < f.size(); ++i) text += "," + f[i];
        text += "\n";
    }
    return write_text(out_path, text, error);
}

}  // namespace

bool into_view(const MotBox &in, double ox, double oy, int vw, int vh, MotBox &out) {
    const double x1 = in.x1 - ox, y1 = in.y1 - oy, x2 = in.x2 - ox, y2 = in.y2 - oy;
    const double cx1 = std::max(0.0, x1), cy1 = std::max(0.0, y1);
    const double cx2 = std::min<double>(vw, x2), cy2 = std::min<double>(vh, y2);
    if (cx2 <= cx1 || cy2 <= cy1 || (cx2 - cx1) * (cy2 - cy1) < 0.5 * (x2 - x1) * (y2 - y1))
        return false;
    out = in;
    out.x1 = static_cast<float>(cx1);
    out.y1 = static_cast<float>(cy1);
    out.x2 = static_cast<float>(cx2);
    out.y2 = static_cast<float>(cy2);
    return true;
}

double pan_offset(int frame, int room, double speed) {
    if (room <= 0 || !(speed > 0)) return 0.0;
    const double period = kPi * room / speed;
    return room * 0.5 * (1.0 - std::cos(2.0 * kPi * (frame - 1) / period));
}

bool virtual_pan(const std::string &in, const std::string &out, const PanConfig &cfg,
                 std::string &error) {
    SequenceInfo info;
    if (!read_sequence_info(in + "/seqinfo.ini", info, error)) return false;
    if (!(cfg.view > 0 && cfg.view <= 1) || !(cfg.speed >= 0) || !(cfg.resolution > 0)) {
        error = "view must lie in (0, 1], speed at or above 0, resolution above 0";
        return false;
    }
    const int vw = std::max(1, static_cast<int>(std::lround(info.width * cfg.view)));
    const int vh = std::max(1, static_cast<int>(std::lround(info.height * cfg.view)));
    std::vector<Offset> offsets(static_cast<size_t>(info.length));
    std::string servo;
    for (int f = 1; f <= info.length; ++f) {
        Offset &o = offsets[f - 1];
        o.x = pan_offset(f, info.width - vw, cfg.speed);
        o.y = pan_offset(f, info.height - vh, 0.4 * cfg.speed);
        double az = std::fmod(cfg.azimuth0 + o.x * cfg.resolution, 360.0);
        if (az < 0) az += 360.0;
        servo += format_servo_line(f, az, cfg.pitch0 - o.y * cfg.resolution) + "\n";
    }
    if (!make_dirs(out + "/det", error)) return false;
    struct stat st {};
    const bool has_gt = stat((in + "/gt/gt.txt").c_str(), &st) == 0;
    if (has_gt && !make_dirs(out + "/gt", error)) return false;
    char ini[512];
    std::snprintf(ini, sizeof ini, "[Sequence]\nname=%s\nseqLength=%d\nimWidth=%d\nimHeight=%d\n",
                  info.name.c_str(), info.length, cfg.unshifted ? info.width : vw,
                  cfg.unshifted ? info.height : vh);
    std::string seqinfo = ini;
    if (!cfg.unshifted) {
        std::snprintf(ini, sizeof ini, "servoResolution=%.9g\n", cfg.resolution);
        seqinfo += ini;
    } else {
        std::remove((out + "/servo.txt").c_str());  // a static view has no servo file
    }
    return pan_rows(in + "/det/det.txt", out + "/det/det.txt", offsets, vw, vh, cfg.unshifted,
                    error) &&
           (!has_gt || pan_rows(in + "/gt/gt.txt", out + "/gt/gt.txt", offsets, vw, vh,
                                cfg.unshifted, error)) &&
           write_text(out + "/seqinfo.ini", seqinfo, error) &&
           (cfg.unshifted || write_text(out + "/servo.txt", servo, error));
}

}  // namespace pipeline
