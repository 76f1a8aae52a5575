#!/usr/bin/env bash
# Builds the libFuzzer targets listed in fuzz/targets.txt with clang,
# AddressSanitizer and UndefinedBehaviorSanitizer (build-fuzz/), then runs each
# one for SECONDS (default 300), starting from its committed seeds and crash
# reproducers (fuzz/corpus/<name>, fuzz/regressions/<name>) and the inputs
# earlier runs kept in build-fuzz/corpus/<name>. Ends with one line per
# target: executions, coverage (edges), crashes. Any crash, leak or timeout
# leaves its input in build-fuzz/artifacts/<name>/ and makes the script fail.
# FUZZ_SEED fixes libFuzzer's random seed. The test command's short run uses
# one so that its runs of a given tree start from the same mutations; they
# still drift apart somewhat (the coverage feedback differs a little from run
# to run), so a fixed seed narrows the role of luck without removing it. Long
# exploratory runs leave it unset and get a fresh seed each time.
#
#   [FUZZ_SEED=N] scripts/fuzz.sh [SECONDS [TARGET...]]   (all targets when none is named)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
seconds=${1:-300}
shift $(($# > 0 ? 1 : 0))
targets=("$@")
[ ${#targets[@]} -eq 0 ] && mapfile -t targets < <(grep -E '^[a-z0-9_]+$' fuzz/targets.txt)
bash scripts/deps.sh cmake make clang libclang-rt-14-dev

jobs=$(nproc 2>/dev/null || echo 2)
dir=$root/build-fuzz
echo "=== build $dir (clang, libFuzzer)"
cmake -S . -B "$dir" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Release \
  -DQEVO_BUILD_FUZZ=ON -DQEVO_BUILD_TESTS=OFF -DQEVO_BUILD_APPS=OFF -DQEVO_BUILD_BENCH=OFF >/dev/null
cmake --build "$dir" -j "$jobs"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
summary=()
status=0
for name in "${targets[@]}"; do
  work=$dir/corpus/$name
  artifacts=$dir/artifacts/$name
  log=$dir/logs/$name.log
  mkdir -p "$work" "$artifacts" "$(dirname "$log")"
  rm -f "$artifacts"/*
  echo "=== fuzz $name for $seconds s (log: $log)"
  # Absolute paths: a target may change its working directory.
  seeds=("$root/fuzz/corpus/$name")
  [ -d "$root/fuzz/regressions/$name" ] && seeds+=("$root/fuzz/regressions/$name")
  seed=()
  [ -n "${FUZZ_SEED:-}" ] && seed=(-seed="$FUZZ_SEED")
  rc=0
  "$dir/fuzz/fuzz_$name" "${seed[@]}" -max_total_time="$seconds" -timeout=10 -max_len=4096 \
    -print_final_stats=1 -artifact_prefix="$artifacts/" \
    "$work" "${seeds[@]}" >"$log" 2>&1 || rc=$?
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  cov=$( (grep -o 'cov: [0-9]*' "$log" || true) | tail -1 | cut -d' ' -f2)
  crashes=$(find "$artifacts" -type f | wc -l)
  if [ "$rc" -ne 0 ] || [ "$crashes" -ne 0 ]; then
    status=1
    [ "$crashes" -eq 0 ] && crashes=1
    tail -40 "$log"
    find "$artifacts" -type f -printf '  kept input: %p\n'
  fi
  summary+=("$(printf '%-14s executions %10s   coverage %6s   crashes %s' "$name" "${execs:-?}" "${cov:-?}" "$crashes")")
done
echo "=== fuzz summary ($seconds s per target)"
printf '%s\n' "${summary[@]}"
exit $status
