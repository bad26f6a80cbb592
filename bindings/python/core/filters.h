// Filters and chains of them for Python.
#pragma once

#include <pybind11/pybind11.h>

namespace python {

void add_filters(pybind11::module_& module);

} // namespace python
