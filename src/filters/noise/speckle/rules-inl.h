#pragma once

#include "filters/noise/speckle/grid-inl.h"

// Which pixels are valid, and to which neighbours a region spreads from them.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

template <typename V>
[[gnu::always_inline]] inline V difference(V a, V b) {
  return static_cast<V>(simd::max(a, b) - simd::min(a, b));
}

/// Answers are lanes: all ones (true) or all zeros.
struct Rules {
  /// Thresholds by bins of depth; one threshold for all is a table of one entry.
  const Pixel* lut;
  Pixel lut_size;
  Pixel shift;
  Pixel any_join; ///< all ones, or zero where nothing joins
  Pixel invalid;
  Pixel any_invalid; ///< all ones, or zero where no pixel equals the invalid value

  /// `single_threshold` gets the threshold of a task without a table, and must outlive the rules.
  static Rules of_task(const SpeckleTask& task, Pixel& single_threshold) {
    constexpr Pixel all = 0xffff;
    constexpr Pixel pixel_bits = 16;
    Rules rules{.lut = task.lut,
                .lut_size = task.lut_size,
                .shift = task.depth_shift,
                .any_join = all,
                .invalid = static_cast<Pixel>(task.invalid_value),
                .any_invalid = task.invalid_value <= all ? all : Pixel{0}};
    if (task.lut_size == 0) {
      single_threshold = task.max_diff < all ? static_cast<Pixel>(task.max_diff) : all;
      rules.lut = &single_threshold;
      rules.any_join = task.max_diff >= 0 ? all : Pixel{0};
    }
    if (task.lut_size == 0 || task.depth_shift >= pixel_bits) { // all depths are in the first bin
      rules.lut_size = 1;
      rules.shift = 0;
    }
    return rules;
  }

  template <typename V>
  [[gnu::always_inline]] V are_invalid(V depth) const {
    return static_cast<V>(depth == invalid) & any_invalid;
  }

  template <typename V>
  [[gnu::always_inline]] V thresholds(V depth) const {
    const V bin = static_cast<V>((depth >> shift) & Pixel{0xff});
    V threshold = simd::broadcast<V>(lut[0]);
    for (Pixel i = 1; i < lut_size; ++i)
      threshold = bin >= i ? simd::broadcast<V>(lut[i]) : threshold;
    return threshold;
  }

  /// The rule: a pixel with this threshold may expand to a valid neighbour that differs from it by
  /// that much. The difference is the same both ways, the threshold is that of the expanding pixel.
  template <typename V>
  [[gnu::always_inline]] V may_expand(V difference, V threshold) const {
    return static_cast<V>(difference <= threshold) & any_join;
  }
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
