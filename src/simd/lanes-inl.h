#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#if defined(__SSE2__)
#include <immintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#elif defined(__wasm_simd128__)
#include <wasm_simd128.h>
#endif

#include "simd/level.h"

// Fixed-width lanes for kernel sources, which are compiled once for each level.
//
// Everything stands in a namespace named after the level, so that no two levels share a symbol: a
// copy that the linker merged could run wide instructions on a processor without them. For the
// same reason kernel sources keep their functions in an unnamed namespace and call no
// standard-library template (std::min, std::vector, ...), whose code may be emitted out of line.
namespace filter_processor::simd {
inline namespace FILTER_PROCESSOR_LEVEL {

/// The level that this translation unit is compiled for, and the bytes of its widest register.
constexpr Level this_level = Level::FILTER_PROCESSOR_LEVEL;
constexpr size_t vector_bytes = FILTER_PROCESSOR_VECTOR_BYTES;

/// Whether the level has instructions for the minimum and maximum of unsigned 16-bit lanes: SSE2
/// has them for signed ones only, and what follows it for both.
#if defined(__SSE2__) && !defined(__SSE4_1__)
constexpr bool has_unsigned_min = false;
#else
constexpr bool has_unsigned_min = true;
#endif

template <typename T, size_t Bytes>
struct VectorOf {
  using type __attribute__((vector_size(Bytes))) = T;
};

/// `Bytes` / sizeof(T) lanes of T. Comparisons of lanes give lanes of all ones (true) or all zeros.
template <typename T, size_t Bytes = vector_bytes>
using Lanes = typename VectorOf<T, Bytes>::type;

template <typename V>
constexpr size_t lane_count = sizeof(V) / sizeof(V{}[0]);

/// Loads and stores need no alignment.
template <typename V, typename T>
[[gnu::always_inline]] inline V load(const T* from) {
  V lanes;
  __builtin_memcpy(&lanes, from, sizeof lanes);
  return lanes;
}

template <typename V, typename T>
[[gnu::always_inline]] inline void store(T* to, V lanes) {
  __builtin_memcpy(to, &lanes, sizeof lanes);
}

template <typename V>
[[gnu::always_inline]] inline V min(V a, V b) {
  return a < b ? a : b;
}

template <typename V>
[[gnu::always_inline]] inline V max(V a, V b) {
  return a > b ? a : b;
}

/// Bit i tells whether lane i is all ones; every other lane is zero. For lanes of 16 bits.
template <typename V>
[[gnu::always_inline]] inline uint64_t lane_bits(V lanes) {
  static_assert(sizeof(V{}[0]) == 2 && sizeof(V) >= 16);
  // No compiler finds the move-mask instructions by itself.
#if defined(__AVX512BW__)
  if constexpr (sizeof(V) == 64)
    return _mm512_movepi16_mask((__m512i)lanes);
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32) {
    const auto wide = (__m256i)lanes;
    const __m128i bytes =
        _mm_packs_epi16(_mm256_castsi256_si128(wide), _mm256_extracti128_si256(wide, 1));
    return static_cast<uint32_t>(_mm_movemask_epi8(bytes));
  }
#endif
  if constexpr (sizeof(V) == 16) {
#if defined(__SSE2__)
    const __m128i bytes = _mm_packs_epi16((__m128i)lanes, _mm_setzero_si128());
    return static_cast<uint32_t>(_mm_movemask_epi8(bytes));
#elif defined(__ARM_NEON)
    constexpr uint16x8_t weights = {1, 2, 4, 8, 16, 32, 64, 128};
    return vaddvq_u16((uint16x8_t)lanes & weights);
#elif defined(__wasm_simd128__)
    return wasm_i16x8_bitmask((v128_t)lanes);
#else
#error "This level has no move-mask yet."
#endif
  }
}

/// The bits of two vectors, those of `lower` first, for less than the bits of each.
template <typename V>
[[gnu::always_inline]] inline uint64_t lane_bits(V lower, V upper) {
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32) {
    const __m256i bytes = _mm256_packs_epi16((__m256i)lower, (__m256i)upper); // in quarters 0 2 1 3
    return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_permute4x64_epi64(bytes, 0xd8)));
  }
#endif
#if defined(__SSE2__)
  if constexpr (sizeof(V) == 16)
    return static_cast<uint32_t>(
        _mm_movemask_epi8(_mm_packs_epi16((__m128i)lower, (__m128i)upper)));
#endif
  return lane_bits(lower) | lane_bits(upper) << lane_count<V>;
}

/// The k-th lowest bit of `bits` stands where `places` has its k-th lowest 1; all others are 0.
[[gnu::always_inline]] inline uint64_t deposit_bits(uint64_t bits, uint64_t places) {
#if defined(__BMI2__) && defined(__x86_64__)
  return _pdep_u64(bits, places);
#else
  uint64_t result = 0;
  for (; places != 0; places &= places - 1, bits >>= 1)
    result |= (places & -places) & (uint64_t{0} - (bits & 1));
  return result;
#endif
}

/// All lanes equal to `value`.
template <typename V, typename T>
[[gnu::always_inline]] inline V broadcast(T value) {
  return V{} + value;
}

template <typename V, size_t... I>
[[gnu::always_inline]] inline V lanes_of_bits(uint64_t bits, std::index_sequence<I...>) {
  using T = std::remove_reference_t<decltype(V{}[0])>;
  constexpr V own_bits{static_cast<T>(T{1} << I)...};
  return static_cast<V>((broadcast<V>(static_cast<T>(bits)) & own_bits) != 0);
}

/// Lane i is all ones where bit i is 1, else 0: what lane_bits makes bits of. For lanes of 16 or 32
/// bits.
template <typename V>
[[gnu::always_inline]] inline V lanes_of_bits(uint64_t bits) {
#if defined(__AVX512BW__)
  if constexpr (sizeof(V) == 64 && sizeof(V{}[0]) == 2)
    return (V)_mm512_movm_epi16(static_cast<uint32_t>(bits));
  else
#endif
    return lanes_of_bits<V>(bits, std::make_index_sequence<lane_count<V>>{});
}

/// Whether any lane is not 0.
template <typename V>
[[gnu::always_inline]] inline bool any(V lanes) {
  if constexpr (sizeof(V) == sizeof(uint64_t)) {
    return reinterpret_cast<Lanes<uint64_t, sizeof(V)>>(lanes)[0] != 0;
  } else {
    using Half = Lanes<uint64_t, sizeof(V) / 2>;
    Half halves[2];
    __builtin_memcpy(halves, &lanes, sizeof lanes);
    return any(static_cast<Half>(halves[0] | halves[1]));
  }
}

template <int Distance, typename V, size_t... I>
[[gnu::always_inline]] inline V move_up(V lanes, std::index_sequence<I...>) {
  constexpr int count = static_cast<int>(sizeof...(I));
  return __builtin_shufflevector(V{}, lanes, (static_cast<int>(I) + count - Distance)...);
}

/// Lane i becomes lane i + `Distance`; zeros enter below.
template <int Distance, typename V>
[[gnu::always_inline]] inline V move_up(V lanes) {
  return move_up<Distance>(lanes, std::make_index_sequence<lane_count<V>>{});
}

template <size_t First, typename V, size_t... I>
[[gnu::always_inline]] inline auto part(V lanes, std::index_sequence<I...>) {
  return __builtin_shufflevector(lanes, lanes, static_cast<int>(First + I)...);
}

/// Half 0 (the lower lanes) or 1 of a vector: how lanes twice as wide as the register come apart.
template <size_t Half, typename V>
[[gnu::always_inline]] inline auto half(V lanes) {
  constexpr size_t count = lane_count<V> / 2;
  return part<Half * count>(lanes, std::make_index_sequence<count>{});
}

template <typename V, size_t... I>
[[gnu::always_inline]] inline auto join(V lower, V upper, std::index_sequence<I...>) {
  return __builtin_shufflevector(lower, upper, static_cast<int>(I)...);
}

/// The vector of two halves.
template <typename V>
[[gnu::always_inline]] inline auto join(V lower, V upper) {
  return join(lower, upper, std::make_index_sequence<2 * lane_count<V>>{});
}

/// Calls `visit` with the place of each set bit, the lowest first.
template <typename Visit>
[[gnu::always_inline]] inline void for_each_bit(uint64_t bits, Visit visit) {
  for (; bits != 0; bits &= bits - 1)
    visit(static_cast<unsigned>(__builtin_ctzll(bits)));
}

} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::simd
