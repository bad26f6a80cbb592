#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// Removes speckles: 4-connected regions of at most a maximum size.
///
/// A region grows from its first pixel in row-major order over all pixels that no earlier region
/// has taken: a pixel expands to each valid neighbour that differs by no more than the threshold of
/// the expanding pixel. That threshold is one difference for all pixels or, with a table, depends
/// on the pixel's depth, so that a step may be allowed in one direction only.
///
/// Frames of the sizes at which cameras oversample their depth are worked on at half resolution:
/// one sample stands for each 2 x 2 block, its lower right pixel. A speckle's blocks, and those of
/// invalid samples, become invalid as a whole; in the other blocks, pixels that differ from the
/// sample by more than the sample's threshold (holes among them) take its value. An odd last row or
/// column belongs to no block and stays as it is.
struct SpeckleKernels {
  /// Bytes of the work buffer for a frame of this size.
  uint64_t (*work_buffer_size)(uint32_t width, uint32_t height, int32_t single);

  /// Works on `width` x `height` packed pixels in place, each side at most 32767; always returns 0.
  ///
  /// `work_buffer` has work_buffer_size() bytes, aligned for any type; what it holds is of no
  /// account. `lut_size` 0 chooses the threshold `max_diff` (below 0 nothing joins). Otherwise
  /// `depth_diff_lut` has `lut_size` thresholds, and a depth d has that of bin
  /// ((d >> depth_shift) mod 256), at most the last. `single` not 0 chooses `max_size` as the limit
  /// for all regions, in pixels, or a default where it is not above 0; 0 chooses `tile_table`,
  /// `tiles_x` x `tiles_y` limits in pixels or samples for the tiles of the frame in which regions
  /// begin. `invalid_value` marks invalid pixels; removed ones get its low 16 bits. In single mode
  /// `tile_table` may be null, and without a table `depth_diff_lut`.
  int32_t (*removeSpeckles)(void* work_buffer, uint16_t* depth, const uint16_t* tile_table,
                            uint32_t width, uint32_t height, const uint16_t* depth_diff_lut,
                            uint8_t depth_shift, uint8_t lut_size, int32_t max_diff,
                            int32_t max_size, int32_t tiles_x, int32_t tiles_y,
                            uint32_t invalid_value, int32_t single);

  template <simd::Level>
  static const SpeckleKernels& at();
};

} // namespace filter_processor
