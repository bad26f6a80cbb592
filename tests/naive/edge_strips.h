#pragma once

#include <algorithm>
#include <array>

#include "naive/image.h"

namespace naive {

/// The lengths of each row's left and right strips.
using Runs = std::vector<std::array<int64_t, 2>>;

struct Strips {
  Runs runs;
  bool runs_end_at_limit;
  int64_t limit_x, margin_y, limit_y;
};

/// The strips of rows and columns, each from the image as it was.
inline Pixels clear_strips(const Pixels& input, int64_t width, int64_t height,
                           const Strips& strips) {
  const auto at = [&](int64_t x, int64_t y) { return static_cast<size_t>(y * width + x); };
  Pixels output = input;
  for (int64_t y = 0; y < height; ++y) {
    int64_t first = 0;
    int64_t last = width - 1;
    while (first < width && input[at(first, y)] == 0)
      ++first;
    while (last > first && input[at(last, y)] == 0)
      --last;
    auto [left, right] = strips.runs[static_cast<size_t>(y)];
    if (strips.runs_end_at_limit) {
      left = std::min(left, strips.limit_x - first);
      right = std::min(right, last - (width - strips.limit_x));
    }
    for (int64_t x = first; first < strips.limit_x && x < std::min(first + left, width); ++x)
      output[at(x, y)] = 0;
    for (int64_t x = last; last > width - strips.limit_x && x > std::max(last - right, int64_t{-1});
         --x)
      output[at(x, y)] = 0;
  }
  for (int64_t x = 0; x < width && strips.margin_y > 0; ++x) {
    int64_t top = 0;
    int64_t bottom = height - 1;
    while (top < height && input[at(x, top)] == 0)
      ++top;
    while (bottom > top && input[at(x, bottom)] == 0)
      --bottom;
    for (int64_t y = top; y < std::min({top + strips.margin_y, strips.limit_y, height}); ++y)
      output[at(x, y)] = 0;
    for (int64_t y = bottom;
         y > std::max({bottom - strips.margin_y, height - strips.limit_y, int64_t{-1}}); --y)
      output[at(x, y)] = 0;
  }
  return output;
}

} // namespace naive
