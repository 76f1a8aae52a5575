// Gated linear assignment between rows (tracks) and columns (detections).
//
// Input: the pairs that pass a gate, each with a cost no greater than
// `limit`. Output: a one-to-one matching of rows and columns, using only
// those pairs, that maximises the summed gain (limit - cost) of the matched
// pairs. A pair whose cost equals the limit gains nothing and may be left
// out.
//
// The pairs form a bipartite graph; rows and columns in different connected
// groups never compete, so each group is solved on its own: a group of one
// pair directly, a larger one with the Hungarian method (shortest augmenting
// paths with potentials) on a square matrix of its k rows and l columns
// padded with k + l free "unmatched" slots. The work is that of the groups,
// O(sum of (k + l)^3), not of the whole rows x columns matrix.
//
// The result depends only on the pairs and their order, in double precision
// with a fixed order of operations. Storage grows with the largest problem
// seen and is reused afterwards.
#ifndef QEVO_SRC_TRACKER_ASSIGNMENT_H
#define QEVO_SRC_TRACKER_ASSIGNMENT_H

#include <cstddef>
#include <vector>

namespace qevo_internal {

struct GatedPair {
    int row, col;
    double cost;
};

class GatedAssignment {
  public:
    // Matches rows 0 .. rows-1 with columns 0 .. cols-1. row_match[r] gets
    // the column of row r or -1, col_match[c] the row of column c or -1
    // (both sized by the caller). Every pair must have 0 <= row < rows,
    // 0 <= col < cols and cost <= limit; a row and column appear together in
    // at most one pair.
    void solve(int rows, int cols, const std::vector<GatedPair> &pairs, double limit,
               int *row_match, int *col_match);

    // Storage for problems of up to this many rows, columns and pairs.
    void reserve(int rows, int cols, int pairs);

  private:
    int find(int node);
    void solve_group(int first_pair, int end_pair, double limit, int *row_match, int *col_match);

    std::vector<int> parent_;       // union-find over rows, then columns
    std::vector<int> order_;        // pair indices grouped by component
    std::vector<int> group_of_;     // component root of each pair
    std::vector<int> local_;        // node -> index inside its group
    std::vector<int> rows_, cols_;  // a group's rows and columns
    std::vector<double> cost_;      // square Hungarian matrix, row-major
    std::vector<double> u_, v_, minv_;
    std::vector<int> p_, way_;
    std::vector<char> used_;
    const std::vector<GatedPair> *pairs_ = nullptr;
    int col_node_offset_ = 0;  // node of column 0: the problem's row count
};

}  // namespace qevo_internal

#endif
