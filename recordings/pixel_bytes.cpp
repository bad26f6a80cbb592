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

Image image_of_bytes(FrameSize size, std::span<const uint8_t> bytes, ByteOrder order) {
  Image image{size, std::vector<uint16_t>(size.pixel_count())};
  std::memcpy(image.pixels.data(), bytes.data(), bytes.size());
  if (!is_native(order))
    for (uint16_t& pixel : image.pixels)
      pixel = swapped(pixel);
  return image;
}

void append_pixels(std::vector<uint8_t>& bytes, const Image& image, ByteOrder order) {
  const size_t begin = bytes.size();
  bytes.resize(begin + image.pixels.size() * sizeof(uint16_t));
  uint8_t* const destination = bytes.data() + begin;
  if (is_native(order)) {
    std::memcpy(destination, image.pixels.data(), image.pixels.size() * sizeof(uint16_t));
    return;
  }
  for (size_t i = 0; i < image.pixels.size(); ++i) {
    const uint16_t pixel = swapped(image.pixels[i]);
    std::memcpy(destination + 2 * i, &pixel, sizeof pixel);
  }
}

} // namespace recordings
