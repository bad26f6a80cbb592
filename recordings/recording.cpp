#include "recordings/recording.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

#include "recordings/formats.h"
#include "recordings/frame_names.h"
#include "recordings/system.h"

namespace recordings {
namespace {

namespace fs = std::filesystem;

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
