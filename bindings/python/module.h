// The module's parts, each registering its functions and classes.
#ifndef QEVO_PY_MODULE_H
#define QEVO_PY_MODULE_H

#include <pybind11/pybind11.h>

namespace qevo_py {

void bind_resize(pybind11::module_ &m);
void bind_suppression(pybind11::module_ &m);
void bind_pixels(pybind11::module_ &m);
void bind_preprocess(pybind11::module_ &m);
void bind_trackers(pybind11::module_ &m);
void bind_motion(pybind11::module_ &m);
void bind_utilities(pybind11::module_ &m);

}  // namespace qevo_py

#endif  // QEVO_PY_MODULE_H
