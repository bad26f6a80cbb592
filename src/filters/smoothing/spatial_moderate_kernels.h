#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// An image to smooth in place, and how.
struct SmoothingWindow {
  uint16_t* pixels; ///< `width` x `height`, packed
  uint32_t width, height;
  uint32_t reach; ///< pixels that the window reaches from its centre each way, at most 127
  uint32_t iterations;
  uint16_t* row_buffers; ///< work space: SpatialModerateKernels::row_buffers rows
};

/// Replaces each valid (non-zero) pixel by the mean, cut to a whole number, of the valid pixels of
/// its window whose difference to it passes a threshold; top row to bottom row, each row reading
/// the rows above already smoothed. Pixels whose window leaves the image stay.
///
/// Counted from the first smoothed column, whole groups of eight columns take differences below the
/// threshold; the columns left over at the end of the row also take differences equal to it.
struct SpatialModerateKernels {
  static constexpr uint32_t row_buffers = 2;

  /// One threshold for all pixels.
  void (*fixed)(const SmoothingWindow& window, uint16_t threshold);

  /// Thresholds for seven bins of depth: a depth's bin is depth >> `shift`, at most 6. A column
  /// left over uses its own depth. The columns of a group share one threshold, which for window row
  /// dy is looked up with the depth dy columns to the right of the group's first, in the centre
  /// row.
  void (*table)(const SmoothingWindow& window, const uint16_t* thresholds, unsigned shift);

  template <simd::Level>
  static const SpatialModerateKernels& at();
};

} // namespace filter_processor
