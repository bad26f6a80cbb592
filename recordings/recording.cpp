#include "recordings/recording.h"

#include <algorithm>
#include <set>
#include <string_view>

#include <fmt/format.h>

#include "recordings/formats.h"
#include "recordings/system.h"

namespace recordings {
namespace {

namespace fs = std::filesystem;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// Cuts the run of digits at the front off `text` and returns it without leading zeros.
std::string_view take_number(std::string_view& text) {
  const size_t length =
      static_cast<size_t>(std::ranges::find_if_not(text, is_digit) - text.begin());
  std::string_view number = text.substr(0, length);
  text.remove_prefix(length);
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
  return number;
}

/// Facts about the camera stand beside pictures.
bool is_camera_file(const fs::path& path) {
  return path.extension() == ".json" || path.extension() == ".yaml" || path.extension() == ".yml";
}

Failure add_directory(const fs::path& directory, const std::string& pattern, Recording& recording) {
  std::error_code code;
  std::vector<fs::path> pictures;
  std::set<std::string> kinds;
  for (fs::directory_iterator it(directory, code), end; !code && it != end; it.increment(code)) {
    const fs::path& path = it->path();
    std::error_code type_error;
    if (!it->is_regular_file(type_error) ||
        (!pattern.empty() && !system::matches(pattern, path.filename().string())))
      continue;
    const Format* format = format_of_name(path);
    if (format != nullptr && format->read != nullptr) {
      pictures.push_back(path);
      kinds.insert(path.extension().string());
    } else if (!is_camera_file(path)) {
      recording.ignored.push_back(path);
    }
  }
  if (code)
    return Error{fmt::format("{}: {}", directory.string(), code.message())};
  if (pictures.empty())
    return Error{fmt::format("{}: no depth images in this directory", directory.string())};
  if (kinds.size() > 1) {
    return Error{
        fmt::format("{}: files of several kinds ({})", directory.string(), fmt::join(kinds, ", ")),
        ErrorKind::mixed_formats, "*" + *kinds.begin()};
  }
  std::ranges::sort(pictures, [](const fs::path& left, const fs::path& right) {
    return natural_less(left.filename().string(), right.filename().string());
  });
  recording.frames.insert(recording.frames.end(), pictures.begin(), pictures.end());
  return std::nullopt;
}

} // namespace

bool natural_less(const std::string& left, const std::string& right) {
  std::string_view a = left;
  std::string_view b = right;
  while (!a.empty() && !b.empty()) {
    if (is_digit(a.front()) && is_digit(b.front())) {
      const std::string_view number_a = take_number(a);
      const std::string_view number_b = take_number(b);
      if (number_a.size() != number_b.size())
        return number_a.size() < number_b.size();
      if (number_a != number_b)
        return number_a < number_b;
    } else if (a.front() != b.front()) {
      return a.front() < b.front();
    } else {
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  // Names that differ only in leading zeros still need a fixed order.
  return a.empty() && b.empty() ? left < right : a.empty();
}

Result<Recording> find_frames(const std::vector<fs::path>& inputs, const std::string& pattern) {
  Recording recording;
  for (const fs::path& input : inputs) {
    std::error_code code;
    if (!fs::is_directory(input, code))
      recording.frames.push_back(input);
    else if (auto failure = add_directory(input, pattern, recording))
      return *failure;
  }
  return recording;
}

} // namespace recordings
