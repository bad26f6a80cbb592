// 16-bit grey PNG by the short way: what nearly all depth pictures are, several times as fast as
// the general library.
#pragma once

#include <optional>
#include <span>

#include "recordings/image.h"

namespace recordings {

/// Null for everything but an undamaged, plain picture of 16-bit grey: the general library reads
/// the rest or says what is wrong with it. Of what both read, the pixels are the same.
std::optional<Image> decode_grey_png(std::span<const uint8_t> bytes);

/// Null for pictures that are too large for the short way.
std::optional<std::vector<uint8_t>> encode_grey_png(const Image& image);

} // namespace recordings
