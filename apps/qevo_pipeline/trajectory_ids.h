// Output identifiers for the tracks of one tracker.
//
// The library gives a new track an identifier one above the largest
// identifier among the tracks it held before, so once the track with the
// largest identifier is deleted, its identifier is given again. Here each
// trajectory (one track from its creation to its deletion) gets its own
// identifier, numbered 1, 2, 3 ... in the order in which trajectories are
// first reported; trajectories never reported take no number.
#ifndef QEVO_PIPELINE_TRAJECTORY_IDS_H
#define QEVO_PIPELINE_TRAJECTORY_IDS_H

#include <map>
#include <vector>

namespace pipeline {

class TrajectoryIds {
  public:
    // Called after every tracker update with the library identifiers of all
    // the tracks the tracker now holds, reported or not. An identifier that
    // was not held after the previous update starts a new trajectory.
    void held(const std::vector<int> &library_ids);

    // Output identifier of the trajectory holding `library_id`, numbered at
    // its first report.
    int report(int library_id);

    // Output identifier of the trajectory holding `library_id` when it has
    // been reported, else -1.
    int reported(int library_id) const;

    int trajectories() const { return next_ - 1; }  // trajectories reported
    // Library identifiers that named more than one reported trajectory.
    int reused_library_ids() const;
    // Reported trajectories whose library identifier had named an earlier
    // reported trajectory: those a copy of the library's identifiers would
    // have merged with another.
    int remapped() const { return remapped_; }

  private:
    std::map<int, int> held_;     // library id -> output id, 0 while not reported
    std::map<int, int> reports_;  // library id -> reported trajectories that carried it
    int next_ = 1;
    int remapped_ = 0;
};

}  // namespace pipeline

#endif
