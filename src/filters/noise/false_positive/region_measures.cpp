#include "filters/noise/false_positive/region_measures.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "filters/noise/false_positive/row_bits.h"

namespace filter_processor {

RegionExtent measure_extent(const RunMap& map, const Region& region) {
  RegionExtent extent;
  extent.pixels = map.sizes[region.root];
  extent.x_min = map.width - 1;
  extent.y_min = region.top();
  extent.y_max = region.bottom();
  for (const RegionRun& run : region.runs) {
    extent.x_min = std::min<uint32_t>(extent.x_min, run.first);
    extent.x_max = std::max<uint32_t>(extent.x_max, run.last);
  }
  return extent;
}

RegionDepths measure_depths(const uint16_t* image, const RunMap& map, const Region& region) {
  RegionDepths depths;
  uint64_t sum = 0;
  for (const RegionRun& run : region.runs) {
    const uint16_t* row = image + size_t{run.y} * map.width;
    for (uint32_t x = run.first; x <= run.last; ++x) {
      const uint32_t depth = row[x];
      sum += depth;
      depths.lowest = std::min(depths.lowest, depth);
      depths.highest = std::max(depths.highest, depth);
    }
  }
  depths.mean = static_cast<uint32_t>(sum / map.sizes[region.root]);
  return depths;
}

namespace {

/// Counts the events that pixels of one region see.
class EventCounter {
 public:
  EventCounter(const uint16_t* image, const RunMap& map, const JoinRule& rule,
               uint16_t invalid_depth, uint32_t root)
      : image_(image), map_(map), rule_(rule), invalid_depth_(invalid_depth), root_(root) {}

  /// Runs in row-major order. Pixels that join each other are of one region and no events: those
  /// within a run, and most of those above and below.
  void add_run(const RegionRun& run) {
    const uint32_t y = run.y;
    const uint32_t first = run.first;
    const uint32_t last = run.last;
    if (last + 1 < map_.width)
      meet(last, y, last + 1, y);
    if (first > 0)
      meet(first, y, first - 1, y);
    constexpr uint64_t all = ~uint64_t{0};
    for (uint32_t word = first / bits; word <= last / bits; ++word) {
      if (y != y_ || word != word_)
        finish_word();
      y_ = y;
      word_ = word;
      const uint32_t x = word * bits;
      pixels_ |= (x < first ? all << (first - x) : all) &
                 (last - x < bits ? all >> (bits - 1 - (last - x)) : all);
    }
  }

  /// Meets what lies below and above the pixels gathered in a word, and begins another: there are
  /// many short runs where there are many events.
  void finish_word() {
    if (y_ + 1 < map_.height)
      for_each(pixels_ & ~map_.up_of(y_ + 1)[word_], [&](uint32_t x) { meet_below(x, y_); });
    if (y_ > 0)
      for_each(pixels_ & ~map_.up_of(y_)[word_], [&](uint32_t x) {
        if (meet(x, y_, x, y_ - 1))
          events_.invalid_above += static_cast<unsigned>(depth(x, y_ - 1) == invalid_depth_);
      });
    pixels_ = 0;
  }

  const RegionEvents& events() const { return events_; }

 private:
  static constexpr uint32_t bits = row_bits_per_word;

  template <typename Visit>
  void for_each(uint64_t pixels, Visit visit) const {
    for (; pixels != 0; pixels &= pixels - 1)
      visit(word_ * bits + static_cast<uint32_t>(std::countr_zero(pixels)));
  }

  uint16_t depth(uint32_t x, uint32_t y) const { return image_[size_t{y} * map_.width + x]; }

  /// Whether a neighbour is an event. One that is close enough but of another region is: growth may
  /// be possible in one direction only.
  bool meet(uint32_t x, uint32_t y, uint32_t other_x, uint32_t other_y) {
    const uint16_t here = depth(x, y);
    const uint16_t other = depth(other_x, other_y);
    const bool invalid = other == invalid_depth_;
    const bool event =
        invalid || std::abs(here - other) > rule_.threshold(here) || !belongs(other_x, other_y);
    events_.invalid += static_cast<unsigned>(invalid);
    events_.all += static_cast<unsigned>(event);
    return event;
  }

  void meet_below(uint32_t x, uint32_t y) {
    if (!meet(x, y, x, y + 1))
      return;
    const int threshold = rule_.threshold(depth(x, y));
    const int rise = depth(x, y + 1) - depth(x, y);
    const bool invalid = depth(x, y + 1) == invalid_depth_;
    ++events_.below;
    events_.strong_below +=
        static_cast<unsigned>(invalid || rise > threshold || -rise > 3 * threshold);
  }

  /// Whether a pixel is in the region, if it is in any.
  bool belongs(uint32_t x, uint32_t y) const {
    const uint16_t* begin = map_.first + map_.row_runs[y];
    const uint16_t* end = map_.first + map_.row_runs[y + 1];
    const auto run = std::upper_bound(begin, end, x) - map_.first - 1;
    return map_.root[run] == root_;
  }

  const uint16_t* image_;
  const RunMap& map_;
  const JoinRule& rule_;
  uint16_t invalid_depth_;
  uint32_t root_;
  RegionEvents events_;
  uint32_t y_ = 0;
  uint32_t word_ = 0;
  uint64_t pixels_ = 0;
};

} // namespace

RegionEvents count_events(const uint16_t* image, const RunMap& map, const Region& region,
                          const JoinRule& rule, uint16_t invalid_depth) {
  EventCounter counter(image, map, rule, invalid_depth, region.root);
  for (const RegionRun& run : region.runs)
    counter.add_run(run);
  counter.finish_word();
  return counter.events();
}

namespace {

JoinBounds bound_joins_by_rows(const uint16_t* image, const RunMap& map, const Region& region,
                               uint64_t* bits) {
  const RegionKernels& kernels = simd::kernels<RegionKernels>();
  const auto is_own = [&](uint32_t other) { return other == region.root; };
  JoinBounds bounds;
  for (uint32_t y = region.top(); y <= region.bottom(); ++y) {
    set_row_bits(map, y, is_own, bits);
    kernels.bound_row_joins(image + size_t{y} * map.width, map.width, bits, map.up_of(y), bounds);
  }
  return bounds;
}

} // namespace

JoinBounds bound_joins(const uint16_t* image, const RunMap& map, const Region& region,
                       uint64_t* bits) {
  if (fills_rows(map, region))
    return bound_joins_by_rows(image, map, region, bits);
  return simd::kernels<RegionKernels>().bound_run_joins(image, map, region.runs.data(),
                                                        region.runs.size());
}

} // namespace filter_processor
