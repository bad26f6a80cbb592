#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <utility>

#include "naive/image.h"
#include "support/camera_frame.h"

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

/// TemporalFilter, frame by frame.
struct Temporal {
  float diff_scale = 0.1F, weight = 0.4F;
  Pixels history{};
  std::pair<uint32_t, uint32_t> of_history{};

  /// Texts within their ranges.
  void update(const std::vector<std::string>& texts) {
    diff_scale = static_cast<float>(std::atof(texts[0].c_str()));
    weight = static_cast<float>(std::atof(texts[1].c_str()));
  }
  void reset() { *this = {}; }
  Pixels process(const test::CameraFrame& input, std::string& /*error*/) {
    Pixels pixels = input.pixels;
    const std::pair size{input.width, input.height};
    if (history.empty() || of_history != size)
      history.assign(pixels.size(), 0);
    of_history = size;
    blend(pixels, history, diff_scale, weight);
    return pixels;
  }
};

} // namespace naive
