#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

struct TurnKernels {
  /// Turns the packed pixels of `width` x `height` (each at least 1) by one to three quarters
  /// clockwise into another image.
  void (*turn)(const uint16_t* from, uint32_t width, uint32_t height, unsigned quarter_turns,
               uint16_t* to);

  template <simd::Level>
  static const TurnKernels& at();
};

} // namespace filter_processor
