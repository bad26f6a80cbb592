#include "recordings/frame_sink.h"

#include <fmt/format.h>

#include "recordings/formats.h"
#include "recordings/picture_sink.h"

namespace recordings {
namespace {

/// Null for what can't be written.
const Format* written_format(const std::filesystem::path& name) {
  const Format* format = format_of_name(name);
  const bool written = format != nullptr && (format->write != nullptr || format->create != nullptr);
  return written ? format : nullptr;
}

} // namespace

bool names_one_file(const std::filesystem::path& path) {
  std::error_code code;
  return path == standard_stream ||
         (format_of_name(path) != nullptr && !std::filesystem::is_directory(path, code));
}

Result<std::unique_ptr<FrameSink>> create_sink(const std::filesystem::path& path,
                                               const SinkOptions& options) {
  const bool is_named_file = names_one_file(path) && path != standard_stream;
  const std::filesystem::path name =
      is_named_file ? path : std::filesystem::path("x." + options.format);
  const Format* format = written_format(name);
  if (format == nullptr) {
    return Error{fmt::format("{}: a format that is not written ({} are)",
                             is_named_file ? path.string() : options.format, written_titles()),
                 ErrorKind::request};
  }
  if (format->create != nullptr && !names_one_file(path)) {
    return Error{
        fmt::format("{}: {} holds all frames in one file; a name that ends with {} is needed",
                    path.string(), format->title, format->extension),
        ErrorKind::request};
  }
  if (format->create != nullptr)
    return format->create(path, options);
  if (path == standard_stream)
    return create_picture_stream(*format);
  return is_named_file ? create_picture_file(path, *format) : create_picture_folder(path, *format);
}

} // namespace recordings
