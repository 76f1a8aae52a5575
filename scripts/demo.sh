#!/usr/bin/env bash
# Builds the library and the example program, then resizes a generated
# 1920x1080 RGB frame to 640x360 and prints what it did.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake g++ make

jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B build-demo -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=OFF -DQEVO_BUILD_BENCH=OFF \
    -DQEVO_BUILD_APPS=ON >/dev/null
cmake --build build-demo -j "$jobs" --target resize_example
./build-demo/apps/resize_example "$@"
