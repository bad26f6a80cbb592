// Errors of the rooms below as Python's exceptions.
#pragma once

#include <string>
#include <utility>

#include <pybind11/pybind11.h>

#include "recordings/result.h"

namespace python {

namespace py = pybind11;

/// Throws what Python makes of the error by its kind: ValueError for what the caller asked,
/// RecordingError for what was read, OSError for what the system refuses (with its errno, where
/// that is known), FilterError for what a filter does.
[[noreturn]] void raise(const recordings::Error& error);

/// Makes the module's own exceptions.
void add_errors(py::module_& module);

inline void raise_if(const recordings::Failure& failure) {
  if (failure)
    raise(*failure);
}

template <class T>
T value_or_raise(recordings::Result<T> result) {
  if (!result)
    raise(result.error());
  return std::move(*result);
}

} // namespace python
