// EdgeNoiseRemovalFilter and MgcNoiseRemovalFilter as their descriptions read.
#pragma once

#include <cmath>
#include <cstdlib>
#include <string>

#include "naive/edge_strips.h"
#include "support/camera_frame.h"

namespace naive {

/// Values in the order of the longer schema; the shorter one lacks the first three.
struct StripValues {
  int64_t left = 0, right = 0, radius = 0;
  int64_t margin_x = 6, margin_y = 6, limit_x = 70, limit_y = 30;
  int64_t vertical = 1;
  int64_t width = 1280, height = 800;

  friend bool operator==(const StripValues&, const StripValues&) = default;
};

inline constexpr StripValues mgc_defaults{80, 80, 640, 6, 0, 120, 120, 1, 1280, 800};

inline int64_t floor_root(int64_t square) {
  return static_cast<int64_t>(std::sqrt(static_cast<long double>(std::max(square, int64_t{0}))));
}

/// Either filter.
class EdgeStripsFilter {
 public:
  explicit EdgeStripsFilter(bool mgc) : mgc_(mgc) { reset(); }

  /// Texts within their ranges.
  void update(const std::vector<std::string>& texts) {
    StripValues values;
    auto text = texts.begin();
    const auto read = [&](std::initializer_list<int64_t StripValues::*> members) {
      for (int64_t StripValues::*const member : members)
        values.*member = std::atoi((text++)->c_str());
    };
    using V = StripValues;
    if (mgc_)
      read({&V::left, &V::right, &V::radius});
    read({&V::margin_x, &V::margin_y, &V::limit_x, &V::limit_y});
    if (!mgc_)
      read({&V::vertical});
    read({&V::width, &V::height});
    store(values);
  }
  void store(const StripValues& values) {
    changed_ = changed_ || !(values == anchor_);
    anchor_ = values;
  }
  void reset() {
    anchor_ = mgc_ ? mgc_defaults : StripValues{};
    current_ = anchor_;
    changed_ = false;
  }

  /// The filtered image, or nothing and the error's text.
  Pixels process(const test::CameraFrame& input, std::string& error) {
    const int64_t width = input.width;
    const int64_t height = input.height;
    const std::string name = mgc_ ? "MgcNoiseRemovalFilter" : "EdgeNoiseRemovalFilter";
    const bool has_table = !mgc_ || (table_width_ == width && table_height_ == height);
    if (changed_ || current_.width != width || current_.height != height || !has_table) {
      if (!derive(width, height)) {
        error = "invalid params | " + name + "::updateConfig | width||height | 4";
        return {};
      }
    }
    const bool columns = current_.vertical != 0;
    if ((!mgc_ && current_.margin_x > current_.limit_x) ||
        (columns && current_.margin_y > current_.limit_y)) {
      error = (mgc_ ? "mgc" : "edge") + std::string(" noise removal filter error | ") + name +
              "::filter_process | " + name + " | 0";
      return {};
    }
    const auto rows = static_cast<size_t>(height);
    const Runs margins(rows, {current_.margin_x, current_.margin_x});
    return clear_strips(input.pixels, width, height,
                        {mgc_ ? table_ : margins, mgc_, current_.limit_x,
                         columns ? current_.margin_y : 0, current_.limit_y});
  }

 protected:
  StripValues anchor_, current_;

 private:
  bool derive(int64_t width, int64_t height) {
    if (width == 0 || height == 0)
      return false;
    StripValues derived = anchor_;
    const float rx = static_cast<float>(width) / static_cast<float>(anchor_.width);
    const float ry = static_cast<float>(height) / static_cast<float>(anchor_.height);
    for (int64_t* value :
         {&derived.left, &derived.right, &derived.radius, &derived.margin_x, &derived.limit_x})
      *value = static_cast<int64_t>(static_cast<float>(*value) * rx);
    for (int64_t* value : {&derived.margin_y, &derived.limit_y})
      *value = static_cast<int64_t>(static_cast<float>(*value) * ry);
    derived.width = width;
    derived.height = height;
    if (mgc_ && (table_width_ != width || table_height_ != height))
      build_table(derived);
    if (rx < 1e-5 || ry < 1e-5 || rx * ry < 1e-5)
      return false;
    current_ = derived; // ratios of 1 change nothing
    changed_ = false;
    return true;
  }

  void build_table(const StripValues& values) {
    const auto [w, h] = std::pair(values.width, values.height);
    const int64_t q = h * h / 4;
    const int64_t radius = values.radius != 0 ? values.radius : w > h ? w / 2 : h / 2;
    const int64_t right = values.right != 0 ? values.right : values.left;
    const int64_t c = floor_root(radius * radius - q);
    table_.clear();
    for (int64_t y = 0; y < h; ++y) {
      const int64_t bulge = floor_root((h - y) * y - q + radius * radius) - c;
      const auto run = [&](int64_t side) {
        return (bulge <= side ? values.margin_x + side - bulge : values.margin_x) & 0xffff;
      };
      table_.push_back({run(values.left), run(right)});
    }
    table_width_ = w;
    table_height_ = h;
  }

  bool mgc_;
  bool changed_ = false;
  int64_t table_width_ = 0, table_height_ = 0;
  Runs table_;
};

} // namespace naive
