#pragma once

// What the naive forms work on. They are the truth for tests and fuzzers and what the benchmark
// compares with: scalar, pixel by pixel, in the order in which one would first write it.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace naive {

using Pixels = std::vector<uint16_t>;

/// The index of column x and row y in rows of `width` pixels.
inline size_t place(int x, int y, int width) {
  return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
}

/// The pixels of somebody else as rows and columns.
struct Image {
  template <std::integral Side>
  Image(Pixels& all, Side columns, Side rows)
      : pixels(all), width(static_cast<int>(columns)), height(static_cast<int>(rows)) {}

  uint16_t& at(int x, int y) const { return pixels[place(x, y, width)]; }

  Pixels& pixels;
  int width, height;
};

} // namespace naive
