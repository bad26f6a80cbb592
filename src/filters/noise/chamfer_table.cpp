#include "filters/noise/chamfer_table.h"

#include <cmath>

namespace filter_processor {
namespace {

/// The root of `square` - `deficit`, cut to a whole number; 0 where that is negative, as for rows
/// that a small circle does not reach.
uint64_t root_of_difference(uint64_t square, uint64_t deficit) {
  if (square <= deficit)
    return 0;
  return static_cast<uint64_t>(std::sqrt(static_cast<double>(square - deficit)));
}

uint32_t radius_of(FrameSize size, const ChamferShape& shape) {
  if (shape.radius != 0)
    return shape.radius;
  return (size.width > size.height ? size.width : size.height) / 2;
}

uint16_t run_length(uint32_t margin, uint32_t width, uint64_t sagitta) {
  const uint64_t chamfer = sagitta <= width ? width - sagitta : 0;
  return static_cast<uint16_t>(margin + chamfer);
}

} // namespace

void ChamferTable::build(FrameSize size, const ChamferShape& shape) {
  size_ = {};
  entries_.resize(size_t{2} * size.height);

  // The circle is centred on the middle row. The half-chord of a row is the root of radius^2 less
  // the square of the row's distance from the centre, and that of the first row is the shortest.
  const uint64_t height = size.height;
  const uint64_t outermost = height * height / 4;
  const uint64_t radius = radius_of(size, shape);
  const uint64_t shortest = root_of_difference(radius * radius, outermost);
  const uint32_t right = shape.right != 0 ? shape.right : shape.left;
  for (uint64_t y = 0; y < height; ++y) {
    const uint64_t squared_distance = outermost - (height - y) * y;
    const uint64_t sagitta = root_of_difference(radius * radius, squared_distance) - shortest;
    const auto row = static_cast<size_t>(y);
    entries_[2 * row] = run_length(shape.margin, shape.left, sagitta);
    entries_[2 * row + 1] = run_length(shape.margin, right, sagitta);
  }
  size_ = size;
}

} // namespace filter_processor
