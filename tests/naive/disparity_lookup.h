#pragma once

#include "naive/image.h"

namespace naive {

inline void look_up(Pixels& codes, const Pixels& table) {
  for (uint16_t& code : codes)
    code = table[code];
}

/// Of codes whose low four bits are passed on.
inline void look_up_shifted(Pixels& codes, const Pixels& table) {
  for (uint16_t& code : codes)
    code = static_cast<uint16_t>(table[code / 16] * 16 + code % 16);
}

} // namespace naive
