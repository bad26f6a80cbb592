// Uncompressed little-endian 16-bit pixels: headerless files and `.bin` recordings.
#pragma once

#include <span>

#include "recordings/image.h"

namespace recordings {

/// `bytes` must be exactly size.width * size.height * 2 bytes; `size` within the limits.
Result<Image> decode_raw(std::span<const uint8_t> bytes, FrameSize size);

/// Two little-endian 32-bit numbers, height and width in this order, and then exactly the pixels.
Result<Image> decode_bin(std::span<const uint8_t> bytes);

} // namespace recordings
