#pragma once

#include <cstdint>

#include "filters/noise/false_positive/config.h"

namespace filter_processor {

struct ImageSize {
  uint32_t width, height;
};

/// How large a region is, and where; the bounding box is inclusive.
struct RegionExtent {
  uint64_t pixels = 0;
  uint32_t x_min = 0;
  uint32_t x_max = 0;
  uint32_t y_min = 0;
  uint32_t y_max = 0;
};

struct RegionDepths {
  uint32_t mean = 0; ///< its whole part
  uint32_t lowest = 65535;
  uint32_t highest = 0;
};

/// An event is a neighbour outside the region that one of its pixels sees: invalid, too different
/// in depth, or of another region.
struct RegionEvents {
  uint64_t all = 0;
  uint64_t invalid = 0;
  uint64_t invalid_above = 0;
  uint64_t below = 0;
  uint64_t strong_below = 0;
};

// The tests come in parts, so that nothing need be found out about a region that cannot matter.

/// Whether a region's extent leaves it to its mean depth, which must be below the limit, and to its
/// events whether it has sparse texture; and whether these then say so.
bool may_have_sparse_texture(const RegionExtent& region, const TextureSparsitySettings& settings,
                             ImageSize image);
bool has_sparse_texture(const RegionExtent& region, const RegionEvents& events,
                        const TextureSparsitySettings& settings);

/// Whether a region with that many horizontal joins, some of equal depth, is a flat bleed.
bool bleeds_flat(uint64_t equal_joins, uint64_t horizontal_joins,
                 const EdgeBleedSettings& settings);

bool may_lie_below_ground(const RegionExtent& region, const GroundPlaneSettings& settings,
                          ImageSize image);
bool lies_below_ground(const RegionExtent& region, uint32_t mean_depth,
                       const GroundPlaneSettings& settings);

bool lies_in_left_band(const RegionExtent& region, const LeftBandSettings& settings,
                       ImageSize image);

/// Whether a region may stem from a repetitive pattern: by its extent and its mean depth, which
/// must be below the limit; and then by its depths and the sum of the differences between its
/// pixels and those that they joined.
bool may_be_pattern(const RegionExtent& region, const PatternAmbiguitySettings& settings,
                    ImageSize image);
bool is_pattern_candidate(const RegionExtent& region, const RegionDepths& depths,
                          uint64_t join_differences, const PatternAmbiguitySettings& settings,
                          ImageSize image);

} // namespace filter_processor
