#pragma once

#include "filters/noise/speckle/rules-inl.h"
#include "filters/noise/speckle/workspace-inl.h"

// Three rows of samples at a time, and the bits that say where regions spread among them.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

/// Where two rows or two columns of samples meet: bits of the pairs that may expand to each other
/// and of those where only one may expand to the other.
struct Joins {
  uint64_t mutual, there, back;
};

/// What counts as a join: steps allowed both ways, or in either.
enum class Ways { both, either };

class Rows {
 public:
  Rows(const Frame& frame, const Rules& rules, const Workspace& workspace)
      : above(workspace.rows[0]), current(workspace.rows[1]), below(workspace.rows[2]),
        frame_(frame), grid_(frame.grid), rules_(rules) {
    read_no_row();
  }

  /// Makes row `y` of the grid the one below, or the end where it has no such row.
  void advance_to(uint32_t y) {
    const Row recycled = above;
    above = current;
    current = below;
    below = recycled;
    if (y < grid_.rows)
      read_row(y);
    else
      read_no_row();
  }

  /// Fills the bits of the row below that say what joins in it and with the current row.
  void join(Ways ways) {
    join_row(ways);
    join_rows(ways);
  }

  /// Makes each sample of the current row, which is row `y`, invalid that is a region: without any
  /// step to or from a neighbour.
  void remove_single_pixels(uint32_t y) {
    Pixel* const row = frame_.row(y) + grid_.step - 1;
    uint64_t enters = 0;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const uint64_t right = current.joined[word] | current.forward[word] | current.backward[word];
      const uint64_t vertical = current.up[word] | current.from_above[word] |
                                current.to_above[word] | below.up[word] | below.from_above[word] |
                                below.to_above[word];
      const uint64_t stepped = right | right << 1 | enters | vertical;
      enters = right >> (word_bits - 1);
      remove(row, word, current.valid[word] & ~stepped);
      current.valid[word] &= stepped;
    }
  }

  /// Makes the samples of these bits of row `y`, which need not be at hand, invalid.
  void remove(uint32_t y, const uint64_t* removed) const {
    Pixel* const row = frame_.row(y) + grid_.step - 1;
    for (size_t word = 0; word < grid_.words(); ++word)
      remove(row, word, removed[word]);
  }

  Row above, current, below;

 private:
  void remove(Pixel* row, size_t word, uint64_t removed) const {
    Pixel* const samples = row + word * word_bits * grid_.step;
    for_each_bit(removed,
                 [&](unsigned bit) { samples[size_t{bit} * grid_.step] = rules_.invalid; });
  }

  /// A row before the first or after the last, in which nothing is valid.
  void read_no_row() {
    for (size_t word = 0; word < grid_.words(); ++word)
      below.valid[word] = 0;
  }

  /// Fills the pixels, thresholds and `valid` of the row below.
  void read_row(uint32_t y) {
    using V = simd::Lanes<Pixel>;
    Row& row = below;
    gather(frame_.row(y), row.depth);
    for (size_t word = 0; word < grid_.words(); ++word) {
      uint64_t invalid = 0;
      for (unsigned bit = 0; bit < word_bits; bit += simd::lane_count<V>) {
        const size_t x = word * word_bits + bit;
        const V depth = simd::load<V>(row.depth + x);
        simd::store(row.threshold + x, rules_.thresholds(depth));
        invalid |= simd::lane_bits(rules_.are_invalid(depth)) << bit;
      }
      row.valid[word] = ~invalid;
    }
    const uint64_t columns = (uint64_t{1} << (grid_.columns % word_bits)) - 1;
    row.valid[grid_.words() - 1] &= columns;
  }

  void gather(const Pixel* from, Pixel* to) const {
    if (grid_.step == 1)
      __builtin_memcpy(to, from, grid_.columns * sizeof(Pixel));
    else
      for (size_t x = 0; x < grid_.columns; ++x)
        to[x] = from[2 * x + 1];
  }

  void join_row(Ways ways) {
    Row& row = below;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const uint64_t next = word + 1 < grid_.words() ? row.valid[word + 1] : 0;
      const uint64_t pairs = row.valid[word] & (row.valid[word] >> 1 | next << (word_bits - 1));
      const Joins steps = joins(row, row, word, 1, pairs, ways);
      row.joined[word] = steps.mutual;
      row.forward[word] = steps.there;
      row.backward[word] = steps.back;
    }
  }

  void join_rows(Ways ways) {
    for (size_t word = 0; word < grid_.words(); ++word) {
      const uint64_t pairs = current.valid[word] & below.valid[word];
      const Joins steps = joins(current, below, word, 0, pairs, ways);
      below.up[word] = steps.mutual;
      below.from_above[word] = steps.there;
      below.to_above[word] = steps.back;
    }
  }

  /// The joins of 64 pixels of `row`, of which `pairs` count, with those `offset` columns further
  /// on in row `next`.
  [[gnu::always_inline]] Joins joins(const Row& row, const Row& next, size_t word, size_t offset,
                                     uint64_t pairs, Ways ways) const {
    using V = simd::Lanes<Pixel>;
    uint64_t all_there = 0;
    uint64_t all_back = 0;
    constexpr size_t count = simd::lane_count<V>;
    for (size_t bit = 0; bit < word_bits; bit += 2 * count) {
      V there[2];
      V back[2];
      for (size_t i = 0; i < 2; ++i) {
        const size_t x = word * word_bits + bit + i * count;
        const V step =
            difference(simd::load<V>(row.depth + x), simd::load<V>(next.depth + x + offset));
        there[i] = rules_.may_expand(step, simd::load<V>(row.threshold + x));
        back[i] = rules_.may_expand(step, simd::load<V>(next.threshold + x + offset));
      }
      all_there |= simd::lane_bits(there[0], there[1]) << bit;
      all_back |= simd::lane_bits(back[0], back[1]) << bit;
    }
    if (ways == Ways::either)
      return {(all_there | all_back) & pairs, 0, 0};
    return {all_there & all_back & pairs, all_there & ~all_back & pairs,
            all_back & ~all_there & pairs};
  }

  Frame frame_;
  Grid grid_;
  Rules rules_;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
