// resize, resize_nv12, resize_float: the fixed-point and float resize kernels.
#include <climits>

#include "arrays.h"
#include "mat_pixel_resize.h"
#include "module.h"

namespace qevo_py {

namespace {

using StridedKernel = void (*)(const unsigned char *, int, int, int, unsigned char *, int, int,
                               int);
const StridedKernel kKernels[4] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                                   resize_bilinear_c4};

py::array resize(py::object obj, py::object size) {
    const Image img = uint8_image(obj, "resize: img", 4, true);
    const auto [w, h] = target_size(size, "resize: size", 1);
    if (img.width < 2 || img.height < 2)
        value_error("resize: img must be at least 2 x 2 pixels, got " + describe(obj));
    // The kernel refuses rows and tables beyond its int arithmetic; say so
    // here instead of handing back an unwritten array.
    const long long row_bytes = static_cast<long long>(w) * img.channels;
    if (row_bytes > INT_MAX - 8 || 2LL * w + 2LL * h > INT_MAX / 2)
        value_error("resize: size is too large for the kernel");
    std::vector<py::ssize_t> shape = {h, w};
    if (img.has_channel_axis) shape.push_back(img.channels);
    auto out = new_uint8(shape);
    unsigned char *dst = out.mutable_data();
    {
        py::gil_scoped_release unlocked;
        kKernels[img.channels - 1](img.data, img.width, img.height,
                                   static_cast<int>(img.row_stride), dst, w, h,
                                   static_cast<int>(row_bytes));
    }
    return std::move(out);
}

py::array resize_nv12(py::object obj, py::object size) {
    const Image img = nv12_frame(obj, "resize_nv12: frame");
    const auto [w, h] = target_size(size, "resize_nv12: size", 2);
    if (img.width < 4 || img.height < 4)
        value_error("resize_nv12: frame must be at least 4 x 4 pixels, got " + describe(obj));
    if (w % 2 != 0 || h % 2 != 0) value_error("resize_nv12: size must be even in both directions");
    if (2LL * w + 2LL * h > INT_MAX / 2)
        value_error("resize_nv12: size is too large for the kernel");
    auto out = new_uint8({static_cast<py::ssize_t>(h) / 2 * 3, w});
    unsigned char *dst = out.mutable_data();
    {
        py::gil_scoped_release unlocked;
        resize_bilinear_yuv420sp(img.data, img.width, img.height, dst, w, h);
    }
    return std::move(out);
}

py::array resize_float(py::object obj, py::object size) {
    py::array plane = float_array(obj, "resize_float: plane", 2);
    const auto [w, h] = target_size(size, "resize_float: size", 1);
    if (plane.shape(0) < 1 || plane.shape(1) < 1)
        value_error("resize_float: plane must not be empty");
    py::array_t<float> out({h, w});
    float *dst = out.mutable_data();
    float *src = static_cast<float *>(const_cast<void *>(plane.data()));  // read only
    const int srcw = static_cast<int>(plane.shape(1)), srch = static_cast<int>(plane.shape(0));
    {
        py::gil_scoped_release unlocked;
        resize_bilinear_float_c1(src, srcw, srch, dst, w, h);
    }
    return std::move(out);
}

}  // namespace

void bind_resize(py::module_ &m) {
    m.def("resize", &resize, py::arg("img"), py::arg("size"),
          "Bilinear fixed-point resize of a uint8 image, H x W or H x W x C with C = 1 to 4,\n"
          "to size = (width, height). Rows of the input may be strided (a crop view); the\n"
          "pixels within a row must be packed. Returns a new array of the same layout.");
    m.def("resize_nv12", &resize_nv12, py::arg("frame"), py::arg("size"),
          "Resize of an NV12 (or NV21) frame given as a (H * 3 / 2) x W uint8 array to\n"
          "size = (width, height), both even; returns a (height * 3 / 2) x width array.");
    m.def("resize_float", &resize_float, py::arg("plane"), py::arg("size"),
          "Bilinear resize of one float32 H x W plane to size = (width, height).");
}

}  // namespace qevo_py
