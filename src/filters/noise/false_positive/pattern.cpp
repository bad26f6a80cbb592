#include "filters/noise/false_positive/pattern.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "filters/noise/false_positive/region_measures.h"
#include "filters/noise/false_positive/row_bits.h"

namespace filter_processor {
namespace {

constexpr uint32_t word_bits = row_bits_per_word;

/// Mirrors a square of 64 rows of 64 bits at its diagonal: in each step, the upper right and the
/// lower left quarter of every block of `half` rows change places.
void transpose(uint64_t (&rows)[word_bits]) {
  uint64_t lower = 0x00000000ffffffff;
  for (uint32_t half = word_bits / 2; half != 0; half /= 2, lower ^= lower << half) {
    for (uint32_t i = 0; i < word_bits; i = (i + half + 1) & ~half) {
      const uint64_t change = (rows[i] >> half ^ rows[i + half]) & lower;
      rows[i] ^= change << half;
      rows[i + half] ^= change;
    }
  }
}

constexpr uint32_t none = 0xffffffff;

/// The first set bit of the `count` that follow bit `place`.
uint32_t first_bit_after(const uint64_t* bits, uint32_t place, uint32_t count) {
  const uint32_t first = place + 1;
  const uint32_t end = first + count;
  if (count == 0)
    return none;
  size_t word = first / word_bits;
  uint64_t rest = bits[word] & ~uint64_t{0} << first % word_bits;
  const size_t last_word = (end - 1) / word_bits;
  while (rest == 0 && word < last_word)
    rest = bits[++word];
  const auto found =
      static_cast<uint32_t>(word * word_bits) + static_cast<uint32_t>(std::countr_zero(rest));
  return found < end ? found : none; // also where no bit is set
}

/// The last set bit of the `count` that come before bit `place`.
uint32_t last_bit_before(const uint64_t* bits, uint32_t place, uint32_t count) {
  const uint32_t first = place - count;
  if (count == 0)
    return none;
  size_t word = (place - 1) / word_bits;
  uint64_t rest = bits[word] & ~uint64_t{0} >> (word_bits - 1 - (place - 1) % word_bits);
  const size_t first_word = first / word_bits;
  while (rest == 0 && word > first_word)
    rest = bits[--word];
  if (rest == 0)
    return none;
  const auto found = static_cast<uint32_t>(word * word_bits) + word_bits - 1 -
                     static_cast<uint32_t>(std::countl_zero(rest));
  return found >= first ? found : none;
}

/// The pixels of a line of `length` besides the one that it starts from: the whole part less one,
/// limited to 0 ... `limit`; 0 for NaN.
uint32_t pixels_beyond(float length, uint32_t limit) {
  if (!(length >= 1.0F))
    return 0;
  return static_cast<uint32_t>(std::min(length, static_cast<float>(limit))) - 1;
}

/// What supports is in a region larger than any candidate: the first such pixel on the way from an
/// outline decides, whatever candidate it belongs to.
class SupportSearch {
 public:
  SupportSearch(const uint16_t* image, const RunMap& map, const PatternAmbiguitySettings& settings,
                const SupportScratch& scratch)
      : image_(image), map_(map), scratch_(scratch), words_(map.words()),
        column_words_(row_bit_words(map.height)), max_depth_(settings.max_support_depth),
        lowest_ratio_(1.0F - settings.depth_tolerance),
        highest_ratio_(1.0F + settings.depth_tolerance),
        reach_x_(pixels_beyond(static_cast<float>(map.width) * settings.reach, map.width)),
        reach_y_(pixels_beyond(static_cast<float>(map.height) * settings.reach, map.height)) {}

  /// Finds the pixels of regions above both sizes.
  void prepare(uint32_t max_size, uint32_t small_size) {
    const uint32_t size = std::max(max_size, small_size);
    const RegionKernels& kernels = simd::kernels<RegionKernels>();
    for (uint32_t y = 0; y < map_.height; ++y) {
      uint64_t* bits = scratch_.rows + y * words_;
      if (set_row_bits(
              map_, y, [&](uint32_t root) { return map_.sizes[root] > size; }, bits))
        kernels.keep_depths(image_ + size_t{y} * map_.width, map_.width, max_depth_, bits);
    }
    for (uint32_t y = 0; y < map_.height; y += word_bits)
      for (size_t word = 0; word < words_; ++word)
        turn_square(y, word);
  }

  bool finds_for(const Region& region) const {
    return finds_along_rows(region.runs) || finds_along_columns(region);
  }

 private:
  void turn_square(uint32_t y, size_t word) {
    uint64_t square[word_bits] = {};
    for (uint32_t row = 0; row < std::min(word_bits, map_.height - y); ++row)
      square[row] = scratch_.rows[(y + row) * words_ + word];
    transpose(square);
    uint64_t* column = scratch_.columns + word * word_bits * column_words_ + y / word_bits;
    for (uint32_t x = 0; x < word_bits; ++x, column += column_words_)
      *column = square[x];
  }

  bool finds_along_rows(std::span<const RegionRun> runs) const {
    // Runs of a row follow each other: its first one's first pixel and its last one's last.
    for (auto run = runs.begin(); run != runs.end();) {
      const uint32_t y = run->y;
      const uint32_t left = run->first;
      uint32_t right = 0;
      for (; run != runs.end() && run->y == y; ++run)
        right = run->last;
      const uint64_t* bits = scratch_.rows + y * words_;
      const uint32_t to_left = last_bit_before(bits, left, std::min(left, reach_x_));
      const uint32_t to_right =
          first_bit_after(bits, right, std::min(map_.width - 1 - right, reach_x_));
      if ((to_left != none && confirms(left, y, to_left, y)) ||
          (to_right != none && confirms(right, y, to_right, y)))
        return true;
    }
    return false;
  }

  bool finds_along_columns(const Region& region) const {
    const RegionExtent extent = measure_extent(map_, region);
    std::fill(scratch_.highest + extent.x_min, scratch_.highest + extent.x_max + 1, none);
    for (const RegionRun& run : region.runs) {
      for (uint32_t x = run.first; x <= run.last; ++x) {
        scratch_.highest[x] = std::min<uint32_t>(scratch_.highest[x], run.y);
        scratch_.lowest[x] = run.y;
      }
    }
    // A region is connected: every column of its box holds one of its pixels.
    for (uint32_t x = extent.x_min; x <= extent.x_max; ++x) {
      const uint64_t* bits = scratch_.columns + x * column_words_;
      const uint32_t lowest = scratch_.lowest[x];
      const uint32_t highest = scratch_.highest[x];
      const uint32_t below =
          first_bit_after(bits, lowest, std::min(map_.height - 1 - lowest, reach_y_));
      const uint32_t above = last_bit_before(bits, highest, std::min(highest, reach_y_));
      if ((below != none && confirms(x, lowest, x, below)) ||
          (above != none && confirms(x, highest, x, above)))
        return true;
    }
    return false;
  }

  bool confirms(uint32_t x, uint32_t y, uint32_t other_x, uint32_t other_y) const {
    const float ratio = static_cast<float>(image_[size_t{y} * map_.width + x]) /
                        static_cast<float>(image_[size_t{other_y} * map_.width + other_x]);
    return ratio > lowest_ratio_ && ratio < highest_ratio_;
  }

  const uint16_t* image_;
  const RunMap& map_;
  const SupportScratch& scratch_;
  size_t words_;
  size_t column_words_;
  uint16_t max_depth_;
  float lowest_ratio_;
  float highest_ratio_;
  uint32_t reach_x_; ///< pixels of a line beyond the one that it starts from
  uint32_t reach_y_;
};

} // namespace

void mark_unsupported_patterns(const uint16_t* image, const RunMap& map,
                               const FalsePositiveConfig& config, const SupportScratch& scratch,
                               std::vector<Region>& regions) {
  const auto is_candidate = [](const Region& region) {
    return region.verdict == Verdict::candidate;
  };
  if (std::none_of(regions.begin(), regions.end(), is_candidate))
    return;
  SupportSearch support(image, map, config.pattern_ambiguity, scratch);
  support.prepare(config.pattern_ambiguity.max_size, config.small_region_size);
  for (Region& region : regions)
    if (is_candidate(region) && !support.finds_for(region))
      region.verdict = Verdict::marked;
}

} // namespace filter_processor
