#include "recordings/image.h"

#include <charconv>

#include <fmt/format.h>

namespace recordings {

Failure check_size(uint64_t width, uint64_t height) {
  if (width == 0 || height == 0)
    return Error{fmt::format("the size {}x{} is empty", width, height)};
  if (width > max_side || height > max_side || width * height > max_pixels) {
    return Error{fmt::format("the size {}x{} is beyond the limit ({} pixels a side, {} in all)",
                             width, height, max_side, max_pixels)};
  }
  return std::nullopt;
}

bool begins_with(std::span<const uint8_t> bytes, std::string_view front) {
  return bytes.size() >= front.size() &&
         std::string_view(reinterpret_cast<const char*>(bytes.data()), front.size()) == front;
}

std::optional<FrameSize> parse_size(const std::string& text) {
  FrameSize size;
  const char* end = text.data() + text.size();
  const auto [after_width, width_error] = std::from_chars(text.data(), end, size.width);
  if (width_error != std::errc{} || after_width == end || *after_width != 'x')
    return std::nullopt;
  const auto [after_height, height_error] = std::from_chars(after_width + 1, end, size.height);
  if (height_error != std::errc{} || after_height != end || check_size(size.width, size.height))
    return std::nullopt;
  return size;
}

} // namespace recordings
