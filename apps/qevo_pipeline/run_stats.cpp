#include "run_stats.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

namespace pipeline {

double StageTimes::total() const { return std::accumulate(ms.begin(), ms.end(), 0.0); }

double StageTimes::mean() const {
    return ms.empty() ? 0.0 : total() / static_cast<double>(ms.size());
}

double StageTimes::p95() const {
    if (ms.empty()) return 0.0;
    std::vector<double> s = ms;
    std::sort(s.begin(), s.end());
    size_t rank = static_cast<size_t>(std::ceil(0.95 * static_cast<double>(s.size())));
    rank = std::max<size_t>(rank, 1);
    return s[rank - 1];
}

ProgressBar::ProgressBar(int total, bool enabled)
    : total_(total),
      enabled_(enabled && total > 0),
      start_(std::chrono::steady_clock::now()),
      last_(start_) {}

void ProgressBar::update(int done) {
    if (!enabled_) return;
    const auto now = std::chrono::steady_clock::now();
    if (drawn_ && done < total_ && now - last_ < std::chrono::milliseconds(100)) return;
    last_ = now;
    drawn_ = true;
    const int width = 40;
    const int filled = static_cast<int>(static_cast<long long>(width) * done / total_);
    const double secs = std::chrono::duration<double>(now - start_).count();
    std::string bar(static_cast<size_t>(filled), '#');
    bar.append(static_cast<size_t>(width - filled), '.');
    std::fprintf(stderr, "\r[%s] %d/%d frames %5.1f fps %-24s", bar.c_str(), done, total_,
                 secs > 0 ? done / secs : 0.0, label_.c_str());
    std::fflush(stderr);
}

void ProgressBar::finish() {
    if (!enabled_ || !drawn_) return;
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

}  // namespace pipeline
