#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>

#include "naive/image.h"

namespace naive {

inline bool is_valid(uint16_t value) {
  return static_cast<int16_t>(value) > 0;
}

/// |cur - prev|, taken as 16 bits.
inline uint16_t distance(uint16_t cur, uint16_t prev) {
  const auto d = static_cast<int16_t>(static_cast<uint16_t>(cur - prev));
  return static_cast<uint16_t>(std::abs(int{d}));
}

/// The threshold of lane `lane` of eight pixels: one for all, or that of the table for the first
/// half of the lanes, spread over the even ones.
struct AdvancedThreshold {
  bool fixed;
  uint16_t value;
  std::array<uint16_t, 7> table = {};

  template <typename PixelOfLane>
  uint16_t of(int lane, PixelOfLane pixel) const {
    if (fixed)
      return value;
    return lane % 2 == 0 ? table[std::min<size_t>(pixel(lane / 2) >> 1, 6)] : uint16_t{0};
  }
};

inline void walk_row_block(const Image& image, const AdvancedThreshold& threshold, uint8_t radius,
                           int block, int start, int end, int step) {
  int counter[8] = {};
  uint16_t prev[8];
  for (int i = 0; i < 8; ++i)
    prev[i] = image.at(start, block + i);
  for (int x = start + step; x != end; x += step) {
    uint16_t next[8];
    for (int i = 0; i < 8; ++i) {
      const auto cur = image.at(x, block + i);
      const uint16_t t = static_cast<uint16_t>(
          threshold.of(i, [&](int row) { return image.at(x, block + row); }) + 1);
      const auto d = distance(cur, prev[i]);
      next[i] = cur;
      if (is_valid(cur) && is_valid(prev[i]))
        counter[i] = 0;
      if (!is_valid(cur) && is_valid(prev[i])) {
        if (++counter[i] < radius)
          next[i] = prev[i];
      } else if (is_valid(cur) && is_valid(prev[i]) && d > 0 && d < t) {
        next[i] = static_cast<uint16_t>((cur + prev[i]) >> 1);
      }
    }
    for (int i = 0; i < 8; ++i)
      prev[i] = image.at(x, block + i) = next[i];
  }
}

inline void walk_rows(const Image& image, const AdvancedThreshold& threshold, uint8_t radius) {
  if (image.width <= 2)
    return;
  for (int block = 0; block + 8 <= image.height; block += 8) {
    walk_row_block(image, threshold, radius, block, 0, image.width - 1, 1);
    walk_row_block(image, threshold, radius, block, image.width - 1, -1, -1);
  }
}

inline void walk_columns(const Image& image, const AdvancedThreshold& threshold) {
  const auto meet = [&](int y, int previous) {
    for (int group = 0; group + 8 <= image.width; group += 8) {
      uint16_t t[8];
      for (int i = 0; i < 8; ++i)
        t[i] = threshold.of(i, [&](int column) { return image.at(group + column, y); });
      for (int i = 0; i < 8; ++i) {
        auto& cur = image.at(group + i, y);
        const auto prev = image.at(group + i, previous);
        const auto d = distance(cur, prev);
        if (is_valid(cur) && is_valid(prev) && d > 0 && d < t[i])
          cur = static_cast<uint16_t>((cur + prev) >> 1);
      }
    }
  };
  for (int y = 1; y < image.height; ++y)
    meet(y, y - 1);
  for (int y = image.height - 2; y >= 0; --y)
    meet(y, y + 1);
}

inline void smooth_recursively(const Image& image, const AdvancedThreshold& threshold,
                               int iterations, uint8_t radius) {
  for (int i = 0; i < (threshold.fixed ? 1 : iterations); ++i) {
    walk_rows(image, threshold, radius);
    walk_columns(image, threshold);
  }
}

} // namespace naive
