#include "recordings/pixel_decoding.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include <fmt/format.h>

namespace recordings {
namespace {

uint16_t decode_pixel(uint16_t pixel, const PixelDecoding& decoding) {
  if (decoding.swap_bytes)
    pixel = std::rotl(pixel, 8);
  pixel = std::rotr(pixel, decoding.rotate_bits);
  pixel = static_cast<uint16_t>(decoding.shift_bits >= 0 ? pixel >> decoding.shift_bits
                                                         : pixel << -decoding.shift_bits);
  if (pixel == decoding.invalid)
    return 0;
  return static_cast<uint16_t>(std::min(std::round(pixel * decoding.factor), 65535.0));
}

} // namespace

Failure check_decoding(const PixelDecoding& decoding) {
  if (decoding.rotate_bits < 0 || decoding.rotate_bits > 15)
    return Error{fmt::format("{} bits can't be rotated; 0 to 15 can", decoding.rotate_bits),
                 ErrorKind::request};
  if (decoding.shift_bits < -15 || decoding.shift_bits > 15)
    return Error{fmt::format("{} bits can't be shifted; -15 to 15 can", decoding.shift_bits),
                 ErrorKind::request};
  if (!std::isfinite(decoding.factor) || decoding.factor <= 0)
    return Error{fmt::format("a factor of {}; it must be above 0", decoding.factor),
                 ErrorKind::request};
  return std::nullopt;
}

PixelDecoder::PixelDecoder(const PixelDecoding& decoding) {
  if (decoding == PixelDecoding())
    return;
  decoded_.resize(65536);
  for (size_t pixel = 0; pixel < decoded_.size(); ++pixel)
    decoded_[pixel] = decode_pixel(static_cast<uint16_t>(pixel), decoding);
}

void PixelDecoder::apply(Image& image) const {
  if (decoded_.empty())
    return;
  for (uint16_t& pixel : image.pixels)
    pixel = decoded_[pixel];
}

} // namespace recordings
