#include "gxfilter/canvas.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "gxfilter/font.h"

namespace gxfilter {

using namespace recordings;

namespace {

uint8_t to_sample(double value) {
  return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255.0));
}

/// Value of the polynomial with these coefficients, lowest power first.
double polynomial(const std::array<double, 6>& coefficients, double x) {
  double value = 0;
  for (size_t i = coefficients.size(); i-- > 0;)
    value = value * x + coefficients[i];
  return value;
}

} // namespace

Canvas::Canvas(FrameSize size, Color background)
    : image_{size, {background}, std::vector<uint8_t>(size.pixel_count())} {}

Ink Canvas::ink(Color color) {
  constexpr size_t most_colors = 256;
  auto& palette = image_.palette;
  const auto found = std::ranges::find(palette, color);
  if (found != palette.end())
    return static_cast<Ink>(found - palette.begin());
  if (palette.size() < most_colors)
    palette.push_back(color);
  return static_cast<Ink>(palette.size() - 1);
}

void Canvas::fill(Rectangle area, Ink ink) {
  const FrameSize size = image_.size;
  if (area.x >= size.width || area.y >= size.height)
    return;
  const uint32_t width = std::min(area.width, size.width - area.x);
  const uint32_t bottom = area.y + std::min(area.height, size.height - area.y);
  for (uint32_t y = area.y; y < bottom; ++y)
    std::memset(&image_.indices[size_t{y} * size.width + area.x], ink, width);
}

void Canvas::frame(Rectangle area, Ink ink) {
  fill({area.x - 1, area.y - 1, area.width + 2, 1}, ink);
  fill({area.x - 1, area.y + area.height, area.width + 2, 1}, ink);
  fill({area.x - 1, area.y, 1, area.height}, ink);
  fill({area.x + area.width, area.y, 1, area.height}, ink);
}

void Canvas::text(uint32_t x, uint32_t y, uint32_t scale, Ink ink, std::string_view text) {
  for (const char character : text) {
    const auto& columns = glyph(character);
    for (uint32_t column = 0; column < glyph_width; ++column) {
      for (uint32_t row = 0; row < glyph_height; ++row)
        if ((columns[column] >> row & 1) != 0)
          fill({x + column * scale, y + row * scale, scale, scale}, ink);
    }
    x += glyph_advance * scale;
  }
}

uint32_t text_width(std::string_view text, uint32_t scale) {
  return static_cast<uint32_t>(text.size()) * glyph_advance * scale;
}

Color turbo(double position) {
  const double x = std::clamp(position, 0.0, 1.0);
  return {
      to_sample(polynomial(
          {0.13572138, 4.61539260, -42.66032258, 132.13108234, -152.94239396, 59.28637943}, x)),
      to_sample(polynomial(
          {0.09140261, 2.19418839, 4.84296658, -14.18503333, 4.27729857, 2.82956604}, x)),
      to_sample(polynomial(
          {0.10667330, 12.64194608, -60.58204836, 110.36276771, -89.90310912, 27.34824973}, x))};
}

} // namespace gxfilter
