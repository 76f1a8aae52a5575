// The extension module `qevo._qevo` behind the Python package `qevo`: the
// library's kernels, suppression, trackers and helpers on NumPy arrays, with
// the library's exact results. The package's __init__.py re-exports it.
#include "module.h"
#include "qevo_version.h"

PYBIND11_MODULE(_qevo, m) {
    m.doc() =
        "Bindings of libQEVO.kivexC.so: the same bytes and tracks as the C++ library.\n\n"
        "Arrays are read in place and must already have the documented dtype (TypeError\n"
        "otherwise), shape and C-contiguous layout (ValueError otherwise); results are new\n"
        "arrays. Box lists are N x 6 float32 arrays (x1, y1, x2, y2, score, class), N x 7\n"
        "with an area column, or lists of such rows. Pixel kernels and suppression run\n"
        "without holding the GIL.";
    m.attr("__version__") = qevo::version();
    qevo_py::bind_resize(m);
    qevo_py::bind_suppression(m);
    qevo_py::bind_pixels(m);
    qevo_py::bind_preprocess(m);
    qevo_py::bind_trackers(m);
    qevo_py::bind_motion(m);
    qevo_py::bind_utilities(m);
}
