#pragma once

#include <algorithm>
#include <cmath>

#include "naive/image.h"

namespace naive {

inline uint16_t blend(uint16_t p, uint16_t c, float diff_scale, float weight) {
  if (c == 0 || p == 0)
    return c;
  const float previous = p;
  const float current = c;
  const float limit = std::min(previous, current) * diff_scale;
  if (!(std::fabs(current - previous) < limit))
    return c;
  const float previous_weight = 1.0F - weight;
  const float previous_part = previous * previous_weight;
  const float current_part = current * weight;
  const float sum = previous_part + current_part;
  return static_cast<uint16_t>(sum);
}

/// Leaves the result in both.
inline void blend(Pixels& pixels, Pixels& history, float diff_scale, float weight) {
  for (size_t i = 0; i < pixels.size(); ++i)
    history[i] = pixels[i] = blend(history[i], pixels[i], diff_scale, weight);
}

} // namespace naive
