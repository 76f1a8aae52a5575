// Suppression (nms, nms1, nms_cls, seg_nms) and the score activations
// (sigmoid, softmax, make_rect).
#include <vector>

#include "arrays.h"
#include "module.h"
#include "utils.h"

namespace qevo_py {

namespace {

using Records = std::vector<QEVO::objinfo>;

// Runs `suppress(input, kept)` without the GIL and returns the kept rows in
// the input's column layout.
template <typename Fn>
py::array_t<float> suppress(py::handle boxes, const char *what, Fn fn) {
    Boxes in = boxes_from(boxes, what);
    Records kept;
    {
        py::gil_scoped_release unlocked;
        fn(in.rows, kept);
    }
    return boxes_to_array(kept, in.columns);
}

py::object sigmoid(py::object x) {
    if (!py::isinstance<py::array>(x)) {
        try {
            return py::float_(KIVEX::sigmoid(x.cast<float>()));
        } catch (const py::cast_error &) {
            type_error("sigmoid: x must be a number or a float32 array, got " + describe(x));
        }
    }
    py::array a = float_array(x, "sigmoid: x", 0);
    std::vector<py::ssize_t> shape(a.shape(), a.shape() + a.ndim());
    py::array_t<float> out(shape);
    const float *src = static_cast<const float *>(a.data());
    float *dst = out.mutable_data();
    const py::ssize_t n = a.size();
    {
        py::gil_scoped_release unlocked;
        for (py::ssize_t i = 0; i < n; ++i) dst[i] = KIVEX::sigmoid(src[i]);
    }
    return std::move(out);
}

py::array_t<float> softmax(py::object scores) {
    py::array a;
    if (py::isinstance<py::array>(scores)) {
        a = float_array(scores, "softmax: scores", 1);
    } else {
        a = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(scores);
        if (!a || a.ndim() != 1)
            type_error("softmax: scores must be a 1-D float32 array or a list of numbers, got " +
                       describe(scores));
    }
    const float *p = static_cast<const float *>(a.data());
    std::vector<float> in(p, p + a.size()), res;
    {
        py::gil_scoped_release unlocked;
        res = KIVEX::softmax(std::move(in));
    }
    py::array_t<float> out(static_cast<py::ssize_t>(res.size()));
    std::copy(res.begin(), res.end(), out.mutable_data());
    return out;
}

py::tuple make_rect(int x1, int y1, int x2, int y2, int width, int height) {
    KIVEX::makeRect(x1, y1, x2, y2, width, height);
    return py::make_tuple(x1, y1, x2, y2);
}

}  // namespace

void bind_suppression(py::module_ &m) {
    m.def(
        "nms",
        [](py::object boxes, float threshold, int type) {
            return suppress(boxes, "nms: boxes", [&](Records &in, Records &kept) {
                KIVEX::nms(in, kept, threshold, type);
            });
        },
        py::arg("boxes"), py::arg("threshold"), py::arg("type") = 1,
        "Greedy suppression in score order; overlap by `type`: 1 IoU, 2 intersection over\n"
        "the smaller area, other the intersection in pixels, from the boxes' area column\n"
        "(inclusive-pixel area when there is none). Returns the kept rows, best first.\n"
        "Prints two count lines on standard output, as the C++ call does.");
    m.def(
        "nms1",
        [](py::object boxes, float threshold) {
            return suppress(boxes, "nms1: boxes", [&](Records &in, Records &kept) {
                KIVEX::nms1(in, kept, threshold, 0);
            });
        },
        py::arg("boxes"), py::arg("threshold"),
        "Greedy IoU suppression over the boxes sorted by descending score (inclusive-pixel\n"
        "corners; the area column is not read). Returns the kept rows, best first.");
    m.def(
        "nms_cls",
        [](py::object boxes, float threshold, int num_classes) {
            return suppress(boxes, "nms_cls: boxes", [&](Records &in, Records &kept) {
                KIVEX::nms_cls(in, kept, threshold, num_classes);
            });
        },
        py::arg("boxes"), py::arg("threshold"), py::arg("num_classes"),
        "nms1 class by class for classes 0 .. num_classes - 1; returns the kept rows class\n"
        "after class. Boxes of other classes are dropped.");
    m.def(
        "seg_nms",
        [](py::object boxes, float threshold) {
            return suppress(boxes, "seg_nms: boxes", [&](Records &in, Records &kept) {
                KIVEX::seg_NMS(in, threshold, kept);
            });
        },
        py::arg("boxes"), py::arg("threshold"),
        "Suppression in descending order of the area column: a kept box removes the boxes\n"
        "of its class that it covers by more than `threshold` of their own area.");
    m.def("sigmoid", &sigmoid, py::arg("x"),
          "1 / (exp(-x) + 1) in single precision, of a number or element-wise of a float32\n"
          "array (returns a new array).");
    m.def("softmax", &softmax, py::arg("scores"),
          "exp(s_i) / sum_j exp(s_j) in single precision, summed in order and not shifted.");
    m.def("make_rect", &make_rect, py::arg("x1"), py::arg("y1"), py::arg("x2"), py::arg("y2"),
          py::arg("width"), py::arg("height"),
          "The square about the box's centre with the box's longer side, clipped to a\n"
          "width x height image; returns (x1, y1, x2, y2).");
}

}  // namespace qevo_py
