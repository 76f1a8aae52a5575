// Pixel-buffer helpers: crop, crop_nv12, pad, nhwc_to_nchw, color.
#include <algorithm>
#include <climits>
#include <vector>

#include <pybind11/stl.h>

#include "arrays.h"
#include "module.h"
#include "utils.h"

namespace qevo_py {

namespace {

// The crop rectangle clamped to a width x height image, as the crop routines
// clamp it; a side that is not positive becomes 0 (nothing to copy).
struct Span {
    int x1, y1, w, h;
};
Span clamp_crop(int width, int height, int x1, int y1, int x2, int y2) {
    const long long cx1 = std::max(0, x1), cy1 = std::max(0, y1);
    const long long w = std::min(width, x2) - cx1, h = std::min(height, y2) - cy1;
    if (w <= 0 || h <= 0) return {0, 0, 0, 0};
    return {static_cast<int>(cx1), static_cast<int>(cy1), static_cast<int>(w), static_cast<int>(h)};
}

py::array crop(py::object obj, int x1, int y1, int x2, int y2) {
    const Image img = uint8_image(obj, "crop: img", 0);
    const Span r = clamp_crop(img.width, img.height, x1, y1, x2, y2);
    std::vector<py::ssize_t> shape = {r.h, r.w};
    if (img.has_channel_axis) shape.push_back(img.channels);
    auto out = new_uint8(shape);
    unsigned char *dst = out.mutable_data();
    if (r.w > 0) {
        py::gil_scoped_release unlocked;
        KIVEX::crop_img(img.data, img.width, img.height, img.channels, x1, y1, x2, y2, dst);
    }
    return std::move(out);
}

py::array crop_nv12(py::object obj, int x1, int y1, int x2, int y2) {
    const Image img = nv12_frame(obj, "crop_nv12: frame");
    const Span r = clamp_crop(img.width, img.height, x1, y1, x2, y2);
    auto out = new_uint8({r.h + r.h / 2, r.w});
    unsigned char *dst = out.mutable_data();
    if (r.w > 0) {
        py::gil_scoped_release unlocked;
        KIVEX::crop_yuv(img.data, img.width, img.height, x1, y1, x2, y2, dst);
    }
    return std::move(out);
}

py::array pad(py::object obj, int left, int right, int top, int bottom, std::vector<int> values) {
    const Image img = uint8_image(obj, "pad: img", 0);
    if (left < 0 || right < 0 || top < 0 || bottom < 0)
        value_error("pad: the pads must not be negative");
    if (static_cast<int>(values.size()) < img.channels && 0LL + left + right + top + bottom > 0)
        value_error("pad: values needs one entry per channel (" + std::to_string(img.channels) +
                    "), got " + std::to_string(values.size()));
    const long long out_w = static_cast<long long>(img.width) + left + right;
    const long long out_h = static_cast<long long>(img.height) + top + bottom;
    if (out_w > INT_MAX || out_h > INT_MAX) value_error("pad: the result is too large");
    std::vector<py::ssize_t> shape = {out_h, out_w};
    if (img.has_channel_axis) shape.push_back(img.channels);
    auto out = new_uint8(shape);
    unsigned char *dst = out.mutable_data();
    QEVO::ImgMat rec;
    rec.data = img.data;
    rec.width = img.width;
    rec.height = img.height;
    rec.depth = img.channels;
    {
        py::gil_scoped_release unlocked;
        KIVEX::pad_img(rec, left, right, top, bottom, dst, std::move(values));
    }
    return std::move(out);
}

py::array nhwc_to_nchw(py::object obj, bool rbswap) {
    const Image img = uint8_image(obj, "nhwc_to_nchw: img", 0);
    if (!img.has_channel_axis || img.channels != 3)
        value_error("nhwc_to_nchw: img must have shape (H, W, 3), got " + describe(obj));
    auto out = new_uint8({3, img.height, img.width});
    char *dst = reinterpret_cast<char *>(out.mutable_data());
    char *src = reinterpret_cast<char *>(img.data);
    {
        py::gil_scoped_release unlocked;
        KIVEX::nhwc2nchw(src, dst, img.width, img.height, 3, rbswap);
    }
    return std::move(out);
}

}  // namespace

void bind_pixels(py::module_ &m) {
    m.def("crop", &crop, py::arg("img"), py::arg("x1"), py::arg("y1"), py::arg("x2"), py::arg("y2"),
          "Copy of the rectangle [x1, x2) x [y1, y2), clamped to the image, of a uint8\n"
          "H x W or H x W x C image; an empty rectangle gives an empty array.");
    m.def("crop_nv12", &crop_nv12, py::arg("frame"), py::arg("x1"), py::arg("y1"), py::arg("x2"),
          py::arg("y2"),
          "Crop of an NV12 frame ((H * 3 / 2) x W uint8) to [x1, x2) x [y1, y2), clamped;\n"
          "returns (h + h // 2) x w: h luma rows, then h // 2 chroma rows. Corners are used\n"
          "as given: chroma lines up with luma only for even corners and sizes.");
    m.def("pad", &pad, py::arg("img"), py::arg("left"), py::arg("right"), py::arg("top"),
          py::arg("bottom"), py::arg("values"),
          "The uint8 image inside a border of the given widths; border pixels get values[k]\n"
          "(its low 8 bits) in channel k.");
    m.def("nhwc_to_nchw", &nhwc_to_nchw, py::arg("img"), py::arg("rbswap") = false,
          "Planes (3, H, W) of an interleaved H x W x 3 uint8 image; with rbswap the first\n"
          "and third channels change places.");
    m.def(
        "color",
        [](int cls) {
            const std::vector<int> c = KIVEX::get_color(cls);
            return py::make_tuple(c[0], c[1], c[2]);
        },
        py::arg("cls"), "Display colour (three ints in 0 .. 254) of class `cls`.");
}

}  // namespace qevo_py
