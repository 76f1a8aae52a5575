// The tracker's gated assignment (an internal class, compiled into this
// test): on random problems its matching uses only the given pairs, one to
// one, and reaches the largest summed gain that brute force finds.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tracker/assignment.h"

using qevo_internal::GatedAssignment;
using qevo_internal::GatedPair;

namespace {

// Largest summed gain (limit - cost) of a one-to-one matching over `pairs`,
// rows taken in order from `row`.
double best_gain(int row, int rows, const std::vector<GatedPair> &pairs, double limit,
                 std::vector<char> &col_used) {
    if (row == rows) return 0.0;
    double best = best_gain(row + 1, rows, pairs, limit, col_used);  // row unmatched
    for (const GatedPair &q : pairs) {
        if (q.row != row || col_used[q.col]) continue;
        col_used[q.col] = 1;
        best = std::max(best, (limit - q.cost) + best_gain(row + 1, rows, pairs, limit, col_used));
        col_used[q.col] = 0;
    }
    return best;
}

}  // namespace

TEST(GatedAssignment, MatchesBruteForceOnRandomProblems) {
    unsigned seed = 11;
    auto rnd = [&seed] { return (seed = seed * 1664525u + 1013904223u) >> 8; };
    GatedAssignment solver;
    for (int trial = 0; trial < 3000; ++trial) {
        const int rows = 1 + static_cast<int>(rnd() % 7), cols = 1 + static_cast<int>(rnd() % 7);
        const double limit = 0.8;
        std::vector<GatedPair> pairs;
        for (int r = 0; r < rows; ++r)
            for (int c = 0; c < cols; ++c)
                if (rnd() % 100 < 35) {
                    // Costs on a coarse grid so that ties occur.
                    pairs.push_back(GatedPair{r, c, limit * static_cast<double>(rnd() % 9) / 8.0});
                }
        std::vector<int> row_match(rows, 7), col_match(cols, 7);
        solver.solve(rows, cols, pairs, limit, row_match.data(), col_match.data());
        double gain = 0.0;
        for (int r = 0; r < rows; ++r) {
            if (row_match[r] < 0) continue;
            ASSERT_EQ(col_match[row_match[r]], r);
            auto it = std::find_if(pairs.begin(), pairs.end(), [&](const GatedPair &q) {
                return q.row == r && q.col == row_match[r];
            });
            ASSERT_NE(it, pairs.end()) << "matched a pair outside the gate";
            gain += limit - it->cost;
        }
        for (int c = 0; c < cols; ++c) {
            if (col_match[c] >= 0) {
                ASSERT_EQ(row_match[col_match[c]], c);
            }
        }
        std::vector<char> used(cols, 0);
        ASSERT_NEAR(gain, best_gain(0, rows, pairs, limit, used), 1e-9) << "trial " << trial;
    }
}
