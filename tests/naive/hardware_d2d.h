#pragma once

#include <optional>

#include "naive/depth_table.h"
#include "naive/image.h"
#include "support/camera_frame.h"

namespace naive {

/// HardwareD2DCorrectionFilter, on depth frames.
struct HardwareD2D {
  double disp_offset = 0, invalid_depth = 0, fb = 0;
  bool changed = false;
  float tolerance = 0, last_scale = 0;
  std::optional<test::CameraFrame> cached{};

  void reset() { *this = {.tolerance = tolerance, .last_scale = last_scale}; }

  /// Nothing for a frame without an offset, which is passed on.
  std::optional<Pixels> correct(const test::CameraFrame& input) {
    Pixels pixels = input.pixels;
    if (!cached || cached->width != input.width || cached->height != input.height) {
      cached = input;
      fb = double{input.record.baseline} * input.record.fx;
    }
    if (!input.offset) {
      disp_offset = 0;
    } else if (disp_offset != static_cast<double>(*input.offset) || disp_offset == 0x1p63) {
      // The largest offsets are none of the doubles: they count as new each time.
      disp_offset = static_cast<double>(*input.offset);
      changed = true;
    }
    if (disp_offset == 0)
      return std::nullopt;
    if (changed)
      invalid_depth = std::round(fb / disp_offset);
    changed = false;
    const bool banded = input.bits == 12 || input.bits == 14;
    if (banded && std::fabs(input.scale - last_scale) >= 1e-6f) {
      tolerance = 12.8f;
      for (const float step : {6.4f, 3.2f, 1.6f, 0.8f, 0.4f})
        if (step >= input.scale && (input.bits == 14 || step > 1.0f))
          tolerance = step;
      last_scale = input.scale;
    }
    for (auto& pixel : pixels) {
      const auto v = static_cast<double>(static_cast<float>(pixel) * input.scale);
      const auto band = static_cast<double>(tolerance);
      if (banded ? invalid_depth - band <= v && v <= invalid_depth + band
                 : cut(v) == cut(invalid_depth))
        pixel = 0;
    }
    return pixels;
  }
};

} // namespace naive
