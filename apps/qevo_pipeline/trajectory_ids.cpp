#include "trajectory_ids.h"

namespace pipeline {

void TrajectoryIds::held(const std::vector<int> &library_ids) {
    std::map<int, int> now;
    for (int id : library_ids) {
        auto it = held_.find(id);
        now[id] = it == held_.end() ? 0 : it->second;
    }
    held_.swap(now);
}

int TrajectoryIds::report(int library_id) {
    int &out = held_[library_id];
    if (out == 0) {
        out = next_++;
        if (reports_[library_id]++ > 0) ++remapped_;
    }
    return out;
}

int TrajectoryIds::reported(int library_id) const {
    auto it = held_.find(library_id);
    return it == held_.end() || it->second == 0 ? -1 : it->second;
}

int TrajectoryIds::reused_library_ids() const {
    int n = 0;
    for (const auto &kv : reports_) n += kv.second > 1;
    return n;
}

}  // namespace pipeline
