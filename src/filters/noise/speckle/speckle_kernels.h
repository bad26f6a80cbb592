#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// What is removed from which frame.
struct SpeckleTask {
  uint32_t width, height; ///< pixels, each at most 32767
  /// Marks invalid pixels, none where it is above 65535; removed pixels get its low 16 bits.
  uint32_t invalid_value = 0;

  /// The threshold of all pixels where there is no table, like all thresholds in units of the
  /// frame's values; below 0 nothing joins.
  int32_t max_diff = 0;
  /// `lut_size` thresholds: a depth d has that of bin (d >> depth_shift) mod 256, at most the last.
  const uint16_t* lut = nullptr;
  uint8_t lut_size = 0;    ///< 0: no table, and `lut` may be null
  uint8_t depth_shift = 0; ///< any; from 16 on all depths are in the first bin

  bool single = true;   ///< one limit for all regions, or one for each tile
  int32_t max_size = 0; ///< the one limit, in pixels; a default for the frame's size where <= 0
  /// `tiles_x` x `tiles_y` limits in row-major order for the tiles of the frame in which regions
  /// begin, in samples: pixels, or blocks of frames worked on at half resolution. May be null where
  /// `single`.
  const uint16_t* tile_limits = nullptr;
  uint32_t tiles_x = 4, tiles_y = 4; ///< 1 or more
};

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
  uint64_t (*work_buffer_size)(uint32_t width, uint32_t height, bool single);

  /// Works on the packed pixels `depth` in place; always returns 0. `work_buffer` has
  /// work_buffer_size() bytes, aligned for any type; what it holds is of no account.
  int32_t (*removeSpeckles)(void* work_buffer, uint16_t* depth, const SpeckleTask& task);

  template <simd::Level>
  static const SpeckleKernels& at();
};

} // namespace filter_processor
