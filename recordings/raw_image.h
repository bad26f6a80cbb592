// Uncompressed little-endian 16-bit pixels: headerless files and `.bin` recordings.
#pragma once

#include <span>

#include "recordings/image.h"

namespace recordings {

/// `bytes` must be exactly width * height * 2 bytes. An error of kind `size_needed` without a size.
Result<Image> decode_raw(std::span<const uint8_t> bytes, std::optional<FrameSize> told_size);

/// Two little-endian 32-bit numbers, height and width in this order, and then exactly the pixels.
Result<Image> decode_bin(std::span<const uint8_t> bytes);

} // namespace recordings
