// Recordings for Python: frames in and out.
#pragma once

#include <pybind11/pybind11.h>

namespace python {

void add_recordings(pybind11::module_& module);

} // namespace python
