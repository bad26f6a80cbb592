#include "recordings/raw_image.h"

#include <fmt/format.h>

namespace recordings {
namespace {

uint32_t little_endian_32(std::span<const uint8_t> bytes) {
  return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 |
         uint32_t{bytes[3]} << 24;
}

} // namespace

Result<Image> decode_raw(std::span<const uint8_t> bytes, std::optional<FrameSize> told_size) {
  if (!told_size)
    return Error{"a headerless file needs its size", ErrorKind::size_needed};
  const FrameSize size = *told_size;
  if (auto failure = check_size(size.width, size.height))
    return *failure;
  const uint64_t expected = size.pixel_count() * 2;
  if (bytes.size() != expected) {
    return Error{fmt::format("{}: {} bytes of pixels where {}x{} needs {}",
                             bytes.size() < expected ? "truncated" : "too long", bytes.size(),
                             size.width, size.height, expected)};
  }
  Image image{size, std::vector<uint16_t>(size.pixel_count())};
  for (size_t i = 0; i < image.pixels.size(); ++i)
    image.pixels[i] = static_cast<uint16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  return image;
}

Result<Image> decode_bin(std::span<const uint8_t> bytes) {
  constexpr size_t header_size = 8;
  if (bytes.size() < header_size)
    return Error{fmt::format("truncated: {} bytes, shorter than its header", bytes.size())};
  const FrameSize size{little_endian_32(bytes.subspan(4)), little_endian_32(bytes)};
  return decode_raw(bytes.subspan(header_size), size);
}

} // namespace recordings
