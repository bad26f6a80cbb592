#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "filters/noise/false_positive/pattern.h"
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

/// What the detection stage needs besides the image; its contents mean nothing between two frames,
/// but for the cells, which are 0.
struct FalsePositiveWorkspace {
  std::unique_ptr<uint16_t[]> turned_image;
  std::unique_ptr<uint16_t[]> run_columns;
  std::unique_ptr<uint32_t[]> row_runs;
  std::unique_ptr<uint32_t[]> run_roots;
  std::unique_ptr<uint32_t[]> region_sizes;
  std::unique_ptr<uint8_t[]> finding_rows;
  /// Two edges for each pixel; and once these have been followed, growth and the regions' runs.
  std::unique_ptr<uint8_t[]> edges;
  std::unique_ptr<uint16_t[]> member_cells;
  std::unique_ptr<uint64_t[]> bits;
  std::unique_ptr<uint32_t[]> outlines;
  std::vector<Region> regions; ///< that are judged; keeps its capacity from frame to frame
  size_t pixels = 0;
  FalsePositiveTimes times;

  // The memory as the parts of the stage take it, for an image of `width` x `height` pixels, which
  // the workspace must have been made for.
  RunMap run_map(uint32_t width, uint32_t height) const;
  RunScratch run_scratch() const;
  uint64_t* removed_bits() const;
  JudgementScratch judgement_scratch(uint32_t width) const;
  SupportScratch support_scratch(const RunMap& map) const;
};

/// A workspace for images of either size, turned or not; sizes are in pixels. Null, and a line on
/// the standard error stream, when there is not enough memory or an image has more than
/// RunMap::max_pixels.
std::unique_ptr<FalsePositiveWorkspace> make_false_positive_workspace(uint16_t width,
                                                                      uint16_t height,
                                                                      uint16_t other_width,
                                                                      uint16_t other_height);

/// Whether the memory could be had that hosts know a record of this size to take: five buffers of
/// 4, 4, 6, 2 and 4 bytes for each pixel. For sizes beyond RunMap::max_pixels, which get no
/// workspace but have to be refused all the same where memory is short. Keeps and touches none of
/// it. False is reported as above.
bool could_allocate_workspace(uint16_t width, uint16_t height);

} // namespace filter_processor
