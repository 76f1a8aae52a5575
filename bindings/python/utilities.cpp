// Servo conversions, hash_ and get_md5.
#include <pybind11/stl.h>

#include <string>

#include "arrays.h"
#include "module.h"
#include "utils.h"

namespace qevo_py {

namespace {

// The bytes of a str (UTF-8) or bytes object, refusing embedded NULs, which
// would silently end the C string early.
std::string c_string(py::handle obj, const char *what) {
    std::string s;
    if (py::isinstance<py::bytes>(obj) || py::isinstance<py::str>(obj))
        s = obj.cast<std::string>();
    else
        type_error(std::string(what) + " must be str or bytes, got " + describe(obj));
    if (s.find('\0') != std::string::npos)
        value_error(std::string(what) + " must not contain a NUL character");
    return s;
}

}  // namespace

void bind_utilities(py::module_ &m) {
    m.def("servo_calc_az", &KIVEX::servo_calc_Az, py::arg("az"), py::arg("x"),
          py::arg("resolution"), py::arg("width"), py::arg("height"),
          "Azimuth (degrees) that points at image column x, from azimuth az and the\n"
          "resolution in degrees per pixel; height is not used.");
    m.def("servo_calc_pt", &KIVEX::servo_calc_Pt, py::arg("pt"), py::arg("y"),
          py::arg("resolution"), py::arg("width"), py::arg("height"),
          "Pitch (degrees) that points at image row y; width is not used.");
    m.def("servo_calc_img_x", &KIVEX::servo_calc_ImgX, py::arg("az"), py::arg("target_az"),
          py::arg("resolution"), py::arg("width"), py::arg("height"),
          "Image column of azimuth target_az seen from az (0 without resolution).");
    m.def("servo_calc_img_y", &KIVEX::servo_calc_ImgY, py::arg("pt"), py::arg("target_pt"),
          py::arg("resolution"), py::arg("width"), py::arg("height"),
          "Image row of pitch target_pt seen from pt (0 without resolution).");
    m.def(
        "hash_", [](py::object s) { return KIVEX::hash_(c_string(s, "hash_: s").c_str()); },
        py::arg("s"), "64-bit FNV-1a of a str (its UTF-8 bytes) or bytes.");
    m.def(
        "get_md5",
        [](py::object path) {
            const std::string name =
                c_string(py::module_::import("os").attr("fsdecode")(path), "get_md5: path");
            py::gil_scoped_release unlocked;
            return KIVEX::get_md5(name);
        },
        py::arg("path"),
        "Lower-case MD5 digest of the file as the system's md5sum gives it, or '' when it\n"
        "cannot be computed.");
}

}  // namespace qevo_py
