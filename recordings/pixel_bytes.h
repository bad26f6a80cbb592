// 16-bit pixels as files have them: two bytes each, in either order.
#pragma once

#include <span>

#include "recordings/image.h"

namespace recordings {

enum class ByteOrder { little, big };

/// Makes numbers of pixels that were copied as they are.
void to_native(std::span<uint16_t> pixels, ByteOrder order);

/// `bytes` holds exactly `pixels`.
void copy_from_bytes(std::span<uint16_t> pixels, std::span<const uint8_t> bytes, ByteOrder order);
void copy_to_bytes(std::span<uint8_t> bytes, std::span<const uint16_t> pixels, ByteOrder order);

/// `bytes` holds exactly the pixels of `size`, which is within the limits.
Image image_of_bytes(FrameSize size, std::span<const uint8_t> bytes, ByteOrder order);

/// Appends the pixels to `bytes`.
void append_pixels(std::vector<uint8_t>& bytes, ImageView image, ByteOrder order);

} // namespace recordings
