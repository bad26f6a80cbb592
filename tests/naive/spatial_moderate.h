#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>

#include "naive/image.h"

namespace naive {

struct ModerateThresholds {
  bool fixed;
  uint16_t value;
  std::array<uint16_t, 7> table = {};
  unsigned shift = 0;

  uint16_t of(uint16_t pixel) const {
    return fixed ? value : table[shift < 16 ? std::min(unsigned{pixel} >> shift, 6U) : 0];
  }
};

/// Means of the windows, row of the window by row.
inline void smooth_windows(const Image& image, int reach, int iterations,
                           const ModerateThresholds& thresholds) {
  const int width = image.width;
  std::vector<uint32_t> sums(static_cast<size_t>(width)), counts(sums);
  const int grouped = reach + std::max(width - 2 * reach, 0) / 8 * 8;
  for (int i = 0; i < iterations; ++i) {
    for (int y = reach; y < image.height - reach; ++y) {
      for (int dy = -reach; dy <= reach; ++dy) {
        int shared = 0;
        for (int x = reach; x < width - reach; ++x) {
          const bool in_group = x < grouped;
          if (in_group && (x - reach) % 8 == 0)
            shared = thresholds.of(image.at(x + dy, y));
          auto& sum = sums[static_cast<size_t>(x)];
          auto& count = counts[static_cast<size_t>(x)];
          const auto p = image.at(x, y);
          if (p == 0)
            continue;
          for (int dx = -reach; dx <= reach; ++dx) {
            const auto q = image.at(x + dx, y + dy);
            const int difference = std::abs(q - p);
            if (q != 0 && (in_group ? difference < shared : difference <= thresholds.of(p))) {
              sum += q;
              ++count;
            }
          }
          if (dy == reach) {
            if (count != 0)
              image.at(x, y) = static_cast<uint16_t>(sum / count);
            sum = count = 0;
          }
        }
      }
    }
  }
}

} // namespace naive
