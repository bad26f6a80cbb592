#pragma once

#include <cmath>
#include <cstdint>

namespace filter_processor {

/// The low 16 bits of `value` cut to a whole number, however large; 0 for NaN and infinity, which
/// no whole number can hold.
inline std::uint16_t low_16_bits(double value) {
  if (!std::isfinite(value))
    return 0;
  const double rest = std::fmod(std::trunc(value), 65536.0); // exact, with the sign of value
  return static_cast<std::uint16_t>(static_cast<std::int32_t>(rest));
}

} // namespace filter_processor
