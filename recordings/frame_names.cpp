#include "recordings/frame_names.h"

#include <algorithm>

#include <fmt/format.h>

namespace recordings {

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
