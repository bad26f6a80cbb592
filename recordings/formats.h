// The file formats. Each is a file of its own and a line in the table of formats.cpp, from which
// everything else follows: which files of a folder are frames, how each is read, what can be
// written.
#pragma once

#include <filesystem>
#include <span>
#include <string_view>

#include "recordings/image.h"

namespace recordings {

struct Format {
  const char* extension;        // lower case, with its dot
  const char* title;            // as messages list it
  std::string_view first_bytes; // tell the format where a name does not; empty: the name has to

  /// `told_size` is for files that don't say their size.
  Result<Image> (*read)(std::span<const uint8_t> bytes, std::optional<FrameSize> told_size);
  Result<std::vector<uint8_t>> (*write)(const Image& image); // null: read only
};

/// The format of files of this name, by its extension in any case; null where there is none.
const Format* format_of_name(const std::filesystem::path& path);

/// The format of files that begin so; null where there is none.
const Format* format_of_content(std::span<const uint8_t> bytes);

/// "a, b or c", for messages.
std::string format_titles();

} // namespace recordings
