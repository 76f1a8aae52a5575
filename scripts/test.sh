#!/usr/bin/env bash
# Builds the library and runs the whole test suite: a normal build (build/)
# with its API reference (doxygen; an undocumented declaration fails), one
# with AddressSanitizer + UndefinedBehaviorSanitizer (build-asan/), the
# aarch64 cross build under qemu, the Python package (wheel installed into a
# throwaway virtual environment, pytest, mypy), and the Debian packages of
# both architectures (lintian, and the consumer project built against them
# unpacked in a temporary root). After them: the normal build's test programs
# under valgrind, every fuzz target for 20 s, and the ABI check against abi/.
# Missing Debian packages are installed first.
# Stops at the first step that fails.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake g++ make pkg-config libgtest-dev libbenchmark-dev libpng-dev \
  nlohmann-json3-dev libcli11-dev libinih-dev libopencv-videoio-dev libopencv-objdetect-dev \
  libopencv-imgproc-dev doxygen

# Any sanitizer report ends the program with a failure status.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

jobs=$(nproc 2>/dev/null || echo 2)
run_suite() {
  local dir=$1; shift
  echo "=== build $dir ($*)"
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=ON "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  echo "=== test $dir"
  (cd "$dir" && ctest --output-on-failure --no-tests=error --timeout 600 -j "$jobs")
}

run_suite build
echo "=== API reference (build/docs/html)"
cmake --build build --target docs
run_suite build-asan -DQEVO_SANITIZE=ON
bash scripts/test_aarch64.sh
bash scripts/test_python.sh
bash scripts/package.sh --check

# Hardening: memory checker, fuzzing, binary interface.
bash scripts/memcheck.sh build
FUZZ_SEED=1 bash scripts/fuzz.sh 20
bash scripts/check_abi.sh
