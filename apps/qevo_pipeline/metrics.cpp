#include "metrics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>

#include "assignment.h"

namespace pipeline {

double box_iou(const MotBox &a, const MotBox &b) {
    const double iw = std::min<double>(a.x2, b.x2) - std::max<double>(a.x1, b.x1);
    const double ih = std::min<double>(a.y2, b.y2) - std::max<double>(a.y1, b.y1);
    if (iw <= 0 || ih <= 0) return 0.0;
    const double inter = iw * ih;
    const double ua = (static_cast<double>(a.x2) - a.x1) * (static_cast<double>(a.y2) - a.y1) +
                      (static_cast<double>(b.x2) - b.x1) * (static_cast<double>(b.y2) - b.y1) -
                      inter;
    return ua > 0 ? inter / ua : 0.0;
}

namespace {

double ratio(double num, double den) {
    return den > 0 ? num / den : std::numeric_limits<double>::quiet_NaN();
}

// One-to-one matching of the boxes a[ai[k]] with b[bj[l]] at IoU >= threshold:
// the most pairs, then the least total 1 - IoU. For each k, the matched
// index into b, or -1.
std::vector<int> match_boxes(const std::vector<MotBox> &a, const std::vector<int> &ai,
                             const std::vector<MotBox> &b, const std::vector<int> &bj,
                             double threshold) {
    std::vector<int> out(ai.size(), -1);
    if (ai.empty() || bj.empty()) return out;
    const double forbidden = 1e6;  // larger than any sum of valid costs
    std::vector<std::vector<double>> cost(ai.size(), std::vector<double>(bj.size()));
    for (size_t k = 0; k < ai.size(); ++k)
        for (size_t l = 0; l < bj.size(); ++l) {
            const double iou = box_iou(a[ai[k]], b[bj[l]]);
            cost[k][l] = iou >= threshold ? 1.0 - iou : forbidden;
        }
    const std::vector<int> asg = min_cost_assignment(cost);
    for (size_t k = 0; k < ai.size(); ++k)
        if (asg[k] >= 0 && cost[k][asg[k]] < forbidden) out[k] = bj[asg[k]];
    return out;
}

std::vector<int> all_indices(size_t n) {
    std::vector<int> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = static_cast<int>(i);
    return v;
}

// The ratios from the counts.
void finish(TrackingMetrics &m) {
    m.mota = 1.0 - ratio(static_cast<double>(m.misses + m.false_positives + m.id_switches),
                         static_cast<double>(m.gt_boxes));
    m.motp = ratio(m.iou_sum, static_cast<double>(m.matches));
    m.idfn = m.gt_boxes - m.idtp;
    m.idfp = m.track_boxes - m.idtp;
    m.idf1 = ratio(2.0 * m.idtp, static_cast<double>(m.gt_boxes + m.track_boxes));
    m.idp = ratio(static_cast<double>(m.idtp), static_cast<double>(m.track_boxes));
    m.idr = ratio(static_cast<double>(m.idtp), static_cast<double>(m.gt_boxes));
    const HotaScores h = hota_scores(m.hota_counts);
    m.hota = h.hota;
    m.deta = h.deta;
    m.assa = h.assa;
    m.loca = h.loca;
}

struct ObjectState {
    int last_track = -1;   // track of the latest match, -1 before the first
    bool tracked = false;  // matched at its latest appearance
    bool interrupted = false;
    long present = 0, matched = 0;  // frames
};

}  // namespace

TrackingMetrics evaluate_tracking(const MotSequence &gt, const MotSequence &tracks,
                                  double iou_threshold) {
    TrackingMetrics m;
    std::set<int> frames;
    for (const auto &kv : gt) frames.insert(kv.first);
    for (const auto &kv : tracks) frames.insert(kv.first);

    std::map<int, ObjectState> objects;
    std::map<std::pair<int, int>, long> pair_frames;  // (gt id, track id) -> frames matched
    std::map<int, long> gt_count, track_count;
    const std::vector<MotBox> none;

    for (int f : frames) {
        auto gi = gt.find(f);
        auto ti = tracks.find(f);
        const std::vector<MotBox> &g = gi == gt.end() ? none : gi->second;
        const std::vector<MotBox> &t = ti == tracks.end() ? none : ti->second;
        m.gt_boxes += static_cast<long>(g.size());
        m.track_boxes += static_cast<long>(t.size());
        for (const MotBox &b : g) ++gt_count[b.id];
        for (const MotBox &b : t) ++track_count[b.id];

        // Identity measures: every corresponding pair of this frame.
        for (const MotBox &a : g)
            for (const MotBox &b : t)
                if (box_iou(a, b) >= iou_threshold) ++pair_frames[{a.id, b.id}];

        // CLEAR-MOT: keep last correspondences first.
        std::vector<int> g_match(g.size(), -1);
        std::vector<char> t_used(t.size(), 0);
        for (size_t i = 0; i < g.size(); ++i) {
            const ObjectState &st = objects[g[i].id];
            if (st.last_track < 0) continue;
            for (size_t j = 0; j < t.size(); ++j) {
                if (t_used[j] || t[j].id != st.last_track) continue;
                if (box_iou(g[i], t[j]) >= iou_threshold) {
                    g_match[i] = static_cast<int>(j);
                    t_used[j] = 1;
                }
                break;
            }
        }
        // Then assign the rest.
        std::vector<int> gr, tr;
        for (size_t i = 0; i < g.size(); ++i)
            if (g_match[i] < 0) gr.push_back(static_cast<int>(i));
        for (size_t j = 0; j < t.size(); ++j)
            if (!t_used[j]) tr.push_back(static_cast<int>(j));
        const std::vector<int> rest = match_boxes(g, gr, t, tr, iou_threshold);
        for (size_t k = 0; k < gr.size(); ++k)
            if (rest[k] >= 0) {
                g_match[gr[k]] = rest[k];
                t_used[rest[k]] = 1;
            }
        for (size_t i = 0; i < g.size(); ++i) {
            ObjectState &st = objects[g[i].id];
            ++st.present;
            if (g_match[i] < 0) {
                ++m.misses;
                if (st.tracked) st.interrupted = true;
                st.tracked = false;
                continue;
            }
            const MotBox &tb = t[g_match[i]];
            ++m.matches;
            ++st.matched;
            m.iou_sum += box_iou(g[i], tb);
            if (st.last_track >= 0 && st.last_track != tb.id) ++m.id_switches;
            if (st.interrupted) {
                ++m.fragmentations;
                st.interrupted = false;
            }
            st.last_track = tb.id;
            st.tracked = true;
        }
        for (size_t j = 0; j < t.size(); ++j)
            if (!t_used[j]) ++m.false_positives;
    }

    m.gt_objects = static_cast<int>(gt_count.size());
    m.track_ids = static_cast<int>(track_count.size());
    for (const auto &kv : objects) {
        const ObjectState &st = kv.second;
        if (5 * st.matched >= 4 * st.present)
            ++m.mostly_tracked;
        else if (5 * st.matched <= st.present)
            ++m.mostly_lost;
        else
            ++m.partly_tracked;
    }

    // Global identity matching: maximise matched frames = minimise their negation.
    std::vector<int> gids, tids;
    for (const auto &kv : gt_count) gids.push_back(kv.first);
    for (const auto &kv : track_count) tids.push_back(kv.first);
    if (!gids.empty() && !tids.empty()) {
        std::vector<std::vector<double>> cost(gids.size(), std::vector<double>(tids.size(), 0.0));
        for (size_t a = 0; a < gids.size(); ++a)
            for (size_t b = 0; b < tids.size(); ++b) {
                auto it = pair_frames.find({gids[a], tids[b]});
                if (it != pair_frames.end()) cost[a][b] = -static_cast<double>(it->second);
            }
        std::vector<int> asg = min_cost_assignment(cost);
        for (size_t a = 0; a < gids.size(); ++a)
            if (asg[a] >= 0) m.idtp += static_cast<long>(-cost[a][asg[a]]);
    }
    m.hota_counts = hota_counts(gt, tracks);
    finish(m);
    return m;
}

TrackingMetrics score_against(const GroundTruth &gt, MotSequence tracks, double iou_threshold) {
    long removed = 0;
    for (const auto &kv : gt.not_evaluated) {
        auto ti = tracks.find(kv.first);
        if (ti == tracks.end()) continue;
        std::vector<MotBox> rows = kv.second;  // "do not evaluate" rows first
        const size_t n_ignored = rows.size();
        auto si = gt.scored.find(kv.first);
        if (si != gt.scored.end()) rows.insert(rows.end(), si->second.begin(), si->second.end());
        std::vector<MotBox> &t = ti->second;
        const std::vector<int> match =
            match_boxes(rows, all_indices(rows.size()), t, all_indices(t.size()), iou_threshold);
        std::vector<char> drop(t.size(), 0);
        for (size_t k = 0; k < n_ignored; ++k)
            if (match[k] >= 0) drop[match[k]] = 1;
        std::vector<MotBox> kept;
        for (size_t j = 0; j < t.size(); ++j)
            if (!drop[j]) kept.push_back(t[j]);
        removed += static_cast<long>(t.size() - kept.size());
        t.swap(kept);
    }
    TrackingMetrics m = evaluate_tracking(gt.scored, tracks, iou_threshold);
    m.removed = removed;
    return m;
}

TrackingMetrics combine(const std::vector<TrackingMetrics> &parts) {
    TrackingMetrics m;
    for (const TrackingMetrics &p : parts) {
        m.gt_boxes += p.gt_boxes;
        m.track_boxes += p.track_boxes;
        m.gt_objects += p.gt_objects;
        m.track_ids += p.track_ids;
        m.matches += p.matches;
        m.misses += p.misses;
        m.false_positives += p.false_positives;
        m.id_switches += p.id_switches;
        m.fragmentations += p.fragmentations;
        m.mostly_tracked += p.mostly_tracked;
        m.partly_tracked += p.partly_tracked;
        m.mostly_lost += p.mostly_lost;
        m.removed += p.removed;
        m.iou_sum += p.iou_sum;
        m.idtp += p.idtp;
        m.hota_counts += p.hota_counts;
    }
    finish(m);
    return m;
}

}  // namespace pipeline
