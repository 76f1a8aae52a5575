"""The motion tracker against the library driven directly by the reference
program, with servo angles on most frames; and its refusals."""
import numpy as np
import pytest

import qevo
from test_trackers import scenario


def test_motion_tracker_matches_library_frame_by_frame(rng, ref):
    frames, res = 80, 0.05
    rows = scenario(rng, frames)
    # A pan of up to 1.5 degrees per frame, no angles on every 11th frame.
    angles = np.column_stack([350 + 20 * np.sin(np.arange(frames) / 9.0),
                              2 * np.cos(np.arange(frames) / 13.0)]).astype(np.float32)
    angles[::11] = np.nan
    params = dict(high_score=0.6, low_score=0.2, new_track_score=0.7, confirm_hits=3, max_lost=8)
    want = ref("motion", frames, *params.values(), res, inputs=[rows, angles],
               outputs=[np.float64]).reshape(-1, 14)
    tracker = qevo.MotionTracker(**params)
    got = []
    for f in range(frames):
        az, pt = angles[f]
        kw = {} if np.isnan(az) else dict(az=float(az), pt=float(pt), resolution=res)
        tracks = tracker.update(rows[rows[:, 0] == f, 1:], **kw)
        assert np.array_equal(tracks, tracker.tracks()) and len(tracker) == len(tracks)
        got.append(np.column_stack([np.full(len(tracks), f), tracks]))
    assert np.array_equal(np.vstack(got), want)
    # The scenario reaches every state; identifiers never come back.
    assert {0, 1, 2} <= set(want[:, 8])
    assert tracker.frame_count == frames and tracker.params["max_lost"] == 8
    for tid in set(want[:, 1]):
        seen = want[want[:, 1] == tid, 0]
        assert seen.max() - seen.min() + 1 == len(seen)  # one unbroken stretch per identifier


def test_motion_tracker_refusals_and_skips():
    t = qevo.MotionTracker(match_iou=float("nan"), confirm_hits=-1)
    assert t.params["match_iou"] == qevo.MotionTracker().params["match_iou"]
    assert t.params["confirm_hits"] == 2
    with pytest.raises(TypeError):
        qevo.MotionTracker(0.5)  # keywords only
    with pytest.raises(TypeError):
        qevo.MotionTracker(no_such_threshold=1)
    with pytest.raises(ValueError, match="both az and pt"):
        t.update(np.zeros((0, 6), np.float32), az=10.0)
    with pytest.raises(TypeError):
        t.update(np.zeros((2, 6), np.float64))
    boxes = np.array([[0, 0, 10, 20, 0.95, 0], [np.nan, 0, 10, 20, 0.95, 0],
                      [5, 5, 5, 25, 0.95, 0], [30, 30, 20, 40, 0.95, 0]], np.float32)
    rows = t.update(boxes)
    assert t.skipped == 3 and len(rows) == 1 and rows[0, 12] == 0  # took detection row 0
    assert t.predicted_box(int(rows[0, 0])) == pytest.approx((0, 0, 10, 20))
    assert t.predicted_box(999) is None
    t.reset()
    assert len(t) == 0 and t.frame_count == 0
