#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// Smoothing over time, pixel by pixel.
struct TemporalKernels {
  /// Replaces `count` pixels of `current`, and of `previous`, which must not overlap it, with the
  /// blend `previous` x (1 - `weight`) + `current` x `weight`, cut to a whole number, where both
  /// are valid (above 0) and differ by less than the smaller one x `diff_scale`, and with `current`
  /// elsewhere. In single precision, each product, difference and sum rounded. Both factors lie
  /// between 0 and 1.
  void (*blend)(uint16_t* current, uint16_t* previous, size_t count, float diff_scale,
                float weight);

  template <simd::Level>
  static const TemporalKernels& at();
};

} // namespace filter_processor
