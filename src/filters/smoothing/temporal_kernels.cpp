#include "filters/smoothing/temporal_kernels.h"

#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using Pixel = uint16_t;
using simd::Lanes;

using Pixels = Lanes<Pixel>;
using Integers = Lanes<int32_t>;
using Floats = Lanes<float>;
using WideIntegers = Lanes<int32_t, 2 * simd::vector_bytes>; // one for each of Pixels

struct Factors {
  Floats diff_scale, current_weight, previous_weight;
};

[[gnu::always_inline]] inline Integers blend_half(Integers own, Integers before,
                                                  const Factors& factors) {
  const Floats c = __builtin_convertvector(own, Floats);
  const Floats p = __builtin_convertvector(before, Floats);
  const Floats smaller = simd::min(p, c);
  const Floats difference = simd::max(p, c) - smaller;
  // Where either pixel is 0 the limit is 0, and no difference is below it.
  const Floats limit = smaller * factors.diff_scale;
  const Floats blend = p * factors.previous_weight + c * factors.current_weight;
  return difference < limit ? __builtin_convertvector(blend, Integers) : own;
}

[[gnu::always_inline]] inline void blend_vector(Pixel* current, Pixel* previous,
                                                const Factors& factors) {
  const auto own = __builtin_convertvector(simd::load<Pixels>(current), WideIntegers);
  const auto before = __builtin_convertvector(simd::load<Pixels>(previous), WideIntegers);
  const auto result = simd::join(blend_half(simd::half<0>(own), simd::half<0>(before), factors),
                                 blend_half(simd::half<1>(own), simd::half<1>(before), factors));
  const Pixels pixels = __builtin_convertvector(result, Pixels); // keeps the low 16 bits
  simd::store(current, pixels);
  simd::store(previous, pixels);
}

void blend_frames(Pixel* current, Pixel* previous, size_t count, float diff_scale, float weight) {
  const Factors factors{simd::broadcast<Floats>(diff_scale), simd::broadcast<Floats>(weight),
                        simd::broadcast<Floats>(1.0F - weight)};
  constexpr size_t step = simd::lane_count<Pixels>;
  size_t i = 0;
  for (; i + step <= count; i += step)
    blend_vector(current + i, previous + i, factors);
  if (i == count)
    return;
  Pixel last_current[step] = {};
  Pixel last_previous[step] = {};
  const size_t rest = (count - i) * sizeof(Pixel);
  __builtin_memcpy(last_current, current + i, rest);
  __builtin_memcpy(last_previous, previous + i, rest);
  blend_vector(last_current, last_previous, factors);
  __builtin_memcpy(current + i, last_current, rest);
  __builtin_memcpy(previous + i, last_previous, rest);
}

} // namespace

template <>
const TemporalKernels& TemporalKernels::at<simd::this_level>() {
  static constexpr TemporalKernels table{blend_frames};
  return table;
}

} // namespace filter_processor
