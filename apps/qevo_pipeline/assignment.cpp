#include "assignment.h"

#include <limits>

namespace pipeline {
namespace {

// Rows <= cols. O(rows^2 * cols) shortest augmenting paths with row and
// column potentials; 1-based internally, column 0 is the virtual start.
std::vector<int> solve_wide(const std::vector<std::vector<double>> &a, int n, int m) {
    const double inf = std::numeric_limits<double>::infinity();
    std::vector<double> u(n + 1, 0.0), v(m + 1, 0.0);
    std::vector<int> p(m + 1, 0), way(m + 1, 0);
    for (int i = 1; i <= n; ++i) {
        p[0] = i;
        int j0 = 0;
        std::vector<double> minv(m + 1, inf);
        std::vector<char> used(m + 1, 0);
        do {
            used[j0] = 1;
            const int i0 = p[j0];
            double delta = inf;
            int j1 = 0;
            for (int j = 1; j <= m; ++j) {
                if (used[j]) continue;
                const double cur = a[i0 - 1][j - 1] - u[i0] - v[j];
                if (cur < minv[j]) {
                    minv[j] = cur;
                    way[j] = j0;
                }
                if (minv[j] < delta) {
                    delta = minv[j];
                    j1 = j;
                }
            }
            for (int j = 0; j <= m; ++j) {
                if (used[j]) {
                    u[p[j]] += delta;
                    v[j] -= delta;
                } else {
                    minv[j] -= delta;
                }
            }
            j0 = j1;
        } while (p[j0] != 0);
        do {
            const int j1 = way[j0];
            p[j0] = p[j1];
            j0 = j1;
        } while (j0 != 0);
    }
    std::vector<int> row_to_col(n, -1);
    for (int j = 1; j <= m; ++j)
        if (p[j] != 0) row_to_col[p[j] - 1] = j - 1;
    return row_to_col;
}

}  // namespace

std::vector<int> min_cost_assignment(const std::vector<std::vector<double>> &cost) {
    const int rows = static_cast<int>(cost.size());
    const int cols = rows == 0 ? 0 : static_cast<int>(cost[0].size());
    if (rows == 0 || cols == 0) return std::vector<int>(rows, -1);
    if (rows <= cols) return solve_wide(cost, rows, cols);
    // More rows than columns: solve the transposed problem.
    std::vector<std::vector<double>> t(cols, std::vector<double>(rows));
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c) t[c][r] = cost[r][c];
    std::vector<int> col_to_row = solve_wide(t, cols, rows);
    std::vector<int> row_to_col(rows, -1);
    for (int c = 0; c < cols; ++c)
        if (col_to_row[c] >= 0) row_to_col[col_to_row[c]] = c;
    return row_to_col;
}

}  // namespace pipeline
