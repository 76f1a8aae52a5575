#include "hota.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <map>
#include <set>
#include <vector>

#include "assignment.h"
#include "metrics.h"

namespace pipeline {
namespace {

// The thresholds as the authors' code forms them (0.05 + k x 0.05, so 0.6
// is 0.6000000000000001), compared with a margin of one machine epsilon.
double threshold(int k) { return 0.05 + k * 0.05; }

// Dense indices of the identities of a sequence.
std::map<int, int> index_ids(const MotSequence &seq) {
    std::map<int, int> ids;
    for (const auto &kv : seq)
        for (const MotBox &b : kv.second) ids.emplace(b.id, 0);
    int n = 0;
    for (auto &kv : ids) kv.second = n++;
    return ids;
}

}  // namespace

HotaCounts &HotaCounts::operator+=(const HotaCounts &o) {
    for (int a = 0; a < kHotaThresholds; ++a) {
        tp[a] += o.tp[a];
        fn[a] += o.fn[a];
        fp[a] += o.fp[a];
        assoc[a] += o.assoc[a];
        loc[a] += o.loc[a];
    }
    return *this;
}

HotaCounts hota_counts(const MotSequence &gt, const MotSequence &tracks) {
    HotaCounts c;
    const std::map<int, int> gid = index_ids(gt), tid = index_ids(tracks);
    const size_t ng = gid.size(), nt = tid.size();
    std::set<int> frames;
    for (const auto &kv : gt) frames.insert(kv.first);
    for (const auto &kv : tracks) frames.insert(kv.first);
    const std::vector<MotBox> none;
    auto boxes = [&none](const MotSequence &s, int f) -> const std::vector<MotBox> & {
        auto it = s.find(f);
        return it == s.end() ? none : it->second;
    };

    // Identity alignment: soft overlap of every identity pair over the sequence.
    std::vector<double> potential(ng * nt, 0.0), gt_count(ng, 0.0), tr_count(nt, 0.0);
    std::map<int, std::vector<double>> similarity;  // per frame, g-major
    for (int f : frames) {
        const std::vector<MotBox> &g = boxes(gt, f), &t = boxes(tracks, f);
        std::vector<double> &sim = similarity[f];
        sim.assign(g.size() * t.size(), 0.0);
        std::vector<double> row(g.size(), 0.0), col(t.size(), 0.0);
        for (size_t i = 0; i < g.size(); ++i)
            for (size_t j = 0; j < t.size(); ++j) {
                const double s = box_iou(g[i], t[j]);
                sim[i * t.size() + j] = s;
                row[i] += s;
                col[j] += s;
            }
        for (size_t i = 0; i < g.size(); ++i)
            for (size_t j = 0; j < t.size(); ++j) {
                const double s = sim[i * t.size() + j];
                const double denom = row[i] + col[j] - s;
                if (denom > DBL_EPSILON)
                    potential[gid.at(g[i].id) * nt + tid.at(t[j].id)] += s / denom;
            }
        for (const MotBox &b : g) gt_count[gid.at(b.id)] += 1;
        for (const MotBox &b : t) tr_count[tid.at(b.id)] += 1;
    }
    std::vector<double> align(ng * nt, 0.0);
    for (size_t a = 0; a < ng; ++a)
        for (size_t b = 0; b < nt; ++b) {
            const double p = potential[a * nt + b];
            align[a * nt + b] = p / (gt_count[a] + tr_count[b] - p);
        }

    // Matching per frame, counted at every threshold.
    std::vector<std::vector<double>> matches(kHotaThresholds, std::vector<double>(ng * nt, 0.0));
    for (int f : frames) {
        const std::vector<MotBox> &g = boxes(gt, f), &t = boxes(tracks, f);
        const std::vector<double> &sim = similarity[f];
        std::vector<std::pair<size_t, size_t>> pairs;
        if (!g.empty() && !t.empty()) {
            std::vector<std::vector<double>> cost(g.size(), std::vector<double>(t.size()));
            for (size_t i = 0; i < g.size(); ++i)
                for (size_t j = 0; j < t.size(); ++j)
                    cost[i][j] =
                        -align[gid.at(g[i].id) * nt + tid.at(t[j].id)] * sim[i * t.size() + j];
            const std::vector<int> asg = min_cost_assignment(cost);
            for (size_t i = 0; i < g.size(); ++i)
                if (asg[i] >= 0) pairs.emplace_back(i, static_cast<size_t>(asg[i]));
        }
        for (int a = 0; a < kHotaThresholds; ++a) {
            double tp = 0;
            for (const auto &p : pairs) {
                const double s = sim[p.first * t.size() + p.second];
                if (s < threshold(a) - DBL_EPSILON) continue;
                tp += 1;
                c.loc[a] += s;
                matches[a][gid.at(g[p.first].id) * nt + tid.at(t[p.second].id)] += 1;
            }
            c.tp[a] += tp;
            c.fn[a] += static_cast<double>(g.size()) - tp;
            c.fp[a] += static_cast<double>(t.size()) - tp;
        }
    }
    for (int a = 0; a < kHotaThresholds; ++a)
        for (size_t i = 0; i < ng; ++i)
            for (size_t j = 0; j < nt; ++j) {
                const double m = matches[a][i * nt + j];
                if (m > 0) c.assoc[a] += m * m / std::max(1.0, gt_count[i] + tr_count[j] - m);
            }
    return c;
}

HotaScores hota_scores(const HotaCounts &c) {
    HotaScores s;
    for (int a = 0; a < kHotaThresholds; ++a) {
        const double deta = c.tp[a] / std::max(1.0, c.tp[a] + c.fn[a] + c.fp[a]);
        const double assa = c.assoc[a] / std::max(1.0, c.tp[a]);
        const double loca = std::max(1e-10, c.loc[a]) / std::max(1e-10, c.tp[a]);
        s.hota += std::sqrt(deta * assa);
        s.deta += deta;
        s.assa += assa;
        s.loca += loca;
    }
    s.hota /= kHotaThresholds;
    s.deta /= kHotaThresholds;
    s.assa /= kHotaThresholds;
    s.loca /= kHotaThresholds;
    return s;
}

}  // namespace pipeline
