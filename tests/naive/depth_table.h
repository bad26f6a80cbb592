#pragma once

#include <cmath>

#include "plugin/base/frame_info.h"

namespace naive {

/// The low 16 bits of a whole number that may be larger than any integer type; 0 for none.
inline uint16_t cut(double value) {
  if (!std::isfinite(value))
    return 0;
  const double whole = std::trunc(value);
  return static_cast<uint16_t>(whole - std::floor(whole / 65536.0) * 65536.0);
}

/// The table entry by entry, in the widths that hosts rely on; left as it is on failure.
inline bool build_depth_table(const filter_processor::FrameInfo& info, uint16_t difference,
                              filter_processor::DepthDiffLut& table) {
  const bool depth = info.depth_flag == GX_PIXEL_DEPTH;
  const bool tof = info.depth_flag == GX_PIXEL_TOF_DEPTH;
  if (depth && (info.depth_unit <= 0 || info.bxf <= 0))
    return false;
  for (int k = 1; k <= 7; ++k) {
    float a = static_cast<float>(difference / std::pow(2.0, info.fraction_bit_size));
    a = a * 500.0F;
    a = a * 500.0F;
    a = a / info.bxf;
    a = a * static_cast<float>(k * k);
    table.entries[static_cast<size_t>(k - 1)] = cut(depth ? double{a} / info.depth_unit
                                                    : tof ? double{1} * k * difference
                                                          : 0);
  }
  if (tof)
    table.shift = 9;
  if (depth) {
    const float octaves = std::floor(std::log2(static_cast<float>(info.depth_unit / 0.1)));
    table.shift = info.depth_unit < 0.1 ? uint8_t{13} : static_cast<uint8_t>(12 - cut(octaves));
  }
  return true;
}

} // namespace naive
