#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// Fills the holes (pixels of value 0) of `width` x `height` packed 16-bit pixels in place, top row
/// to bottom row, so that every row sees the rows above it already filled.
///
/// `minimum` and `maximum` walk each row from left to right in groups of eight; a width that is no
/// multiple of eight ends with a shorter group.
struct HoleFillingKernels {
  /// A hole takes the value of the pixel above it; row 0 is never changed.
  void (*top)(uint16_t* pixels, uint32_t width, uint32_t height);

  /// A hole takes the smallest valid value among the pixels above, below and to the left of it, but
  /// the first pixel of a group takes its left neighbour's value only. 65535 counts as a hole too,
  /// and what stays open becomes 0. The first and last rows are never changed.
  void (*minimum)(uint16_t* pixels, uint32_t width, uint32_t height);

  /// The same with the largest value; 65535 is an ordinary value.
  void (*maximum)(uint16_t* pixels, uint32_t width, uint32_t height);

  template <simd::Level>
  static const HoleFillingKernels& at();
};

} // namespace filter_processor
