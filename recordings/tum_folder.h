// TUM RGB-D: a folder whose depth.txt lists pictures and when they were taken.
#pragma once

#include "recordings/frame_source.h"

namespace recordings {

bool is_tum_folder(const std::filesystem::path& folder);

/// Frames in the order of the list. Each picture is read when its frame is decoded; a missing one
/// is that frame's error. Five units are a millimetre.
Result<std::unique_ptr<FrameSource>> open_tum_folder(const std::filesystem::path& folder,
                                                     const SourceOptions& options);

struct TumEntry {
  int64_t time_ns = 0;
  std::filesystem::path picture; ///< in the folder
};

/// Errors name the line.
Result<std::vector<TumEntry>> parse_tum_list(std::string_view text);

} // namespace recordings
