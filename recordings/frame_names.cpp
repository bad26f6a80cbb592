#include "recordings/frame_names.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include <fmt/format.h>

namespace recordings {
namespace {

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

} // namespace

std::string lower_case_extension(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

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

std::string FrameNames::make(std::string name) {
  constexpr size_t longest = 200; // an extension and what sinks add must fit a file name too
  std::ranges::replace_if(
      name, [](unsigned char c) { return c < ' ' || c == 0x7f || c == '/' || c == '\\'; }, '_');
  name.resize(std::min(name.size(), longest));
  if (name.empty() || name.front() == '.') // hidden, or a directory
    name.insert(0, "_");
  std::string unique = name;
  while (!taken_.try_emplace(unique, 1).second)
    unique = fmt::format("{}_{}", name, ++taken_[name]);
  return unique;
}

} // namespace recordings
