#pragma once

#include <cstdint>

#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// How many times larger a frame is than the size that lengths were given for. All arithmetic is
/// in single precision.
struct SizeRatios {
  float x, y;

  /// `anchor` is at least 1 x 1.
  SizeRatios(FrameSize frame, FrameSize anchor)
      : x(static_cast<float>(frame.width) / static_cast<float>(anchor.width)),
        y(static_cast<float>(frame.height) / static_cast<float>(anchor.height)) {}

  float area() const { return x * y; }

  /// Whether the frame is large enough for lengths to be scaled. One side alone never is too short:
  /// none is given for more than 65535 pixels.
  bool usable() const {
    constexpr double smallest = 1e-5;
    return area() >= smallest;
  }
};

/// `length` x `ratio` cut to a whole number. A length of 16 bits and a ratio of sizes give a
/// product that 64 bits hold; a member of 32 bits keeps the low ones.
inline uint32_t scaled(uint32_t length, float ratio) {
  return static_cast<uint32_t>(static_cast<uint64_t>(static_cast<float>(length) * ratio));
}

} // namespace filter_processor
