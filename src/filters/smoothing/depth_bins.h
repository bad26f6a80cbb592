#pragma once

#include "simd/lanes.h"

namespace filter_processor::simd {
inline namespace FILTER_PROCESSOR_LEVEL {

/// A table with one threshold for each of seven bins of depth, looked up lane by lane.
class DepthBins {
 public:
  static constexpr std::uint16_t count = 7;

  explicit DepthBins(const std::uint16_t* entries) {
    for (std::size_t i = 0; i < count; ++i)
      entries_[i] = entries[i];
  }

  std::uint16_t operator[](std::size_t bin) const { return entries_[bin]; }

  /// The entries of bins 0 to 6, in 16-bit lanes.
  template <typename V>
  [[gnu::always_inline]] V look_up(V bins) const {
    V found = broadcast<V>(entries_[count - 1]);
    for (std::uint16_t i = 0; i + 1 < count; ++i)
      found = bins == i ? broadcast<V>(entries_[i]) : found;
    return found;
  }

  /// The bin of each lane's depth, where each bin spans 2^`shift` values and the last has no end.
  template <typename V>
  [[gnu::always_inline]] static V bins_of(V depths, unsigned shift) {
    constexpr unsigned bits = 16;
    return shift < bits ? min(static_cast<V>(depths >> static_cast<std::uint16_t>(shift)),
                              broadcast<V>(static_cast<std::uint16_t>(count - 1)))
                        : V{};
  }

 private:
  std::uint16_t entries_[count];
};

} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::simd
