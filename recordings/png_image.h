// PNG: 16-bit grey pictures in and out, coloured pictures out.
#pragma once

#include <array>
#include <span>

#include "recordings/image.h"

namespace recordings {

using Color = std::array<uint8_t, 3>; // red, green, blue

/// A picture of few colours.
struct PaletteImage {
  FrameSize size;
  std::vector<Color> palette;   ///< at most 256
  std::vector<uint8_t> indices; ///< of each pixel's colour; row-major, without gaps
};

inline constexpr std::string_view png_first_bytes = "\x89PNG\r\n\x1a\n";

/// Any other colour type or bit depth than 16-bit grey is refused, never converted.
Result<Image> decode_png(std::span<const uint8_t> bytes);

/// The long way, for what the short one of grey_png.h leaves.
Result<Image> decode_png_with_libpng(std::span<const uint8_t> bytes);

/// The bytes of the picture that begins here, null where more must be seen.
Result<std::optional<uint64_t>> png_length(std::span<const uint8_t> front,
                                           std::optional<FrameSize> told_size);

Result<std::vector<uint8_t>> encode_png(ImageView image);
Result<std::vector<uint8_t>> encode_png(const PaletteImage& image);

} // namespace recordings
