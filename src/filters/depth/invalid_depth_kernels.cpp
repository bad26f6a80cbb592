#include "filters/depth/invalid_depth_kernels.h"

#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using Pixel = uint16_t;

void clear_values(Pixel* pixels, size_t count, Pixel first, Pixel last) {
  using V = simd::Lanes<Pixel>;
  constexpr size_t step = simd::lane_count<V>;
  // Shifted down by `first`, the pixels to clear are the smallest: one unsigned comparison.
  const auto range = static_cast<Pixel>(last - first);
  size_t i = 0;
  for (; i + step <= count; i += step) {
    const V own = simd::load<V>(pixels + i);
    simd::store(pixels + i, static_cast<V>(own - first) <= range ? V{} : own);
  }
  for (; i < count; ++i)
    if (static_cast<Pixel>(pixels[i] - first) <= range)
      pixels[i] = 0;
}

} // namespace

template <>
const InvalidDepthKernels& InvalidDepthKernels::at<simd::this_level>() {
  static constexpr InvalidDepthKernels kernels{clear_values};
  return kernels;
}

} // namespace filter_processor
