#include "mot_root.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app.h"
#include "sequence_info.h"
#include "sequence_run.h"

namespace pipeline {
namespace {

// Columns of the table: header, printed width, and whether the figure is a
// ratio (printed in percent).
struct Column {
    const char *head, *key;
    int width;
    bool ratio;
};
const Column kColumns[] = {
    {"MOTA", "mota", 6, true},
    {"MOTP", "motp", 6, true},
    {"IDF1", "idf1", 6, true},
    {"HOTA", "hota", 6, true},
    {"DetA", "deta", 6, true},
    {"AssA", "assa", 6, true},
    {"LocA", "loca", 6, true},
    {"IDP", "idp", 6, true},
    {"IDR", "idr", 6, true},
    {"IDSW", "id_switches", 6, false},
    {"Frag", "fragmentations", 6, false},
    {"MT", "mostly_tracked", 5, false},
    {"PT", "partly_tracked", 5, false},
    {"ML", "mostly_lost", 5, false},
    {"FP", "false_positives", 7, false},
    {"FN", "misses", 7, false},
};

// The quality figures of a row in column order.
std::vector<double> figures(const TrackingMetrics &m) {
    return {m.mota,
            m.motp,
            m.idf1,
            m.hota,
            m.deta,
            m.assa,
            m.loca,
            m.idp,
            m.idr,
            static_cast<double>(m.id_switches),
            static_cast<double>(m.fragmentations),
            static_cast<double>(m.mostly_tracked),
            static_cast<double>(m.partly_tracked),
            static_cast<double>(m.mostly_lost),
            static_cast<double>(m.false_positives),
            static_cast<double>(m.misses)};
}

double ms_per_frame(const SummaryRow &r) { return r.frames > 0 ? r.tracker_ms / r.frames : 0.0; }

std::string csv_field(const std::string &s) {
    if (s.find_first_of(",\"\n") == std::string::npos) return s;
    std::string q = "\"";
    for (char c : s) q += c == '"' ? std::string("\"\"") : std::string(1, c);
    return q + "\"";
}

// `s` right-aligned in a field of `width` characters.
std::string right(const std::string &s, int width) {
    return std::string(static_cast<size_t>(std::max(0, width - static_cast<int>(s.size()))), ' ') +
           s;
}

std::string number(const char *format, double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, format, v);
    return buf;
}

// The quality figures as text, in column order: ratios in percent with one
// decimal (`percent`) or as fractions with six; empty without ground truth.
std::vector<std::string> cells(const SummaryRow &r, bool percent) {
    const std::vector<double> v = figures(r.m);
    std::vector<std::string> out(v.size());
    for (size_t i = 0; i < v.size(); ++i) {
        if (!r.have_gt || !std::isfinite(v[i])) continue;
        if (!kColumns[i].ratio)
            out[i] = number("%.0f", v[i]);
        else
            out[i] = percent ? number("%.1f", 100.0 * v[i]) : number("%.6f", v[i]);
    }
    return out;
}

std::vector<const SummaryRow *> with_overall(const TrackerRows &block) {
    std::vector<const SummaryRow *> all;
    for (const SummaryRow &r : block.sequences) all.push_back(&r);
    all.push_back(&block.overall);
    return all;
}

nlohmann::ordered_json json_row(const SummaryRow &r) {
    nlohmann::ordered_json o;
    o["sequence"] = r.name;
    o["tracker"] = r.tracker;
    o["frames"] = r.frames;
    const std::vector<double> v = figures(r.m);
    for (size_t i = 0; i < v.size(); ++i) {
        if (!r.have_gt)
            o[kColumns[i].key] = nullptr;
        else if (kColumns[i].ratio)
            o[kColumns[i].key] = v[i];  // NaN is written as null
        else
            o[kColumns[i].key] = static_cast<long>(v[i]);
    }
    o["tracker_ms_per_frame"] = ms_per_frame(r);
    o["gt_objects"] = r.have_gt ? nlohmann::ordered_json(r.m.gt_objects) : nullptr;
    o["gt_boxes"] = r.have_gt ? nlohmann::ordered_json(r.m.gt_boxes) : nullptr;
    o["track_boxes_scored"] = r.have_gt ? nlohmann::ordered_json(r.m.track_boxes) : nullptr;
    o["removed_on_not_evaluated"] = r.have_gt ? nlohmann::ordered_json(r.m.removed) : nullptr;
    o["trajectories"] = r.trajectories;
    o["library_ids_reused"] = r.library_ids_reused;
    o["remapped"] = r.remapped;
    return o;
}

}  // namespace

SummaryRow overall_row(const std::vector<SummaryRow> &sequences) {
    SummaryRow all;
    all.name = "OVERALL";
    if (!sequences.empty()) all.tracker = sequences.front().tracker;
    std::vector<TrackingMetrics> scored;
    for (const SummaryRow &r : sequences) {
        all.frames += r.frames;
        all.tracker_ms += r.tracker_ms;
        all.trajectories += r.trajectories;
        all.library_ids_reused += r.library_ids_reused;
        all.remapped += r.remapped;
        if (r.have_gt) scored.push_back(r.m);
    }
    all.have_gt = !scored.empty();
    all.m = combine(scored);
    return all;
}

std::string format_table(const std::vector<TrackerRows> &blocks) {
    size_t name_w = 8;
    for (const TrackerRows &b : blocks)
        for (const SummaryRow &r : b.sequences) name_w = std::max(name_w, r.name.size());
    const int nw = static_cast<int>(name_w);
    std::string out = "sequence" + std::string(name_w - 8, ' ') + "  tracker" + right("frames", 8);
    for (const Column &c : kColumns) out += right(c.head, c.width + 1);
    out += right("ms/frame", 10) + "\n";
    for (const TrackerRows &b : blocks) {
        for (const SummaryRow *r : with_overall(b)) {
            char head[96];
            std::snprintf(head, sizeof head, "%-*s  %-7s %7d", nw, r->name.c_str(),
                          r->tracker.c_str(), r->frames);
            out += head;
            const std::vector<std::string> v = cells(*r, true);
            for (size_t i = 0; i < v.size(); ++i)
                out += right(v[i].empty() ? "-" : v[i], kColumns[i].width + 1);
            out += right(number("%.3f", ms_per_frame(*r)), 10) + "\n";
        }
    }
    return out;
}

std::string format_csv(const std::vector<TrackerRows> &blocks) {
    std::string out = "sequence,tracker,frames";
    for (const Column &c : kColumns) out += std::string(",") + c.head;
    out += ",tracker_ms_per_frame\n";
    for (const TrackerRows &b : blocks) {
        for (const SummaryRow *r : with_overall(b)) {
            out += csv_field(r->name) + "," + r->tracker + "," + std::to_string(r->frames);
            for (const std::string &c : cells(*r, false)) out += "," + c;
            out += number(",%.4f", ms_per_frame(*r)) + "\n";
        }
    }
    return out;
}

std::string format_json(const std::vector<TrackerRows> &blocks, Scoring scoring) {
    nlohmann::ordered_json j;
    j["scoring"] = scoring == Scoring::kDevkit ? "devkit" : "motmetrics";
    j["trackers"] = nlohmann::ordered_json::object();
    for (const TrackerRows &b : blocks) {
        nlohmann::ordered_json t;
        t["sequences"] = nlohmann::ordered_json::array();
        for (const SummaryRow &r : b.sequences) t["sequences"].push_back(json_row(r));
        t["overall"] = json_row(b.overall);
        j["trackers"][b.overall.tracker] = t;
    }
    return j.dump(2) + "\n";
}

int run_mot_root(const Options &opt) {
    namespace fs = std::filesystem;
    const std::string root = opt.mot_root;
    std::error_code ec;
    std::vector<std::string> names;
    for (fs::directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec))
        if (it->is_directory() && fs::exists(it->path() / "seqinfo.ini"))
            names.push_back(it->path().filename().string());
    if (ec) return fail("cannot read folder '" + root + "': " + ec.message());
    if (names.empty()) return fail("no sequence folders (SEQ/seqinfo.ini) in '" + root + "'");
    std::sort(names.begin(), names.end());

    // Read and check every input before writing anything.
    struct Sequence {
        SequenceInfo info;
        SequenceData data;
        ServoTrack servo;
        bool has_servo = false;
        int frames = 0;
    };
    std::vector<Sequence> seqs(names.size());
    std::string err;
    int total = 0;
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string dir = root + "/" + names[i];
        Sequence &s = seqs[i];
        const std::string gt = dir + "/gt/gt.txt", servo = dir + "/servo.txt";
        s.has_servo = fs::exists(servo);
        if (!read_sequence_info(dir + "/seqinfo.ini", s.info, err) ||
            !load_sequence(dir + "/det/det.txt", fs::exists(gt) ? gt : "", opt.scoring, s.data,
                           err) ||
            (s.has_servo && !load_servo(servo, s.servo, err)))
            return fail(err);
        s.frames = opt.length > 0 ? std::min(s.info.length, opt.length) : s.info.length;
        keep_frames(s.data, s.frames, "qevo_pipeline: " + names[i]);
        total += s.frames;
    }
    const std::string out = opt.out_dir;
    const bool both = opt.exact() && opt.motion();
    if (!make_dirs(out, err) ||
        (both && (!make_dirs(out + "/exact", err) || !make_dirs(out + "/motion", err))))
        return fail("cannot use output folder: " + err);

    ProgressBar bar(total, progress_wanted(opt));
    TrackerRows exact, motion;
    int done = 0;
    for (size_t i = 0; i < names.size(); ++i) {
        Sequence &s = seqs[i];
        bar.set_label(names[i]);
        GreySource frames(s.info.width, s.info.height, s.frames);
        PipelineConfig pc = pipeline_config(opt, frames.width(), frames.height());
        if (s.info.servo_resolution > 0) pc.resolution = s.info.servo_resolution;
        FramePipeline pipe(pc);
        MotSequence tracks, motion_tracks;
        auto inputs = [&](int f, QEVO::SyncInfos &sync, std::vector<MotBox> &dets) {
            servo_angles(s.has_servo ? &s.servo : nullptr, f, sync);
            auto it = s.data.dets.find(f);
            if (it != s.data.dets.end()) dets = it->second;
        };
        auto result = [&](int f, const QEVO::SyncInfos &, const std::vector<uint8_t> &,
                          const FrameOutput &fo, std::string &) {
            for (const MotBox &t : fo.tracks) tracks[f].push_back(t);
            for (const MotBox &t : fo.tracks_motion) motion_tracks[f].push_back(t);
            return true;
        };
        RunCounts counts;
        if (!run_frames(pipe, frames, s.frames, opt.min_score, inputs, result, {}, bar, done,
                        counts, err))
            return fail(err);
        done += s.frames;
        // One tracker's file and row: frames in ascending order, each frame's
        // tracks as the pipeline gave them.
        auto finish = [&](const char *tracker, const MotSequence &seq, const TrajectoryIds &ids,
                          double ms, TrackerRows &block) {
            std::string lines;
            for (const auto &frame : seq)
                for (const MotBox &t : frame.second)
                    lines += format_track_line(frame.first, t) + "\n";
            const std::string folder = both ? out + "/" + tracker : out;
            if (!write_text(folder + "/" + names[i] + ".txt", lines, err)) return false;
            SummaryRow r;
            r.name = names[i];
            r.tracker = tracker;
            r.frames = s.frames;
            r.have_gt = s.data.have_gt;
            if (r.have_gt) r.m = score_against(s.data.gt, seq);
            r.tracker_ms = ms;
            r.trajectories = ids.trajectories();
            r.library_ids_reused = ids.reused_library_ids();
            r.remapped = ids.remapped();
            block.sequences.push_back(r);
            return true;
        };
        if ((opt.exact() && !finish("exact", tracks, pipe.ids(), pipe.tracker_ms(), exact)) ||
            (opt.motion() &&
             !finish("motion", motion_tracks, pipe.ids_motion(), pipe.motion_tracker_ms(), motion)))
            return fail(err);
    }
    bar.finish();

    std::vector<TrackerRows> blocks;
    for (TrackerRows *b : {&exact, &motion}) {
        if (b->sequences.empty()) continue;
        b->overall = overall_row(b->sequences);
        blocks.push_back(*b);
    }
    const std::string table = format_table(blocks);
    if (!write_text(out + "/summary.csv", format_csv(blocks), err) ||
        !write_text(out + "/summary.json", format_json(blocks, opt.scoring), err))
        return fail(err);
    std::fputs(table.c_str(), stdout);
    std::printf("tracks in %s/%s; table in %s/summary.csv and %s/summary.json\n", out.c_str(),
                both ? "exact/SEQ.txt and motion/SEQ.txt" : "SEQ.txt", out.c_str(), out.c_str());
    return 0;
}

}  // namespace pipeline
