#include "filters/depth/sampling_kernels.h"

#include "filters/depth/disparity_lookup_kernels.h"
#include "simd/lanes-inl.h"

#if defined(__SSSE3__)
#include <immintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#elif defined(__wasm_simd128__)
#include <wasm_simd128.h>
#endif

namespace filter_processor {
namespace {

using Pixel = uint16_t;

// Where a block of neighbouring destination pixels comes from fewer source pixels than a register
// holds, one permutation of that register replaces a load for each pixel. There is no portable form
// of a permutation by a variable.

#if defined(__AVX512BW__)
using Block = simd::Lanes<Pixel, 64>;

[[gnu::always_inline]] inline Block permuted(Block pixels, Block indices) {
  return reinterpret_cast<Block>(_mm512_permutexvar_epi16(reinterpret_cast<__m512i>(indices),
                                                          reinterpret_cast<__m512i>(pixels)));
}
#else
using Block = simd::Lanes<Pixel, 16>;

[[gnu::always_inline]] inline Block permuted(Block pixels, Block indices) {
  [[maybe_unused]] const Block bytes = indices * 0x0202 + 0x0100; // of each index's two bytes
#if defined(__SSSE3__)
  return (Block)_mm_shuffle_epi8((__m128i)pixels, (__m128i)bytes);
#elif defined(__ARM_NEON)
  return (Block)vqtbl1q_u8((uint8x16_t)pixels, (uint8x16_t)bytes);
#elif defined(__wasm_simd128__)
  return (Block)wasm_i8x16_swizzle((v128_t)pixels, (v128_t)bytes);
#else
  Block result{};
  for (size_t i = 0; i < simd::lane_count<Block>; ++i)
    result[i] = pixels[indices[i]];
  return result;
#endif
}
#endif

/// Samples one row; `to` points at its first sampled pixel.
[[gnu::always_inline]] inline void sample_row(const SampledRows& rows, const Pixel* from,
                                              Pixel* to) {
  constexpr uint32_t step = simd::lane_count<Block>;
  const Pixel* const columns = rows.columns;
  const uint32_t count = rows.right - rows.left;
  __builtin_memcpy(to, from + columns[0], rows.run * sizeof(Pixel));
  uint32_t i = rows.run;
  while (i < count) {
    const uint32_t first = columns[i];
    // Within a block the columns only ascend, unless the accumulator wrapped: then the last column
    // is below the first, and the difference, which wraps as well, is large.
    if (i + step <= count && columns[i + step - 1] - first < step &&
        first + step <= rows.source_width) {
      const Block indices = simd::load<Block>(columns + i) - static_cast<Pixel>(first);
      simd::store(to + i, permuted(simd::load<Block>(from + first), indices));
      i += step;
    } else {
      to[i] = from[first];
      ++i;
    }
  }
}

[[gnu::always_inline]] inline void clear(Pixel* pixels, size_t count) {
  __builtin_memset(pixels, 0, count * sizeof(Pixel));
}

void sample_rows(const SampledRows& rows, const Pixel* from, Pixel* to, const Pixel* table) {
  const auto map = DisparityLookupKernels::at<simd::this_level>().whole;
  const size_t width = rows.width;
  clear(to, rows.top * width);
  const Pixel* last_source = nullptr;
  for (size_t y = rows.top; y < rows.bottom; ++y) {
    Pixel* const row = to + y * width;
    const size_t source_y = rows.source_rows.at(static_cast<uint32_t>(y) - rows.top);
    const Pixel* const source = from + source_y * rows.source_width;
    if (source == last_source) {
      __builtin_memcpy(row, row - width, width * sizeof(Pixel));
      continue;
    }
    last_source = source;
    clear(row, rows.left);
    sample_row(rows, source, row + rows.left);
    if (table != nullptr)
      map(row + rows.left, row + rows.left, rows.right - rows.left, table);
    clear(row + rows.right, width - rows.right);
  }
  clear(to + rows.bottom * width, (rows.height - rows.bottom) * width);
}

} // namespace

template <>
const SamplingKernels& SamplingKernels::at<simd::this_level>() {
  static constexpr SamplingKernels kernels{sample_rows};
  return kernels;
}

} // namespace filter_processor
