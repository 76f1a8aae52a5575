#include "tracker/assignment.h"

#include <cstddef>

namespace qevo_internal {
namespace {

// Cost of a pair outside the gate: never part of an optimal matching, since
// leaving both sides unmatched costs 0.
constexpr double kForbidden = 1e6;
constexpr double kInfinity = 1e300;

}  // namespace

void GatedAssignment::reserve(int rows, int cols, int pairs) {
    const size_t nodes = static_cast<size_t>(rows) + static_cast<size_t>(cols);
    parent_.reserve(nodes);
    local_.reserve(nodes);
    order_.reserve(static_cast<size_t>(pairs));
    group_of_.reserve(static_cast<size_t>(pairs));
    rows_.reserve(static_cast<size_t>(rows));
    cols_.reserve(static_cast<size_t>(cols));
    // The Hungarian matrix of one group is reserved on demand: groups are
    // small, and a group as large as the whole problem is rare.
}

int GatedAssignment::find(int node) {
    while (parent_[node] != node) {
        parent_[node] = parent_[parent_[node]];
        node = parent_[node];
    }
    return node;
}

void GatedAssignment::solve(int rows, int cols, const std::vector<GatedPair> &pairs, double limit,
                            int *row_match, int *col_match) {
    for (int r = 0; r < rows; ++r) row_match[r] = -1;
    for (int c = 0; c < cols; ++c) col_match[c] = -1;
    if (pairs.empty()) return;
    pairs_ = &pairs;
    col_node_offset_ = rows;
    const int nodes = rows + cols;
    parent_.resize(static_cast<size_t>(nodes));
    for (int i = 0; i < nodes; ++i) parent_[i] = i;
    for (const GatedPair &q : pairs) {
        const int a = find(q.row), b = find(rows + q.col);
        // The smaller node becomes the root, so groups do not depend on
        // anything but the pairs.
        if (a < b)
            parent_[b] = a;
        else if (b < a)
            parent_[a] = b;
    }
    // Pairs grouped by component, in their original order inside a group
    // (a counting sort over the roots, which needs no extra storage).
    const int n_pairs = static_cast<int>(pairs.size());
    group_of_.resize(pairs.size());
    order_.resize(pairs.size());
    local_.assign(static_cast<size_t>(nodes), 0);
    for (int k = 0; k < n_pairs; ++k) {
        group_of_[k] = find(pairs[k].row);
        ++local_[group_of_[k]];
    }
    int start = 0;
    for (int i = 0; i < nodes; ++i) {
        const int count = local_[i];
        local_[i] = start;
        start += count;
    }
    for (int k = 0; k < n_pairs; ++k) order_[local_[group_of_[k]]++] = k;

    for (int i = 0; i < nodes; ++i) local_[i] = -1;
    int first = 0;
    while (first < n_pairs) {
        int end = first + 1;
        const int root = group_of_[order_[first]];
        while (end < n_pairs && group_of_[order_[end]] == root) ++end;
        solve_group(first, end, limit, row_match, col_match);
        first = end;
    }
    pairs_ = nullptr;
}

void GatedAssignment::solve_group(int first, int end, double limit, int *row_match,
                                  int *col_match) {
    const std::vector<GatedPair> &pairs = *pairs_;
    if (end - first == 1) {
        const GatedPair &q = pairs[order_[first]];
        row_match[q.row] = q.col;
        col_match[q.col] = q.row;
        return;
    }
    // Local indices: rows 0 .. k-1 and columns 0 .. l-1 in order of first
    // appearance. local_ holds them for rows at [row] and for columns at
    // [rows + col]; groups are disjoint, so no entry is set twice.
    rows_.clear();
    cols_.clear();
    for (int k = first; k < end; ++k) {
        const GatedPair &q = pairs[order_[k]];
        if (local_[q.row] < 0) {
            local_[q.row] = static_cast<int>(rows_.size());
            rows_.push_back(q.row);
        }
    }
    for (int k = first; k < end; ++k) {
        const GatedPair &q = pairs[order_[k]];
        const int node = col_node_offset_ + q.col;
        if (local_[node] < 0) {
            local_[node] = static_cast<int>(cols_.size());
            cols_.push_back(q.col);
        }
    }
    const int k_rows = static_cast<int>(rows_.size());
    const int l_cols = static_cast<int>(cols_.size());
    const int n = k_rows + l_cols;
    // Square matrix, 1-based as the method is usually written: real rows
    // 1..k, then one "unmatched" row per real column; real columns 1..l,
    // then one "unmatched" column per real row. Only real x real entries
    // carry costs (cost - limit <= 0); the rest are 0, forbidden pairs
    // kForbidden.
    const int stride = n + 1;
    cost_.assign(static_cast<size_t>(stride) * stride, 0.0);
    for (int i = 1; i <= k_rows; ++i)
        for (int j = 1; j <= l_cols; ++j) cost_[i * stride + j] = kForbidden;
    for (int k = first; k < end; ++k) {
        const GatedPair &q = pairs[order_[k]];
        const int i = local_[q.row] + 1, j = local_[col_node_offset_ + q.col] + 1;
        cost_[i * stride + j] = q.cost - limit;
    }
    u_.assign(static_cast<size_t>(stride), 0.0);
    v_.assign(static_cast<size_t>(stride), 0.0);
    p_.assign(static_cast<size_t>(stride), 0);
    way_.assign(static_cast<size_t>(stride), 0);
    for (int i = 1; i <= n; ++i) {
        p_[0] = i;
        int j0 = 0;
        minv_.assign(static_cast<size_t>(stride), kInfinity);
        used_.assign(static_cast<size_t>(stride), 0);
        do {
            used_[j0] = 1;
            const int i0 = p_[j0];
            double delta = kInfinity;
            int j1 = 0;
            for (int j = 1; j <= n; ++j) {
                if (used_[j]) continue;
                const double cur = cost_[i0 * stride + j] - u_[i0] - v_[j];
                if (cur < minv_[j]) {
                    minv_[j] = cur;
                    way_[j] = j0;
                }
                if (minv_[j] < delta) {
                    delta = minv_[j];
                    j1 = j;
                }
            }
            for (int j = 0; j <= n; ++j) {
                if (used_[j]) {
                    u_[p_[j]] += delta;
                    v_[j] -= delta;
                } else {
                    minv_[j] -= delta;
                }
            }
            j0 = j1;
        } while (p_[j0] != 0);
        do {
            const int j1 = way_[j0];
            p_[j0] = p_[j1];
            j0 = j1;
        } while (j0 != 0);
    }
    for (int j = 1; j <= l_cols; ++j) {
        const int i = p_[j];
        if (i < 1 || i > k_rows || cost_[i * stride + j] >= kForbidden) continue;
        row_match[rows_[i - 1]] = cols_[j - 1];
        col_match[cols_[j - 1]] = rows_[i - 1];
    }
}

}  // namespace qevo_internal
