// The file formats. Each is a file of its own and a line in the table of formats.cpp, from which
// everything else follows: which files of a folder are frames, how each is read, what can be
// written.
#pragma once

#include <filesystem>
#include <span>
#include <string_view>

#include "recordings/frame_sink.h"
#include "recordings/frame_source.h"
#include "recordings/image.h"

namespace recordings {

/// How many bytes the picture takes that begins here: null where more must be seen to tell.
using LengthInFront = Result<std::optional<uint64_t>>;

/// A picture format has `read` and, where files of it can stand one behind the other in a pipe,
/// `length`; a container has `open`. What can be written has `write` or `create`.
struct Format {
  const char* extension; ///< lower case, with its dot
  const char* title;     ///< as messages list it
  std::string_view first_bytes =
      {}; ///< tell the format where a name does not; empty: the name has to

  // One picture. `told_size` is for files that don't say their size.
  Result<Image> (*read)(std::span<const uint8_t> bytes,
                        std::optional<FrameSize> told_size) = nullptr;
  LengthInFront (*length)(std::span<const uint8_t> front,
                          std::optional<FrameSize> told_size) = nullptr;
  Result<std::vector<uint8_t>> (*write)(ImageView image) = nullptr;

  // Many frames in one file.
  Result<std::unique_ptr<FrameSource>> (*open)(std::unique_ptr<ByteStream> stream,
                                               const SourceOptions& options) = nullptr;
  Result<std::unique_ptr<FrameSink>> (*create)(const std::filesystem::path& path,
                                               const SinkOptions& options) = nullptr;
};

/// The format of files of this name, by its extension in any case; null where there is none.
const Format* format_of_name(const std::filesystem::path& path);

/// The format of files that begin so; null where there is none.
const Format* format_of_content(std::span<const uint8_t> bytes);

/// "a, b or c", for messages: what can be read, and what can be written.
std::string format_titles();
std::string written_titles();

} // namespace recordings
