// Which frames belong to a recording, and in which order.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "recordings/result.h"

namespace recordings {

struct Recording {
  std::vector<std::filesystem::path> frames;  ///< as given; those of a directory in natural order
  std::vector<std::filesystem::path> ignored; ///< files of directories that are no pictures
};

/// Files stand for themselves (a missing one is reported when its turn comes), directories for the
/// pictures directly in them whose names match `pattern` (shell wildcards; empty: all). A directory
/// that mixes kinds of pictures needs a pattern: which of them is the recording can't be guessed.
Result<Recording> find_frames(const std::vector<std::filesystem::path>& inputs,
                              const std::string& pattern);

} // namespace recordings
