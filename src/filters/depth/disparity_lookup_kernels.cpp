#include "filters/depth/disparity_lookup_kernels.h"

#include "simd/lanes-inl.h"

namespace filter_processor {
namespace {

using Pixel = uint16_t;

struct WholePixel {
  [[gnu::always_inline]] static uint64_t depth(const Pixel* table, uint64_t pixel) {
    return table[pixel];
  }
};

struct UpperBits {
  [[gnu::always_inline]] static uint64_t depth(const Pixel* table, uint64_t pixel) {
    return ((table[pixel >> 4] & 0xfffU) << 4) | (pixel & 0xfU);
  }
};

/// Four pixels share one load and one store: what bounds the loop is the number of memory accesses,
/// and the table needs one for each pixel anyway.
template <typename Code>
void map(const Pixel* codes, Pixel* depths, size_t count, const Pixel* table) {
  size_t i = 0;
  for (; i + 4 <= count; i += 4) {
    uint64_t four;
    __builtin_memcpy(&four, codes + i, sizeof four);
    const uint64_t mapped =
        Code::depth(table, four & 0xffff) | Code::depth(table, four >> 16 & 0xffff) << 16 |
        Code::depth(table, four >> 32 & 0xffff) << 32 | Code::depth(table, four >> 48) << 48;
    __builtin_memcpy(depths + i, &mapped, sizeof mapped);
  }
  for (; i < count; ++i)
    depths[i] = static_cast<Pixel>(Code::depth(table, codes[i]));
}

} // namespace

template <>
const DisparityLookupKernels& DisparityLookupKernels::at<simd::this_level>() {
  static constexpr DisparityLookupKernels kernels{map<WholePixel>, map<UpperBits>};
  return kernels;
}

} // namespace filter_processor
