#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// `width` x `height` packed 16-bit pixels; 0 is invalid.
struct EdgeStripsImage {
  uint16_t* pixels;
  uint32_t width, height;
};

/// The column kernels' work memory: 2 * width entries of any content. Four bytes each, so that no
/// height is too large.
using EdgeStripsColumns = int32_t*;

/// Clears strips of pixels where the valid area ends, in place.
///
/// A strip begins at the outermost valid pixel of a row or column, as it was before the call, and
/// runs inward. It is cleared only near the image's border: within `limit` pixels of it, and at the
/// right and the bottom within `limit` - 1. Strips end at the image's edge at the latest. All
/// lengths are in pixels.
///
/// All kernels return 0, or a negative status with the image untouched: -1 for null pixels, -2 for
/// a margin above its limit, -3 for a null table.
struct EdgeStripsKernels {
  /// Left and right strips of `margin_x` pixels. A strip that begins within the limit is cleared
  /// completely.
  int32_t (*rows)(const EdgeStripsImage& image, uint32_t margin_x, uint32_t limit_x);

  /// The same with top and bottom strips of `margin_y` pixels, of which only the pixels within the
  /// limit are cleared.
  int32_t (*rows_and_columns)(const EdgeStripsImage& image, uint32_t margin_x, uint32_t margin_y,
                              uint32_t limit_x, uint32_t limit_y, EdgeStripsColumns columns);

  /// The same with left and right strips whose lengths stand in `table`, two entries (left, right)
  /// for each row; of these, too, only the pixels within the limit are cleared.
  int32_t (*chamfered_rows_and_columns)(const EdgeStripsImage& image, uint32_t margin_y,
                                        uint32_t limit_x, uint32_t limit_y, const uint16_t* table,
                                        EdgeStripsColumns columns);

  template <simd::Level>
  static const EdgeStripsKernels& at();
};

} // namespace filter_processor
