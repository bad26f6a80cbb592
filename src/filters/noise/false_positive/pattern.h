#pragma once

#include <cstdint>
#include <vector>

#include "filters/noise/false_positive/config.h"
#include "filters/noise/false_positive/regions.h"

namespace filter_processor {

/// Marks for removal every candidate that no large region of nearly the same depth supports: none
/// that is met within reach of the candidate's outline, going straight down, left, right or up.
void mark_unsupported_patterns(const uint16_t* image, const RegionMap& map,
                               const PatternAmbiguitySettings& settings,
                               const std::vector<PatternCandidate>& candidates);

} // namespace filter_processor
