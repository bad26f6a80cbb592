#pragma once

#include <cstdint>

#include "filters/noise/false_positive/config.h"

namespace filter_processor {

/// Clears long runs of one depth value in the rows of the region of interest, whole or at their
/// ends, in place.
///
/// A row's first run counts from column 0 to where the value of column 0 ends inside the region of
/// interest, whatever lies between. A run that reaches the end of the region of interest is kept.
void remove_edge_bleed(uint16_t* image, uint32_t width, uint32_t height,
                       const EdgeBleedSettings& settings);

} // namespace filter_processor
