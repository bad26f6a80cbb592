#include "recordings/pixel_bytes.h"

#include <bit>
#include <cstring>

namespace recordings {
namespace {

uint16_t swapped(uint16_t pixel) {
  return static_cast<uint16_t>(pixel << 8 | pixel >> 8);
}

bool is_native(ByteOrder order) {
  return (order == ByteOrder::little) == (std::endian::native == std::endian::little);
}

} // namespace

void to_native(std::span<uint16_t> pixels, ByteOrder order) {
  if (!is_native(order))
    for (uint16_t& pixel : pixels)
      pixel = swapped(pixel);
}

void copy_from_bytes(std::span<uint16_t> pixels, std::span<const uint8_t> bytes, ByteOrder order) {
  std::memcpy(pixels.data(), bytes.data(), bytes.size());
  to_native(pixels, order);
}

void copy_to_bytes(std::span<uint8_t> bytes, std::span<const uint16_t> pixels, ByteOrder order) {
  if (is_native(order)) {
    std::memcpy(bytes.data(), pixels.data(), bytes.size());
    return;
  }
  for (size_t i = 0; i < pixels.size(); ++i) {
    const uint16_t pixel = swapped(pixels[i]);
    std::memcpy(bytes.data() + 2 * i, &pixel, sizeof pixel);
  }
}

Image image_of_bytes(FrameSize size, std::span<const uint8_t> bytes, ByteOrder order) {
  Image image{size, std::vector<uint16_t>(size.pixel_count())};
  copy_from_bytes(image.pixels, bytes, order);
  return image;
}

void append_pixels(std::vector<uint8_t>& bytes, ImageView image, ByteOrder order) {
  const size_t begin = bytes.size();
  const auto* native = reinterpret_cast<const uint8_t*>(image.pixels.data());
  bytes.insert(bytes.end(), native, native + image.pixels.size_bytes());
  if (!is_native(order))
    copy_to_bytes(std::span(bytes).subspan(begin), image.pixels, order);
}

} // namespace recordings
