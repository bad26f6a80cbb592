#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "filters/noise/false_positive/regions.h"

namespace filter_processor {

/// Milliseconds that the parts of the detection stage took at their last run; they feed no
/// decision.
struct FalsePositiveTimes {
  double workspace = 0;
  double edge_bleed = 0;
  double turn = 0;
  double turn_back = 0;
  double regions = 0;
  double pattern_ambiguity = 0;
  double final_pass = 0;
};

/// What the detection stage needs besides the image; its contents mean nothing between two frames.
struct FalsePositiveWorkspace {
  std::unique_ptr<uint16_t[]> turned_image;
  std::unique_ptr<uint8_t[]> growth_states;
  std::unique_ptr<uint32_t[]> growth_places;
  std::unique_ptr<uint32_t[]> labels;
  std::unique_ptr<uint32_t[]> region_sizes;
  std::unique_ptr<uint8_t[]> removal_marks;
  std::vector<PatternCandidate> candidates; ///< keeps its capacity from frame to frame
  size_t state_slack = 0;                   ///< growth states before the first pixel's one
  FalsePositiveTimes times;

  /// The buffers as the region stage takes them, for an image of `width` x `height` pixels, which
  /// the workspace must have been made for.
  RegionMap region_map(uint32_t width, uint32_t height) const;
  RegionScratch region_scratch();
};

/// A workspace for images of either size, turned or not; sizes are in pixels. Null, and a line on
/// the standard error stream, when there is not enough memory or an image has more than
/// RegionMap::max_pixels.
std::unique_ptr<FalsePositiveWorkspace> make_false_positive_workspace(uint16_t width,
                                                                      uint16_t height,
                                                                      uint16_t other_width,
                                                                      uint16_t other_height);

/// Whether the memory could be had that hosts know a record of this size to take: five buffers of
/// 4, 4, 6, 2 and 4 bytes for each pixel. For sizes beyond RegionMap::max_pixels, which get no
/// workspace but have to be refused all the same where memory is short. Keeps and touches none of
/// it. False is reported as above.
bool could_allocate_workspace(uint16_t width, uint16_t height);

} // namespace filter_processor
