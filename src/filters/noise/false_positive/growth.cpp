#include "filters/noise/false_positive/growth.h"

#include <cstdlib>

namespace filter_processor {
namespace {

constexpr int depth_bits = 16;

constexpr GrowthPlace place(ptrdiff_t cell, uint16_t depth) {
  return static_cast<GrowthPlace>(cell) << depth_bits | depth;
}

} // namespace

Growth::Growth(const Ground& ground, const Region& region)
    : ground_(ground), region_(region),
      fills_whole_rows_(!ground.has_one_way_joins && fills_rows(ground.map, region)),
      unfilled_row_(region.top()), top_(ground.stack) {
  const RegionRun& root = region.runs.front();
  const ptrdiff_t cell = ground.cells.stride() * static_cast<ptrdiff_t>(root.y) + root.first;
  fill_rows_around(cell);
  uint16_t& seed = ground.cells.row(0)[cell];
  *top_++ = place(cell, static_cast<uint16_t>(seed + ground.invalid_depth));
  seed = 0;
}

bool Growth::grow(uint64_t count) {
  uint16_t* const cells = ground_.cells.row(0);
  const GrowthPlace* const bottom = ground_.stack;
  const ptrdiff_t down = ground_.cells.stride();
  const JoinRule& rule = ground_.rule;
  const uint16_t invalid_depth = ground_.invalid_depth;
  GrowthPlace* top = top_;
  JoinFigures figures = figures_;
  uint64_t joined = joined_;
  for (; count > 0 && top != bottom; --count) {
    const GrowthPlace here = *--top;
    const auto cell = static_cast<ptrdiff_t>(here >> depth_bits);
    const auto depth = static_cast<uint16_t>(here);
    const int threshold = rule.threshold(depth);
    if (cell >= filled_end_)
      fill_rows_around(cell);
    // Branches, not masks: on a surface they are foreseen, and the next pixel need not wait for the
    // stack. What has joined has an empty cell, and so has what is no pixel of the region, unless
    // whole rows are filled: then there are no one-way joins, and no other region lets a pixel
    // join.
    const auto meet = [&](ptrdiff_t neighbour, bool horizontal) {
      if (cells[neighbour] == 0)
        return;
      const auto other = static_cast<uint16_t>(cells[neighbour] + invalid_depth);
      const int difference = std::abs(depth - other);
      if (difference > threshold)
        return;
      cells[neighbour] = 0;
      *top++ = place(neighbour, other);
      ++joined;
      figures.differences += static_cast<uint32_t>(difference);
      figures.horizontal += static_cast<uint32_t>(horizontal);
      figures.equal += static_cast<uint32_t>(horizontal && difference == 0);
    };
    meet(cell + down, false);
    meet(cell - down, false);
    meet(cell + 1, true);
    meet(cell - 1, true);
  }
  top_ = top;
  figures_ = figures;
  joined_ = joined;
  return top != bottom;
}

/// A region begins in its uppermost row, and growth moves on by single rows.
void Growth::fill_rows_around(ptrdiff_t cell) {
  const auto y = static_cast<uint32_t>(cell / ground_.cells.stride());
  const RunMap& map = ground_.map;
  if (fills_whole_rows_)
    for (; unfilled_row_ <= y + 1 && unfilled_row_ < map.height; ++unfilled_row_)
      ground_.cells.fill(ground_.cells.whole_row(unfilled_row_));
  else
    for (; filled_runs_ < region_.runs.size() && region_.runs[filled_runs_].y <= y + 1;
         ++filled_runs_)
      ground_.cells.fill(region_.runs[filled_runs_]);
  filled_end_ = ground_.cells.stride() * static_cast<ptrdiff_t>(y + 1);
}

void Growth::clear() {
  if (fills_whole_rows_)
    for (uint32_t y = region_.top(); y < unfilled_row_; ++y)
      ground_.cells.clear(ground_.cells.whole_row(y));
  else if (top_ != ground_.stack) // all have joined otherwise
    for (const RegionRun& run : region_.runs.first(filled_runs_))
      ground_.cells.clear(run);
}

} // namespace filter_processor
