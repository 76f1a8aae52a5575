#include "mot_format.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <utility>

namespace pipeline {
namespace {

std::string trim(const std::string &s) {
    size_t b = 0, e = s.size();
    while (b < e && (s[b] == ' ' || s[b] == '\t' || s[b] == '\r' || s[b] == '\n')) ++b;
    while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t' || s[e - 1] == '\r' || s[e - 1] == '\n'))
        --e;
    return s.substr(b, e - b);
}

}  // namespace

std::vector<std::string> split_fields(const std::string &line) {
    std::vector<std::string> out;
    if (line.find(',') == std::string::npos) {
        std::istringstream words(line);
        std::string w;
        while (words >> w) out.push_back(w);
        return out;
    }
    size_t start = 0;
    for (;;) {
        size_t comma = line.find(',', start);
        out.push_back(trim(
            line.substr(start, comma == std::string::npos ? std::string::npos : comma - start)));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return out;
}

bool to_double(const std::string &text, double &v) {
    if (text.empty()) return false;
    errno = 0;
    char *end = nullptr;
    v = std::strtod(text.c_str(), &end);
    return errno == 0 && end != nullptr && *end == '\0' && std::isfinite(v);
}

bool parse_long(const std::string &text, long &v) {
    if (text.empty()) return false;
    errno = 0;
    char *end = nullptr;
    v = std::strtol(text.c_str(), &end, 10);
    return errno == 0 && end != nullptr && *end == '\0';
}

namespace {

// An integer field; "3" and "3.0" are accepted, "3.5" is not.
bool to_int(const std::string &field, int &v) {
    double d = 0;
    if (!to_double(field, d)) return false;
    if (d != std::floor(d) || d < -2147483648.0 || d > 2147483647.0) return false;
    v = static_cast<int>(d);
    return true;
}

// Classes of the 2016/2017 ground truth whose rows are "do not evaluate"
// rows: person on vehicle, static person, distractor, reflection.
bool distractor_class(int cls) { return cls == 2 || cls == 7 || cls == 8 || cls == 12; }

// Parses into `det` (detections) or `gt` (ground truth).
ParseResult parse(std::istream &in, const std::string &source, MotSequence *det, GroundTruth *gt,
                  Scoring scoring) {
    ParseResult res;
    std::string raw;
    int lineno = 0;
    int classes_seen = -1;               // ground truth: -1 before the first row, then 0 or 1
    std::set<std::pair<int, int>> seen;  // (frame, id) of ground-truth rows
    auto fail = [&](const std::string &why) {
        res.ok = false;
        res.error = source + ":" + std::to_string(lineno) + ": " + why;
        return res;
    };
    const size_t min_fields = det != nullptr ? 7 : 6;
    while (std::getline(in, raw)) {
        ++lineno;
        std::string line = trim(raw);
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> f = split_fields(line);
        if (f.size() < min_fields || f.size() > 10)
            return fail("expected " + std::to_string(min_fields) +
                        " to 10 fields separated by commas or white space, found " +
                        std::to_string(f.size()));
        std::vector<double> v(f.size());
        for (size_t i = 0; i < f.size(); ++i)
            if (!to_double(f[i], v[i]))
                return fail("field " + std::to_string(i + 1) + " is not a number: '" + f[i] + "'");
        int frame = 0, id = 0;
        if (!to_int(f[0], frame) || frame < 1)
            return fail("frame number must be a whole number >= 1, found '" + f[0] + "'");
        if (!to_int(f[1], id))
            return fail("identifier must be a whole number, found '" + f[1] + "'");
        if (!(v[4] > 0) || !(v[5] > 0)) return fail("box width and height must be positive");
        if (std::fabs(v[2]) > 1e7 || std::fabs(v[3]) > 1e7 || v[4] > 1e7 || v[5] > 1e7)
            return fail("box coordinates out of range");
        MotBox b;
        b.id = id;
        b.x1 = static_cast<float>(v[2] - 1.0);
        b.y1 = static_cast<float>(v[3] - 1.0);
        b.x2 = static_cast<float>(v[2] - 1.0 + v[4]);
        b.y2 = static_cast<float>(v[3] - 1.0 + v[5]);
        ++res.rows;
        if (det != nullptr) {
            b.score = static_cast<float>(v[6]);
            (*det)[frame].push_back(b);
            continue;
        }
        if (id < 0) return fail("ground-truth identifier must be >= 0, found " + f[1]);
        if (!seen.insert({frame, id}).second)
            return fail("identifier " + std::to_string(id) + " appears twice in frame " +
                        std::to_string(frame));
        const int with_classes = f.size() == 8 || f.size() == 9;
        if (classes_seen >= 0 && with_classes != classes_seen)
            return fail(std::to_string(f.size()) + " fields " +
                        (with_classes ? "(with" : "(without") +
                        " a class column), unlike the first row of the file");
        classes_seen = with_classes;
        int cls = 1;
        if (with_classes && (!to_int(f[7], cls) || cls < 1))
            return fail("class must be a whole number >= 1, found '" + f[7] + "'");
        const bool flagged = f.size() < 7 || v[6] >= 1;  // 2015 rows without a flag count
        MotSequence *to = nullptr;
        if (!with_classes || scoring == Scoring::kMotmetrics)
            to = flagged ? &gt->scored : nullptr;
        else if (v[6] == 0 || distractor_class(cls))
            to = &gt->not_evaluated;
        else if (cls == 1)
            to = &gt->scored;
        if (to != nullptr)
            (*to)[frame].push_back(b);
        else
            ++gt->dropped;
    }
    if (in.bad()) {
        ++lineno;
        return fail("read error");
    }
    if (gt != nullptr) gt->has_classes = classes_seen == 1;
    return res;
}

ParseResult load(const std::string &path, MotSequence *det, GroundTruth *gt, Scoring scoring) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        ParseResult r;
        r.ok = false;
        r.error = path + ": cannot open file";
        return r;
    }
    return parse(in, path, det, gt, scoring);
}

std::string fmt(const char *f, int frame, int id, const MotBox &b, double score) {
    char buf[256];
    std::snprintf(buf, sizeof buf, f, frame, id, b.x1 + 1.0, b.y1 + 1.0,
                  static_cast<double>(b.x2) - b.x1, static_cast<double>(b.y2) - b.y1, score);
    return buf;
}

}  // namespace

ParseResult parse_detections(std::istream &in, const std::string &source, MotSequence &out) {
    return parse(in, source, &out, nullptr, Scoring::kDevkit);
}
ParseResult parse_ground_truth(std::istream &in, const std::string &source, GroundTruth &out,
                               Scoring scoring) {
    return parse(in, source, nullptr, &out, scoring);
}
ParseResult load_detections(const std::string &path, MotSequence &out) {
    return load(path, &out, nullptr, Scoring::kDevkit);
}
ParseResult load_ground_truth(const std::string &path, GroundTruth &out, Scoring scoring) {
    return load(path, nullptr, &out, scoring);
}

std::string format_track_line(int frame, const MotBox &box) {
    return fmt("%d,%d,%.2f,%.2f,%.2f,%.2f,%.3f,-1,-1,-1", frame, box.id, box, box.score);
}

std::string format_det_line(int frame, const MotBox &box) {
    return fmt("%d,%d,%.2f,%.2f,%.2f,%.2f,%.3f,-1,-1,-1", frame, -1, box, box.score);
}

std::string format_gt_line(int frame, const MotBox &box) {
    return fmt("%d,%d,%.2f,%.2f,%.2f,%.2f,1,-1,-1,-1", frame, box.id, box, 0.0);
}

int last_frame(const MotSequence &seq) { return seq.empty() ? 0 : seq.rbegin()->first; }

bool drop_after(MotSequence &seq, int frames) {
    auto from = seq.upper_bound(frames);
    const bool any = from != seq.end();
    seq.erase(from, seq.end());
    return any;
}

void box_extent(const MotSequence &seq, double &width, double &height) {
    width = height = 0;
    for (const auto &kv : seq)
        for (const MotBox &b : kv.second) {
            width = std::max(width, std::ceil(static_cast<double>(b.x2)));
            height = std::max(height, std::ceil(static_cast<double>(b.y2)));
        }
}

}  // namespace pipeline
