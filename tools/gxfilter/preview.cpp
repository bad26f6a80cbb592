#include "gxfilter/preview.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

#include "gxfilter/font.h"

namespace gxfilter {

using namespace recordings;

namespace {

constexpr Color background{22, 24, 29};
constexpr Color bright{232, 234, 238};
constexpr Color muted{146, 152, 164};
constexpr Color line_color{74, 80, 92};
constexpr Color no_data{0, 0, 0};

constexpr uint32_t margin = 20;
constexpr uint32_t title_height = 30;
constexpr uint32_t caption_height = 34;
constexpr uint32_t bar_gap = 16;
constexpr uint32_t bar_width = 18;
constexpr uint32_t legend_width = bar_gap + bar_width + 66; // with ticks and their labels
constexpr uint32_t panel_gap = 24;
constexpr uint32_t smallest_panel = 320; // smaller frames are drawn with larger pixels
constexpr uint32_t smallest_cell = 100;  // narrower panels still need room for their names
constexpr uint32_t text_scale = 2;
constexpr uint32_t line_height = glyph_height * text_scale;

bool holds_codes(const FrameView& frame) {
  return frame.pixel_type == GX_PIXEL_DISPARITY;
}

/// What one unit of a pixel is on the legend. A scale that no camera can have must not break the
/// picture.
double legend_scale(const FrameView& frame) {
  const auto scale = static_cast<double>(frame.value_scale);
  return holds_codes(frame) || !std::isfinite(scale) || scale <= 0 ? 1.0 : scale;
}

/// Near is warm for both kinds of pixels: small depths and large disparities.
Color color_of(double value, ValueRange range, bool codes) {
  // So few shades that the picture can be stored with a palette.
  constexpr double shades = 200;
  const double exact = std::clamp((value - range.low) / (range.high - range.low), 0.0, 1.0);
  const double position = std::round(exact * shades) / shades;
  // The map's darkest ends are left out: they look like missing data.
  return turbo(0.07 + 0.88 * (codes ? position : 1.0 - position));
}

/// The step of 1, 2 or 5 times a power of ten that cuts the range into about `count` parts.
double tick_step(ValueRange range, double count) {
  const double wanted = (range.high - range.low) / count;
  const double power = std::pow(10.0, std::floor(std::log10(wanted)));
  const double factor = wanted / power;
  return power * (factor <= 1.0 ? 1.0 : factor <= 2.0 ? 2.0 : factor <= 5.0 ? 5.0 : 10.0);
}

uint32_t pixel_zoom(FrameSize size) {
  return std::max(1U, smallest_panel / std::max(size.width, size.height));
}

Rectangle panel_at(uint32_t x, uint32_t y, FrameSize size) {
  return {x, y, size.width * pixel_zoom(size), size.height * pixel_zoom(size)};
}

uint32_t right_end(Rectangle panel) {
  return panel.x + std::max(panel.width, smallest_cell);
}

void draw_pixels(Canvas& canvas, Rectangle panel, const FrameView& frame, ValueRange range) {
  const uint32_t zoom = pixel_zoom(frame.image.size);
  const bool codes = holds_codes(frame);
  size_t i = 0;
  for (uint32_t y = 0; y < frame.image.size.height; ++y) {
    for (uint32_t x = 0; x < frame.image.size.width; ++x, ++i) {
      const uint16_t pixel = frame.image.pixels[i];
      const Color color =
          pixel == 0 ? no_data : color_of(pixel * legend_scale(frame), range, codes);
      canvas.fill({panel.x + x * zoom, panel.y + y * zoom, zoom, zoom}, color);
    }
  }
  canvas.frame(panel, line_color);
}

/// The panel's name on its left and the share of valid pixels on its right.
void draw_title(Canvas& canvas, Rectangle panel, const std::string& name, const FrameView& frame) {
  const uint32_t y = panel.y - title_height + 4;
  canvas.text(panel.x, y, text_scale, bright, name);
  const auto& pixels = frame.image.pixels;
  const auto valid = static_cast<double>(pixels.size()) -
                     static_cast<double>(std::ranges::count(pixels, uint16_t{0}));
  const std::string share =
      fmt::format("{:.1f}% valid", 100.0 * valid / static_cast<double>(pixels.size()));
  if (text_width(name, text_scale) + text_width(share, text_scale) < panel.width) {
    canvas.text(panel.x + panel.width - text_width(share, text_scale) + text_scale, y, text_scale,
                muted, share);
  }
}

void draw_legend(Canvas& canvas, Rectangle panel, ValueRange range, bool codes) {
  const Rectangle bar{right_end(panel) + bar_gap, panel.y, bar_width, panel.height};
  const double span = range.high - range.low;
  for (uint32_t y = 0; y < bar.height; ++y) {
    const double value = range.high - span * (y + 0.5) / bar.height;
    canvas.fill({bar.x, bar.y + y, bar.width, 1}, color_of(value, range, codes));
  }
  canvas.frame(bar, line_color);
  canvas.text(bar.x, bar.y - title_height + 4, text_scale, bright, codes ? "code" : "mm");
  const double step = tick_step(range, std::max(2.0, bar.height / 60.0));
  const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
  const double first = std::ceil(range.low / step);
  const auto last = static_cast<int>(std::floor(range.high / step) - first);
  for (int i = 0; i <= last; ++i) {
    const double tick = (first + i) * step;
    const auto y = bar.y + static_cast<uint32_t>((range.high - tick) / span * (bar.height - 1));
    canvas.fill({bar.x + bar.width + 1, y, 5, 1}, muted);
    const uint32_t text_y =
        std::clamp(y - 7, bar.y, bar.y + bar.height - std::min(bar.height, 7 * text_scale));
    canvas.text(bar.x + bar.width + 10, text_y, text_scale, bright,
                fmt::format("{:.{}f}", tick, decimals));
  }
}

/// The mark for pixels without data, then the frame's name and, where there is room, the caption.
void draw_caption(Canvas& canvas, uint32_t y, uint32_t right, const std::string& title,
                  const std::string& caption) {
  const Rectangle mark{margin, y, 13, 13};
  canvas.fill(mark, no_data);
  canvas.frame(mark, line_color);
  uint32_t x = mark.x + mark.width + 8;
  canvas.text(x, y, text_scale, muted, "no data");
  x += text_width("no data", text_scale) + 3 * glyph_advance * text_scale;
  for (const auto& [text, color] : {std::pair(title, bright), std::pair(caption, muted)}) {
    if (x + text_width(text, text_scale) > right)
      return;
    canvas.text(x, y, text_scale, color, text);
    x += text_width(text, text_scale) + 3 * glyph_advance * text_scale;
  }
}

} // namespace

std::optional<ValueRange> typical_range(const FrameView& frame) {
  std::vector<uint16_t> valid;
  std::ranges::copy_if(frame.image.pixels, std::back_inserter(valid),
                       [](uint16_t pixel) { return pixel != 0; });
  if (valid.empty())
    return std::nullopt;
  const auto cut = static_cast<ptrdiff_t>(valid.size() / 100);
  std::nth_element(valid.begin(), valid.begin() + cut, valid.end());
  const uint16_t low = valid[static_cast<size_t>(cut)];
  std::nth_element(valid.begin(), valid.end() - 1 - cut, valid.end());
  const uint16_t high = valid[valid.size() - 1 - static_cast<size_t>(cut)];
  const double scale = legend_scale(frame);
  return ValueRange{low * scale, std::max(high * scale, (low + 1) * scale)};
}

std::optional<Rectangle> parse_crop(const std::string& text) {
  const size_t plus = text.find('+');
  const auto size = parse_size(text.substr(0, plus));
  if (!size || plus == std::string::npos)
    return std::nullopt;
  Rectangle crop{0, 0, size->width, size->height};
  const char* end = text.data() + text.size();
  const auto [after_x, x_error] = std::from_chars(text.data() + plus + 1, end, crop.x);
  if (x_error != std::errc{} || after_x == end || *after_x != '+')
    return std::nullopt;
  const auto [after_y, y_error] = std::from_chars(after_x + 1, end, crop.y);
  return y_error == std::errc{} && after_y == end ? std::optional(crop) : std::nullopt;
}

FrameView cropped(const FrameView& frame, Rectangle part) {
  const FrameSize whole = frame.image.size;
  const FrameSize size{std::min(part.width, whole.width), std::min(part.height, whole.height)};
  const uint32_t x = std::min(part.x, whole.width - size.width);
  const uint32_t y = std::min(part.y, whole.height - size.height);
  FrameView view{{size, {}}, frame.pixel_type, frame.value_scale};
  for (uint32_t row = y; row < y + size.height; ++row) {
    const auto first = frame.image.pixels.begin() + static_cast<ptrdiff_t>(row) * whole.width + x;
    view.image.pixels.insert(view.image.pixels.end(), first, first + size.width);
  }
  return view;
}

void PreviewPainter::choose_ranges(const FrameView& before, const FrameView& after) {
  if (!before_range_)
    before_range_ = typical_range(before);
  if (!after_range_)
    after_range_ = typical_range(after);
  if (holds_codes(before) != holds_codes(after))
    return;
  if (before_range_ && after_range_) {
    before_range_ = ValueRange{std::min(before_range_->low, after_range_->low),
                               std::max(before_range_->high, after_range_->high)};
  }
  after_range_ = before_range_ = before_range_ ? before_range_ : after_range_;
}

RgbImage PreviewPainter::paint(const FrameView& before, const FrameView& after,
                               const std::string& title) {
  choose_ranges(before, after);
  const bool shared_legend = holds_codes(before) == holds_codes(after);
  const uint32_t top = margin + title_height - 8;
  const Rectangle left = panel_at(margin, top, before.image.size);
  const uint32_t between = (shared_legend ? 0 : legend_width) + panel_gap;
  const Rectangle right = panel_at(right_end(left) + between, top, after.image.size);
  const FrameSize size{right_end(right) + legend_width + margin,
                       top + std::max(left.height, right.height) + caption_height + margin / 2};
  Canvas canvas(size, background);
  const ValueRange before_range = before_range_.value_or(ValueRange{});
  const ValueRange after_range = after_range_.value_or(ValueRange{});
  draw_pixels(canvas, left, before, before_range);
  draw_pixels(canvas, right, after, after_range);
  draw_title(canvas, left, "before", before);
  draw_title(canvas, right, "after", after);
  if (!shared_legend)
    draw_legend(canvas, left, before_range, holds_codes(before));
  draw_legend(canvas, right, after_range, holds_codes(after));
  draw_caption(canvas, size.height - caption_height + (caption_height - line_height) / 2 - 4,
               size.width - margin, title, caption_);
  return canvas.take();
}

} // namespace gxfilter
