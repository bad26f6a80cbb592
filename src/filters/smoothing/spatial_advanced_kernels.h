#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// Packed 16-bit pixels.
struct PixelGrid {
  uint16_t* pixels;
  uint16_t width, height;
};

/// Recursive smoothing in place: walking along a row or column, each pixel becomes the mean of
/// itself and the pixel before it, as just written, where both are valid and their difference is
/// small enough. A round walks along all rows forth and back again, then along all columns. Valid
/// are 1 to 32767.
///
/// Along rows, whole blocks of eight rows are walked from left to right (which leaves out the last
/// column) and back; nothing is done in fewer than three columns. A hole that follows a valid pixel
/// is counted, and takes that pixel's value while the count is below `radius`; two valid pixels in
/// a row clear the count. Along columns, whole groups of eight columns are walked down and up, and
/// nothing is filled.
///
/// `fixed` has one threshold, and makes one round. `table` has one for each of seven values of
/// min(pixel / 2, 6); of eight lanes (rows of a block, columns of a group), lane 2 i uses the entry
/// of lane i, for i = 0 to 3, and the other four lanes are not averaged. Along rows, a difference
/// equal to the threshold is still averaged, except that a threshold of 65535 averages nothing;
/// along columns the difference must be smaller.
struct SpatialAdvancedKernels {
  static constexpr uint32_t strip_rows = 64; ///< the most that are walked at once

  /// The pixels of `work`: a strip, and a copy of the image with limits for every other column.
  static constexpr size_t work_size(uint16_t width, uint16_t height) {
    const size_t rows = height < strip_rows ? strip_rows : height;
    return line + size_t{strip_rows} * width + rows * (pitch(width) + width / 2U);
  }

  /// From row to row of the copy: whole cache lines, and an odd number of them, as rows a multiple
  /// of 4 KiB apart compete for a few places in the cache.
  [[gnu::always_inline]] static constexpr size_t pitch(uint16_t width) {
    return size_t{(width + line - 1U) / line | 1U} * line;
  }
  static constexpr uint32_t line = 32; ///< pixels of a cache line

  void (*fixed)(const PixelGrid& image, uint16_t threshold, uint8_t radius, uint16_t* work);
  void (*table)(const PixelGrid& image, const uint16_t* thresholds, uint8_t radius, int rounds,
                uint16_t* work);

  template <simd::Level>
  static const SpatialAdvancedKernels& at();
};

} // namespace filter_processor
