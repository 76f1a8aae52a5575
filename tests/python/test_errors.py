"""Bad arguments raise clear Python errors; repeated calls leak no references
or memory; inputs are read in place."""
import gc
import sys
import tracemalloc

import numpy as np
import pytest

import qevo

IMG = np.zeros((20, 30, 3), np.uint8)
NV12 = np.zeros((30, 40), np.uint8)
BOXES = np.array([[0, 0, 10, 10, 0.9, 1]], np.float32)


def unaligned_plane():
    raw = np.zeros(4 * 12 + 1, np.uint8)
    plane = np.frombuffer(raw.data, np.float32, 12, offset=1).reshape(3, 4)
    assert not plane.flags.aligned
    return plane


def test_bad_arguments_raise_clear_errors():
    snap = qevo.SnapshotTracker()
    snap.update(BOXES)
    cases = [
        (lambda: qevo.resize(IMG.astype(np.float64), (4, 4)), TypeError, "dtype uint8"),
        (lambda: qevo.resize(IMG.tolist(), (4, 4)), TypeError, "type list"),
        (lambda: qevo.resize(IMG[None], (4, 4)), ValueError, "shape (H, W)"),
        (lambda: qevo.resize(np.zeros((4, 4, 5), np.uint8), (2, 2)), ValueError, "1 to 4 channels"),
        (lambda: qevo.resize(IMG[:, ::2], (4, 4)), ValueError, "packed pixels"),
        (lambda: qevo.resize(IMG[::-1], (4, 4)), ValueError, "row pitch"),
        (lambda: qevo.resize(IMG[:1], (4, 4)), ValueError, "at least 2 x 2"),
        (lambda: qevo.resize(IMG, (0, 4)), ValueError, "at least 1"),
        (lambda: qevo.resize(IMG, (4.5, 4)), TypeError, "pair of ints"),
        (lambda: qevo.resize(IMG, 4), TypeError, "pair of ints"),
        (lambda: qevo.resize_nv12(NV12[:29], (4, 4)), ValueError, "NV12"),
        (lambda: qevo.resize_nv12(NV12, (5, 4)), ValueError, "even"),
        (lambda: qevo.resize_float(IMG[:, :, 0].astype(np.float32).T, (4, 4)), ValueError, "C-contiguous"),
        (lambda: qevo.resize_float(unaligned_plane(), (4, 4)), ValueError, "aligned"),
        (lambda: qevo.resize_float(np.zeros((3, 4)), (4, 4)), TypeError, "float32"),
        (lambda: qevo.crop(np.asfortranarray(IMG), 0, 0, 5, 5), ValueError, "C-contiguous"),
        (lambda: qevo.crop_nv12(IMG, 0, 0, 5, 5), ValueError, "NV12"),
        (lambda: qevo.pad(IMG, -1, 0, 0, 0, [1, 2, 3]), ValueError, "negative"),
        (lambda: qevo.pad(IMG, 1, 0, 0, 0, [1, 2]), ValueError, "one entry per channel"),
        (lambda: qevo.nhwc_to_nchw(IMG[:, :, :2].copy()), ValueError, "(H, W, 3)"),
        (lambda: qevo.nv12_to_rgb(NV12.astype(np.int16)), TypeError, "dtype uint8"),
        (lambda: qevo.nv12_to_rgb(NV12[:, ::2]), ValueError, "packed pixels"),
        (lambda: qevo.nv12_to_rgb(NV12[::-1]), ValueError, "row pitch"),
        (lambda: qevo.nv12_to_rgb(NV12[:0]), ValueError, "at least 2 x 2"),
        (lambda: qevo.nv12_to_rgb(NV12, matrix=qevo.ColorMatrix(7)), ValueError, "enumeration"),
        (lambda: qevo.nv12_to_rgb(NV12, matrix=1), TypeError, "incompatible"),
        (lambda: qevo.nv12_to_tensor(NV12[:3, :2], (8, 8)), ValueError, "at least 4 x 4"),
        (lambda: qevo.nv12_to_tensor(NV12[:29], (8, 8)), ValueError, "NV12"),
        (lambda: qevo.nv12_to_tensor(NV12, (1, 8)), ValueError, "at least 2"),
        (lambda: qevo.nv12_to_tensor(NV12, (8, 8), crop=(50, 0, 60, 10)), ValueError, "crop rectangle"),
        (lambda: qevo.nv12_to_tensor(NV12, (8, 8), crop=(0, 0, 3)), TypeError, "four ints"),
        (lambda: qevo.nv12_to_tensor(NV12, (8, 8), crop=(0, 0, 2**40, 8)), ValueError, "fit an int"),
        (lambda: qevo.nv12_to_tensor(NV12, (8, 8), mean=[1, 2]), TypeError, "three numbers"),
        (lambda: qevo.nv12_to_tensor(NV12, (8, 8), scale="x"), TypeError, "three numbers"),
        (lambda: qevo.nv12_to_tensor(NV12, (8, 8), pad=256), ValueError, "0 .. 255"),
        (lambda: qevo.nv12_to_tensor(NV12, (8, 8), pad=[1.5, 2, 3]), TypeError, "three ints"),
        (lambda: qevo.nv12_to_tensor(NV12, (8, 8), fit=qevo.TensorFit(2)), ValueError, "fit is not"),
        (lambda: qevo.nv12_to_tensor(NV12, (8, 8), format=qevo.FIT_STRETCH), TypeError, "incompatible"),
        (lambda: qevo.nms(BOXES.astype(np.float64), 0.5), TypeError, "float32"),
        (lambda: qevo.nms(BOXES[:, :5].copy(), 0.5), ValueError, "(N, 6)"),
        (lambda: qevo.nms([[0, 0, 1, 1, 0.5, 0.5]], 0.5), ValueError, "whole number"),
        (lambda: qevo.nms([[0, 0, 1, 1, 0.5, np.nan]], 0.5), ValueError, "whole number"),
        (lambda: qevo.nms1("boxes", 0.5), TypeError, "list of rows"),
        (lambda: qevo.sigmoid(np.zeros(3)), TypeError, "float32"),
        (lambda: qevo.sigmoid("x"), TypeError, "number"),
        (lambda: qevo.softmax(np.zeros((2, 2), np.float32)), ValueError, "1 dimension"),
        (lambda: qevo.Tracker().update(BOXES[:, :4].copy()), ValueError, "(N, 6)"),
        (lambda: snap.update(BOXES, []), ValueError, "one entry per detection"),
        (lambda: snap.update(BOXES, [IMG]), ValueError, "NV12"),
        (lambda: qevo.SnapshotTracker(layout="rgb").update(BOXES, [NV12]), ValueError, "(h, w, 3)"),
        (lambda: qevo.SnapshotTracker(layout="bgr"), ValueError, "'nv12' or 'rgb'"),
        (lambda: snap.snapshot(1), IndexError, "out of range"),
        (lambda: qevo.hash_("a\0b"), ValueError, "NUL"),
        (lambda: qevo.hash_(12), TypeError, "str or bytes"),
    ]
    for call, error, text in cases:
        with pytest.raises(error) as info:
            call()
        assert text in str(info.value), (text, str(info.value))
    assert snap.snapshot(-1).shape == (384, 256)


def test_repeated_calls_leak_nothing():
    img, frame = np.ones((40, 60, 3), np.uint8), np.ones((60, 80), np.uint8)
    plane, boxes = np.ones((20, 20), np.float32), np.tile(BOXES, (8, 1))
    tracker, snap = qevo.Tracker(), qevo.SnapshotTracker()
    patch = np.ones((48, 32), np.uint8)
    calls = [lambda: qevo.resize(img, (30, 20)), lambda: qevo.resize_nv12(frame, (40, 30)),
             lambda: qevo.resize_float(plane, (10, 10)), lambda: qevo.crop(img, 2, 2, 20, 20),
             lambda: qevo.crop_nv12(frame, 2, 2, 20, 20), lambda: qevo.pad(img, 1, 2, 3, 4, [1, 2, 3]),
             lambda: qevo.nhwc_to_nchw(img), lambda: qevo.nv12_to_rgb(frame[:, 2:42], nv21=True),
             lambda: qevo.nv12_to_tensor(frame, (32, 24), crop=(3, 5, 61, 37), mean=[1, 2, 3],
                                         scale=0.5, pad=[1, 2, 3], format=qevo.TENSOR_F32_CHW),
             lambda: qevo.nv12_to_tensor(frame[:, 4:], (8, 8), crop=(0, 0, 2, 2)),  # raises
             lambda: qevo.nms_cls(boxes, 0.5, 3),
             lambda: qevo.seg_nms(boxes.tolist(), 0.5), lambda: qevo.sigmoid(plane),
             lambda: qevo.softmax(plane[0]), lambda: tracker.update(boxes),
             lambda: qevo.filter_objtrackers(tracker, 2.0),
             lambda: snap.update(boxes, [patch] * 8, az=1.0, pt=2.0), lambda: snap.snapshot(0),
             lambda: qevo.resize(img.astype(np.float32), (3, 3)),  # raises
             lambda: qevo.nms([[0, 0, 1, 1, 0.5, 0.5]], 0.5)]  # raises
    # A leaked placement (a small named tuple) holds a reference to its type.
    inputs = [img, frame, plane, boxes, patch, qevo.TensorPlacement]

    def run_all(times):
        for call in calls:
            for _ in range(times):
                try:
                    call()
                except (TypeError, ValueError):
                    pass

    run_all(20)  # warm-up: caches, the trackers' own growth to a steady state
    gc.collect()
    counts = [sys.getrefcount(a) for a in inputs]
    tracemalloc.start()
    before = tracemalloc.get_traced_memory()[0]
    run_all(300)
    gc.collect()
    grown = tracemalloc.get_traced_memory()[0] - before
    tracemalloc.stop()
    assert [sys.getrefcount(a) for a in inputs] == counts
    assert grown < 64 * 1024, grown  # one leaked result per call would be megabytes


def test_inputs_are_read_in_place():
    big = np.ones((1000, 1500, 3), np.uint8)  # 4.5 MB; every result below is small
    plane = np.ones((1000, 1000), np.float32)
    frame = np.ones((1500, 1000), np.uint8)  # NV12 1000 x 1000
    calls = [lambda: qevo.resize(big[100:900, 200:1400], (64, 48)),
             lambda: qevo.nv12_to_tensor(frame[:, 100:900], (64, 48), format=qevo.TENSOR_F32_CHW),
             lambda: qevo.crop(big, 0, 0, 40, 30), lambda: qevo.resize_float(plane, (8, 8)),
             lambda: qevo.sigmoid(plane[:4]), lambda: qevo.pad(big[:10], 1, 1, 1, 1, [0, 0, 0])]
    for call in calls:
        tracemalloc.start()
        call()
        peak = tracemalloc.get_traced_memory()[1]
        tracemalloc.stop()
        assert peak < 1 << 20, peak  # a copy of the input would be several MB

