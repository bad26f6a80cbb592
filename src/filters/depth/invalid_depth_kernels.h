#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

struct InvalidDepthKernels {
  /// Sets the pixels of value `first` to `last`, both included, to 0 in place; `first` is at most
  /// `last`.
  void (*clear_between)(uint16_t* pixels, size_t count, uint16_t first, uint16_t last);

  template <simd::Level>
  static const InvalidDepthKernels& at();
};

} // namespace filter_processor
