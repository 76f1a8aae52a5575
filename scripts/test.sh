#!/usr/bin/env bash
# Builds the library and runs the whole test suite twice: a normal build and
# one with AddressSanitizer + UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake g++ make pkg-config libgtest-dev libbenchmark-dev

jobs=$(nproc 2>/dev/null || echo 2)
run_suite() {
  local dir=$1; shift
  echo "=== build $dir ($*)"
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=ON "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  echo "=== test $dir"
  (cd "$dir" && ctest --output-on-failure -j "$jobs")
}

run_suite build
run_suite build-asan -DQEVO_SANITIZE=ON
