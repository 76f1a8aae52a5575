// Minimum-cost bipartite assignment (Hungarian method with potentials).
#ifndef QEVO_PIPELINE_ASSIGNMENT_H
#define QEVO_PIPELINE_ASSIGNMENT_H

#include <vector>

namespace pipeline {

// `cost` is a rows x cols matrix (every row the same length; finite values).
// Returns, for every row, the column assigned to it, or -1. When rows <= cols
// every row gets a distinct column; when rows > cols every column gets a
// distinct row and the remaining rows get -1. The total cost of the assigned
// pairs is minimal among all such assignments. An empty matrix gives an empty
// (or all -1) result.
std::vector<int> min_cost_assignment(const std::vector<std::vector<double>> &cost);

}  // namespace pipeline

#endif
