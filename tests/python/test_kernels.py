"""Resize kernels, NV12 colour conversion and network inputs, pixel-buffer
helpers, activations, servo conversions and hashes: the binding's results
against the library's (reference program) or against the library's exact
documented rules computed in NumPy."""
import hashlib

import numpy as np

import qevo


def test_resize_matches_library(rng, ref):
    for c in (1, 2, 3, 4):
        for (sw, sh), (w, h) in [((640, 360), (320, 180)), ((37, 23), (91, 50)),
                                  ((2, 2), (1, 1)), ((101, 67), (33, 81))]:
            img = rng.integers(0, 256, (sh, sw, c), dtype=np.uint8)
            want = ref("resize", c, sw, sh, w, h, inputs=[img]).reshape(h, w, c)
            assert np.array_equal(qevo.resize(img, (w, h)), want), (c, sw, sh, w, h)
            if c == 1:
                assert np.array_equal(qevo.resize(img[:, :, 0], (w, h)), want[:, :, 0])
        # A view with strided rows goes to the kernel as it is.
        big = rng.integers(0, 256, (90, 120, c), dtype=np.uint8)
        view = big[7:80, 11:100]
        want = ref("resize", c, 89, 73, 40, 30, inputs=[view]).reshape(30, 40, c)
        assert np.array_equal(qevo.resize(view, (40, 30)), want)


def test_resize_nv12_and_float_match_library(rng, ref):
    for (sw, sh), (w, h) in [((640, 360), (320, 180)), ((36, 22), (90, 50)), ((4, 4), (2, 2))]:
        frame = rng.integers(0, 256, (sh * 3 // 2, sw), dtype=np.uint8)
        want = ref("nv12", sw, sh, w, h, inputs=[frame]).reshape(h * 3 // 2, w)
        assert np.array_equal(qevo.resize_nv12(frame, (w, h)), want)
    for (sw, sh), (w, h) in [((64, 48), (224, 224)), ((1, 5), (3, 2)), ((33, 17), (8, 9))]:
        plane = rng.standard_normal((sh, sw)).astype(np.float32) * 100
        want = ref("float", sw, sh, w, h, inputs=[plane], outputs=[np.float32]).reshape(h, w)
        assert np.array_equal(qevo.resize_float(plane, (w, h)), want)


MATRICES = [qevo.BT601_LIMITED, qevo.BT601_FULL, qevo.BT709_LIMITED]


def test_nv12_to_rgb_matches_library(rng, ref):
    for matrix in MATRICES:
        for nv21 in (False, True):
            for bgr in (False, True):
                w, h = 2 * rng.integers(1, 60, 2)
                frame = rng.integers(0, 256, (h * 3 // 2, w), dtype=np.uint8)
                want = ref("rgb", w, h, int(bgr), int(nv21), int(matrix), inputs=[frame])
                got = qevo.nv12_to_rgb(frame, bgr=bgr, nv21=nv21, matrix=matrix)
                assert np.array_equal(got, want.reshape(h, w, 3)), (matrix, nv21, bgr, w, h)
    want = ref("rgb", w, h, 0, 0, 0, inputs=[frame]).reshape(h, w, 3)
    assert np.array_equal(qevo.nv12_to_rgb(frame), want)
    # A frame padded to a row stride, and a column range of one, are read in place.
    padded = rng.integers(0, 256, (90, 100), dtype=np.uint8)  # 60 luma rows, stride 100
    for view in (padded[:, :64], padded[:, 10:74]):
        want = ref("rgb", 64, 60, 1, 1, 2, inputs=[view]).reshape(60, 64, 3)
        got = qevo.nv12_to_rgb(view, bgr=True, nv21=True, matrix=qevo.BT709_LIMITED)
        assert np.array_equal(got, want)


def test_nv12_to_tensor_matches_library(rng, ref):
    formats = [qevo.TENSOR_U8_CHW, qevo.TENSOR_U8_HWC, qevo.TENSOR_F32_CHW]
    fits = [qevo.FIT_LETTERBOX, qevo.FIT_STRETCH]
    for trial in range(18):
        fmt, fit, matrix = formats[trial % 3], fits[trial // 3 % 2], MATRICES[trial // 6]
        nv21, bgr = bool(rng.integers(2)), bool(rng.integers(2))
        w, h = 2 * rng.integers(6, 50, 2)
        base = rng.integers(0, 256, (h * 3 // 2, w + 6), dtype=np.uint8)
        frame = base[:, 2:w + 2] if trial % 2 else base[:, :w].copy()
        size = (w, h) if trial == 4 else tuple(int(v) for v in rng.integers(2, 90, 2))
        crop = None
        if trial % 3 != 1:  # odd corners and rectangles reaching past the frame
            x1, y1 = int(rng.integers(-3, w - 7)), int(rng.integers(-3, h - 7))
            crop = (x1, y1, int(rng.integers(max(x1, 0) + 5, w + 4)),
                    int(rng.integers(max(y1, 0) + 5, h + 4)))
        mean = [float(v) for v in rng.uniform(-50, 200, 3).astype(np.float32)]
        scale = [float(v) for v in rng.uniform(-0.1, 0.1, 3).astype(np.float32)]
        pad = [int(v) for v in rng.integers(0, 256, 3)]
        if trial % 4 == 0:  # one value for every channel
            mean, scale, pad = mean[0], scale[0], pad[0]
        per_channel = [v if isinstance(v, list) else [v] * 3 for v in (mean, scale, pad)]
        want, where = ref("tensor", w, h, int(nv21), *size, *(crop or (0, 0, 0, 0)), int(fmt),
                          int(fit), int(matrix), int(bgr), *sum(per_channel, []), inputs=[frame],
                          outputs=[np.uint8, np.int32])
        got, placement = qevo.nv12_to_tensor(frame, size, crop=crop, format=fmt, fit=fit,
                                             matrix=matrix, mean=mean, scale=scale, pad=pad,
                                             bgr=bgr, nv21=nv21)
        dw, dh = size
        assert got.shape == ((dh, dw, 3) if fmt == qevo.TENSOR_U8_HWC else (3, dh, dw))
        assert got.dtype == (np.float32 if fmt == qevo.TENSOR_F32_CHW else np.uint8)
        assert np.array_equal(got.view(np.uint8).ravel(), want), trial  # bit for bit
        assert placement == tuple(where), (trial, placement, where)
    # Defaults: letterboxed RGB uint8 planes, grey border, BT.601 limited range.
    want = ref("tensor", w, h, 0, 40, 30, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 114, 114, 114,
               inputs=[frame], outputs=[np.uint8, np.int32])[0]
    assert np.array_equal(qevo.nv12_to_tensor(frame, (40, 30))[0].ravel(), want)


def nv12_crop_rule(frame, width, height, x1, y1, x2, y2):
    """Byte copies of the documented NV12 crop: luma rows, then h // 2 rows
    of w bytes from (y1 * width) // 2 + x1 into the chroma plane."""
    cx1, cy1 = max(0, x1), max(0, y1)
    w, h = min(width, x2) - cx1, min(height, y2) - cy1
    if w <= 0 or h <= 0:
        return np.zeros((0, 0), np.uint8)
    flat = frame.ravel()
    luma = frame[cy1:cy1 + h, cx1:cx1 + w]
    start = height * width + (cy1 * width) // 2 + cx1
    chroma = [flat[start + i * width:start + i * width + w] for i in range(h // 2)]
    return np.vstack([luma] + chroma) if chroma else luma


def test_pixel_buffers_follow_documented_rules(rng):
    img = rng.integers(0, 256, (48, 64, 3), dtype=np.uint8)
    frame = rng.integers(0, 256, (72, 64), dtype=np.uint8)  # NV12 64 x 48
    for x1, y1, x2, y2 in [(-10, -10, 30, 20), (5, 7, 64, 48), (10, 10, 10, 30),
                           (70, 0, 90, 10), (3, 5, 40, 30), (0, 0, 99, 99)]:
        cx1, cy1 = max(0, x1), max(0, y1)
        want = img[cy1:min(48, y2), cx1:min(64, x2)]
        got = qevo.crop(img, x1, y1, x2, y2)
        assert got.size == want.size and np.array_equal(got.reshape(want.shape), want)
        assert np.array_equal(qevo.crop(img[:, :, 0].copy(), x1, y1, x2, y2).ravel(),
                              want[:, :, 0].ravel())
        got = qevo.crop_nv12(frame, x1, y1, x2, y2)
        want = nv12_crop_rule(frame, 64, 48, x1, y1, x2, y2)
        assert got.size == want.size and np.array_equal(got.reshape(want.shape), want)

    values = [300, -1, 7]
    for left, right, top, bottom in [(0, 0, 0, 0), (2, 0, 1, 3), (1, 5, 0, 2)]:
        want = np.empty((48 + top + bottom, 64 + left + right, 3), np.uint8)
        want[:] = np.array(values) & 0xFF
        want[top:top + 48, left:left + 64] = img
        assert np.array_equal(qevo.pad(img, left, right, top, bottom, values), want)

    assert np.array_equal(qevo.nhwc_to_nchw(img), img.transpose(2, 0, 1))
    assert np.array_equal(qevo.nhwc_to_nchw(img, rbswap=True), img[:, :, ::-1].transpose(2, 0, 1))

    for cls in [-5, -1, 0, 1, 2, 3, 9, 12, 1000, 32212253]:
        n = cls + 1
        want = tuple((200 * ((n + 2 - k) // 3)) % 255 if n > 0 else 0 for k in range(3))
        assert qevo.color(cls) == want


def test_activations_and_servo_match_library(rng, ref):
    x = (rng.standard_normal(200) * 20).astype(np.float32)
    want = ref("sigmoid", inputs=[x], outputs=[np.float32])
    assert np.array_equal(qevo.sigmoid(x), want)
    assert np.array_equal(qevo.sigmoid(x.reshape(10, 20)), want.reshape(10, 20))
    assert qevo.sigmoid(float(x[3])) == float(want[3])

    s = (rng.standard_normal(17) * 5).astype(np.float32)
    want = ref("softmax", inputs=[s], outputs=[np.float32])
    assert np.array_equal(qevo.softmax(s), want)
    assert np.array_equal(qevo.softmax(s.tolist()), want)

    boxes = rng.integers(-50, 700, (60, 4)).astype(np.int32)
    sizes = rng.integers(1, 640, (60, 2)).astype(np.int32)
    want = ref("make_rect", inputs=[np.hstack([boxes, sizes])], outputs=[np.int32]).reshape(-1, 4)
    got = [qevo.make_rect(*map(int, b), *map(int, s)) for b, s in zip(boxes, sizes)]
    assert np.array_equal(np.array(got), want)

    rows = np.column_stack([rng.uniform(-400, 400, 50), rng.uniform(-100, 1500, 50),
                            rng.choice([0.0, 1e-8, 0.05, 0.1, 1.5], 50),
                            rng.integers(1, 1920, 50), rng.integers(1, 1080, 50)])
    rows[:, :2] = rows[:, :2].astype(np.float32)
    want = ref("servo", inputs=[rows], outputs=[np.float32]).reshape(-1, 4)
    for (a, b, res, w, h), expect in zip(rows, want):
        args = (float(a), float(b), float(res), int(w), int(h))
        got = [qevo.servo_calc_az(*args), qevo.servo_calc_pt(*args),
               qevo.servo_calc_img_x(*args), qevo.servo_calc_img_y(*args)]
        assert np.array_equal(np.float32(got), expect)


def test_hash_and_md5_follow_documented_rules(rng, tmp_path):
    for text in ["", "a", "frame_0001.nv12", "\u00e9t\u00e9", "x" * 300]:
        h = 0xCBF29CE484222325
        for byte in text.encode():
            h = ((h ^ byte) * 0x100000001B3) % 2**64
        assert qevo.hash_(text) == h and qevo.hash_(text.encode()) == h
    data = rng.integers(0, 256, 5000, dtype=np.uint8).tobytes()
    path = tmp_path / "data file.bin"
    path.write_bytes(data)
    assert qevo.get_md5(path) == hashlib.md5(data).hexdigest()
    assert qevo.get_md5(str(tmp_path / "missing")) == ""
