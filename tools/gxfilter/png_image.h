// PNG: 16-bit grey pictures in and out, RGB pictures out.
#pragma once

#include <span>

#include "image.h"

namespace gxfilter {

/// Three bytes (red, green, blue) for each pixel, row-major, without gaps.
struct RgbImage {
  FrameSize size;
  std::vector<uint8_t> samples;
};

[[nodiscard]] bool is_png(std::span<const uint8_t> bytes);

/// Any other colour type or bit depth than 16-bit grey is refused, never converted.
[[nodiscard]] Result<Image> decode_png(std::span<const uint8_t> bytes);

[[nodiscard]] Result<std::vector<uint8_t>> encode_png(const Image& image);
/// With a palette where there are no more than 256 colours.
[[nodiscard]] Result<std::vector<uint8_t>> encode_png(const RgbImage& image);

} // namespace gxfilter
