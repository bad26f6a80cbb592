#pragma once

// FalsePositiveFilter written down literally: the record by byte offsets, one step after the other,
// pixel by pixel. The truth that the real one is compared with.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "naive/image.h"

namespace naive::false_positive {

/// The configuration record as bytes.
struct Record {
  std::array<uint8_t, 289> bytes{};

  template <typename T>
  void set(size_t offset, std::vector<T> values) {
    std::memcpy(&bytes.at(offset), values.data(), values.size() * sizeof(T));
  }
  void u8(size_t offset, int value) { bytes.at(offset) = static_cast<uint8_t>(value); }
  void u16(size_t offset, int value) { set<uint16_t>(offset, {static_cast<uint16_t>(value)}); }
  void f32(size_t offset, float value) { set<float>(offset, {value}); }

  template <typename T>
  T get(size_t offset) const {
    T value;
    std::memcpy(&value, &bytes.at(offset), sizeof value);
    return value;
  }
  int u8(size_t offset) const { return bytes.at(offset); }
  uint32_t u16(size_t offset) const { return get<uint16_t>(offset); }
  float f32(size_t offset) const { return get<float>(offset); }

  friend bool operator==(const Record&, const Record&) = default;
};

inline Record default_record(int width = 848, int height = 480) {
  const std::vector<float> roi = {0.0F, 1.0F, 0.0F, 0.6F};
  Record r;
  r.set<uint16_t>(0, {static_cast<uint16_t>(width), static_cast<uint16_t>(height)});
  r.set<uint16_t>(4, {0,   80,  500, 30,  30,  30,  35,  40,  45,  65,  80, 100,
                      110, 135, 160, 200, 240, 280, 320, 365, 410, 460, 515});
  r.set<uint16_t>(53, {40, 0, 10000});
  r.set(59, roi);
  r.f32(75, 0.98F);
  r.set<uint16_t>(80, {1000, 6000});
  r.set(84, roi);
  r.set<float>(100, {0.15F, 0.3F, 0.3F, 0.12F, 0.24F, 0.48F, 0.72F, 0.1F, 0.3F, 0.5F, 0.75F, 1.0F,
                     1.0F, 1.0F, 0.92F});
  r.set<uint16_t>(161, {3000, 4000, 15000});
  r.set(167, roi);
  r.set<float>(183, {0.15F, 0.25F});
  r.set(191, std::vector<uint16_t>(20, 50));
  r.u16(232, 625);
  r.set<float>(234, {0.5F, 415, 415, 424, 240, 0.0F, -0.9962F, -0.0872F, 259});
  r.u16(271, 500);
  r.set<float>(273, {0.0F, 0.1F, 0.4F, 1.0F});
  return r;
}

/// The whole part, within bounds that stand for "beyond any image".
inline int whole(float value) {
  return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, -1e6F, 1e6F));
}

/// How often each rule had its way, so that tests can tell that they met them all.
struct Fired {
  int bleeding_run = 0, partial_run = 0, small = 0, texture = 0, flat = 0, ground = 0, band = 0,
      candidate = 0, supported = 0, unsupported = 0, foreign_neighbour = 0;
};

class Stage {
 public:
  Stage(Pixels& image, int width, int height, const Record& record, Fired& fired)
      : image_(image), w_(width), h_(height), r_(record), fired_(fired) {}

  int run() {
    if (r_.u8(52) != 0)
      edge_bleed();
    if (r_.u8(50) != 0)
      turn(r_.u8(51));
    const auto count = image_.size();
    labels_.assign(count, 0);
    marks_.assign(count, 0);
    sizes_.assign(count + 2, 0);
    small_.assign(count, 0);
    regions();
    for (const auto& candidate : candidates_)
      judge(candidate);
    for (size_t i = 0; i < count; ++i)
      if (labels_[i] >= 2 && marks_[labels_[i] - 2] >= 2)
        image_[i] = 0;
    return r_.u8(50) != 0 ? turn(4 - r_.u8(51)) : 0;
  }

 private:
  struct Candidate {
    uint32_t label;
    int x0, x1, y0, y1;
  };

  size_t at(int x, int y) const { return place(x, y, w_); }
  float w() const { return static_cast<float>(w_); }
  float h() const { return static_cast<float>(h_); }

  void edge_bleed() {
    const float first_y = h() * r_.f32(67);
    const float first_x = w() * r_.f32(59) + 1.0F;
    if (std::isnan(first_x) || std::isnan(first_y))
      return;
    for (int y = std::max(whole(first_y), 0); y < h_ && static_cast<float>(y) < h() * r_.f32(71);
         ++y) {
      int start = 0;
      int value = image_[at(0, y)];
      for (int x = std::max(whole(first_x), 0); x < w_ && static_cast<float>(x) < w() * r_.f32(63);
           ++x) {
        const int pixel = image_[at(x, y)];
        if (pixel != 0 && pixel == value)
          continue;
        if (value != 0 && value <= static_cast<int>(r_.u16(57)) &&
            x - start >= static_cast<int>(r_.u16(53)))
          clear_run(start, x, y);
        start = x;
        value = pixel;
      }
    }
  }

  void clear_run(int start, int end, int y) {
    const int ends = static_cast<int>(r_.u16(55));
    ++(ends == 0 || 2 * ends >= end - start ? fired_.bleeding_run : fired_.partial_run);
    for (int x = start; x < end; ++x)
      if (ends == 0 || x < start + ends || x >= end - ends)
        image_[at(x, y)] = 0;
  }

  int turn(int code) {
    if (code < 1 || code > 3)
      return -1;
    const Pixels from = image_;
    for (int y = 0; y < h_; ++y) {
      for (int x = 0; x < w_; ++x) {
        const int to = code == 1   ? x * h_ + (h_ - 1 - y)
                       : code == 3 ? (w_ - 1 - x) * h_ + y
                                   : w_ * h_ - 1 - (y * w_ + x);
        image_[static_cast<size_t>(to)] = from[at(x, y)];
      }
    }
    if (code != 2)
      std::swap(w_, h_);
    return 0;
  }

  void regions() {
    for (int y = 0; y < h_; ++y) {
      for (int x = 0; x < w_; ++x) {
        const auto i = at(x, y);
        if (image_[i] == r_.u16(4))
          continue;
        if (labels_[i] == 0)
          grow(x, y);
        else if (small_[labels_[i] - 2] != 0)
          remove(i);
      }
    }
  }

  void remove(size_t i) {
    image_[i] = static_cast<uint16_t>(r_.u16(4));
    labels_[i] = 1;
  }

  struct Region {
    int64_t n = 0, sum = 0, s_diff = 0, b = 0, i = 0, i_up = 0, d = 0, d_far = 0, hj = 0, h_eq = 0;
    int min = 65535, max = 0, x0 = 0, x1 = 0, y0 = 0, y1 = 0;
    int mean() const { return static_cast<int>(sum / n); }
  };

  void grow(int seed_x, int seed_y) {
    const size_t seed = at(seed_x, seed_y);
    const auto own = static_cast<uint32_t>(2 + seed);
    Region g;
    g.x0 = w_ - 1;
    g.y0 = h_ - 1;
    std::vector<std::pair<int, int>> stack = {{seed_x, seed_y}};
    labels_[seed] = own;
    while (!stack.empty()) {
      const auto [x, y] = stack.back();
      stack.pop_back();
      const int depth = image_[at(x, y)];
      ++g.n;
      g.sum += depth;
      g.min = std::min(g.min, depth);
      g.max = std::max(g.max, depth);
      g.x0 = std::min(g.x0, x);
      g.x1 = std::max(g.x1, x);
      g.y0 = std::min(g.y0, y);
      g.y1 = std::max(g.y1, y);
      const int bin = std::min(depth / static_cast<int>(r_.u16(8)), 19);
      const int t = static_cast<int>(r_.u16(10 + 2 * static_cast<size_t>(bin)));
      const int steps[4][2] = {{0, 1}, {0, -1}, {1, 0}, {-1, 0}};
      for (int k = 0; k < 4; ++k) {
        const int nx = x + steps[k][0];
        const int ny = y + steps[k][1];
        if (nx < 0 || nx >= w_ || ny < 0 || ny >= h_)
          continue;
        const size_t j = at(nx, ny);
        const int other = image_[j];
        if (other == static_cast<int>(r_.u16(4))) {
          ++g.b;
          ++g.i;
          g.d += k == 0;
          g.d_far += k == 0;
          g.i_up += k == 1;
          continue;
        }
        const int diff = std::abs(depth - other);
        if (diff <= t && labels_[j] == 0) {
          labels_[j] = own;
          stack.emplace_back(nx, ny);
          g.s_diff += diff;
          g.hj += k >= 2;
          g.h_eq += k >= 2 && diff == 0;
        } else if (diff > t || labels_[j] != own) {
          fired_.foreign_neighbour += diff <= t;
          ++g.b;
          g.d += k == 0;
          g.d_far += k == 0 && (other - depth > t || depth - other > 3 * t);
        }
      }
    }
    if (g.n <= r_.u16(6)) {
      ++fired_.small;
      small_[seed] = 1;
      remove(seed);
      return;
    }
    sizes_[own] = static_cast<uint32_t>(g.n);
    if (sparse_texture(g) || flat_bleed(g) || ground_plane(g) || left_band(g))
      marks_[seed] = own;
    else if (candidate(g))
      candidates_.push_back({own, g.x0, g.x1, g.y0, g.y1});
  }

  bool in_roi(const Region& g, size_t offset) const {
    return static_cast<float>(g.x0) >= w() * r_.f32(offset) &&
           static_cast<float>(g.y0) >= h() * r_.f32(offset + 8) &&
           w() * r_.f32(offset + 4) >= static_cast<float>(g.x1) &&
           h() * r_.f32(offset + 12) >= static_cast<float>(g.y1);
  }

  bool sparse_texture(const Region& g) {
    if (r_.u8(79) == 0)
      return false;
    if (!in_roi(g, 84) && !(w() * r_.f32(100) > static_cast<float>(g.x1)))
      return false;
    if (!(w() * r_.f32(104) > static_cast<float>(g.x1 - g.x0)) ||
        !(h() * r_.f32(108) > static_cast<float>(g.y1 - g.y0)))
      return false;
    if (g.n >= r_.u16(80) || g.mean() >= static_cast<int>(r_.u16(82)))
      return false;
    float f_down = 0;
    float f_side = 0;
    if (g.d != 0 && g.b != g.i_up) {
      f_down = static_cast<float>(g.d_far) / static_cast<float>(g.d);
      f_side = 1.0F - static_cast<float>(g.i - g.i_up) / static_cast<float>(g.b - g.i_up);
    }
    for (size_t k = 0; k < 4; ++k) {
      if (static_cast<float>(r_.u16(80)) * r_.f32(112 + 4 * k) > static_cast<float>(g.n) &&
          f_down > r_.f32(128 + 4 * k) && r_.f32(144 + 4 * k) > f_side) {
        ++fired_.texture;
        return true;
      }
    }
    return false;
  }

  bool flat_bleed(const Region& g) {
    const bool flat =
        r_.u8(52) != 0 && static_cast<float>(g.h_eq) / static_cast<float>(g.hj) > r_.f32(75);
    fired_.flat += flat;
    return flat;
  }

  bool ground_plane(const Region& g) {
    if (r_.u8(231) == 0 || g.n >= r_.u16(232) || !(static_cast<float>(g.y0) > h() * r_.f32(234)))
      return false;
    const auto z = static_cast<float>(g.mean());
    const float v = static_cast<float>(g.y1 + g.y0) * 0.5F - r_.f32(250);
    const float u = static_cast<float>(g.x1 + g.x0) * 0.5F - r_.f32(246);
    const float height = (v * z / r_.f32(242)) * r_.f32(258) + (u * z / r_.f32(238)) * r_.f32(254) +
                         z * r_.f32(262) + r_.f32(266);
    fired_.ground += height < 0;
    return height < 0;
  }

  bool left_band(const Region& g) {
    const bool in_band = r_.u8(270) != 0 && g.n < r_.u16(271) &&
                         static_cast<float>(g.x0) > w() * r_.f32(273) &&
                         w() * r_.f32(277) > static_cast<float>(g.x1) &&
                         static_cast<float>(g.y0) > h() * r_.f32(281) &&
                         h() * r_.f32(285) > static_cast<float>(g.y1);
    fired_.band += in_band;
    return in_band;
  }

  bool candidate(const Region& g) {
    if (r_.u8(160) == 0 || !in_roi(g, 167) || g.mean() >= static_cast<int>(r_.u16(163)) ||
        g.n >= r_.u16(161))
      return false;
    double q = 100000;
    if (g.s_diff != 0 && g.max != g.min) {
      const float step = static_cast<float>(g.s_diff) / static_cast<float>(g.n);
      const float range = static_cast<float>(g.max - g.min) / static_cast<float>(g.mean());
      q = (100.0 / static_cast<double>(step)) / static_cast<double>(range);
    }
    const int band = std::min(g.y1 / std::max(h_ / 20, 1), 19);
    const bool smooth = q > r_.u16(191 + 2 * static_cast<size_t>(band));
    fired_.candidate += smooth;
    return smooth;
  }

  /// 1: confirmed, -1: ended without, 0: no support met.
  int probe(const Candidate& c, int px, int py, int qx, int qy) const {
    const size_t q = at(qx, qy);
    if (labels_[q] < 2 || labels_[q] == c.label || image_[q] == 0 || image_[q] > r_.u16(165) ||
        sizes_[labels_[q]] <= r_.u16(161))
      return 0;
    const float ratio = static_cast<float>(image_[at(px, py)]) / static_cast<float>(image_[q]);
    return ratio > 1.0F - r_.f32(183) && ratio < 1.0F + r_.f32(183) ? 1 : -1;
  }

  void judge(const Candidate& c) {
    if (supported(c)) {
      ++fired_.supported;
      return;
    }
    ++fired_.unsupported;
    for (int y = c.y0; y <= c.y1; ++y) {
      for (int x = c.x0; x <= c.x1; ++x)
        if (labels_[at(x, y)] == c.label)
          marks_[at(x, y)] = c.label;
    }
  }

  bool supported(const Candidate& c) const {
    return supported(c, 0, 1) || supported(c, -1, 0) || supported(c, 1, 0) || supported(c, 0, -1);
  }

  /// Whether one of the candidate's outermost pixels in a direction meets support on the way on.
  bool supported(const Candidate& c, int dx, int dy) const {
    const int reach = whole((dx != 0 ? w() : h()) * r_.f32(187));
    const int first = dx != 0 ? c.y0 : c.x0;
    const int last = dx != 0 ? c.y1 : c.x1;
    for (int line = first; line <= last; ++line) {
      int x = dx == 0 ? line : dx < 0 ? c.x0 : c.x1;
      int y = dy == 0 ? line : dy < 0 ? c.y0 : c.y1;
      for (; labels_[at(x, y)] != c.label; y -= dy)
        x -= dx;
      int end = 0;
      for (int n = 0; n < reach && end == 0; ++n) {
        const int qx = x + n * dx;
        const int qy = y + n * dy;
        if (qx < 0 || qx >= w_ || qy < 0 || qy >= h_)
          break;
        end = probe(c, x, y, qx, qy);
      }
      if (end == 1)
        return true;
    }
    return false;
  }

  Pixels& image_;
  int w_, h_;
  const Record& r_;
  Fired& fired_;
  std::vector<uint32_t> labels_, marks_, sizes_;
  std::vector<uint8_t> small_;
  std::vector<Candidate> candidates_;
};

/// The filter's state over a sequence of calls.
class Filter {
 public:
  explicit Filter(Fired& fired) : fired_(fired) {}

  Record anchor = default_record();
  bool params_changed = false;

  void update(const std::vector<std::string>& values) {
    store(values);
    params_changed = true;
  }
  /// Brings back what can be updated, for the next take-over.
  void reset() {
    store({"0", "0", "1", "0", "0.6", "0", "0", "1", "0", "0.6", "6000", "1000", "0", "0", "1", "0",
           "0.6", "4000", "3000"});
    params_changed = false;
  }

  /// Empties `image` for a frame that is refused; returns the error's message.
  const char* process(Pixels& image, int width, int height) {
    if (!initialized_ || params_changed || width != current_.get<uint16_t>(0) ||
        height != current_.get<uint16_t>(2)) {
      initialized_ = take_over(width, height);
      if (!initialized_) {
        image.clear();
        return "invalid params";
      }
    }
    if (Stage(image, width, height, current_, fired_).run() == 0)
      return "";
    image.clear();
    return "FP filter error";
  }

 private:
  void store(const std::vector<std::string>& values) {
    const size_t offsets[] = {52, 59, 63,  67,  71,  79,  84,  88,  92, 96,
                              82, 80, 160, 167, 171, 175, 179, 163, 161};
    for (size_t i = 0; i < 19; ++i)
      if (i == 0 || i == 5 || i == 12)
        anchor.u8(offsets[i], std::stoi(values[i]));
      else if (i == 10 || i == 11 || i >= 17)
        anchor.u16(offsets[i], std::stoi(values[i]));
      else
        anchor.f32(offsets[i], std::stof(values[i]));
  }

  bool take_over(int width, int height) {
    const float sx = static_cast<float>(width) / static_cast<float>(anchor.u16(0));
    const float sy = static_cast<float>(height) / static_cast<float>(anchor.u16(2));
    const float sxy = sx * sy;
    if (width == 0 || height == 0 || width > 65535 || height > 65535 || sx < 0.00001F ||
        sy < 0.00001F || sxy < 0.00001F)
      return false;
    Record r = anchor;
    const auto scale = [&](size_t offset, float factor) {
      const float product = static_cast<float>(r.u16(offset)) * factor;
      r.u16(offset, static_cast<int>(static_cast<int64_t>(product) & 0xFFFF));
    };
    r.u16(0, width);
    r.u16(2, height);
    scale(53, sx);
    for (const size_t offset : {6U, 80U, 161U, 232U, 271U})
      scale(offset, sxy);
    r.f32(238, r.f32(238) * sx);
    r.f32(246, r.f32(246) * sx);
    r.f32(242, r.f32(242) * sy);
    r.f32(250, r.f32(250) * sy);
    current_ = r;
    params_changed = false;
    return true;
  }

  Record current_;
  bool initialized_ = false;
  Fired& fired_;
};

} // namespace naive::false_positive
