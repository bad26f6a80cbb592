#pragma once

#include <cstdint>
#include <vector>

#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// The outline of a valid area with rounded corners, in pixels.
struct ChamferShape {
  uint32_t left, right; ///< widths of the chamfers; `right` 0 stands for `left`
  uint32_t margin;      ///< what is added to the chamfers everywhere
  uint32_t radius;      ///< of the arc; 0 stands for half the frame's longer side
};

/// How many pixels to clear at the left and right end of each row of a frame: most in the first
/// row, towards row height / 2 less, along a circular arc, and then more again. Rows as far above
/// that row as below it have the same; the first has no counterpart.
class ChamferTable {
 public:
  bool is_for(FrameSize size) const { return size == size_; }

  /// Replaces the table; `size` is at least 1 x 1. Without memory throws std::bad_alloc and leaves
  /// a table for no size.
  void build(FrameSize size, const ChamferShape& shape);

  /// Two entries for each row: left, right. Longer runs keep their low 16 bits.
  const uint16_t* entries() const { return entries_.data(); }

 private:
  FrameSize size_; ///< 0 x 0 without a table
  std::vector<uint16_t> entries_;
};

} // namespace filter_processor
