#include "recordings/frame_source.h"

#include <array>

#include <fmt/format.h>

#include "recordings/formats.h"
#include "recordings/picture_source.h"
#include "recordings/recording.h"
#include "recordings/tum_folder.h"

namespace recordings {
namespace {

namespace fs = std::filesystem;

/// By its name, else by how it begins; null where that is a picture or nothing known.
const Format* container_format(const fs::path& path) {
  std::error_code code;
  if (!fs::is_regular_file(path, code))
    return nullptr;
  const Format* format = format_of_name(path);
  if (format == nullptr) {
    std::array<uint8_t, 16> front{};
    const auto stream = open_byte_stream(path);
    const auto count = stream ? (*stream)->read(front) : Result<size_t>(stream.error());
    if (count)
      format = format_of_content(std::span(front).first(*count));
  }
  return format != nullptr && format->open != nullptr ? format : nullptr;
}

/// Standard input, or a pipe that has a name.
bool is_pipe(const fs::path& input) {
  std::error_code code;
  return input == standard_stream || fs::is_fifo(input, code);
}

Result<std::unique_ptr<FrameSource>> open_pipe(const fs::path& pipe, const SourceOptions& options) {
  const std::string name = pipe == standard_stream ? "standard input" : pipe.string();
  const Format* format =
      format_of_name(options.format.empty() ? pipe : fs::path("x." + options.format));
  if (options.format.empty() && format == nullptr)
    return Error{name + " has no name that tells its format (--format)", ErrorKind::request};
  if (format == nullptr || (format->open == nullptr && format->length == nullptr)) {
    return Error{fmt::format("{}: '{}' can't be read from a pipe", name,
                             format == nullptr ? options.format : format->extension),
                 ErrorKind::request};
  }
  auto stream = open_byte_stream(pipe);
  if (!stream)
    return stream.error();
  if (format->open != nullptr)
    return format->open(std::move(*stream), options);
  return open_picture_stream(std::move(*stream), *format, options);
}

} // namespace

Result<std::unique_ptr<FrameSource>> open_source(const std::vector<fs::path>& inputs,
                                                 const SourceOptions& options) {
  for (const fs::path& input : inputs) {
    const bool from_pipe = is_pipe(input);
    const bool listed = !from_pipe && is_tum_folder(input);
    const Format* container = from_pipe ? nullptr : container_format(input);
    if (!from_pipe && !listed && container == nullptr)
      continue;
    if (inputs.size() > 1) {
      return Error{fmt::format("{} is a recording of its own: one at a time", input.string()),
                   ErrorKind::request};
    }
    if (from_pipe)
      return open_pipe(input, options);
    if (listed)
      return open_tum_folder(input, options);
    auto stream = open_byte_stream(input);
    if (!stream)
      return stream.error();
    return container->open(std::move(*stream), options);
  }
  auto recording = find_frames(inputs, options.match);
  if (!recording)
    return recording.error();
  return open_pictures(std::move(*recording), options);
}

} // namespace recordings
