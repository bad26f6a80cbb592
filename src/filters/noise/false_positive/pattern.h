#pragma once

#include <cstdint>

#include "filters/noise/false_positive/config.h"
#include "filters/noise/false_positive/regions.h"

namespace filter_processor {

/// Memory for the search for support: bits of the pixels that may support.
struct SupportScratch {
  uint64_t* rows;    ///< for each row
  uint64_t* columns; ///< for each column, in whole squares of words; may be written beyond the last
  uint32_t* lowest;  ///< for each column
  uint32_t* highest;
};

/// Marks every candidate that no large region of nearly the same depth supports: none that is met
/// within reach of the candidate's outline, going straight down, left, right or up.
void mark_unsupported_patterns(const uint16_t* image, const RunMap& map,
                               const FalsePositiveConfig& config, const SupportScratch& scratch,
                               std::vector<Region>& regions);

} // namespace filter_processor
