// Pictures of frames for Python.
#pragma once

#include <pybind11/pybind11.h>

namespace python {

void add_pictures(pybind11::module_& module);

} // namespace python
