#!/usr/bin/env bash
# Builds the library and the whole test suite for 64-bit Arm (aarch64) with
# Debian's cross compiler, and runs the suite under qemu-aarch64 with ctest.
# The vector kernels take their NEON form there, so the kernel tests prove it
# byte for byte against the scalar form. Missing Debian packages are installed
# first. Build directory: build-aarch64/ (Release, no apps or benchmarks).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake make g++-aarch64-linux-gnu qemu-user libgtest-dev

jobs=$(nproc 2>/dev/null || echo 2)
# The x86-64 replay program whose motion-tracker output the cross build must
# reproduce bit for bit (built in the normal build directory).
echo "=== build build/tests/track_replay (x86-64 reference)"
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=ON >/dev/null
cmake --build build -j "$jobs" --target track_replay >/dev/null
dir=build-aarch64
echo "=== build $dir (aarch64, run under qemu-aarch64)"
cmake -S . -B "$dir" -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64.cmake \
  -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=ON -DQEVO_BUILD_APPS=OFF -DQEVO_BUILD_BENCH=OFF \
  -DQEVO_HOST_TRACK_REPLAY="$PWD/build/tests/track_replay" >/dev/null
cmake --build "$dir" -j "$jobs"
echo "=== test $dir"
(cd "$dir" && ctest --output-on-failure --no-tests=error --timeout 600 -j "$jobs")
