#pragma once

#include "filters/noise/speckle/rules-inl.h"
#include "filters/noise/speckle/workspace-inl.h"

// Three rows of samples at a time, and the bits that say where regions spread among them.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

template <typename Visit>
[[gnu::always_inline]] inline void for_each_bit(uint64_t bits, Visit visit) {
  for (; bits != 0; bits &= bits - 1)
    visit(static_cast<unsigned>(__builtin_ctzll(bits)));
}

/// Where two rows or two columns of samples meet: bits of the pairs that may expand to each other
/// and of those where only one may expand to the other.
struct Joins {
  uint64_t mutual, one_way;
};

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
  void join() {
    join_row();
    join_rows();
  }

  /// Makes each sample of the current row, which is row `y`, invalid that is a region: without any
  /// step to or from a neighbour.
  void remove_single_pixels(uint32_t y) {
    Pixel* const row = frame_.row(y) + grid_.step - 1;
    uint64_t enters = 0;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const uint64_t right = current.joined[word] | current.one_way[word];
      const uint64_t vertical =
          current.up[word] | current.up_one_way[word] | below.up[word] | below.up_one_way[word];
      const uint64_t stepped = right | right << 1 | enters | vertical;
      enters = right >> (word_bits - 1);
      Pixel* const samples = row + word * word_bits * grid_.step;
      for_each_bit(current.valid[word] & ~stepped,
                   [&](unsigned bit) { samples[size_t{bit} * grid_.step] = rules_.invalid; });
      current.valid[word] &= stepped;
    }
  }

  Row above, current, below;

 private:
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

  void join_row() {
    Row& row = below;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const Joins steps = joins(row, row, word, 1);
      const uint64_t next = word + 1 < grid_.words() ? row.valid[word + 1] : 0;
      const uint64_t pairs = row.valid[word] & (row.valid[word] >> 1 | next << (word_bits - 1));
      row.joined[word] = steps.mutual & pairs;
      row.one_way[word] = steps.one_way & pairs;
    }
  }

  void join_rows() {
    for (size_t word = 0; word < grid_.words(); ++word) {
      const Joins steps = joins(current, below, word, 0);
      const uint64_t pairs = current.valid[word] & below.valid[word];
      below.up[word] = steps.mutual & pairs;
      below.up_one_way[word] = steps.one_way & pairs;
    }
  }

  /// The joins of 64 pixels of `row`, as if all were valid, with those `offset` columns further on
  /// in row `next`.
  [[gnu::always_inline]] Joins joins(const Row& row, const Row& next, size_t word,
                                     size_t offset) const {
    using V = simd::Lanes<Pixel>;
    Joins result{0, 0};
    for (unsigned bit = 0; bit < word_bits; bit += simd::lane_count<V>) {
      const size_t x = word * word_bits + bit;
      const V step =
          difference(simd::load<V>(row.depth + x), simd::load<V>(next.depth + x + offset));
      const V there = rules_.may_expand(step, simd::load<V>(row.threshold + x));
      const V back = rules_.may_expand(step, simd::load<V>(next.threshold + x + offset));
      result.mutual |= simd::lane_bits(static_cast<V>(there & back)) << bit;
      result.one_way |= simd::lane_bits(static_cast<V>(there ^ back)) << bit;
    }
    return result;
  }

  Frame frame_;
  Grid grid_;
  Rules rules_;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
