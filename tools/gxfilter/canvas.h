// Drawing into a picture of few colours; everything is clipped to it.
#pragma once

#include <span>
#include <string_view>

#include "recordings/png_image.h"

namespace gxfilter {

using recordings::Color;

struct Rectangle {
  uint32_t x;
  uint32_t y;
  uint32_t width;
  uint32_t height;
};

/// A colour's place in a canvas's palette.
using Ink = uint8_t;

class Canvas {
 public:
  Canvas(recordings::FrameSize size, Color background);

  /// At most 256 colours have one; all others share the last.
  Ink ink(Color color);

  void fill(Rectangle area, Ink ink);
  /// A line of one pixel around the area.
  void frame(Rectangle area, Ink ink);
  /// Each dot of the font is `scale` pixels wide and high; (x, y) is the text's upper left corner.
  void text(uint32_t x, uint32_t y, uint32_t scale, Ink ink, std::string_view text);

  /// Pixels side by side, all of them within the canvas.
  std::span<Ink> row(uint32_t x, uint32_t y, uint32_t width) {
    return std::span(image_.indices).subspan(size_t{y} * image_.size.width + x, width);
  }

  void fill(Rectangle area, Color color) { fill(area, ink(color)); }
  void frame(Rectangle area, Color color) { frame(area, ink(color)); }
  void text(uint32_t x, uint32_t y, uint32_t scale, Color color, std::string_view text) {
    this->text(x, y, scale, ink(color), text);
  }

  recordings::PaletteImage take() { return std::move(image_); }

 private:
  recordings::PaletteImage image_;
};

uint32_t text_width(std::string_view text, uint32_t scale);

/// The turbo colour map: dark blue at 0 over green to dark red at 1.
Color turbo(double position);

} // namespace gxfilter
