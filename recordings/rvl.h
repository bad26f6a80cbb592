// RVL, a lossless code for depth: runs of zeros and of differences, in groups of three bits.
#pragma once

#include <span>

#include "recordings/image.h"

namespace recordings {

/// Columns and rows (32 bits each), then the code words.
Result<Image> decode_rvl(std::span<const uint8_t> bytes);
std::vector<uint8_t> encode_rvl(ImageView image);

} // namespace recordings
