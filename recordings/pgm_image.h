// Portable grey maps: binary (P5) with 16-bit samples.
#pragma once

#include <span>

#include "recordings/image.h"

namespace recordings {

inline constexpr std::string_view pgm_first_bytes = "P5";

/// One picture with a maximum value of 256 to 65535 (big-endian samples) and nothing after it.
Result<Image> decode_pgm(std::span<const uint8_t> bytes);

/// The bytes of the picture that begins here, null where more must be seen.
Result<std::optional<uint64_t>> pgm_length(std::span<const uint8_t> front,
                                           std::optional<FrameSize> told_size);

Result<std::vector<uint8_t>> encode_pgm(ImageView image);

} // namespace recordings
