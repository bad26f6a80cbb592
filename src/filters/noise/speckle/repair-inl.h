#pragma once

#include "filters/noise/speckle/rules-inl.h"
#include "filters/noise/speckle/workspace-inl.h"

// What becomes of the frame's pixels once their samples' fate is known.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

class Repair {
 public:
  Repair(const Frame& frame, const Rules& rules) : frame_(frame), rules_(rules) {}

  /// Removes the samples of row `y` of the bits `removed`, of which there are `any` or none.
  void remove(uint32_t y, const uint64_t* removed, bool any) const {
    Pixel* row = frame_.row(y);
    if (frame_.grid.step == 2)
      repair_blocks(row, removed);
    else if (any)
      clear(row, removed);
  }

 private:
  void clear(Pixel* row, const uint64_t* removed) const {
    using V = simd::Lanes<Pixel>;
    const V invalid = simd::broadcast<V>(rules_.invalid);
    const size_t whole_words = frame_.grid.columns / word_bits;
    for (size_t word = 0; word < whole_words; ++word) {
      if (removed[word] == 0)
        continue;
      for (unsigned bit = 0; bit < word_bits; bit += simd::lane_count<V>) {
        Pixel* const pixels = row + word * word_bits + bit;
        const V own = simd::load<V>(pixels);
        simd::store(pixels, simd::lanes_of_bits<V>(removed[word] >> bit) != 0 ? invalid : own);
      }
    }
    for_each_bit(removed[whole_words],
                 [&](unsigned bit) { row[whole_words * word_bits + bit] = rules_.invalid; });
  }

  /// Works on the blocks whose lower row is `lower`.
  void repair_blocks(Pixel* lower, const uint64_t* removed) const {
    const size_t rest = repair_row<simd::vector_bytes>(lower - frame_.width, lower, removed, 0);
    repair_row<sizeof(uint32_t)>(lower - frame_.width, lower, removed, rest);
  }

  /// Works on the blocks from column `x` of the grid on, as long as they fill vectors of `Bytes`.
  /// Returns the first one left over.
  template <size_t Bytes>
  size_t repair_row(Pixel* upper, Pixel* lower, const uint64_t* removed, size_t x) const {
    using Pixels = simd::Lanes<Pixel, Bytes>;
    using Pairs = simd::Lanes<uint32_t, Bytes>; // the two pixels of a block in one row
    for (; x + simd::lane_count<Pairs> <= frame_.grid.columns; x += simd::lane_count<Pairs>) {
      const auto samples = (Pixels)right_pixels(simd::load<Pairs>(lower + 2 * x));
      const auto gone = (Pixels)simd::lanes_of_bits<Pairs>(removed[x / word_bits] >> x % word_bits);
      const Pixels invalid = static_cast<Pixels>(gone | rules_.are_invalid(samples));
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
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
