#include "core/errors.h"

namespace python {

using recordings::ErrorKind;

namespace {

// Borrowed from the module, which lives as long as the interpreter.
PyObject* recording_error = nullptr;
PyObject* filter_error = nullptr;

PyObject* exception_of(ErrorKind kind) {
  switch (kind) {
  case ErrorKind::request:
    return PyExc_ValueError;
  case ErrorKind::system:
    return PyExc_OSError;
  case ErrorKind::processing:
  case ErrorKind::contract:
    return filter_error;
  default:
    return recording_error;
  }
}

PyObject* add_error(py::module_& module, const char* name, const char* doc, PyObject* base) {
  const std::string full_name = std::string("filter_processor.") + name;
  const auto type = py::reinterpret_steal<py::object>(
      PyErr_NewExceptionWithDoc(full_name.c_str(), doc, base, nullptr));
  module.attr(name) = type;
  return type.ptr();
}

} // namespace

namespace {

/// As Python's own: of the subclass that belongs to the number, with the file that it is about.
void set_system_error(const recordings::Error& error) {
  const std::string file = error.message.substr(0, error.message.rfind(": "));
  const auto name = py::reinterpret_steal<py::object>(
      PyUnicode_DecodeFSDefaultAndSize(file.data(), static_cast<Py_ssize_t>(file.size())));
  const py::object text = py::module_::import("os").attr("strerror")(error.number);
  PyErr_SetObject(PyExc_OSError, py::make_tuple(error.number, text, name).ptr());
}

} // namespace

void raise(const recordings::Error& error) {
  if (error.number != 0) {
    set_system_error(error);
    throw py::error_already_set();
  }
  // File names may hold bytes that are no UTF-8.
  const auto text = py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF8(
      error.message.data(), static_cast<Py_ssize_t>(error.message.size()), "replace"));
  PyErr_SetObject(exception_of(error.kind), text.ptr());
  throw py::error_already_set();
}

void add_errors(py::module_& module) {
  recording_error = add_error(
      module, "RecordingError",
      "A recording, a camera file or a frame of one is missing, broken or of another kind.",
      PyExc_ValueError);
  filter_error =
      add_error(module, "FilterError", "A filter failed on a frame.", PyExc_RuntimeError);
}

} // namespace python
