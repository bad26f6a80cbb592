// DisparityTransform and OpenNIDisparityTransform, their tables written entry by entry.
#pragma once

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "naive/disparity_lookup.h"
#include "naive/sampling.h"
#include "support/camera_frame.h"

namespace naive {

inline bool same(const D2DParameters& a, const D2DParameters& b) {
  const auto bytes = [](const D2DParameters& record) { // packed: without padding
    std::array<char, sizeof record> copy;
    std::memcpy(copy.data(), &record, sizeof record);
    return copy;
  };
  return bytes(a) == bytes(b);
}

/// What OpenNIDisparityTransform does to the depths, if it has a target size.
struct Resampling {
  uint32_t width = 0, height = 0;
  float scale = 1;
  uint32_t x_cut = 0, y_cut = 0, x_set = 0, y_set = 0;

  bool is_on() const { return width != 0 && height != 0; }

  Pixels sample(Pixels depths, uint32_t source_width, uint32_t source_height) const {
    Pixels output(size_t{width} * height, 0);
    const auto walk = [&](uint32_t source, uint32_t side, uint32_t from, uint32_t blank) {
      const auto step = static_cast<uint32_t>(65536.0f / scale + 1.0f);
      const float covered = static_cast<float>(source) * scale;
      const auto end = std::min(static_cast<uint32_t>(covered), side - std::min(side, blank));
      return Walk{static_cast<int>(blank), static_cast<int>(end), (from << 16) + blank * step,
                  step};
    };
    naive::sample({depths, source_width, source_height}, {output, width, height},
                  walk(source_width, width, x_cut, x_set),
                  walk(source_height, height, y_cut, y_set));
    return output;
  }
};

/// On disparity frames.
struct DisparityFilter {
  explicit DisparityFilter(bool open_ni_filter)
      : open_ni(open_ni_filter), max(open_ni ? 10000 : 65535), min(open_ni ? 100 : 0) {}

  bool open_ni;
  float max, min, unit = 1, value_scale = 1, offset = 0;
  Resampling resampling{};
  bool changed = false;
  D2DParameters stored{};
  std::optional<Pixels> table{};
  uint8_t output_bits = 0;
  std::optional<test::CameraFrame> cached{};

  /// Values within their ranges.
  void update(const std::vector<std::string>& values) {
    const auto real = [&](size_t i) { return static_cast<float>(std::atof(values[i].c_str())); };
    const auto whole = [&](size_t i) {
      return static_cast<uint32_t>(std::atoi(values[i].c_str()));
    };
    update(std::atoi(values[0].c_str()), std::atoi(values[1].c_str()), real(2));
    if (open_ni)
      resampling = {whole(3), whole(4), real(5), whole(6), whole(7), whole(8), whole(9)};
  }

  void update(int new_max, int new_min, float new_unit) {
    if (new_max < 1 || new_max > 65535 || new_min < 1 || new_min > 65535 ||
        static_cast<double>(new_unit) < 0.001 || new_unit > 10.0f)
      return;
    if (static_cast<float>(new_max) == max && new_unit == unit)
      return;
    max = static_cast<float>(new_max);
    min = static_cast<float>(new_min);
    unit = new_unit;
    changed = true;
  }

  void reset() { table.reset(); }

  uint16_t entry(uint32_t i) const {
    const D2DParameters& r = stored;
    const double s = std::pow(2.0, r.bitSize - 8);
    const bool stereo = open_ni || r.isDualCamera != 0;
    const int mode = open_ni ? 1 : r.packMode;
    double d = 0;
    double depth = 0;
    if (stereo) {
      if (mode == 2)
        d = i / s;
      else if (mode == 3)
        d = i / std::pow(2.0, r.bitSize - 10);
      else
        d = 200.375 - (2 * i) / s + 128.0 - static_cast<double>(r.minDisparity);
      if (std::fabs(d - static_cast<double>(r.invalidDisp)) < 0.0001 || i >= 65532)
        return 0;
      if (!(0 < d && d < (mode == 3 ? 1024 : 256)))
        return 0;
      const float scale = value_scale * r.unit;
      depth = static_cast<double>(r.baseline) * r.fx /
              (static_cast<double>(r.dispOffset) + d + static_cast<double>(offset)) *
              static_cast<double>(scale);
    } else {
      if (i >= 65535 || (mode == 2 && i == 8192) || (mode == 1 && i == 0) ||
          (mode == 4 && i >= 65532))
        return 0;
      const int low = static_cast<int>(i) & 0x3fff;
      if (mode == 2)
        d = (low >= 8192 ? low - 16384 : low) / s;
      else
        d = mode == 1 ? 200.375 - (2 * i) / s : i / s;
      const double k = r.zpd / (static_cast<double>(r.baseline) * r.fx);
      depth = static_cast<double>(r.unit) * static_cast<double>(value_scale) * r.zpd /
              ((static_cast<double>(r.dispOffset) + d) * k + 1.0);
    }
    if (!(depth <= static_cast<double>(max * value_scale) &&
          depth >= static_cast<double>(min * value_scale) && depth < 65536.0))
      return 0;
    if (stereo && !open_ni && cached->format == GX_FORMAT_Y12_SHIFTED && depth >= 4096.0)
      return 0;
    return static_cast<uint16_t>(depth);
  }

  /// False for an unsupported pack mode.
  bool build() {
    table = Pixels(65536, 0);
    const int mode = stored.packMode;
    if (!open_ni && (mode < 1 || mode > 4 || mode == (stored.isDualCamera != 0 ? 4 : 3)))
      return false;
    for (uint32_t i = 0; i < 65536 && (stored.bitSize > 15 || i >> stored.bitSize == 0); ++i)
      (*table)[i] = entry(i);
    return true;
  }

  /// Nothing for an unsupported pack mode.
  std::optional<Pixels> convert(const test::CameraFrame& input) {
    if (!cached || cached->width != input.width || cached->height != input.height ||
        cached->format != input.format || cached->bits != input.bits)
      cached = input;
    offset = static_cast<float>(input.offset.value_or(0));
    if (!same(stored, cached->record) || changed) {
      value_scale = 1.0f / unit;
      output_bits = 8;
      while (output_bits < 16 && !(std::ldexp(1.0f, output_bits) > max * value_scale))
        ++output_bits;
      stored = cached->record;
      changed = false;
      if (!build())
        return std::nullopt;
    }
    if (stored.bitSize != input.bits || !table) {
      stored.bitSize = input.bits;
      if (!build())
        return std::nullopt;
    }
    Pixels pixels = input.pixels;
    if (resampling.is_on())
      table->front() = 0; // until the table is built again
    if (!open_ni && input.format == GX_FORMAT_Y12_SHIFTED)
      naive::look_up_shifted(pixels, *table);
    else
      naive::look_up(pixels, *table);
    return resampling.is_on() ? resampling.sample(pixels, input.width, input.height) : pixels;
  }
};

} // namespace naive
