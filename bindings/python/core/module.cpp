// filter_processor._core: what the package is made of, over the reference host and the plug-in.
// What users meet is in Python.
#include "core/errors.h"
#include "core/filters.h"
#include "core/frames.h"
#include "core/pictures.h"
#include "core/recordings.h"

PYBIND11_MODULE(_core, module) {
  python::add_errors(module);
  python::add_frames(module);
  python::add_filters(module);
  python::add_recordings(module);
  python::add_pictures(module);
  module.attr("version") = FILTER_PROCESSOR_VERSION;
}
