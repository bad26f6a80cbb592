#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "filters/noise/false_positive/config.h"

namespace filter_processor {

/// The regions of an image, over buffers of the workspace.
struct RegionMap {
  static constexpr uint32_t unlabelled = 0;
  static constexpr uint32_t removed_label = 1; ///< of the pixels of small regions
  static constexpr uint32_t first_label = 2;   ///< regions count from here in scan order
  static constexpr size_t max_pixels = size_t{1} << 30;

  uint32_t width, height; ///< pixels, at least 1
  uint32_t* labels;       ///< one for each pixel
  uint32_t* sizes;        ///< pixels of each region, by label; 0 for small regions
  uint8_t* marks;         ///< whether each region is to be removed, by label
};

/// A region that may stem from a repetitive pattern; its bounding box is inclusive.
struct PatternCandidate {
  uint32_t label;
  uint32_t x_min, x_max, y_min, y_max;
};

/// Scratch buffers of the region stage.
struct RegionScratch {
  uint8_t* growth_states; ///< one for each pixel; `width` before and after are read too
  uint32_t* places;       ///< one for each pixel and one more
  std::vector<PatternCandidate>& candidates;
};

/// Splits the image into regions of similar depth, filling `map`. Pixels of small regions become
/// invalid at once; larger regions are judged and marked for removal, or noted as candidates of the
/// pattern ambiguity detector. May throw std::bad_alloc as the list of candidates grows.
///
/// A region grows from its first pixel in scan order. Growth is depth first in a fixed order, since
/// figures of the judgement depend on which pixel joined which.
///
/// Returns the number of labels in use, those below RegionMap::first_label included.
uint32_t find_regions(uint16_t* image, const RegionMap& map, const FalsePositiveConfig& config,
                      const RegionScratch& scratch);

/// Sets the pixels of marked regions to 0; `label_count` is that of find_regions.
void clear_marked_regions(uint16_t* image, const RegionMap& map, uint32_t label_count);

} // namespace filter_processor
