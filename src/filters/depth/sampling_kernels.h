#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// A walk over one axis of a source image in 16.16 fixed point.
struct SourceWalk {
  uint32_t first;  ///< 16.16
  uint32_t step;   ///< 16.16
  uint32_t extent; ///< source pixels; positions beyond become the last one

  /// The source pixel after `count` steps. The accumulator is 32 bits wide and wraps.
  [[gnu::always_inline]] constexpr uint32_t at(uint32_t count) const {
    const uint32_t position = (first + count * step) >> 16;
    return position < extent ? position : extent - 1;
  }
};

/// A frame to write: the rectangle from (left, top) up to, but without, (right, bottom) is sampled,
/// the rest is 0. With an empty rectangle nothing else is read.
struct SampledRows {
  uint32_t width, height; ///< of the frame to write
  uint32_t left, right, top, bottom;
  const uint16_t* columns; ///< source column of each sampled column
  uint32_t run;            ///< sampled columns from `left` on with consecutive source columns
  uint32_t source_width;
  SourceWalk source_rows; ///< for each sampled row
};

struct SamplingKernels {
  /// Samples `from` into all of `to`; a table of 65536 entries, unless it is null, maps the sampled
  /// pixels. The images do not overlap.
  void (*sample)(const SampledRows& rows, const uint16_t* from, uint16_t* to,
                 const uint16_t* table);

  template <simd::Level>
  static const SamplingKernels& at();
};

} // namespace filter_processor
