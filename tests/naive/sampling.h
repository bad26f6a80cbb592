#pragma once

#include <algorithm>

#include "naive/image.h"

namespace naive {

/// Along one side of the output: which pixels are sampled, and where the first of them and the ones
/// after it come from, in 16.16 fixed point.
struct Walk {
  int first, end;
  uint32_t at, step;
};

/// The nearest neighbours; what is beyond the source is its last column or row.
inline void sample(const Image& from, const Image& to, const Walk& columns, Walk rows) {
  const auto source = [](uint32_t at, int side) {
    return std::min(static_cast<int>(at >> 16), side - 1);
  };
  for (int y = rows.first; y < rows.end; ++y, rows.at += rows.step) {
    uint32_t at = columns.at;
    for (int x = columns.first; x < columns.end; ++x, at += columns.step)
      to.at(x, y) = from.at(source(at, from.width), source(rows.at, from.height));
  }
}

} // namespace naive
