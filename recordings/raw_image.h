// Uncompressed little-endian 16-bit pixels: headerless files and `.bin` recordings.
#pragma once

#include <span>

#include "recordings/image.h"

namespace recordings {

/// `bytes` must be exactly width * height * 2 bytes. An error of kind `size_needed` without a size.
Result<Image> decode_raw(std::span<const uint8_t> bytes, std::optional<FrameSize> told_size);

/// Two little-endian 32-bit numbers, height and width in this order, and then exactly the pixels.
Result<Image> decode_bin(std::span<const uint8_t> bytes);

/// The bytes of the picture that begins here, null where more must be seen.
Result<std::optional<uint64_t>> raw_length(std::span<const uint8_t> front,
                                           std::optional<FrameSize> told_size);
Result<std::optional<uint64_t>> bin_length(std::span<const uint8_t> front,
                                           std::optional<FrameSize> told_size);

/// The pixels alone.
Result<std::vector<uint8_t>> encode_raw(ImageView image);

} // namespace recordings
