#include "golden/scenes.h"

#include <algorithm>

namespace golden {
namespace {

using test::one_of;
using test::Random;

// Draws from `random` stand in statements of their own: the order of a call's arguments is the
// compiler's choice.

class Painter {
 public:
  Painter(uint32_t width, uint32_t height, uint32_t moment)
      : width_(width), height_(height), moment_(moment), noise_(moment + 1),
        pixels_(size_t{width} * height) {}

  void surface(Random& random, bool whole) {
    uint32_t left = random() % width_;
    uint32_t top = random() % height_;
    uint32_t columns = 1 + random() % width_;
    uint32_t rows = 1 + random() % height_;
    const uint32_t level =
        one_of(random, {0U, 200U, 900U, 1000U, 1010U, 1100U, 1490U, 2500U, 2857U, 3000U, 4000U,
                        5000U, 10000U, 25000U, 28570U, 40000U, 65000U});
    const uint32_t spread = one_of(random, {1U, 1U, 1U, 3U, 20U, 60U, 400U});
    const uint32_t slope = one_of(random, {0U, 0U, 1U, 9U});
    const uint32_t holes = one_of(random, {0U, 0U, 6U, 50U}); // of 128
    left += random() % 3 * moment_;
    if (whole) {
      left = top = 0;
      columns = width_;
      rows = height_;
    }
    for (uint32_t y = top; y < std::min(top + rows, height_); ++y) {
      for (uint32_t x = left; x < std::min(left + columns, width_); ++x) {
        const uint32_t dice = spread + holes > 1 ? noise_() : 0;
        const uint32_t depth = level + (dice >> 8) % spread + slope * (x + y);
        at(x, y) = static_cast<uint16_t>(dice % 128 < holes ? 0 : std::min(depth, 65535U));
      }
    }
  }

  /// Single pixels and small blocks.
  void specks() {
    for (size_t i = 0; i < pixels_.size() / 50; ++i) {
      const uint32_t left = noise_() % width_;
      const uint32_t top = noise_() % height_;
      const uint32_t side = 1 + noise_() % 3;
      const uint32_t depth = noise_() >> noise_() % 16;
      for (uint32_t y = top; y < std::min(top + side, height_); ++y)
        for (uint32_t x = left; x < std::min(left + side, width_); ++x)
          at(x, y) = static_cast<uint16_t>(depth);
    }
  }

  void codes() {
    for (size_t i = 0; i < pixels_.size() / 100; ++i) {
      const auto code = one_of<uint16_t>(noise_, {1, 8191, 8192, 32768, 65531, 65532, 65535});
      pixels_[noise_() % pixels_.size()] = code;
    }
  }

  void border(Random& random) {
    const uint32_t widest = 1 + random() % (1 + width_ / 6);
    const uint32_t blank_rows = random() % (1 + height_ / 8);
    for (uint32_t y = 0; y < height_; ++y) {
      const uint32_t left = noise_() % widest;
      const uint32_t right = noise_() % widest;
      const bool blank = y < blank_rows || y + blank_rows >= height_;
      for (uint32_t x = 0; x < width_; ++x)
        if (blank || x < left || x + right >= width_)
          at(x, y) = 0;
    }
  }

  test::Pixels take() { return std::move(pixels_); }

 private:
  uint16_t& at(uint32_t x, uint32_t y) { return pixels_[size_t{y} * width_ + x]; }

  uint32_t width_, height_, moment_;
  Random noise_;
  test::Pixels pixels_;
};

} // namespace

test::Pixels draw_scene(uint32_t width, uint32_t height, uint32_t seed, uint32_t moment) {
  Random random(seed);
  Painter painter(width, height, moment);
  painter.surface(random, true);
  for (uint32_t left = 3 + random() % 10; left > 0; --left)
    painter.surface(random, false);
  painter.specks();
  painter.codes();
  if (random() % 2 == 0)
    painter.border(random);
  return painter.take();
}

} // namespace golden
