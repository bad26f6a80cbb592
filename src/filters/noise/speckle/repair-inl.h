#pragma once

#include "filters/noise/speckle/rules-inl.h"
#include "filters/noise/speckle/workspace-inl.h"

// What becomes of the frame's pixels once their samples' fate is known.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

class Repair {
 public:
  Repair(const Frame& frame, const Rules& rules, const Workspace& workspace)
      : frame_(frame), rules_(rules), removed_(workspace.removed) {}

  /// `for_removed(visit)` calls `visit` for the columns in which row `y` loses its samples.
  template <typename ForRemoved>
  [[gnu::always_inline]] void remove(uint32_t y, ForRemoved for_removed) const {
    Pixel* row = frame_.row(y);
    if (frame_.grid.step == 1)
      return for_removed([&](size_t x) { row[x] = rules_.invalid; });
    for (uint32_t x = 0; x < frame_.grid.columns; ++x)
      removed_[x] = 0;
    for_removed([&](size_t x) { removed_[x] = ~uint32_t{0}; });
    repair_blocks(row);
  }

  /// The same, for a fate that is told of each column without a branch.
  template <typename IsRemoved>
  [[gnu::always_inline]] void remove_where(uint32_t y, IsRemoved is_removed) const {
    Pixel* row = frame_.row(y);
    if (frame_.grid.step == 1) {
      for (size_t x = 0; x < frame_.grid.columns; ++x)
        row[x] = is_removed(x) ? rules_.invalid : row[x];
      return;
    }
    for (size_t x = 0; x < frame_.grid.columns; ++x)
      removed_[x] = is_removed(x) ? ~uint32_t{0} : 0;
    repair_blocks(row);
  }

 private:
  /// Works on the blocks whose lower row is `lower`, once it is known which of them are removed.
  void repair_blocks(Pixel* lower) const {
    const size_t rest = repair_row<simd::vector_bytes>(lower - frame_.width, lower, 0);
    repair_row<sizeof(uint32_t)>(lower - frame_.width, lower, rest);
  }

  /// Works on the blocks from column `x` of the grid on, as long as they fill vectors of `Bytes`.
  /// Returns the first one left over.
  template <size_t Bytes>
  size_t repair_row(Pixel* upper, Pixel* lower, size_t x) const {
    using Pixels = simd::Lanes<Pixel, Bytes>;
    using Pairs = simd::Lanes<uint32_t, Bytes>; // the two pixels of a block in one row
    for (; x + simd::lane_count<Pairs> <= frame_.grid.columns; x += simd::lane_count<Pairs>) {
      const auto samples = (Pixels)right_pixels(simd::load<Pairs>(lower + 2 * x));
      const auto removed = (Pixels)simd::load<Pairs>(removed_ + x);
      const Pixels invalid = static_cast<Pixels>(removed | rules_.are_invalid(samples));
      const Pixels threshold = rules_.thresholds(samples);
      Pixel* const rows[] = {upper, lower};
      for (Pixel* row : rows) {
        const Pixels own = simd::load<Pixels>(row + 2 * x);
        simd::store(row + 2 * x, repaired(own, samples, threshold, invalid));
      }
    }
    return x;
  }

  /// Each pair's second pixel, in its upper half on every processor that is built for, in both
  /// places.
  template <typename Pairs>
  [[gnu::always_inline]] static Pairs right_pixels(Pairs pairs) {
    return (pairs & 0xffff0000) | pairs >> 16;
  }

  /// Half a block: pixels to which their sample, which has that threshold, may not expand take its
  /// value.
  template <typename V>
  [[gnu::always_inline]] V repaired(V own, V sample, V threshold, V invalid) const {
    const V keeps = rules_.may_expand(difference(own, sample), threshold);
    const V valid = keeps != 0 ? own : sample;
    return invalid != 0 ? simd::broadcast<V>(rules_.invalid) : valid;
  }

  Frame frame_;
  Rules rules_;
  uint32_t* removed_;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
