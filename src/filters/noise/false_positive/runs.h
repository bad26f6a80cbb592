#pragma once

#include <cstddef>
#include <cstdint>

namespace filter_processor {

constexpr uint32_t row_bits_per_word = 64;

/// Words of the bits of a row, column 0 lowest: at least one bit more than there are columns.
[[gnu::always_inline]] constexpr size_t row_bit_words(uint32_t columns) {
  return columns / row_bits_per_word + 1;
}

/// A step from one run to another that is not allowed the other way.
struct RunEdge {
  uint32_t from; ///< once it stands in a ring or list: the next edge
  uint32_t to;
};

/// A run of a region: its row, and the columns of its first and its last pixel.
struct RegionRun {
  uint16_t y, first, last;
};

/// The regions of an image as sets of runs: neighbours along a row that all join each other. Runs
/// are numbered in row-major order. A region begins with its root, its first run, whose number
/// stands for the region.
struct RunMap {
  static constexpr size_t max_pixels = size_t{1} << 30;
  /// How far beyond the last run's columns may be written.
  static constexpr size_t column_slack = 64;

  uint32_t width, height; ///< pixels, at least 1
  uint32_t* row_runs;     ///< the first run of each row, and the end
  uint16_t* first;        ///< column of each run's first pixel
  uint16_t* last;         ///< and of its last one
  uint32_t* root;         ///< of each run
  uint32_t* sizes;        ///< pixels of each region, by its root; 0 for other runs
  uint64_t* up;           ///< for each row, bits of pixels that join the one above, and back
  uint64_t* singles;      ///< for each row, bits of valid pixels that join none and are in no run

  // Kernels of all levels use these: none may stand by itself in their objects.
  [[gnu::always_inline]] size_t words() const { return row_bit_words(width); }
  [[gnu::always_inline]] uint32_t run_count() const { return row_runs[height]; }
  [[gnu::always_inline]] uint64_t* up_of(uint32_t y) const { return up + y * words(); }
  [[gnu::always_inline]] uint64_t* singles_of(uint32_t y) const { return singles + y * words(); }
};

} // namespace filter_processor
