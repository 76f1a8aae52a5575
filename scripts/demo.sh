#!/usr/bin/env bash
# Builds the library and the frame-pipeline program, runs it on its built-in
# scene (1280x720 NV12, 300 frames: moving, crossing, stopping and leaving
# targets, a panning servo, a simulated detector) and says where the results
# are. Arguments are passed on to the program (see --help), for example
#   scripts/demo.sh --frames rec.nv12 --size 1920x1080 --dets det.txt --out mine
#   scripts/demo.sh --mot-root MOT17/train --min-score 0.5 --out bench
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake g++ make pkg-config libpng-dev nlohmann-json3-dev libcli11-dev \
  libinih-dev

jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B build-demo -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=OFF -DQEVO_BUILD_BENCH=OFF \
    -DQEVO_BUILD_APPS=ON >/dev/null
cmake --build build-demo -j "$jobs" --target qevo_pipeline qevo_virtual_pan

out=out
benchmark=no
args=("$@")
for ((i = 0; i < ${#args[@]}; i++)); do
  if [ "${args[$i]}" = "--out" ] && [ $((i + 1)) -lt ${#args[@]} ]; then out=${args[$((i + 1))]}; fi
  if [ "${args[$i]}" = "--mot-root" ]; then benchmark=yes; fi
done

./build-demo/apps/qevo_pipeline/qevo_pipeline "$@"

# A benchmark folder run (--mot-root) has printed its table and outputs.
[ $benchmark = no ] && [ -f "$out/summary.json" ] || exit 0
echo
echo "Results in $(cd "$out" && pwd):"
echo "  summary.json        timings per stage, fps, track count, MOTA / IDF1 / HOTA / switches"
echo "  tracks*.txt         tracks in MOTChallenge format (frame,id,x,y,w,h,score,-1,-1,-1),"
echo "                      one identifier per track, never reused: tracks.txt and"
echo "                      tracks_inplace.txt (exact trackers), tracks_motion.txt (motion)"
echo "  frames/             annotated frames (every 30th by default)"
echo "  contact_sheet.png   the annotated frames side by side"
echo "  snapshots/          each track's 4x4 mosaic of its latest 64x64 patches"
