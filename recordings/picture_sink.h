// Pictures out: a file for each frame, or one behind the other in a pipe.
#pragma once

#include "recordings/formats.h"

namespace recordings {

/// FOLDER/NAME.EXTENSION for each frame; the folder is made.
Result<std::unique_ptr<FrameSink>> create_picture_folder(const std::filesystem::path& folder,
                                                         const Format& format);

/// The file itself: a second frame is an error.
Result<std::unique_ptr<FrameSink>> create_picture_file(const std::filesystem::path& path,
                                                       const Format& format);

/// Onto standard output.
Result<std::unique_ptr<FrameSink>> create_picture_stream(const Format& format);

/// Where a folder's sink writes a frame.
std::filesystem::path picture_path(const std::filesystem::path& folder, const std::string& name,
                                   const Format& format);

} // namespace recordings
