#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

struct InvalidDepthKernels {
  /// Sets the pixels of value `first` to `last`, both included, to 0 in place; `first` is at most
  /// `last`.
  void (*clear_between)(std::uint16_t* pixels, std::size_t count, std::uint16_t first,
                        std::uint16_t last);

  template <simd::Level>
  static const InvalidDepthKernels& at();
};

} // namespace filter_processor
