#pragma once

#include "filters/noise/false_positive/region_kernels.h"
#include "simd/lanes-inl.h"

// Rows of pixels, three at a time, and the bits that say what joins in them.
namespace filter_processor::false_positive {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

using Pixel = uint16_t;
using PixelLanes = simd::Lanes<Pixel>;

inline constexpr uint32_t word_bits = row_bits_per_word;

using simd::for_each_bit;

/// Of two neighbours, in row-major order, only one lets the other join.
template <typename Bits>
struct OneWay {
  Bits onward; ///< the first one lets the second join
  Bits back;   ///< the second one lets the first join
};

/// Pixels of a row, each with its threshold, and bits for them. Beyond the last column the pixels
/// are of no account; the bits are 0.
struct Row {
  static constexpr uint32_t mixed = 0xffffffff;

  const Pixel* depth;
  Pixel* depth_copy; ///< for the last rows, beyond which the image cannot be read
  Pixel* threshold;
  uint32_t* common; ///< for each word the threshold of all its pixels, or `mixed`
  uint64_t* valid;
  uint64_t* joined;         ///< to the next pixel, each way
  OneWay<uint64_t*> across; ///< to the next pixel, one way only
  uint64_t* up;             ///< to the pixel above, each way: in the run map
  OneWay<uint64_t*> down;   ///< from the pixel above, one way only
  uint64_t* starts;         ///< of runs
  uint64_t*
      continued; ///< starts of runs known to be of one region with the pixel two columns before
  uint32_t* starts_below; ///< number of starts in lower words
  uint32_t first_run;
  bool has_one_way;

  /// The run that holds the valid pixel of column `x`.
  [[gnu::always_inline]] uint32_t run_at(size_t x) const {
    const size_t word = x / word_bits;
    const uint64_t up_to = ~uint64_t{0} >> (word_bits - 1 - x % word_bits);
    const int count = __builtin_popcountll(starts[word] & up_to);
    return first_run + starts_below[word] + static_cast<uint32_t>(count) - 1;
  }
};

/// Cuts memory into arrays. Without memory it only counts the bytes.
class Arena {
 public:
  explicit Arena(uint8_t* memory) : memory_(memory) {}

  template <typename T>
  T* take(size_t count) {
    uint8_t* array = memory_ == nullptr ? nullptr : memory_ + used_;
    used_ += (count * sizeof(T) + 63) / 64 * 64;
    return reinterpret_cast<T*>(array);
  }

  Row take_row(uint32_t width) {
    const size_t words = row_bit_words(width);
    const auto pixels = [&] { return take<Pixel>((words + 1) * word_bits); };
    const auto bits = [&] { return take<uint64_t>(words); };
    return {.depth = nullptr,
            .depth_copy = pixels(),
            .threshold = pixels(),
            .common = take<uint32_t>(words + 1),
            .valid = bits(),
            .joined = bits(),
            .across = {bits(), bits()},
            .up = nullptr,
            .down = {bits(), bits()},
            .starts = bits(),
            .continued = bits(),
            .starts_below = take<uint32_t>(words),
            .first_run = 0,
            .has_one_way = false};
  }

  size_t used() const { return used_; }

 private:
  uint8_t* memory_;
  size_t used_ = 0;
};

/// Bit i tells of lane i of those that `lanes_at(i)` gives from `i` on, 0 to 63.
template <typename LanesAt>
[[gnu::always_inline]] inline uint64_t word_of(LanesAt lanes_at) {
  constexpr unsigned count = simd::lane_count<PixelLanes>;
  uint64_t bits = 0;
  for (unsigned bit = 0; bit < word_bits; bit += 2 * count)
    bits |= simd::lane_bits(lanes_at(bit), lanes_at(bit + count)) << bit;
  return bits;
}

/// The thresholds of depths. Most words of a row lie within one bin, or two neighbouring ones:
/// those last met are tried first.
class ThresholdLookup {
 public:
  explicit ThresholdLookup(const JoinThresholds& table) : table_(table) {
    Pixel threshold = table.first;
    for (uint32_t i = 0; i <= table.steps; ++i) {
      const Pixel fall = i > 0 ? table.rise[i - 1] : Pixel{0};
      threshold = static_cast<Pixel>(threshold + fall);
      bins_[i] = {.threshold = threshold,
                  .fall = fall,
                  .rise = i < table.steps ? table.rise[i] : Pixel{0},
                  .lowest = start_of(i),
                  .highest = end_of(i),
                  .lowest_of_three = start_of(i > 0 ? i - 1 : 0),
                  .highest_of_three = end_of(i + 1)};
    }
  }

  ThresholdLookup(const ThresholdLookup&) = delete;
  ThresholdLookup& operator=(const ThresholdLookup&) = delete;

  /// Writes the thresholds of 64 pixels, and the one that they have in common, or `mixed`; those of
  /// invalid ones mean nothing. Returns the bits of the valid ones.
  [[gnu::always_inline]] uint64_t read_word(const Pixel* depth, Pixel* threshold,
                                            uint32_t& common) {
    using V = PixelLanes;
    const Bin bin = *bin_;
    V beyond{};
    const uint64_t valid = ~word_of([&](unsigned bit) {
      const V lanes = simd::load<V>(depth + bit);
      const V is_invalid = (V)(lanes == table_.invalid_depth);
      const V below = (V)(ordered(lanes) < bin.lowest);
      const V above = (V)(ordered(lanes) > bin.highest);
      simd::store(threshold + bit,
                  static_cast<V>(bin.threshold - (below & bin.fall) + (above & bin.rise)));
      beyond |= (below | above) & ~is_invalid;
      return is_invalid;
    });
    common = bin.threshold;
    if (simd::any(beyond)) {
      common = Row::mixed;
      if (!lies_in_three_bins(depth))
        for (unsigned bit = 0; bit < word_bits; bit += simd::lane_count<V>)
          simd::store(threshold + bit, look_up(simd::load<V>(depth + bit)));
      move_to(depth[word_bits - 1 - static_cast<unsigned>(__builtin_clzll(valid))]);
    }
    return valid;
  }

 private:
  using OrderedLanes = simd::Lanes<int16_t>;

  /// Depths less 32768, so that signed comparisons order them: SSE2 and AVX2 have no others.
  static int16_t ordered(Pixel depth) { return static_cast<int16_t>(depth ^ 0x8000); }
  static OrderedLanes ordered(PixelLanes depth) { return (OrderedLanes)(depth ^ Pixel{0x8000}); }

  [[gnu::always_inline]] bool lies_in_three_bins(const Pixel* depth) const {
    PixelLanes beyond{};
    for (unsigned bit = 0; bit < word_bits; bit += simd::lane_count<PixelLanes>) {
      const auto lanes = simd::load<PixelLanes>(depth + bit);
      const OrderedLanes order = ordered(lanes);
      beyond |= (PixelLanes)((order < bin_->lowest_of_three) | (order > bin_->highest_of_three)) &
                (PixelLanes)(lanes != table_.invalid_depth);
    }
    return !simd::any(beyond);
  }

  [[gnu::always_inline]] PixelLanes look_up(PixelLanes depth) const {
    auto threshold = simd::broadcast<PixelLanes>(table_.first);
    const OrderedLanes order = ordered(depth);
    for (uint32_t i = 0; i < table_.steps; ++i) {
      const auto before = static_cast<Pixel>(table_.depth[i] - 1);
      threshold += (PixelLanes)(order > ordered(before)) & table_.rise[i];
    }
    return threshold;
  }

  /// To the bin of this depth, often a neighbouring one.
  void move_to(Pixel depth) {
    while (ordered(depth) > bin_->highest)
      ++bin_;
    while (ordered(depth) < bin_->lowest)
      --bin_;
  }

  int16_t start_of(uint32_t bin) const {
    return ordered(bin > 0 ? table_.depth[bin - 1] : Pixel{0});
  }
  int16_t end_of(uint32_t bin) const {
    return ordered(static_cast<Pixel>(bin < table_.steps ? table_.depth[bin] - 1 : 65535));
  }

  /// Depths of one threshold.
  struct Bin {
    Pixel threshold;
    Pixel fall; ///< by which the bin before has less
    Pixel rise; ///< by which the next one has more
    int16_t lowest, highest;
    int16_t lowest_of_three, highest_of_three; ///< with the bins beside this one
  };

  JoinThresholds table_;
  Bin bins_[JoinThresholds::max_steps + 1];
  const Bin* bin_ = bins_; ///< the one last met
};

/// Pairs of neighbours that join each other, and pairs of which only one lets the other join.
struct Joins {
  uint64_t mutual;
  OneWay<uint64_t> one_way;
};

class Rows {
 public:
  Rows(const Pixel* image, const JoinThresholds& thresholds, const RunMap& map, Arena& arena)
      : above(arena.take_row(map.width)), current(arena.take_row(map.width)),
        below(arena.take_row(map.width)), image_(image), lookup_(thresholds), map_(map),
        beyond_(arena.take<uint64_t>(map.words())), width_(map.width), height_(map.height),
        words_(map.words()) {
    read_no_row();
  }

  /// Makes row `y` the one below, or the end where there is no such row, and fills its bits.
  void advance_to(uint32_t y) {
    const Row recycled = above;
    above = current;
    current = below;
    below = recycled;
    below.up = y < height_ ? map_.up_of(y) : beyond_;
    if (y < height_)
      read_row(y);
    else
      read_no_row();
    join_row();
    join_rows();
  }

  /// Fills the bits of the current row's pixels that join none, and makes them invalid there.
  void take_singles(uint64_t* singles) {
    uint64_t enters = 0;
    for (size_t word = 0; word < words_; ++word) {
      const auto either = [&](const OneWay<uint64_t*>& one_way) {
        return one_way.onward[word] | one_way.back[word];
      };
      const uint64_t right = current.joined[word] | either(current.across);
      const uint64_t vertical =
          current.up[word] | either(current.down) | below.up[word] | either(below.down);
      const uint64_t joins = right | right << 1 | enters | vertical;
      enters = right >> (word_bits - 1);
      singles[word] = current.valid[word] & ~joins;
      current.valid[word] &= joins;
    }
  }

  Row above, current, below;

 private:
  /// A row before the first or after the last, in which nothing is valid.
  void read_no_row() {
    for (size_t word = 0; word < words_; ++word)
      below.valid[word] = 0;
  }

  void read_row(uint32_t y) {
    below.depth = image_ + size_t{y} * width_;
    const size_t read = (words_ + 1) * word_bits;
    if (size_t{height_ - y} * width_ < read) {
      __builtin_memcpy(below.depth_copy, below.depth, width_ * sizeof(Pixel));
      for (size_t x = width_; x < read; ++x)
        below.depth_copy[x] = 0;
      below.depth = below.depth_copy;
    }
    for (size_t word = 0; word < words_; ++word) {
      const size_t x = word * word_bits;
      below.valid[word] =
          lookup_.read_word(below.depth + x, below.threshold + x, below.common[word]);
    }
    below.common[words_] = below.common[words_ - 1]; // beyond the row: of no account
    below.valid[words_ - 1] &= (uint64_t{1} << (width_ % word_bits)) - 1;
  }

  void join_row() {
    below.has_one_way = false;
    for (size_t word = 0; word < words_; ++word) {
      const uint64_t next = word + 1 < words_ ? below.valid[word + 1] : 0;
      const uint64_t valid = below.valid[word];
      const uint64_t pairs = valid & (valid >> 1 | next << (word_bits - 1));
      const bool same_threshold = below.common[word] == below.common[word + 1];
      const Joins steps = joins(below, below, word, 1, same_threshold, pairs);
      below.joined[word] = steps.mutual;
      keep_one_way(steps, word, below.across);
    }
  }

  void join_rows() {
    for (size_t word = 0; word < words_; ++word) {
      const uint64_t pairs = current.valid[word] & below.valid[word];
      const bool same_threshold = current.common[word] == below.common[word];
      const Joins steps = joins(current, below, word, 0, same_threshold, pairs);
      below.up[word] = steps.mutual;
      keep_one_way(steps, word, below.down);
    }
  }

  void keep_one_way(const Joins& steps, size_t word, const OneWay<uint64_t*>& bits) {
    bits.onward[word] = steps.one_way.onward;
    bits.back[word] = steps.one_way.back;
    below.has_one_way = below.has_one_way || (steps.one_way.onward | steps.one_way.back) != 0;
  }

  /// The joins of 64 pixels of `row` with those `offset` columns further on in row `next`, where
  /// both are valid: `pairs`.
  [[gnu::always_inline]] Joins joins(const Row& row, const Row& next, size_t word, size_t offset,
                                     bool same_threshold, uint64_t pairs) const {
    if (pairs == 0)
      return {0, {0, 0}};
    using V = PixelLanes;
    const size_t first = word * word_bits;
    const auto step = [&](unsigned bit) {
      const V a = simd::load<V>(row.depth + first + bit);
      const V b = simd::load<V>(next.depth + first + bit + offset);
      return static_cast<V>(simd::max(a, b) - simd::min(a, b));
    };
    if (same_threshold && row.common[word] != Row::mixed) {
      const auto threshold = static_cast<Pixel>(row.common[word]);
      return {word_of([&](unsigned bit) { return (V)(step(bit) <= threshold); }) & pairs, {0, 0}};
    }
    uint64_t onward = 0;
    uint64_t back = 0;
    constexpr unsigned count = simd::lane_count<V>;
    for (unsigned bit = 0; bit < word_bits; bit += 2 * count) {
      V lets_onward[2];
      V lets_back[2];
      for (unsigned i = 0; i < 2; ++i) {
        const unsigned at = bit + i * count;
        const V difference = step(at);
        lets_onward[i] = (V)(difference <= simd::load<V>(row.threshold + first + at));
        lets_back[i] = (V)(difference <= simd::load<V>(next.threshold + first + at + offset));
      }
      onward |= simd::lane_bits(lets_onward[0], lets_onward[1]) << bit;
      back |= simd::lane_bits(lets_back[0], lets_back[1]) << bit;
    }
    onward &= pairs;
    back &= pairs;
    return {onward & back, {onward & ~back, back & ~onward}};
  }

  const Pixel* image_;
  ThresholdLookup lookup_;
  RunMap map_;
  uint64_t* beyond_;
  uint32_t width_, height_;
  size_t words_;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::false_positive
