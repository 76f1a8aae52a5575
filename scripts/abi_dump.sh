#!/usr/bin/env bash
# Writes the ABI description of the library to OUT (libabigail's abidw XML):
# the release library built with debug information in build-abi/, its
# exported symbols, and the types of the public headers in include/ that the
# exported functions reach (standard-library and internal types are left
# out; the records' own layout is also pinned at compile time by
# src/utils/record_layout.cpp). Used by check_abi.sh and update_abi_baseline.sh
# so that both describe the library in exactly the same way.
#
#   scripts/abi_dump.sh OUT
set -euo pipefail
cd "$(dirname "$0")/.."
out=$1
bash scripts/deps.sh cmake make g++ abigail-tools >&2

jobs=$(nproc 2>/dev/null || echo 2)
dir=build-abi
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS=-g -DQEVO_BUILD_TESTS=OFF \
  -DQEVO_BUILD_APPS=OFF -DQEVO_BUILD_BENCH=OFF >/dev/null
cmake --build "$dir" -j "$jobs" --target QEVO >/dev/null

headers=$(cd include && ls *.h | sed 's/\.h$//' | paste -sd'|')
suppr=$dir/public_types_only.supp
printf '[suppress_type]\n  source_location_not_regexp = /include/(%s)\\.h$\n  drop = yes\n' \
  "$headers" >"$suppr"
abidw --headers-dir include --suppressions "$suppr" --no-corpus-path --no-comp-dir-path \
  --no-show-locs --type-id-style hash --out-file "$out" "$dir/libQEVO.kivexC.so"
