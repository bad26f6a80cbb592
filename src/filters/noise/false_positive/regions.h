#pragma once

#include <cstdint>
#include <vector>

#include "filters/noise/false_positive/config.h"
#include "filters/noise/false_positive/growth.h"
#include "filters/noise/false_positive/members.h"
#include "filters/noise/false_positive/region_kernels.h"
#include "filters/noise/false_positive/runs.h"
#include "filters/noise/false_positive/small_regions.h"

namespace filter_processor {

/// Splits the image into regions of similar depth, filling `map`. Returns the number of pairs of
/// neighbours of which only one lets the other join.
uint64_t find_regions(const uint16_t* image, const FalsePositiveConfig& config,
                      const RunScratch& scratch, const RunMap& map);

/// The sizes of the regions that any test can have something against.
class JudgedSizes {
 public:
  explicit JudgedSizes(const FalsePositiveConfig& config);

  bool any() const { return end_ > 0; }
  bool contain(uint32_t pixels) const { return pixels > small_ && pixels < end_; }
  /// Whether regions of that size can fail tests other than that for flat bleeds.
  bool ask_more_of(uint32_t pixels) const { return pixels < asking_end_; }

 private:
  uint32_t small_;
  uint32_t asking_end_;
  uint32_t end_;
};

/// Memory for regions and for judging them.
struct JudgementScratch {
  RegionRun* runs;           ///< one for each pixel
  uint32_t* ends;            ///< one for each run of the map; only for listing regions
  GrowthPlace* growth_stack; ///< room for all pixels
  uint16_t* member_cells;    ///< MemberCells::count(), all 0
  uint64_t* row_bits;        ///< for those of a row
};

/// Lists the regions of judged sizes in the order in which they begin. May throw std::bad_alloc as
/// `regions` grows.
void list_regions(const RunMap& map, const JudgedSizes& sizes, const JudgementScratch& scratch,
                  std::vector<Region>& regions);

/// Removes small regions and judges the larger ones, `regions`, in the order in which they begin:
/// each sees the image without the small regions' pixels up to that place. `one_way_pairs` is that
/// of find_regions.
void judge_regions(const uint16_t* image, const RunMap& map, const FalsePositiveConfig& config,
                   const JudgementScratch& scratch, uint64_t one_way_pairs, SmallRegions& small,
                   std::vector<Region>& regions);

/// Sets the pixels of the marked regions to 0.
void clear_marked(uint16_t* image, const RunMap& map, const std::vector<Region>& regions);

} // namespace filter_processor
