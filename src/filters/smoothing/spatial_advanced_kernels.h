#pragma once

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
/// small enough. Every kernel walks forth and back again. Valid are 1 to 32767.
///
/// `rows_...` work on whole blocks of eight rows and walk from left to right (which leaves out the
/// last column) and back; they do nothing in fewer than three columns. A hole that follows a valid
/// pixel is counted, and takes that pixel's value while the count is below `radius`; two valid
/// pixels in a row clear the count. `columns_...` work on whole groups of eight columns and walk
/// down and up; they fill nothing.
///
/// `..._fixed` have one threshold. `..._table` have one for each of seven values of min(pixel / 2,
/// 6); of eight lanes (rows of a block, columns of a group), lane 2 i uses the entry of lane i, for
/// i = 0 to 3, and the other four lanes are not averaged. Along rows, a difference equal to the
/// threshold is still averaged, except that a threshold of 65535 averages nothing; along columns
/// the difference must be smaller.
struct SpatialAdvancedKernels {
  /// The work space `strip` of the row kernels: so many rows of the image's width.
  static constexpr uint32_t strip_rows = 64;

  void (*rows_fixed)(const PixelGrid& image, uint16_t threshold, uint8_t radius, uint16_t* strip);
  void (*columns_fixed)(const PixelGrid& image, uint16_t threshold);
  void (*rows_table)(const PixelGrid& image, const uint16_t* thresholds, uint8_t radius,
                     uint16_t* strip);
  void (*columns_table)(const PixelGrid& image, const uint16_t* thresholds);

  template <simd::Level>
  static const SpatialAdvancedKernels& at();
};

} // namespace filter_processor
