#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

// The bits of a pixel's state while regions grow, by their numbers: whether it is taken, because
// it is invalid or belongs to a region; to which of its four neighbours its region may spread,
// unless they are taken; and whether its region turned out to be small.
namespace state_bit {

constexpr int claimed = 0;
constexpr int below = 1;
constexpr int above = 2;
constexpr int right = 3;
constexpr int left = 4;
constexpr int small = 5;

} // namespace state_bit

/// When two neighbouring depths belong to one surface: a difference of at most the threshold of the
/// depth bin of the pixel that is looked from.
struct JoinThresholds {
  static constexpr uint32_t max_steps = 19;

  uint16_t invalid_depth;
  uint16_t first;            ///< threshold of the first bin
  uint32_t steps;            ///< changes of the threshold within the range of 16-bit depths
  uint16_t depth[max_steps]; ///< the depth from which each of them holds, above 0
  uint16_t rise[max_steps];  ///< the threshold less the one before, modulo 65536
};

struct JoinKernels {
  /// Writes the state of each of `width` x `height` (both at least 1) packed pixels: claimed where
  /// the pixel is invalid, and free elsewhere; with the neighbours within the image that are close
  /// enough in depth to spread to, whether valid or not. Those of invalid pixels mean nothing.
  void (*find)(const uint16_t* image, uint32_t width, uint32_t height,
               const JoinThresholds& thresholds, uint8_t* states);

  template <simd::Level>
  static const JoinKernels& at();
};

} // namespace filter_processor
