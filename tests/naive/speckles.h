#pragma once

// Speckle removal written down as depth-first growth, pixel by pixel.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "filters/noise/speckle/speckle_kernels.h"

namespace naive {

using filter_processor::SpeckleTask;

class Speckles {
 public:
  Speckles(const SpeckleTask& task, std::vector<uint16_t>& pixels)
      : task_(task), pixels_(pixels), width_(static_cast<int>(task.width)),
        height_(static_cast<int>(task.height)), labels_(pixels.size()), is_speckle_(1) {}

  void run() {
    const int step = choose_sampling();
    for (int y = step - 1; y < height_; y += step)
      for (int x = step - 1; x < width_; x += step)
        visit(x, y, step);
  }

 private:
  uint16_t& pixel(int x, int y) { return pixels_[index(x, y)]; }
  size_t index(int x, int y) const {
    return static_cast<size_t>(y) * task_.width + static_cast<size_t>(x);
  }

  int choose_sampling() {
    const auto is = [&](int w, int h) { return width_ == w || height_ == h; };
    if (!task_.single)
      return is(1280, 1280) || is(640, 640) ? 2 : 1;
    constexpr struct {
      int width, height, size;
    } defaults[] = {
        {1280, 1280, 1920}, {640, 640, 480}, {320, 320, 120}, {160, 160, 30}, {424, 266, 120}};
    int fallback = 0;
    for (const auto& each : defaults)
      if (fallback == 0 && is(each.width, each.height))
        fallback = each.size;
    const int size = fallback > 0 ? task_.max_size >> 2 : task_.max_size;
    max_size_ = size > 0 ? size : fallback > 0 ? fallback : 480;
    return fallback > 0 ? 2 : 1;
  }

  int threshold(int value) const {
    if (task_.lut_size == 0)
      return task_.max_diff;
    const int bin = (value >> task_.depth_shift) & 0xff;
    return task_.lut[std::min(bin, task_.lut_size - 1)];
  }

  bool may_expand(int value, int other) const {
    return std::abs(value - other) <= threshold(value);
  }

  int limit(int x, int y) const {
    if (task_.single)
      return max_size_;
    const auto tile = [](int position, int size, int count) {
      return size == 0 ? count - 1 : std::min(position / size, count - 1);
    };
    const auto across = static_cast<int>(task_.tiles_x);
    const auto down = static_cast<int>(task_.tiles_y);
    return task_
        .tile_limits[tile(y, height_ / down, down) * across + tile(x, width_ / across, across)];
  }

  void visit(int x, int y, int step) {
    const int value = pixel(x, y);
    if (static_cast<uint32_t>(value) == task_.invalid_value)
      return clear(x, y, step);
    size_t& label = labels_[index(x, y)];
    if (label == 0) {
      label = is_speckle_.size();
      is_speckle_.push_back(grow(x, y, step) <= limit(x, y));
    }
    if (is_speckle_[label])
      clear(x, y, step);
    else if (step == 2)
      repair(x, y, value);
  }

  int grow(int seed_x, int seed_y, int step) {
    const size_t label = labels_[index(seed_x, seed_y)];
    std::vector<std::pair<int, int>> stack = {{seed_x, seed_y}};
    int count = 0;
    while (!stack.empty()) {
      const auto [x, y] = stack.back();
      stack.pop_back();
      ++count;
      const int value = pixel(x, y);
      const std::pair<int, int> neighbours[] = {
          {x + step, y}, {x - step, y}, {x, y + step}, {x, y - step}};
      for (const auto& [nx, ny] : neighbours) {
        if (nx < 0 || nx >= width_ || ny < 0 || ny >= height_ || labels_[index(nx, ny)] != 0)
          continue;
        const int other = pixel(nx, ny);
        if (static_cast<uint32_t>(other) == task_.invalid_value || !may_expand(value, other))
          continue;
        labels_[index(nx, ny)] = label;
        stack.emplace_back(nx, ny);
      }
    }
    return count;
  }

  /// The pixel or its whole block.
  void clear(int x, int y, int step) {
    for (int dy = 0; dy < step; ++dy)
      for (int dx = 0; dx < step; ++dx)
        pixel(x - dx, y - dy) = static_cast<uint16_t>(task_.invalid_value);
  }

  void repair(int x, int y, int value) {
    for (uint16_t* companion : {&pixel(x - 1, y), &pixel(x, y - 1), &pixel(x - 1, y - 1)})
      if (!may_expand(value, *companion))
        *companion = static_cast<uint16_t>(value);
  }

  const SpeckleTask& task_;
  std::vector<uint16_t>& pixels_;
  int width_, height_;
  int max_size_ = 0;
  std::vector<size_t> labels_;
  std::vector<bool> is_speckle_; ///< by label; labels begin with 1
};

inline void remove_speckles(const SpeckleTask& task, std::vector<uint16_t>& pixels) {
  Speckles(task, pixels).run();
}

} // namespace naive
