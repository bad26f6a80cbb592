// Drawing into an RGB picture; everything is clipped to it.
#pragma once

#include <array>
#include <string_view>

#include "recordings/png_image.h"

namespace gxfilter {

using Color = std::array<uint8_t, 3>; // red, green, blue

struct Rectangle {
  uint32_t x;
  uint32_t y;
  uint32_t width;
  uint32_t height;
};

class Canvas {
 public:
  Canvas(recordings::FrameSize size, Color background);

  void fill(Rectangle area, Color color);
  /// A line of one pixel around the area.
  void frame(Rectangle area, Color color);
  /// Each dot of the font is `scale` pixels wide and high; (x, y) is the text's upper left corner.
  void text(uint32_t x, uint32_t y, uint32_t scale, Color color, std::string_view text);

  recordings::RgbImage take() { return std::move(image_); }

 private:
  recordings::RgbImage image_;
};

uint32_t text_width(std::string_view text, uint32_t scale);

/// The turbo colour map: dark blue at 0 over green to dark red at 1.
Color turbo(double position);

} // namespace gxfilter
