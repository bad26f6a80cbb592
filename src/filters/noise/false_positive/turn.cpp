#include "filters/noise/false_positive/turn.h"

#include <algorithm>
#include <cstddef>

namespace filter_processor {
namespace {

/// Where the pixel of column x and row y goes: first + x * right + y * down.
struct Destination {
  std::ptrdiff_t first, right, down;
};

Destination destination(std::ptrdiff_t width, std::ptrdiff_t height, unsigned quarter_turns) {
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

void turn_image(const std::uint16_t* from, std::uint32_t width, std::uint32_t height,
                unsigned quarter_turns, std::uint16_t* to) {
  constexpr std::uint32_t block = 32; // rows: their ends stay in the cache from column to column
  const Destination place = destination(width, height, quarter_turns);
  for (std::uint32_t top = 0; top < height; top += block) {
    const std::uint32_t bottom = std::min(height - top, block) + top;
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::ptrdiff_t column = place.first + std::ptrdiff_t{x} * place.right;
      for (std::uint32_t y = top; y < bottom; ++y)
        to[column + std::ptrdiff_t{y} * place.down] = from[std::size_t{y} * width + x];
    }
  }
}

} // namespace filter_processor
