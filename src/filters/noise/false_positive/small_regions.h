#pragma once

#include <cstdint>

#include "filters/noise/false_positive/config.h"
#include "filters/noise/false_positive/region_kernels.h"
#include "filters/noise/false_positive/runs.h"

namespace filter_processor {

/// Takes the pixels of small regions out of the image, row by row.
class SmallRegions {
 public:
  /// `bits` has room for those of a row.
  SmallRegions(uint16_t* image, const RunMap& map, const FalsePositiveConfig& config,
               uint64_t* bits);

  /// Goes on to row `y`, of which nothing has been removed.
  void begin_row(uint32_t y);
  /// Removes what is left before column `x` of the row.
  void remove_before(uint32_t x);
  /// Removes what is left of the row.
  void end_row();

  /// All of this for all rows.
  void remove_all();

 private:
  uint16_t* image_;
  const RunMap& map_;
  uint16_t invalid_depth_;
  uint16_t small_size_;
  uint64_t* bits_;
  uint16_t* row_ = nullptr;
  size_t first_word_ = 0; ///< nothing is left in the words of bits before it
  bool any_left_ = false;
  const RegionKernels& kernels_;
};

} // namespace filter_processor
