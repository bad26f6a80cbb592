#pragma once

#include <cstdint>

namespace filter_processor {

/// Writes the image `from` of `width` x `height` pixels, turned clockwise by 1 to 3 quarter turns,
/// to `to`. An odd number swaps width and height. The buffers must not overlap.
void turn_image(const uint16_t* from, uint32_t width, uint32_t height, unsigned quarter_turns,
                uint16_t* to);

} // namespace filter_processor
