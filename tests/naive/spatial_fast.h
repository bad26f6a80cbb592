#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <utility>

#include "naive/image.h"
#include "support/camera_frame.h"

namespace naive {

/// Up to 25 pixels around one; rows outside the image are its first and last one.
class Window {
 public:
  Window& add(const Image& image, int x, int first_row, int last_row) {
    for (int y = first_row; y <= last_row; ++y)
      values_[count_++] = image.at(x, std::clamp(y, 0, image.height - 1));
    return *this;
  }
  uint16_t median() {
    const auto middle = values_.begin() + count_ / 2;
    std::nth_element(values_.begin(), middle, values_.begin() + count_);
    return *middle;
  }

 private:
  std::array<uint16_t, 25> values_;
  uint8_t count_ = 0;
};

/// Of columns `left` to `right` in rows y - radius to y + radius.
inline uint16_t median(const Image& image, int left, int right, int y, int radius) {
  Window window;
  for (int x = left; x <= right; ++x)
    window.add(image, x, y - radius, y + radius);
  return window.median();
}

/// Of a row's border set: column `full`, and column `cut` without its lowest pixel.
inline uint16_t median_of_nine(const Image& image, int full, int cut, int y) {
  return Window().add(image, full, y - 2, y + 2).add(image, cut, y - 2, y + 1).median();
}

// The pixels that have a median; `to` keeps the others.

inline void median_3x3(const Image& from, const Image& to) {
  for (int y = 0; y < from.height; ++y)
    for (int x = 4; x < 4 + (from.width / 8 - 1) * 8; ++x)
      to.at(x, y) = median(from, x - 1, x + 1, y, 1);
}

inline void median_5x5(const Image& from, const Image& to) {
  const int w = from.width;
  for (int y = 0; y < from.height && w >= 3; ++y) {
    to.at(0, y) = median_of_nine(from, 0, 1, y);
    to.at(1, y) = median(from, 0, 2, y, 2);
    for (int x = 2; x < 2 + w / 8 * 8 && x < w - 2; ++x)
      to.at(x, y) = median(from, x - 2, x + 2, y, 2);
    to.at(w - 2, y) = median_of_nine(from, w - 2, w - 1, y);
    to.at(w - 1, y) = median(from, w - 3, w - 1, y, 2);
  }
}

/// SpatialFastFilter, which takes a new side of the window over with the next frame.
struct SpatialFast {
  int anchor = 3, current = 3;
  bool pending = false; ///< a take-over is due whatever the size
  std::pair<uint32_t, uint32_t> taken{0, 0};

  void store(int side) {
    pending = pending || side != anchor;
    anchor = side;
  }
  void update(const std::vector<std::string>& texts) { store(std::atoi(texts[0].c_str())); }
  void reset() { *this = {.pending = pending}; }
  Pixels process(const test::CameraFrame& input, std::string& error) {
    const std::pair size{input.width, input.height};
    if (size != taken || pending) {
      current = anchor;
      if (input.width == 0 || input.height == 0) {
        error = "invalid params | SpatialFastFilter::updateConfig | "
                "frame_info.width||frame_info.height | 4";
        return {};
      }
      taken = size;
      pending = false;
    }
    Pixels from = input.pixels;
    Pixels to = from;
    (current == 5 ? median_5x5 : median_3x3)({from, input.width, input.height},
                                             {to, input.width, input.height});
    return to;
  }
};

} // namespace naive
