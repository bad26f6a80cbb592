#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// Maps `count` pixels through a table of 65536 entries. `codes` and `depths` are the same array or
/// do not overlap.
struct DisparityLookupKernels {
  using Map = void (*)(const uint16_t* codes, uint16_t* depths, size_t count,
                       const uint16_t* table);

  Map whole; ///< the code is the whole pixel

  /// The code stands in the upper 12 bits, and so does the depth; the lower four bits pass through.
  Map shifted;

  template <simd::Level>
  static const DisparityLookupKernels& at();
};

} // namespace filter_processor
