// Console output as Google Benchmark prints it, and each run's time per call
// kept by benchmark name (microseconds; CPU time, or wall time for runs that
// use it); with repetitions, medians() gives the median of the repetitions.
#ifndef QEVO_BENCH_PEERS_COLLECTOR_H
#define QEVO_BENCH_PEERS_COLLECTOR_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace qevo_bench {

class Collector : public benchmark::ConsoleReporter {
  public:
    explicit Collector(bool real_time = false) : real_time_(real_time) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs) {
            if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
            const double t = real_time_ ? r.GetAdjustedRealTime() : r.GetAdjustedCPUTime();
            const double us = t * benchmark::GetTimeUnitMultiplier(benchmark::kMicrosecond) /
                              benchmark::GetTimeUnitMultiplier(r.time_unit);
            samples_[r.run_name.function_name].push_back(us);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    std::map<std::string, double> medians() const {
        std::map<std::string, double> out;
        for (const auto &kv : samples_) {
            std::vector<double> v = kv.second;
            std::sort(v.begin(), v.end());
            const size_t n = v.size();
            out[kv.first] = n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
        }
        return out;
    }

  private:
    bool real_time_;
    std::map<std::string, std::vector<double>> samples_;
};

}  // namespace qevo_bench

#endif
