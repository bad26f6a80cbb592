#pragma once

#include "filters/noise/false_positive/join_rule.h"
#include "filters/noise/false_positive/members.h"
#include "filters/noise/false_positive/region_kernels.h"
#include "filters/noise/false_positive/region_tests.h"

namespace filter_processor {

RegionExtent measure_extent(const RunMap& map, const Region& region);

RegionDepths measure_depths(const uint16_t* image, const RunMap& map, const Region& region);

/// Counts a region's events in the image as it stands.
RegionEvents count_events(const uint16_t* image, const RunMap& map, const Region& region,
                          const JoinRule& rule, uint16_t invalid_depth);

/// `bits` has room for those of a row.
JoinBounds bound_joins(const uint16_t* image, const RunMap& map, const Region& region,
                       uint64_t* bits);

} // namespace filter_processor
