// Per-stage timings and the progress bar.
#ifndef QEVO_PIPELINE_RUN_STATS_H
#define QEVO_PIPELINE_RUN_STATS_H

#include <chrono>
#include <string>
#include <vector>

namespace pipeline {

// Milliseconds per frame of one stage.
struct StageTimes {
    std::string name;
    std::vector<double> ms;
    double mean() const;
    // 95th percentile, nearest rank (the smallest sample with at least 95 % of
    // the samples at or below it); 0 without samples.
    double p95() const;
    double total() const;
};

// Measures one stage: construct, run the stage, then call stop().
class StageClock {
  public:
    StageClock() : t0_(std::chrono::steady_clock::now()) {}
    double elapsed_ms() const {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0_)
            .count();
    }

  private:
    std::chrono::steady_clock::time_point t0_;
};

// A one-line progress bar on standard error, redrawn at most ten times a
// second, with an optional label after the counts. Does nothing when disabled.
class ProgressBar {
  public:
    ProgressBar(int total, bool enabled);
    void update(int done);
    void set_label(const std::string &label) { label_ = label; }
    void finish();

  private:
    int total_;
    std::string label_;
    bool enabled_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point start_, last_;
};

}  // namespace pipeline

#endif
