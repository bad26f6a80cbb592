// Where the result of each frame goes.
#pragma once

#include <filesystem>
#include <vector>

#include "recordings/result.h"

namespace gxfilter {

/// `directory`/STEM.png for each frame. Two frames with one output, and an output that would
/// replace an input, are errors.
recordings::Result<std::vector<std::filesystem::path>>
output_paths(const std::vector<std::filesystem::path>& frames,
             const std::filesystem::path& directory);

} // namespace gxfilter
