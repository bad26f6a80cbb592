#include "filters/noise/false_positive/turn.h"

#include <algorithm>
#include <cstddef>

namespace filter_processor {
namespace {

/// Where the pixel of column x and row y goes: first + x * right + y * down.
struct Destination {
  ptrdiff_t first, right, down;
};

Destination destination(uint32_t columns, uint32_t rows, unsigned quarter_turns) {
  const auto width = static_cast<ptrdiff_t>(columns);
  const auto height = static_cast<ptrdiff_t>(rows);
  switch (quarter_turns) {
  case 1:
    return {height - 1, height, -1};
  case 2:
    return {width * height - 1, -1, -width};
  default:
    return {(width - 1) * height, -height, 1};
  }
}

} // namespace

void turn_image(const uint16_t* from, uint32_t width, uint32_t height, unsigned quarter_turns,
                uint16_t* to) {
  constexpr uint32_t block = 32; // rows: their ends stay in the cache from column to column
  const Destination place = destination(width, height, quarter_turns);
  for (uint32_t top = 0; top < height; top += block) {
    const uint32_t bottom = std::min(height - top, block) + top;
    for (uint32_t x = 0; x < width; ++x) {
      const ptrdiff_t column = place.first + static_cast<ptrdiff_t>(x) * place.right;
      for (uint32_t y = top; y < bottom; ++y)
        to[column + static_cast<ptrdiff_t>(y) * place.down] = from[size_t{y} * width + x];
    }
  }
}

} // namespace filter_processor
