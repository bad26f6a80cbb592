// Names of frames that come from a recording's own names.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace recordings {

/// Makes names fit for files, and each different from those before.
class FrameNames {
 public:
  std::string make(std::string name);

 private:
  std::map<std::string, uint64_t> taken_; ///< with the number of times they were asked for
};

} // namespace recordings
