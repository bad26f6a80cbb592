#include "recordings/raw_image.h"

#include <fmt/format.h>

#include "recordings/pixel_bytes.h"

namespace recordings {
namespace {

constexpr size_t bin_header_size = 8;

Error size_needed() {
  return {"a headerless file needs its size", ErrorKind::size_needed};
}

uint32_t little_endian_32(std::span<const uint8_t> bytes) {
  return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 |
         uint32_t{bytes[3]} << 24;
}

} // namespace

Result<Image> decode_raw(std::span<const uint8_t> bytes, std::optional<FrameSize> told_size) {
  if (!told_size)
    return size_needed();
  const FrameSize size = *told_size;
  if (auto failure = check_size(size.width, size.height))
    return *failure;
  const uint64_t expected = size.pixel_count() * 2;
  if (bytes.size() != expected) {
    return Error{fmt::format("{}: {} bytes of pixels where {}x{} needs {}",
                             bytes.size() < expected ? "truncated" : "too long", bytes.size(),
                             size.width, size.height, expected)};
  }
  return image_of_bytes(size, bytes, ByteOrder::little);
}

Result<Image> decode_bin(std::span<const uint8_t> bytes) {
  if (bytes.size() < bin_header_size)
    return Error{fmt::format("truncated: {} bytes, shorter than its header", bytes.size())};
  const FrameSize size{little_endian_32(bytes.subspan(4)), little_endian_32(bytes)};
  return decode_raw(bytes.subspan(bin_header_size), size);
}

Result<std::optional<uint64_t>> raw_length(std::span<const uint8_t>,
                                           std::optional<FrameSize> told_size) {
  if (!told_size)
    return size_needed();
  return std::optional(told_size->pixel_count() * 2);
}

Result<std::optional<uint64_t>> bin_length(std::span<const uint8_t> front,
                                           std::optional<FrameSize>) {
  if (front.size() < bin_header_size)
    return std::optional<uint64_t>();
  const FrameSize size{little_endian_32(front.subspan(4)), little_endian_32(front)};
  if (auto failure = check_size(size.width, size.height))
    return *failure;
  return std::optional(bin_header_size + size.pixel_count() * 2);
}

Result<std::vector<uint8_t>> encode_raw(ImageView image) {
  std::vector<uint8_t> bytes;
  append_pixels(bytes, image, ByteOrder::little);
  return bytes;
}

} // namespace recordings
