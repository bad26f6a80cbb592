#pragma once

#include <cstdint>

#include "filters/noise/false_positive/config.h"

namespace filter_processor {

/// What growth finds out about a region. An event is a neighbour outside the region that one of its
/// pixels sees: invalid, too different in depth, or of another region.
struct RegionStatistics {
  uint64_t pixels = 0;
  uint64_t depth_sum = 0;
  uint32_t depth_min = 65535;
  uint32_t depth_max = 0;
  uint32_t x_min = 0; ///< the bounding box is inclusive
  uint32_t x_max = 0;
  uint32_t y_min = 0;
  uint32_t y_max = 0;
  uint64_t join_differences = 0; ///< sum of depth differences between joined and joining pixel
  uint64_t horizontal_joins = 0;
  uint64_t equal_joins = 0; ///< horizontal joins of equal depth
  uint64_t boundaries = 0;  ///< all events
  uint64_t invalid = 0;     ///< invalid neighbours
  uint64_t invalid_above = 0;
  uint64_t steps_below = 0; ///< events below
  uint64_t strong_steps_below = 0;

  uint32_t mean_depth() const { return static_cast<uint32_t>(depth_sum / pixels); }
};

struct ImageSize {
  uint32_t width, height;
};

/// Whether a region is false depth by itself: by sparse texture, as a flat bleed, below the ground
/// or in the left band.
bool is_false_region(const RegionStatistics& region, const FalsePositiveConfig& config,
                     ImageSize image);

/// Whether a region may stem from a repetitive pattern.
bool is_pattern_candidate(const RegionStatistics& region, const PatternAmbiguitySettings& settings,
                          ImageSize image);

} // namespace filter_processor
