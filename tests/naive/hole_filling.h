#pragma once

#include <algorithm>

#include "naive/image.h"

namespace naive {

inline void fill_top(const Image& image) {
  for (int y = 1; y < image.height; ++y)
    for (int x = 0; x < image.width; ++x)
      if (image.at(x, y) == 0)
        image.at(x, y) = image.at(x, y - 1);
}

/// `best` chooses between two values; `hole` marks a pixel to fill while the row is worked on.
template <typename Best>
void fill_from_neighbours(const Image& image, uint16_t hole, Best best) {
  const auto treated = [&](int x, int y) {
    const uint16_t value = image.at(x, y);
    return value == 0 ? hole : value;
  };
  for (int y = 1; y + 1 < image.height; ++y) {
    uint16_t left = hole;
    for (int x = 0; x < image.width; ++x) {
      uint16_t value = treated(x, y);
      if (value == hole) {
        const auto vertical = best(value, best(treated(x, y - 1), treated(x, y + 1)));
        value = x % 8 == 0 ? left : best(vertical, left);
      }
      left = value;
      image.at(x, y) = hole == 65535 && value == 65535 ? uint16_t{0} : value;
    }
  }
}

inline void fill_minimum(const Image& image) {
  fill_from_neighbours(image, 65535, [](uint16_t a, uint16_t b) { return std::min(a, b); });
}
inline void fill_maximum(const Image& image) {
  fill_from_neighbours(image, 0, [](uint16_t a, uint16_t b) { return std::max(a, b); });
}

/// The form of a mode: 0 top, 1 nearest, 2 farthest. The larger of two disparities is the nearer.
inline void fill(const Image& image, int mode, bool disparities) {
  if (mode == 0)
    fill_top(image);
  else if ((mode == 1) == disparities)
    fill_maximum(image);
  else
    fill_minimum(image);
}

} // namespace naive
