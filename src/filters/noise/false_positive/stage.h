#pragma once

#include <cstdint>

#include "filters/noise/false_positive/config.h"
#include "filters/noise/false_positive/workspace.h"

namespace filter_processor {

/// Removes false depth from the image of `width` x `height` pixels, in place: all detectors that
/// the record enables, in their order. Returns 0; or -1, and leaves the image unfinished, without a
/// workspace, for a size other than the record's or for a turn by none of one to three quarters.
/// The first two are reported on standard output. May throw std::bad_alloc.
int remove_false_positives(uint16_t* image, uint32_t width, uint32_t height,
                           const FalsePositiveConfig& config, FalsePositiveWorkspace* workspace);

} // namespace filter_processor
