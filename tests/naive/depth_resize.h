#pragma once

#include <cmath>
#include <cstdlib>
#include <string>

#include "naive/sampling.h"

namespace naive {

/// DepthResize, with its parameters as numbers.
struct DepthResize {
  uint32_t dst_width = 0, dst_height = 0;
  float scale = 1;
  int left = 0, right = 0, top = 0, bottom = 0;

  /// The size that an output of a frame has by its scale and sides.
  int64_t out_width(uint32_t width) const { return out(width, left, right); }
  int64_t out_height(uint32_t height) const { return out(height, top, bottom); }

  void update(const std::vector<std::string>& values) {
    const auto whole = [&](size_t i) { return std::atoi(values[i].c_str()); };
    *this = {static_cast<uint32_t>(whole(0)),
             static_cast<uint32_t>(whole(1)),
             static_cast<float>(std::atof(values[2].c_str())),
             whole(3),
             whole(4),
             whole(5),
             whole(6)};
  }
  void reset() { *this = {.dst_width = 1280, .dst_height = 720}; }

  bool fits(uint32_t width, uint32_t height) const {
    return out_width(width) == dst_width && out_height(height) == dst_height;
  }

  Pixels resize(Pixels from, uint32_t width, uint32_t height) const {
    const auto out_w = static_cast<int>(out_width(width));
    const auto out_h = static_cast<int>(out_height(height));
    Pixels to(place(0, out_h, out_w));
    const auto walk = [&](uint32_t side, int before, int end) {
      const auto start =
          before < 0 ? static_cast<uint32_t>(std::fabs(static_cast<float>(before) / scale)) : 0U;
      const float last = static_cast<float>(side) * scale + static_cast<float>(before);
      return Walk{std::max(before, 0), std::min(end, static_cast<int>(last)), start << 16,
                  static_cast<uint32_t>(65536 / scale + 1)};
    };
    sample({from, width, height}, {to, out_w, out_h}, walk(width, left, out_w),
           walk(height, top, out_h));
    return to;
  }

 private:
  int64_t out(uint32_t side, int before, int behind) const {
    const float scaled = static_cast<float>(side) * scale;
    return static_cast<int64_t>((scaled + static_cast<float>(before)) + static_cast<float>(behind));
  }
};

} // namespace naive
