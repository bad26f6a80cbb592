// Names of files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace recordings {

/// ".png" of "a.PNG".
std::string lower_case_extension(const std::filesystem::path& path);

/// Orders "frame_9" before "frame_10": runs of digits compare by value.
bool natural_less(const std::string& left, const std::string& right);

/// Makes names fit for files, and each different from those before.
class FrameNames {
 public:
  std::string make(std::string name);

 private:
  std::map<std::string, uint64_t> taken_; ///< with the number of times they were asked for
};

} // namespace recordings
