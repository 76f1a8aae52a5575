#!/usr/bin/env bash
# Builds the library and the frame-pipeline program and runs it. With no data
# arguments it runs on a recorded pedestrian scene: vtest.avi (768x576, 795
# frames) from Debian's opencv-doc package, fetched once (only that file is
# kept, in ~/.cache/qevo) unless the package is installed. A simulated
# pan/tilt servo moves the camera's view over the recording to follow a
# target; a people detector stands in for the application's network.
# Arguments are passed on to the program (see --help), for example
#   scripts/demo.sh --follow 3 --out mine          the recording, following track 3
#   scripts/demo.sh --video walk.mp4 --no-servo    any recording OpenCV decodes
#   scripts/demo.sh --scene                        the built-in synthetic scene
#   scripts/demo.sh --frames rec.nv12 --size 1920x1080 --dets det.txt --out mine
#   scripts/demo.sh --mot-root MOT17/train --min-score 0.5 --out bench
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake g++ make pkg-config libpng-dev nlohmann-json3-dev libcli11-dev \
  libinih-dev libopencv-videoio-dev libopencv-objdetect-dev libopencv-imgproc-dev

jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B build-demo -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=OFF -DQEVO_BUILD_BENCH=OFF \
    -DQEVO_BUILD_APPS=ON >/dev/null
cmake --build build-demo -j "$jobs" --target qevo_pipeline qevo_virtual_pan

out=out
mode=video
args=("$@")
for ((i = 0; i < ${#args[@]}; i++)); do
  case "${args[$i]}" in
    --out) [ $((i + 1)) -lt ${#args[@]} ] && out=${args[$((i + 1))]} ;;
    --mot-root) mode=benchmark ;;
    --video) mode=own-video ;;
    --scene | --frames | --dets | --gt | --servo) [ $mode = video ] && mode=other ;;
    -h | --help) mode=help ;;
  esac
done

# The default recording: from the installed package, else from the cache,
# else downloaded (the package, about 95 MB) and cut down to the one file.
if [ $mode = video ]; then
  video=/usr/share/doc/opencv-doc/examples/data/vtest.avi
  if [ ! -f "$video" ]; then
    cache=${XDG_CACHE_HOME:-$HOME/.cache}/qevo
    video=$cache/vtest.avi
    if [ ! -f "$video" ]; then
      echo "fetching vtest.avi (Debian's opencv-doc package, only this file is kept)"
      mkdir -p "$cache"
      work=$(mktemp -d)
      trap 'rm -rf "$work"' EXIT
      (cd "$work" && apt-get download opencv-doc >/dev/null 2>&1) ||
        { SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"; $SUDO apt-get update -qq &&
          (cd "$work" && apt-get download opencv-doc >/dev/null); }
      dpkg-deb --fsys-tarfile "$work"/opencv-doc_*.deb |
        tar -x -C "$work" --wildcards '*/examples/data/vtest.avi'
      mv "$(find "$work" -name vtest.avi | head -1)" "$video"
    fi
  fi
  set -- --video "$video" "$@"
fi

./build-demo/apps/qevo_pipeline/qevo_pipeline "$@"

[ -f "$out/summary.json" ] || exit 0
case $mode in
  video | own-video)
    echo
    echo "Results in $(cd "$out" && pwd):"
    echo "  view.mp4            the camera's view, annotated: tracks, the target, the servo's aim,"
    echo "                      the whole recording in an inset with the view's window"
    echo "  contact_sheet.png   every 30th annotated frame (frames/ holds them one by one)"
    echo "  summary.json        per-stage times, detector settings, counts (and quality with --gt)"
    echo "  tracks.txt          tracks in the view's coordinates (MOTChallenge format),"
    echo "  tracks_scene.txt    the same in the recording's, view.txt the view's window per frame"
    ;;
  other)
    echo
    echo "Results in $(cd "$out" && pwd):"
    echo "  summary.json        timings per stage, fps, track count, MOTA / IDF1 / HOTA / switches"
    echo "  tracks*.txt         tracks in MOTChallenge format (frame,id,x,y,w,h,score,-1,-1,-1),"
    echo "                      one identifier per track, never reused: tracks.txt and"
    echo "                      tracks_inplace.txt (exact trackers), tracks_motion.txt (motion)"
    echo "  frames/             annotated frames (every 30th by default)"
    echo "  contact_sheet.png   the annotated frames side by side"
    echo "  snapshots/          each track's 4x4 mosaic of its latest 64x64 patches"
    ;;
esac
