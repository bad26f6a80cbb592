#include "core/pictures.h"

#include <algorithm>
#include <cmath>

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include "core/errors.h"
#include "core/frames.h"
#include "core/unlocked.h"
#include "gxfilter/preview.h"

namespace python {

using namespace gxfilter;
using namespace recordings;

namespace {

/// Red, green and blue of every pixel, and the picture as a PNG file.
py::tuple to_tuple(const PaletteImage& image) {
  const auto png = value_or_raise(unlocked([&] { return encode_png(image); }));
  py::array_t<uint8_t> array(std::vector<size_t>{image.size.height, image.size.width, 3});
  uint8_t* to = array.mutable_data();
  for (const uint8_t index : image.indices)
    to = std::ranges::copy(image.palette[index], to).out;
  return py::make_tuple(array, py::bytes(reinterpret_cast<const char*>(png.data()), png.size()));
}

py::tuple colorize(py::handle depth, std::optional<std::pair<double, double>> range) {
  const FrameView view = view_of(depth);
  if (range && !(range->first < range->second && std::isfinite(range->second - range->first)))
    throw py::value_error("range must be (low, high) with low < high, millimetres or codes");
  return to_tuple(unlocked([&] {
    const auto typical = range ? ValueRange{range->first, range->second}
                               : typical_range(view).value_or(ValueRange{});
    return colorized(view, typical);
  }));
}

py::tuple preview(py::handle before, py::handle after, const std::string& title,
                  const std::string& caption) {
  const FrameView left = view_of(before);
  const FrameView right = view_of(after);
  return to_tuple(unlocked([&] {
    PreviewPainter painter(caption);
    const PreviewRanges ranges = painter.choose_ranges(left, right);
    return painter.paint(ranges, left, right, title);
  }));
}

} // namespace

void add_pictures(py::module_& module) {
  module.def("colorize", &colorize, py::arg("depth"), py::arg("range").none(true));
  module.def("preview", &preview, py::arg("before"), py::arg("after"), py::arg("title"),
             py::arg("caption"));
}

} // namespace python
