#pragma once

#include <cmath>
#include <cstdint>

namespace filter_processor {

/// The low 16 bits of `value` cut to a whole number, however large; 0 for NaN and infinity, which
/// no whole number can hold.
inline uint16_t low_16_bits(double value) {
  if (!std::isfinite(value))
    return 0;
  const double rest = std::fmod(std::trunc(value), 65536.0); // exact, with the sign of value
  return static_cast<uint16_t>(static_cast<int32_t>(rest));
}

/// `value` cut to a whole number, or the nearest 32-bit one; 0 for NaN.
inline int32_t saturated_int32(double value) {
  if (std::isnan(value))
    return 0;
  return static_cast<int32_t>(std::fmin(std::fmax(value, INT32_MIN), INT32_MAX));
}

} // namespace filter_processor
