#include "arrays.h"

#include <climits>
#include <cmath>
#include <sstream>

namespace qevo_py {

void type_error(const std::string &message) { throw py::type_error(message); }
void value_error(const std::string &message) { throw py::value_error(message); }

std::string describe(py::handle obj) {
    if (py::isinstance<py::array>(obj)) {
        const auto arr = py::reinterpret_borrow<py::array>(obj);
        std::ostringstream s;
        s << "an array of dtype " << py::str(arr.dtype()).cast<std::string>() << " and shape (";
        for (py::ssize_t i = 0; i < arr.ndim(); ++i) s << (i ? ", " : "") << arr.shape(i);
        s << (arr.ndim() == 1 ? ",)" : ")");
        return s.str();
    }
    return "an object of type " + py::str(obj.get_type().attr("__name__")).cast<std::string>();
}

namespace {

bool fits_int(long long v) { return v >= 0 && v <= INT_MAX; }

// `obj` as an ndarray of element type T (exactly), else TypeError.
template <typename T>
py::array typed_array(py::handle obj, const std::string &what, const char *dtype) {
    if (!py::isinstance<py::array_t<T>>(obj))
        type_error(what + " must be a numpy.ndarray of dtype " + dtype + ", got " + describe(obj));
    return py::reinterpret_borrow<py::array>(obj);
}

void require_c_contiguous(const py::array &arr, const std::string &what) {
    if (!(arr.flags() & py::array::c_style))
        value_error(what + " must be C-contiguous (numpy.ascontiguousarray makes a copy that is)");
}

void require_int_sizes(const py::array &arr, const std::string &what) {
    for (py::ssize_t i = 0; i < arr.ndim(); ++i)
        if (!fits_int(arr.shape(i))) value_error(what + " is too large");
    if (!fits_int(arr.size())) value_error(what + " is too large");
}

// Byte distance between the starts of rows of `width` pixels of `channels`
// bytes: the packed row size for a C-contiguous array, or, when
// `strided_rows`, the pitch of a view whose pixels are packed within a row.
long long row_pitch(const py::array &a, int width, int channels, bool strided_rows,
                    const std::string &what) {
    const long long row_bytes = static_cast<long long>(width) * channels;
    if (!strided_rows || (a.flags() & py::array::c_style) || a.shape(0) == 0 || row_bytes == 0) {
        require_c_contiguous(a, what);
        return row_bytes;
    }
    const bool packed_pixels = a.strides(1) == channels && (a.ndim() == 2 || a.strides(2) == 1);
    if (!packed_pixels || a.strides(0) < row_bytes || !fits_int(a.strides(0)))
        value_error(what +
                    " must have packed pixels within each row and a positive row "
                    "pitch (numpy.ascontiguousarray makes a copy that does)");
    return a.strides(0);
}

}  // namespace

Image uint8_image(py::handle obj, const std::string &what, int max_channels, bool strided_rows) {
    Image img;
    img.array = typed_array<unsigned char>(obj, what, "uint8");
    const py::array &a = img.array;
    if (a.ndim() != 2 && a.ndim() != 3)
        value_error(what + " must have shape (H, W) or (H, W, C), got " + describe(obj));
    require_int_sizes(a, what);
    img.height = static_cast<int>(a.shape(0));
    img.width = static_cast<int>(a.shape(1));
    img.has_channel_axis = a.ndim() == 3;
    img.channels = img.has_channel_axis ? static_cast<int>(a.shape(2)) : 1;
    if (img.channels < 1 || (max_channels > 0 && img.channels > max_channels))
        value_error(what + " must have 1 to " + std::to_string(max_channels) + " channels, got " +
                    describe(obj));
    img.row_stride = row_pitch(a, img.width, img.channels, strided_rows, what);
    img.data = static_cast<unsigned char *>(const_cast<void *>(a.data()));
    return img;
}

Image nv12_frame(py::handle obj, const std::string &what, bool strided_rows) {
    Image img;
    img.array = typed_array<unsigned char>(obj, what, "uint8");
    const py::array &a = img.array;
    if (a.ndim() != 2 || a.shape(0) % 3 != 0 || a.shape(1) % 2 != 0)
        value_error(what +
                    " must be an NV12 frame of shape (H * 3 / 2, W) with H and W even, got " +
                    describe(obj));
    require_int_sizes(a, what);
    img.height = static_cast<int>(a.shape(0) / 3 * 2);
    img.width = static_cast<int>(a.shape(1));
    img.channels = 1;
    img.row_stride = row_pitch(a, img.width, 1, strided_rows, what);
    img.data = static_cast<unsigned char *>(const_cast<void *>(a.data()));
    return img;
}

py::array float_array(py::handle obj, const std::string &what, int ndim) {
    py::array a = typed_array<float>(obj, what, "float32");
    if (ndim > 0 && a.ndim() != ndim)
        value_error(what + " must have " + std::to_string(ndim) + " dimension" +
                    (ndim > 1 ? "s" : "") + ", got " + describe(obj));
    require_int_sizes(a, what);
    require_c_contiguous(a, what);
    if (!(a.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_))
        value_error(what + " must be aligned to its element size");
    return a;
}

template <typename T>
std::vector<T> numbers(py::handle obj, size_t n, bool one_for_all, const std::string &what,
                       const std::string &expected) {
    try {
        if (one_for_all && !py::isinstance<py::sequence>(obj))
            return std::vector<T>(n, obj.cast<T>());
        if (!py::isinstance<py::sequence>(obj) || py::isinstance<py::str>(obj) || py::len(obj) != n)
            throw py::cast_error();
        std::vector<T> v;
        for (py::handle item : py::reinterpret_borrow<py::sequence>(obj))
            v.push_back(item.cast<T>());
        return v;
    } catch (const py::cast_error &) {
        type_error(what + " must be " + expected + ", got " + describe(obj));
    }
}
template std::vector<long long> numbers(py::handle, size_t, bool, const std::string &,
                                        const std::string &);
template std::vector<double> numbers(py::handle, size_t, bool, const std::string &,
                                     const std::string &);

std::pair<int, int> target_size(py::handle size, const std::string &what, int min_side) {
    const std::vector<long long> v =
        numbers<long long>(size, 2, false, what, "a pair of ints (width, height)");
    const long long w = v[0], h = v[1];
    if (w < min_side || h < min_side || w > INT_MAX || h > INT_MAX)
        value_error(what + " must be at least " + std::to_string(min_side) +
                    " in each direction and fit an int, got (" + std::to_string(w) + ", " +
                    std::to_string(h) + ")");
    return {static_cast<int>(w), static_cast<int>(h)};
}

Boxes boxes_from(py::handle obj, const std::string &what) {
    py::array a;
    if (py::isinstance<py::array>(obj)) {
        a = float_array(obj, what, 0);
    } else {
        a = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(obj);
        if (!a)
            type_error(what + " must be an N x 6 float32 array or a list of rows of numbers, got " +
                       describe(obj));
    }
    Boxes boxes;
    if (a.size() == 0 && a.ndim() == 1) return boxes;  // an empty list
    if (a.ndim() != 2 || (a.shape(1) != 6 && a.shape(1) != 7))
        value_error(what +
                    " must have shape (N, 6) (x1, y1, x2, y2, score, class) or (N, 7) "
                    "(... area), got " +
                    describe(a));
    boxes.columns = static_cast<int>(a.shape(1));
    const float *p = static_cast<const float *>(a.data());
    boxes.rows.resize(static_cast<size_t>(a.shape(0)));
    for (size_t i = 0; i < boxes.rows.size(); ++i, p += boxes.columns) {
        const double cls = p[5];
        if (!(cls >= INT_MIN && cls <= INT_MAX) || cls != std::trunc(cls))
            value_error(what + ": the class of row " + std::to_string(i) +
                        " is not a whole number in the int range");
        QEVO::objinfo &d = boxes.rows[i];
        d.x1 = p[0];
        d.y1 = p[1];
        d.x2 = p[2];
        d.y2 = p[3];
        d.score = p[4];
        d.classNum = static_cast<int>(cls);
        d.ID = static_cast<int>(i);
        d.trackID = 0;
        d.area = boxes.columns == 7 ? p[6] : (d.x2 - d.x1 + 1.0f) * (d.y2 - d.y1 + 1.0f);
    }
    return boxes;
}

py::array_t<float> boxes_to_array(const std::vector<QEVO::objinfo> &rows, int columns) {
    py::array_t<float> out(
        {static_cast<py::ssize_t>(rows.size()), static_cast<py::ssize_t>(columns)});
    float *p = out.mutable_data();
    for (const QEVO::objinfo &d : rows) {
        const float row[7] = {d.x1,  d.y1, d.x2, d.y2, d.score, static_cast<float>(d.classNum),
                              d.area};
        for (int k = 0; k < columns; ++k) *p++ = row[k];
    }
    return out;
}

py::array_t<unsigned char> new_uint8(const std::vector<py::ssize_t> &shape) {
    return py::array_t<unsigned char>(shape);
}

}  // namespace qevo_py
