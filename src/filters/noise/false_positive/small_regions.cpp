#include "filters/noise/false_positive/small_regions.h"

#include <bit>

#include "filters/noise/false_positive/row_bits.h"

namespace filter_processor {

SmallRegions::SmallRegions(uint16_t* image, const RunMap& map, const FalsePositiveConfig& config,
                           uint64_t* bits)
    : image_(image), map_(map), invalid_depth_(config.invalid_depth),
      small_size_(config.small_region_size), bits_(bits), kernels_(simd::kernels<RegionKernels>()) {
}

void SmallRegions::begin_row(uint32_t y) {
  row_ = image_ + size_t{y} * map_.width;
  first_word_ = 0;
  any_left_ = set_row_bits(
      map_, y, [&](uint32_t root) { return map_.sizes[root] <= small_size_; }, bits_);
  const uint64_t* singles = map_.singles_of(y);
  for (size_t word = 0; word < map_.words(); ++word) {
    bits_[word] |= singles[word];
    any_left_ = any_left_ || singles[word] != 0;
  }
}

void SmallRegions::remove_before(uint32_t x) {
  if (!any_left_)
    return;
  const size_t end_word = x / row_bits_per_word;
  const auto remove = [&](size_t word, uint64_t bits) {
    bits_[word] &= ~bits;
    for (; bits != 0; bits &= bits - 1)
      row_[word * row_bits_per_word + static_cast<unsigned>(std::countr_zero(bits))] =
          invalid_depth_;
  };
  for (; first_word_ < end_word; ++first_word_)
    remove(first_word_, bits_[first_word_]);
  remove(end_word, bits_[end_word] & ((uint64_t{1} << x % row_bits_per_word) - 1));
}

void SmallRegions::end_row() {
  if (any_left_)
    kernels_.replace(row_, map_.width, bits_, invalid_depth_);
}

void SmallRegions::remove_all() {
  for (uint32_t y = 0; y < map_.height; ++y) {
    begin_row(y);
    end_row();
  }
}

} // namespace filter_processor
