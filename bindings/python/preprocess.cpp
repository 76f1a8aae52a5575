// nv12_to_rgb and nv12_to_tensor: semi-planar frames to RGB / BGR pixels and
// to network inputs, with the enumerations ColorMatrix, TensorFormat and
// TensorFit and the placement record as a named tuple.
#include <climits>
#include <string>
#include <tuple>
#include <vector>

#include "arrays.h"
#include "module.h"
#include "preprocess.h"

namespace qevo_py {

namespace {

// qevo.TensorPlacement, the named tuple nv12_to_tensor returns; one reference
// held for the life of the process.
py::handle placement_type;

// Frames may be padded to a row stride or be a column range of a larger
// frame: the C++ calls take the planes and their pitches.
Image frame_arg(py::handle obj, const std::string &what, int min_side) {
    Image f = nv12_frame(obj, what, true);
    if (f.width < min_side || f.height < min_side)
        value_error(what + " must be at least " + std::to_string(min_side) + " x " +
                    std::to_string(min_side) + " pixels, got " + describe(obj));
    return f;
}

// A pybind11 enum can be made from any int (qevo.ColorMatrix(7)); the
// enumerators here are 0 .. count - 1.
void require_enumerator(int value, int count, const char *what) {
    if (value < 0 || value >= count)
        value_error(std::string(what) + " is not one of its enumeration's values (got " +
                    std::to_string(value) + ")");
}

const unsigned char *chroma_of(const Image &f) { return f.data + f.row_stride * f.height; }

py::array nv12_to_rgb(py::object obj, bool bgr, bool nv21, qevo::ColorMatrix matrix) {
    const Image f = frame_arg(obj, "nv12_to_rgb: frame", 2);
    require_enumerator(matrix, 3, "nv12_to_rgb: matrix");
    if (f.width > INT_MAX / 3) value_error("nv12_to_rgb: frame is too wide");
    auto out = new_uint8({f.height, f.width, 3});
    unsigned char *dst = out.mutable_data();
    const int pitch = static_cast<int>(f.row_stride);
    int code;
    {
        py::gil_scoped_release unlocked;
        code = qevo::nv12_to_rgb(f.data, pitch, chroma_of(f), pitch, f.width, f.height, dst,
                                 3 * f.width, bgr, nv21, matrix);
    }
    if (code != 0) value_error("nv12_to_rgb: the library refused the frame");
    return std::move(out);
}

// mean and scale: one number or one per channel.
void channel_floats(py::handle obj, const char *what, float *dst) {
    const std::vector<double> v = numbers<double>(obj, 3, true, what, "a number or three numbers");
    for (int c = 0; c < 3; ++c) dst[c] = static_cast<float>(v[c]);
}

py::tuple nv12_to_tensor(py::object obj, py::object size, py::object crop,
                         qevo::TensorFormat format, qevo::TensorFit fit, qevo::ColorMatrix matrix,
                         py::object mean, py::object scale, py::object pad, bool bgr, bool nv21) {
    const Image img = frame_arg(obj, "nv12_to_tensor: frame", 4);
    qevo::Nv12Frame frame;
    frame.y = img.data;
    frame.uv = chroma_of(img);
    frame.y_stride = frame.uv_stride = static_cast<int>(img.row_stride);
    frame.width = img.width;
    frame.height = img.height;
    frame.nv21 = nv21;

    qevo::TensorParams p;
    std::tie(p.dst_width, p.dst_height) = target_size(size, "nv12_to_tensor: size", 2);
    if (!crop.is_none()) {
        const std::vector<long long> r = numbers<long long>(crop, 4, false, "nv12_to_tensor: crop",
                                                            "None or four ints (x1, y1, x2, y2)");
        for (long long v : r)
            if (v < INT_MIN || v > INT_MAX) value_error("nv12_to_tensor: crop must fit an int");
        p.crop_x1 = static_cast<int>(r[0]);
        p.crop_y1 = static_cast<int>(r[1]);
        p.crop_x2 = static_cast<int>(r[2]);
        p.crop_y2 = static_cast<int>(r[3]);
    }
    require_enumerator(format, 3, "nv12_to_tensor: format");
    require_enumerator(fit, 2, "nv12_to_tensor: fit");
    require_enumerator(matrix, 3, "nv12_to_tensor: matrix");
    p.format = format;
    p.fit = fit;
    p.matrix = matrix;
    channel_floats(mean, "nv12_to_tensor: mean", p.mean);
    channel_floats(scale, "nv12_to_tensor: scale", p.scale);
    const std::vector<long long> border =
        numbers<long long>(pad, 3, true, "nv12_to_tensor: pad", "an int or three ints");
    for (int c = 0; c < 3; ++c) {
        if (border[c] < 0 || border[c] > 255)
            value_error("nv12_to_tensor: pad values must be in 0 .. 255");
        p.pad[c] = static_cast<unsigned char>(border[c]);
    }
    p.bgr = bgr;
    const size_t bytes = qevo::tensor_bytes(p);
    if (bytes == 0 || p.dst_width > INT_MAX / 3) value_error("nv12_to_tensor: size is too large");

    const py::ssize_t W = p.dst_width, H = p.dst_height;
    py::array out;
    if (format == qevo::TENSOR_F32_CHW)
        out = py::array_t<float>({py::ssize_t{3}, H, W});
    else if (format == qevo::TENSOR_U8_HWC)
        out = new_uint8({H, W, 3});
    else
        out = new_uint8({3, H, W});
    void *dst = out.mutable_data();
    qevo::TensorPlacement pl;
    int code;
    {
        py::gil_scoped_release unlocked;
        code = qevo::nv12_to_tensor(frame, p, dst, bytes, &pl);
    }
    // Everything else was checked above; what the library still refuses is
    // the crop rectangle, or sizes beyond its own arithmetic or memory.
    if (code != 0)
        value_error(
            "nv12_to_tensor: refused: the crop rectangle is empty or below 4 x 4 pixels after "
            "clamping to the frame and widening to even edges, or the sizes are beyond the "
            "library's arithmetic");
    py::object where = placement_type(pl.crop_x, pl.crop_y, pl.crop_width, pl.crop_height, pl.x,
                                      pl.y, pl.width, pl.height);
    return py::make_tuple(std::move(out), std::move(where));
}

}  // namespace

void bind_preprocess(py::module_ &m) {
    py::enum_<qevo::ColorMatrix>(m, "ColorMatrix", "YUV to RGB conversion matrix.")
        .value("BT601_LIMITED", qevo::BT601_LIMITED)
        .value("BT601_FULL", qevo::BT601_FULL)
        .value("BT709_LIMITED", qevo::BT709_LIMITED)
        .export_values();
    py::enum_<qevo::TensorFormat>(m, "TensorFormat", "Layout and type of nv12_to_tensor's output.")
        .value("TENSOR_U8_CHW", qevo::TENSOR_U8_CHW)
        .value("TENSOR_U8_HWC", qevo::TENSOR_U8_HWC)
        .value("TENSOR_F32_CHW", qevo::TENSOR_F32_CHW)
        .export_values();
    py::enum_<qevo::TensorFit>(m, "TensorFit", "How nv12_to_tensor fits the picture.")
        .value("FIT_LETTERBOX", qevo::FIT_LETTERBOX)
        .value("FIT_STRETCH", qevo::FIT_STRETCH)
        .export_values();
    placement_type =
        py::module_::import("collections")
            .attr("namedtuple")("TensorPlacement",
                                "crop_x crop_y crop_width crop_height x y width height",
                                py::arg("module") = "qevo")
            .release();
    m.attr("TensorPlacement") = placement_type;

    m.def("nv12_to_rgb", &nv12_to_rgb, py::arg("frame"), py::kw_only(), py::arg("bgr") = false,
          py::arg("nv21") = false, py::arg("matrix") = qevo::BT601_LIMITED,
          "Colour conversion of an NV12 frame ((H * 3 / 2) x W uint8, H and W even, at\n"
          "least 2; NV21 with nv21=True) to a new H x W x 3 uint8 array, R,G,B (B,G,R with\n"
          "bgr=True). The frame's rows may be strided: a frame padded to a row stride, or\n"
          "frame[:, x1:x2] with even x1 and x2, is read in place.");
    m.def("nv12_to_tensor", &nv12_to_tensor, py::arg("frame"), py::arg("size"), py::kw_only(),
          py::arg("crop") = py::none(), py::arg("format") = qevo::TENSOR_U8_CHW,
          py::arg("fit") = qevo::FIT_LETTERBOX, py::arg("matrix") = qevo::BT601_LIMITED,
          py::arg("mean") = 0.0, py::arg("scale") = 1.0, py::arg("pad") = 114,
          py::arg("bgr") = false, py::arg("nv21") = false,
          "Network input of size = (width, height) from an NV12 frame ((H * 3 / 2) x W uint8,\n"
          "H and W even, at least 4; rows may be strided as for nv12_to_rgb): the frame, or\n"
          "crop = (x1, y1, x2, y2) of it, resized, converted (matrix, bgr, nv21) and\n"
          "letterboxed or stretched (fit), with border pad (an int or three). Returns\n"
          "(tensor, placement): tensor 3 x height x width uint8 (TENSOR_U8_CHW), height x\n"
          "width x 3 uint8 (TENSOR_U8_HWC) or 3 x height x width float32 (TENSOR_F32_CHW,\n"
          "(v - mean[c]) * scale[c]; mean and scale a number or three); placement a\n"
          "TensorPlacement(crop_x, crop_y, crop_width, crop_height, x, y, width, height): the\n"
          "source rectangle used and the content's place in the output. Same results as\n"
          "qevo::nv12_to_tensor, whose header gives the rounding rules.");
}

}  // namespace qevo_py
