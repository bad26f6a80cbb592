#pragma once

#include "simd/lanes-inl.h"

namespace filter_processor {
inline namespace FILTER_PROCESSOR_LEVEL {

/// A table with one threshold for each of seven bins of depth.
class DepthBins {
 public:
  static constexpr uint16_t count = 7;
  static constexpr uint16_t last = count - 1;

  [[gnu::always_inline]] explicit DepthBins(const uint16_t* entries) {
    for (size_t i = 0; i < count; ++i)
      entries_[i] = entries[i];
  }

  /// The bin of a depth, or of the depth in each 16-bit lane: each bin spans 2^`shift` values, the
  /// last has no end.
  template <typename V>
  [[gnu::always_inline]] static V bins_of(V depths, unsigned shift) {
    constexpr unsigned depth_bits = 16;
    if (shift >= depth_bits)
      return V{};
    return simd::min(static_cast<V>(depths >> static_cast<uint16_t>(shift)),
                     static_cast<V>(V{} + last));
  }

  [[gnu::always_inline]] uint16_t operator[](size_t bin) const { return entries_[bin]; }

  /// The entry of the bin in each 16-bit lane.
  template <typename V>
  [[gnu::always_inline]] V look_up(V bins) const {
    V found = simd::broadcast<V>(entries_[last]);
    for (uint16_t i = 0; i < last; ++i)
      found = bins == i ? simd::broadcast<V>(entries_[i]) : found;
    return found;
  }

  /// The same, faster where all bins are the first or the last.
  template <typename V>
  [[gnu::always_inline]] V look_up_outer(V bins) const {
    const V inner = bins & reinterpret_cast<V>(bins != last);
    if (simd::any(inner)) [[unlikely]]
      return look_up(bins);
    return bins == 0 ? simd::broadcast<V>(entries_[0]) : simd::broadcast<V>(entries_[last]);
  }

 private:
  uint16_t entries_[count];
};

} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor
