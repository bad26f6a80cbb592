#pragma once

#include "naive/image.h"

namespace naive {

inline void clear_between(Pixels& pixels, uint16_t first, uint16_t last) {
  for (uint16_t& pixel : pixels)
    if (pixel >= first && pixel <= last)
      pixel = 0;
}

} // namespace naive
