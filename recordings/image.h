// A 16-bit picture in memory and the size limits that every reader enforces.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/result.h"

namespace recordings {

struct FrameSize {
  uint32_t width = 0;  ///< pixels
  uint32_t height = 0; ///< pixels

  bool operator==(const FrameSize&) const = default;
  uint64_t pixel_count() const { return uint64_t{width} * height; }
};

/// Row-major, without gaps; 0 is the invalid value.
struct Image {
  FrameSize size;
  std::vector<uint16_t> pixels;

  bool operator==(const Image&) const = default;
};

/// The same with pixels that someone else owns.
struct ImageView {
  FrameSize size;
  std::span<const uint16_t> pixels;

  ImageView(FrameSize of_size, std::span<const uint16_t> those) : size(of_size), pixels(those) {}
  ImageView(const Image& image) : ImageView(image.size, image.pixels) {}
};

inline constexpr uint32_t max_side = 65535;
inline constexpr uint64_t max_pixels = uint64_t{256} << 20;

/// Refuses empty sizes and sizes beyond the limits. Sides come as 64-bit numbers so that a reader
/// can hand over what a hostile header says.
Failure check_size(uint64_t width, uint64_t height);

/// Whether a file's bytes are these at the front.
bool begins_with(std::span<const uint8_t> bytes, std::string_view front);

/// "640x480"; null for anything else and for a size beyond the limits.
std::optional<FrameSize> parse_size(const std::string& text);

} // namespace recordings
