#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// Medians of `width` x `height` packed 16-bit pixels; 0 is an ordinary value. `output`, which must
/// not overlap `input`, starts as a copy of it: the pixels that a kernel leaves out keep their
/// values. Rows beyond the image repeat its first or last row.
struct SpatialFastKernels {
  using Filter = void (*)(const uint16_t* input, uint16_t* output, uint32_t width, uint32_t height);

  /// Medians of nine, from column 4 on, in as many whole groups of eight pixels as the width holds,
  /// less one.
  Filter median_3x3;

  /// Medians of 25, from column 2 on, in as many whole groups of eight pixels as the width holds.
  /// The two first and two last columns get medians of nine or fifteen of the pixels at the border.
  /// Images of less than three columns are left out.
  Filter median_5x5;

  template <simd::Level>
  static const SpatialFastKernels& at();
};

} // namespace filter_processor
