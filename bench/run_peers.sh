#!/usr/bin/env bash
# Builds and runs the peer benchmark (this library against OpenCV and libyuv,
# single-threaded, on the same inputs) and writes its section of
# bench/RESULTS.md: the CPU model, the machine's load, and the table of times
# and ratios.
#   bench/run_peers.sh [extra Google Benchmark flags]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake g++ make pkg-config libbenchmark-dev libopencv-dev libyuv-dev

dir=build-peers
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=OFF -DQEVO_BUILD_APPS=OFF \
  -DQEVO_BUILD_BENCH=OFF -DQEVO_BUILD_PEER_BENCH=ON >/dev/null
cmake --build "$dir" -j "$(nproc 2>/dev/null || echo 2)" --target bench_peers bench_cold

load_before=$(cut -d' ' -f1-3 /proc/loadavg)
out=$(mktemp)
"$dir/bench/peers/bench_peers" --benchmark_min_time=0.3 --benchmark_repetitions=3 "$@" | tee "$out"
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

cpu=$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//')
{
  echo "## x86-64: time against OpenCV and libyuv"
  echo
  echo "Produced by \`bench/run_peers.sh\` on $(date -u '+%Y-%m-%d %H:%M UTC')."
  echo
  echo "- Source: commit $(git rev-parse --short HEAD 2>/dev/null || echo unknown)."
  echo "- CPU: ${cpu:-unknown} ($(nproc) cores), $(uname -m)"
  echo "- Every case single-threaded (\`cv::setNumThreads(1)\`), same inputs for both sides."
  echo "- Times are CPU time per call in microseconds (median of 3 repetitions of Google Benchmark means), so that"
  echo "  other processes on the machine cost less accuracy than wall time would."
  echo "- Load average (1, 5, 15 min) before: $load_before; after: $load_after (a load well"
  echo "  above 0 means other work shared the cores and the figures are less steady)."
  echo "- Ratio = peer time / our time: above 1 means this library is faster."
  echo "- \"ours, scalar path\" is the same call with \`QEVO_SIMD=scalar\`."
  echo "- \`nms\` and the in-place \`update_objtracker\` print progress lines; standard"
  echo "  output goes to /dev/null while they are timed. \`nms\` uses overlap type 1"
  echo "  (union); all suppressions use the threshold 0.5 and one class."
  echo
  sed -n '/^| case/,/^$/p' "$out"
  echo "The norms keep their sums in index order (one dependent single-precision addition per"
  echo "element), so their floor is the time of such a chain, measured on the same machine:"
  echo
  sed -n '/^| per element/,/^$/p' "$out"
  grep '^OpenCV' "$out" || true
} > "$out.md"
bash bench/results_section.sh x86 "$out.md"
rm -f "$out" "$out.md"

# The frame path cold and warm, with the memory floor.
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
"$dir/bench/peers/bench_cold" --benchmark_repetitions=5 | tee "$out"
load_after=$(cut -d' ' -f1-3 /proc/loadavg)
l3=$(getconf LEVEL3_CACHE_SIZE 2>/dev/null || echo 0)
{
  echo "## x86-64: the frame path cold and warm, against the memory floor"
  echo
  echo "Produced by \`bench/run_peers.sh\` (\`bench_cold\`) on $(date -u '+%Y-%m-%d %H:%M UTC')."
  echo
  echo "- Source: commit $(git rev-parse --short HEAD 2>/dev/null || echo unknown)."
  echo "- CPU: ${cpu:-unknown}, last-level cache $((l3 / 1048576)) MB; one thread, wall time."
  echo "- **Cold**: every call on the next of N sets of inputs and outputs, N at least 16"
  echo "  and the sets together at least four times the last-level cache, so that a call"
  echo "  finds none of its bytes in a cache, as with a frame written by DMA. **Warm**: the"
  echo "  same call on one set over and over. Mean of 48 calls, median of 5 repetitions."
  echo "- **Floor**: the bytes the operation must read (the source rows the output needs,"
  echo "  whole cache lines) at this machine's streaming read rate plus the bytes it writes"
  echo "  at its non-temporal write rate, both measured in the same run on 256 MB buffers:"
  echo "  $(grep '^streaming rates' "$out" | sed 's/^streaming rates: //')."
  echo "- Ratios are peer / ours (above 1: this library is faster)."
  echo "- Load average (1, 5, 15 min) before: $load_before; after: $load_after."
  echo
  sed -n '/^| case | peer | ours cold/,/^$/p' "$out"
} > "$out.md"
bash bench/results_section.sh x86-cold "$out.md"
rm -f "$out" "$out.md"
