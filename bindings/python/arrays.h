// Checks and conversions shared by the bindings: NumPy arrays and Python
// sequences in, the library's buffers and records out.
//
// Rules for every function of the module:
//  - an ndarray argument must already have the documented dtype (TypeError
//    otherwise; nothing is converted behind the caller's back) and the
//    documented number of dimensions and sizes (ValueError);
//  - pixel arrays must be C-contiguous (ValueError); `resize`, `nv12_to_rgb`
//    and `nv12_to_tensor` also take views whose rows are strided, since
//    their kernels take a row pitch;
//  - inputs are read in place, never copied; results are new arrays;
//  - box lists may also be given as Python sequences of rows, which are
//    converted to float32.
#ifndef QEVO_PY_ARRAYS_H
#define QEVO_PY_ARRAYS_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>
#include <utility>
#include <vector>

#include "detection_type_api.h"

namespace qevo_py {

namespace py = pybind11;

// Throw the message as a Python TypeError / ValueError.
[[noreturn]] void type_error(const std::string &message);
[[noreturn]] void value_error(const std::string &message);

// "an array of dtype float64 and shape (2, 3)" or "an object of type list".
std::string describe(py::handle obj);

// An 8-bit image given as H x W (one channel) or H x W x C. `row_stride` is
// the byte distance between row starts (width x channels when packed).
struct Image {
    py::array array;  // keeps the pixels alive while they are used
    unsigned char *data = nullptr;
    int height = 0, width = 0, channels = 0;
    bool has_channel_axis = false;
    long long row_stride = 0;
};

// `obj` as a uint8 image of 2 or 3 dimensions with 1 .. max_channels
// channels (no limit when max_channels is 0). Rows must be packed
// (C-contiguous), or only pixel-contiguous with a positive row pitch when
// `strided_rows`. Every size must fit an int.
Image uint8_image(py::handle obj, const std::string &what, int max_channels,
                  bool strided_rows = false);

// A semi-planar 4:2:0 frame given as a (H * 3 / 2) x W uint8 array: H luma rows
// then H / 2 rows of interleaved chroma pairs. `height` is H (even; the
// array's row count must be a multiple of 3) and W must be even. The array
// must be C-contiguous, or, when `strided_rows`, may have rows at any
// positive pitch (a frame padded to a row stride, or a column range of one);
// the chroma rows then start at data + H x row_stride, at the same pitch.
Image nv12_frame(py::handle obj, const std::string &what, bool strided_rows = false);

// A C-contiguous, aligned float32 array of `ndim` dimensions (any when 0).
py::array float_array(py::handle obj, const std::string &what, int ndim);

// `n` numbers of type T (long long: Python ints only; double: any real
// number) given as a sequence of n, or, when `one_for_all`, also as one
// number repeated n times. TypeError "<what> must be <expected>, got ..."
// otherwise.
template <typename T>
std::vector<T> numbers(py::handle obj, size_t n, bool one_for_all, const std::string &what,
                       const std::string &expected);

// A target size (w, h): a sequence of two ints, each at least `min_side`.
std::pair<int, int> target_size(py::handle size, const std::string &what, int min_side);

// Detection boxes: an N x 6 float32 array of rows (x1, y1, x2, y2, score,
// class), or N x 7 with the box's `area` in the last column, or a sequence of
// such rows. Without an area column the area is the inclusive-pixel one,
// (x2 - x1 + 1) x (y2 - y1 + 1) in single precision. The class column must
// hold whole numbers in the int range; ID is the row's position.
struct Boxes {
    std::vector<QEVO::objinfo> rows;
    int columns = 6;
};
Boxes boxes_from(py::handle obj, const std::string &what);

// The records as an N x columns float32 array laid out as boxes_from reads it.
py::array_t<float> boxes_to_array(const std::vector<QEVO::objinfo> &rows, int columns);

// New, uninitialised C-order uint8 array.
py::array_t<unsigned char> new_uint8(const std::vector<py::ssize_t> &shape);

}  // namespace qevo_py

#endif  // QEVO_PY_ARRAYS_H
