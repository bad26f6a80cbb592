#pragma once

#include <cstdint>

#include "simd/level.h"

namespace filter_processor {

/// What growth needs to know of a pixel's four neighbours, in 16 bits: to which of them its region
/// may spread, and how many of them are boundary events. Neighbours outside the image are neither.
namespace neighbour_code {

// One bit for each neighbour that is valid and close enough in depth to join.
constexpr std::uint16_t joins_below = 1;
constexpr std::uint16_t joins_above = 2;
constexpr std::uint16_t joins_right = 4;
constexpr std::uint16_t joins_left = 8;

// Two counts of 0 to 4: neighbours that are invalid or too different in depth, and those that are
// invalid. The unit is what one neighbour adds.
constexpr int boundary_shift = 4;
constexpr int invalid_shift = 7;
constexpr std::uint16_t boundary_unit = 1U << boundary_shift;
constexpr std::uint16_t invalid_unit = 1U << invalid_shift;
constexpr std::uint16_t boundary_mask = 7 * boundary_unit;
constexpr std::uint16_t invalid_mask = 7 * invalid_unit;

// Single events: the neighbour above is invalid; the one below is invalid or too different; the one
// below is invalid, farther than the threshold, or nearer by more than three times the threshold.
constexpr std::uint16_t invalid_above = 1U << 10;
constexpr std::uint16_t step_below = 1U << 11;
constexpr std::uint16_t strong_step_below = 1U << 12;

} // namespace neighbour_code

/// When two neighbouring depths belong to one surface: a difference of at most the threshold of the
/// depth bin of the pixel that is looked from.
struct JoinThresholds {
  static constexpr std::uint32_t max_steps = 19;

  std::uint16_t invalid_depth;
  std::uint16_t first;            ///< threshold of the first bin
  std::uint32_t steps;            ///< bins after it that 16-bit depths reach
  std::uint16_t depth[max_steps]; ///< where each of them begins
  std::uint16_t rise[max_steps];  ///< its threshold less the one before, modulo 65536
};

struct NeighbourKernels {
  /// Writes the code of each of `width` x `height` (both at least 1) packed pixels. The codes of
  /// invalid pixels mean nothing.
  void (*encode)(const std::uint16_t* image, std::uint32_t width, std::uint32_t height,
                 const JoinThresholds& thresholds, std::uint16_t* codes);

  template <simd::Level>
  static const NeighbourKernels& at();
};

} // namespace filter_processor
