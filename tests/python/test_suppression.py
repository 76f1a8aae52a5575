"""Suppression: nms (three overlap rules), nms1, nms_cls and seg_nms against
the library's results on random, heavily overlapping boxes."""
import numpy as np

import qevo


def with_area(boxes):
    """N x 6 boxes plus the inclusive-pixel area column, in single precision."""
    area = (boxes[:, 2] - boxes[:, 0] + np.float32(1)) * (boxes[:, 3] - boxes[:, 1] + np.float32(1))
    return np.column_stack([boxes, area]).astype(np.float32)


def random_boxes(rng, n):
    """Clusters of jittered boxes, classes 0 .. 3, scores with ties."""
    centres = rng.uniform(0, 300, (5, 2))[rng.integers(0, 5, n)] + rng.normal(0, 6, (n, 2))
    sizes = rng.uniform(4, 60, (n, 2))
    boxes = np.column_stack([centres - sizes / 2, centres + sizes / 2,
                             rng.integers(0, 20, n) / 20, rng.integers(0, 4, n)])
    return boxes.astype(np.float32)


def test_suppression_matches_library(rng, ref):
    # (reference program arguments, the same call through the binding)
    calls = [(("nms", 1, 0.375), lambda b: qevo.nms(b, 0.375, 1)),
             (("nms", 2, 0.375), lambda b: qevo.nms(b, 0.375, type=2)),
             (("nms", 0, 40.0), lambda b: qevo.nms(b, 40.0, 0)),  # pixel counts
             (("nms1", 0.375), lambda b: qevo.nms1(b, 0.375)),
             (("nms_cls", 0.375, 3), lambda b: qevo.nms_cls(b, 0.375, 3)),
             (("seg_nms", 0.375), lambda b: qevo.seg_nms(b, 0.375))]
    for trial in range(4):
        boxes = random_boxes(rng, 60)
        # Areas that disagree with the corners show that the area column is used.
        scaled = with_area(boxes)
        scaled[:, 6] *= rng.uniform(0.5, 2.0, len(boxes)).astype(np.float32)
        for args, call in calls:
            want = ref(*args, inputs=[with_area(boxes)], outputs=[np.float32]).reshape(-1, 7)
            assert np.array_equal(call(boxes), want[:, :6]), (trial, args)
            assert np.array_equal(call(boxes.tolist()), want[:, :6]), (trial, args)
            want = ref(*args, inputs=[scaled], outputs=[np.float32]).reshape(-1, 7)
            assert np.array_equal(call(scaled), want), (trial, args)
    assert qevo.nms([], 0.5).shape == (0, 6)
