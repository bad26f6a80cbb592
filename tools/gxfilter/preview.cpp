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
// Orange and sky blue are told apart with every kind of colour vision, and from the greys between.
constexpr Color removed_color{230, 120, 0};
constexpr Color added_color{70, 170, 240};

constexpr uint32_t margin = 20;
constexpr uint32_t title_height = 30;
constexpr uint32_t bar_gap = 16;
constexpr uint32_t bar_width = 18;
constexpr uint32_t legend_width = bar_gap + bar_width + 66; // with ticks and their labels
constexpr uint32_t panel_gap = 24;
constexpr uint32_t smallest_panel = 320; // smaller frames are drawn with larger pixels
constexpr uint32_t smallest_cell = 130;  // narrower panels still need room for their names
constexpr uint32_t text_scale = 2;
constexpr uint32_t line_height = glyph_height * text_scale;
constexpr uint32_t line_step = line_height + 4;
constexpr uint32_t character_width = glyph_advance * text_scale;
constexpr uint32_t mark_size = 13;
constexpr uint32_t refusal_width = 200; // of the panel that says why there is no difference
constexpr size_t most_caption_lines = 4;
// So few shades of depth and of moves that the picture can be stored with a palette.
constexpr uint32_t shades = 200;
constexpr uint32_t move_shades = 32;

bool holds_codes(const FrameView& frame) {
  return frame.pixel_type == GX_PIXEL_DISPARITY;
}

/// What one unit of a pixel is on the legend. A scale that no camera can have must not break the
/// picture.
double legend_scale(const FrameView& frame) {
  const auto scale = static_cast<double>(frame.value_scale);
  return holds_codes(frame) || !std::isfinite(scale) || scale <= 0 ? 1.0 : scale;
}

std::array<Color, shades + 1> make_palette() {
  std::array<Color, shades + 1> palette;
  // The map's darkest ends are left out: they look like missing data.
  for (uint32_t i = 0; i <= shades; ++i)
    palette[i] = turbo(0.07 + 0.88 * i / shades);
  return palette;
}

/// Near is warm for both kinds of pixels: small depths and large disparities.
Color color_of(double value, ValueRange range, bool codes) {
  static const std::array<Color, shades + 1> palette = make_palette();
  const double exact = std::clamp((value - range.low) / (range.high - range.low), 0.0, 1.0);
  const auto shade = static_cast<uint32_t>(std::lround(exact * shades));
  return palette[codes ? shade : shades - shade];
}

/// From the dark grey of what stayed to white at the end of the range.
Color move_color(double move, double range) {
  const double exact = range > 0 ? std::clamp(move / range, 0.0, 1.0) : 0.0;
  const auto shade = static_cast<uint32_t>(std::ceil(exact * move_shades));
  const auto grey = static_cast<uint8_t>(56 + 199 * shade / move_shades);
  return {grey, grey, grey};
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

/// The ink of each pixel value.
std::vector<Ink> make_inks(Canvas& canvas, const FrameView& frame, ValueRange range) {
  std::vector<Ink> inks(size_t{1} << 16, canvas.ink(no_data));
  const bool codes = holds_codes(frame);
  const double scale = legend_scale(frame);
  std::optional<Color> last;
  for (size_t pixel = 1; pixel < inks.size(); ++pixel) {
    const Color color = color_of(static_cast<double>(pixel) * scale, range, codes);
    inks[pixel] = color == last ? inks[pixel - 1] : canvas.ink(color);
    last = color;
  }
  return inks;
}

/// A panel of the picture whose pixel i is drawn with `ink_at(i)`.
template <class InkAt>
void draw_panel(Canvas& canvas, Rectangle panel, FrameSize size, InkAt ink_at) {
  const uint32_t zoom = pixel_zoom(size);
  size_t i = 0;
  for (uint32_t y = 0; y < size.height; ++y) {
    const auto first = canvas.row(panel.x, panel.y + y * zoom, panel.width);
    for (size_t x = 0; x < panel.width; x += zoom, ++i)
      std::ranges::fill(first.subspan(x, zoom), ink_at(i));
    for (uint32_t below = 1; below < zoom; ++below)
      std::ranges::copy(first,
                        canvas.row(panel.x, panel.y + y * zoom + below, panel.width).begin());
  }
  canvas.frame(panel, line_color);
}

void draw_pixels(Canvas& canvas, Rectangle panel, const FrameView& frame, ValueRange range) {
  const std::vector<Ink> inks = make_inks(canvas, frame, range);
  draw_panel(canvas, panel, frame.image.size,
             [&](size_t i) { return inks[frame.image.pixels[i]]; });
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

/// Ticks and their labels at the right of a bar.
void draw_ticks(Canvas& canvas, Rectangle bar, ValueRange range) {
  const double span = range.high - range.low;
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

/// A bar of the colours that `color_at` gives to the range's values.
template <class ColorAt>
void draw_bar(Canvas& canvas, Rectangle bar, ValueRange range, const char* title,
              ColorAt color_at) {
  for (uint32_t y = 0; y < bar.height; ++y) {
    const double value = range.high - (range.high - range.low) * (y + 0.5) / bar.height;
    canvas.fill({bar.x, bar.y + y, bar.width, 1}, color_at(value));
  }
  canvas.frame(bar, line_color);
  canvas.text(bar.x, bar.y - title_height + 4, text_scale, bright, title);
  draw_ticks(canvas, bar, range);
}

Rectangle bar_beside(Rectangle panel) {
  return {right_end(panel) + bar_gap, panel.y, bar_width, panel.height};
}

void draw_legend(Canvas& canvas, Rectangle panel, ValueRange range, bool codes) {
  draw_bar(canvas, bar_beside(panel), range, codes ? "code" : "mm",
           [&](double value) { return color_of(value, range, codes); });
}

// ---- the difference ----

/// The ink of each distance between two pixels.
std::vector<Ink> make_move_inks(Canvas& canvas, double scale, double range) {
  std::vector<Ink> inks(size_t{1} << 16);
  std::optional<Color> last;
  for (size_t move = 0; move < inks.size(); ++move) {
    const Color color = move_color(static_cast<double>(move) * scale, range);
    inks[move] = color == last ? inks[move - 1] : canvas.ink(color);
    last = color;
  }
  return inks;
}

void draw_difference(Canvas& canvas, Rectangle panel, const FrameView& before,
                     const FrameView& after, double range) {
  const std::vector<Ink> move_inks = make_move_inks(canvas, legend_scale(before), range);
  const Ink none = canvas.ink(no_data);
  const Ink added = canvas.ink(added_color);
  const Ink removed = canvas.ink(removed_color);
  draw_panel(canvas, panel, before.image.size, [&](size_t i) {
    const uint16_t from = before.image.pixels[i];
    const uint16_t to = after.image.pixels[i];
    if (from == 0)
      return to == 0 ? none : added;
    return to == 0 ? removed : move_inks[from > to ? from - to : to - from];
  });
  canvas.text(panel.x, panel.y - title_height + 4, text_scale, bright, "difference");
}

void draw_move_legend(Canvas& canvas, Rectangle panel, double range, bool codes) {
  draw_bar(canvas, bar_beside(panel), {0, range > 0 ? range : 1}, codes ? "code" : "mm",
           [&](double move) { return move_color(move, range); });
}

/// Where there is no difference: why.
void draw_refusal(Canvas& canvas, Rectangle panel, const FrameView& before,
                  const FrameView& after) {
  canvas.frame(panel, line_color);
  const char* reason = before.image.size != after.image.size ? "another size" : "another unit";
  uint32_t y = panel.y + 8;
  for (const std::string& line :
       wrapped(fmt::format("no difference: {}", reason), (panel.width - 16) / character_width, 4)) {
    canvas.text(panel.x + 8, y, text_scale, muted, line);
    y += line_step;
  }
}

// ---- what stands below ----

/// A little square of a colour and what it means; returns where the next may stand.
uint32_t draw_mark(Canvas& canvas, uint32_t x, uint32_t y, Color color, const std::string& text) {
  const Rectangle mark{x, y, mark_size, mark_size};
  canvas.fill(mark, color);
  canvas.frame(mark, line_color);
  canvas.text(x + mark_size + 8, y, text_scale, muted, text);
  return x + mark_size + 8 + text_width(text, text_scale) + 3 * character_width;
}

std::string share_of(uint64_t part, const FrameView& frame) {
  return fmt::format("{:.1f}%", 100.0 * static_cast<double>(part) /
                                    static_cast<double>(frame.image.size.pixel_count()));
}

} // namespace

std::optional<Difference> difference_of(const FrameView& before, const FrameView& after) {
  if (before.image.size != after.image.size || before.pixel_type != after.pixel_type ||
      before.value_scale != after.value_scale)
    return std::nullopt;
  Difference difference;
  for (size_t i = 0; i < before.image.pixels.size(); ++i) {
    const bool had_data = before.image.pixels[i] != 0;
    const bool has_data = after.image.pixels[i] != 0;
    difference.removed += had_data && !has_data ? 1U : 0U;
    difference.added += !had_data && has_data ? 1U : 0U;
  }
  return difference;
}

double typical_move(const FrameView& before, const FrameView& after) {
  std::vector<uint16_t> moves;
  for (size_t i = 0; i < before.image.pixels.size(); ++i) {
    const uint16_t from = before.image.pixels[i];
    const uint16_t to = after.image.pixels[i];
    if (from != 0 && to != 0 && from != to)
      moves.push_back(from > to ? from - to : to - from);
  }
  if (moves.empty())
    return 0;
  const auto rank = moves.begin() + static_cast<ptrdiff_t>((moves.size() - 1) * 95 / 100);
  std::nth_element(moves.begin(), rank, moves.end());
  return *rank * legend_scale(before);
}

std::vector<std::string> wrapped(std::string_view text, size_t width, size_t lines) {
  std::vector<std::string> result;
  width = std::max<size_t>(width, 4);
  while (!text.empty() && result.size() < lines) {
    size_t length = text.size();
    if (length > width) {
      const size_t blank = text.rfind(' ', width);
      length = blank == std::string_view::npos || blank == 0 ? width : blank;
    }
    result.emplace_back(text.substr(0, length));
    text.remove_prefix(length);
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  }
  if (!text.empty() && !result.empty())
    result.back() = result.back().substr(0, width - 3) + "...";
  return result;
}

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

PaletteImage colorized(const FrameView& frame, ValueRange range) {
  const FrameSize size = frame.image.size;
  Canvas canvas(size, no_data);
  const std::vector<Ink> inks = make_inks(canvas, frame, range);
  const auto all = canvas.row(0, 0, static_cast<uint32_t>(size.pixel_count()));
  std::ranges::transform(frame.image.pixels, all.begin(),
                         [&](uint16_t pixel) { return inks[pixel]; });
  return canvas.take();
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

PreviewRanges PreviewPainter::choose_ranges(const FrameView& before, const FrameView& after) {
  if (ranges_.move == 0 && difference_of(before, after))
    ranges_.move = typical_move(before, after);
  if (!ranges_.before)
    ranges_.before = typical_range(before);
  if (!ranges_.after)
    ranges_.after = typical_range(after);
  if (holds_codes(before) != holds_codes(after))
    return ranges_;
  if (ranges_.before && ranges_.after) {
    ranges_.before = ValueRange{std::min(ranges_.before->low, ranges_.after->low),
                                std::max(ranges_.before->high, ranges_.after->high)};
  }
  ranges_.after = ranges_.before = ranges_.before ? ranges_.before : ranges_.after;
  return ranges_;
}

PaletteImage PreviewPainter::paint(const PreviewRanges& ranges, const FrameView& before,
                                   const FrameView& after, const std::string& title) const {
  const auto difference = difference_of(before, after);
  const bool shared_legend = holds_codes(before) == holds_codes(after);
  const uint32_t top = margin + title_height - 8;
  const Rectangle left = panel_at(margin, top, before.image.size);
  const uint32_t between = (shared_legend ? 0 : legend_width) + panel_gap;
  const Rectangle right = panel_at(right_end(left) + between, top, after.image.size);
  Rectangle third{right_end(right) + legend_width + panel_gap, top, refusal_width, right.height};
  if (difference)
    third = panel_at(third.x, top, before.image.size);
  const uint32_t width = right_end(third) + (difference ? legend_width : 0) + margin;
  const auto caption =
      wrapped(caption_, (width - 2 * margin) / character_width, most_caption_lines);
  const uint32_t below = top + std::max(left.height, right.height) + 12;
  const auto lines = static_cast<uint32_t>(1 + caption.size());
  Canvas canvas({width, below + lines * line_step + margin / 2}, background);
  const ValueRange before_range = ranges.before.value_or(ValueRange{});
  const ValueRange after_range = ranges.after.value_or(ValueRange{});
  draw_pixels(canvas, left, before, before_range);
  draw_pixels(canvas, right, after, after_range);
  draw_title(canvas, left, "before", before);
  draw_title(canvas, right, "after", after);
  if (!shared_legend)
    draw_legend(canvas, left, before_range, holds_codes(before));
  draw_legend(canvas, right, after_range, holds_codes(after));
  uint32_t x = draw_mark(canvas, margin, below, no_data, "no data");
  if (difference) {
    draw_difference(canvas, third, before, after, ranges.move);
    draw_move_legend(canvas, third, ranges.move, holds_codes(before));
    x = draw_mark(canvas, x, below, removed_color,
                  "removed " + share_of(difference->removed, before));
    x = draw_mark(canvas, x, below, added_color, "added " + share_of(difference->added, before));
  } else {
    draw_refusal(canvas, third, before, after);
  }
  canvas.text(x, below, text_scale, bright, title);
  for (size_t i = 0; i < caption.size(); ++i)
    canvas.text(margin, below + static_cast<uint32_t>(i + 1) * line_step, text_scale, muted,
                caption[i]);
  return canvas.take();
}

} // namespace gxfilter
