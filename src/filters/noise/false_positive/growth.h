#pragma once

#include <cstddef>
#include <cstdint>

#include "filters/noise/false_positive/join_rule.h"
#include "filters/noise/false_positive/members.h"

namespace filter_processor {

/// What depends on which pixel of a region joined which.
struct JoinFigures {
  uint64_t differences = 0; ///< sum of depth differences between joined and joining pixel
  uint64_t horizontal = 0;  ///< horizontal joins
  uint64_t equal = 0;       ///< those of equal depth
};

/// A pixel whose neighbours have yet to be met: the index of its cell, and in the low 16 bits its
/// depth.
using GrowthPlace = uint64_t;

/// Grows a region from its first pixel, depth first in a fixed order, over its pixels as they are
/// known already.
class Growth {
 public:
  /// What it works on, which all regions share.
  struct Ground {
    const RunMap& map;
    const MemberCells& cells; ///< all 0
    const JoinRule& rule;
    uint16_t invalid_depth;
    GrowthPlace* stack; ///< room for all pixels
    /// Whether there are joins in one direction only: without them a region joins no pixel but its
    /// own anyway.
    bool has_one_way_joins;
  };

  Growth(const Ground& ground, const Region& region);

  /// Meets the neighbours of up to `count` more pixels. False: there was none left.
  bool grow(uint64_t count);

  const JoinFigures& figures() const { return figures_; }
  /// Pixels that have joined, the first one included.
  uint64_t joined() const { return joined_; }

  /// Must be called in the end: makes the cells 0 again.
  void clear();

 private:
  void fill_rows_around(ptrdiff_t cell);

  const Ground& ground_;
  const Region& region_;
  bool fills_whole_rows_;
  uint32_t unfilled_row_;
  size_t filled_runs_ = 0;
  ptrdiff_t filled_end_ = 0; ///< neighbours of cells before this one are filled
  GrowthPlace* top_;
  JoinFigures figures_;
  uint64_t joined_ = 1;
};

} // namespace filter_processor
