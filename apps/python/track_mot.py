#!/usr/bin/env python3
"""Runs one of the library's trackers on a MOTChallenge detection file.

    track_mot.py DET.txt RESULT.txt [--tracker motion|exact] [--iou 0.3] [--nms T]
                 [--min-score S] [--verbose]

DET.txt holds one detection per line, `frame,id,left,top,width,height,conf[,x,y,z]`
(frames from 1, 1-based pixel coordinates, as the MOTChallenge files give them).
Every frame from 1 to the last one is fed to the tracker, also frames without
detections, so tracks age as on the board:
  --tracker motion (default): qevo.MotionTracker with its default parameters;
      RESULT.txt receives every confirmed track matched in the frame;
  --tracker exact: qevo.Tracker (the in-place update_objtracker, IoU matching
      above --iou); RESULT.txt receives every established track (tracks count
      from their 10th observation).
RESULT.txt lines are `frame,id,left,top,width,height,score,-1,-1,-1`.

The exact tracker prints progress lines on standard output; they are discarded
unless --verbose is given. The script's own messages go to standard error.
"""
import argparse
import math
import os
import sys
from typing import Dict, List, Union

import numpy as np
import numpy.typing as npt

import qevo


def read_detections(path: str, min_score: float) -> Dict[int, npt.NDArray[np.float32]]:
    """{frame: N x 6 float32 array (x1, y1, x2, y2, score, class 0)}."""
    frames: Dict[int, List[List[float]]] = {}
    try:
        with open(path) as f:
            lines = f.read().splitlines()
    except OSError as e:
        raise SystemExit(f"{path}: {e.strerror}")
    for number, line in enumerate(lines, 1):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        fields = line.split(",")
        try:
            if not 7 <= len(fields) <= 10:
                raise ValueError(f"expected 7 to 10 fields, got {len(fields)}")
            frame = int(float(fields[0]))
            left, top, width, height, conf = map(float, fields[2:7])
            if not all(map(math.isfinite, (left, top, width, height, conf))):
                raise ValueError("numbers must be finite")
            if frame < 1 or width <= 0 or height <= 0:
                raise ValueError("frame below 1 or a box without width or height")
        except ValueError as e:
            raise SystemExit(f"{path}:{number}: {e}")
        if conf >= min_score:
            x1, y1 = left - 1, top - 1
            frames.setdefault(frame, []).append([x1, y1, x1 + width, y1 + height, conf, 0])
    return {k: np.array(v, dtype=np.float32) for k, v in frames.items()}


def main() -> None:
    parser = argparse.ArgumentParser(description=(__doc__ or "").split("\n\n")[0])
    parser.add_argument("detections")
    parser.add_argument("result")
    parser.add_argument("--tracker", choices=("motion", "exact"), default="motion",
                        help="qevo.MotionTracker (default) or the exact qevo.Tracker")
    parser.add_argument("--iou", type=float, default=0.3,
                        help="exact tracker: matching IoU threshold (0.3)")
    parser.add_argument("--nms", type=float, help="suppress each frame's boxes first (nms1)")
    parser.add_argument("--min-score", type=float, default=-np.inf, help="drop weaker boxes")
    parser.add_argument("--verbose", action="store_true", help="keep the tracker's lines")
    args = parser.parse_args()

    detections = read_detections(args.detections, args.min_score)
    if not args.verbose:
        sys.stdout.flush()
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)

    tracker: Union[qevo.MotionTracker, qevo.Tracker]
    if args.tracker == "motion":
        tracker, reported = qevo.MotionTracker(), qevo.TRACK_CONFIRMED
    else:
        tracker, reported = qevo.Tracker(iou_threshold=args.iou), qevo.TRACK_ESTABLISHED
    empty = np.zeros((0, 6), np.float32)
    written = 0
    with open(args.result, "w") as out:
        for frame in range(1, max(detections, default=0) + 1):
            dets = detections.get(frame, empty)
            if args.nms is not None and len(dets):
                dets = qevo.nms1(dets, args.nms)
            for row in tracker.update(dets):
                tid, x1, y1, x2, y2, score, _, state = row[:8]
                if state == reported:
                    out.write(f"{frame},{int(tid)},{x1 + 1:.2f},{y1 + 1:.2f},{x2 - x1:.2f},"
                              f"{y2 - y1:.2f},{score:.3f},-1,-1,-1\n")
                    written += 1
    print(f"{len(detections)} frames with detections, {written} track boxes written to "
          f"{args.result}", file=sys.stderr)


if __name__ == "__main__":
    main()
