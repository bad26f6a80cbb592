#include "filters/smoothing/temporal_kernels.h"

#include "simd/lanes.h"

namespace filter_processor {
namespace {

using Pixel = std::uint16_t;
using simd::Lanes;

struct Frames {
  Pixel* current;
  Pixel* previous;
  std::size_t count;
};

/// Blends the pixels from `i` on in groups of `Lane_count`; returns the first pixel left over.
template <std::size_t LaneCount>
[[gnu::always_inline]] inline std::size_t blend_groups(const Frames& frames, std::size_t i,
                                                       float diff_scale, float weight) {
  using Pixels = Lanes<Pixel, LaneCount * sizeof(Pixel)>;
  using Integers = Lanes<std::int32_t, LaneCount * sizeof(std::int32_t)>;
  using Floats = Lanes<float, LaneCount * sizeof(float)>;
  const Floats scale = simd::broadcast<Floats>(diff_scale);
  const Floats current_weight = simd::broadcast<Floats>(weight);
  const Floats previous_weight = simd::broadcast<Floats>(1.0F - weight);
  for (; i + LaneCount <= frames.count; i += LaneCount) {
    const auto own = __builtin_convertvector(simd::load<Pixels>(frames.current + i), Integers);
    const auto c = __builtin_convertvector(own, Floats);
    const auto p = __builtin_convertvector(
        __builtin_convertvector(simd::load<Pixels>(frames.previous + i), Integers), Floats);
    // Where either pixel is 0, no difference is below the limit.
    const Floats smaller = simd::min(p, c);
    const Floats difference = simd::max(p, c) - smaller;
    // 32 bits hold every blend; the result is their low 16.
    const auto blended =
        __builtin_convertvector(p * previous_weight + c * current_weight, Integers);
    const auto result =
        __builtin_convertvector(difference < smaller * scale ? blended : own, Pixels);
    simd::store(frames.current + i, result);
    simd::store(frames.previous + i, result);
  }
  return i;
}

void blend_frames(Pixel* current, Pixel* previous, std::size_t count, float diff_scale,
                  float weight) {
  const Frames frames{current, previous, count};
  const std::size_t rest =
      blend_groups<simd::vector_bytes / sizeof(float)>(frames, 0, diff_scale, weight);
  blend_groups<1>(frames, rest, diff_scale, weight);
}

} // namespace

template <>
const TemporalKernels& TemporalKernels::at<simd::this_level>() {
  static constexpr TemporalKernels table{blend_frames};
  return table;
}

} // namespace filter_processor
