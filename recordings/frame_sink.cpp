#include "recordings/frame_sink.h"

#include <algorithm>

#include <fmt/format.h>

#include "recordings/formats.h"
#include "recordings/frame_names.h"
#include "recordings/picture_sink.h"

namespace recordings {
namespace {

/// Null for what can't be written.
const Format* written_format(const std::filesystem::path& name) {
  const Format* format = format_of_name(name);
  const bool written = format != nullptr && (format->write != nullptr || format->create != nullptr);
  return written ? format : nullptr;
}

/// Whether it looks like a file of a format that is none of ours: nobody means a folder by it.
bool names_other_file(const std::filesystem::path& path) {
  constexpr std::string_view endings[] = {".jpg", ".jpeg", ".jp2", ".tif", ".tiff", ".bmp",
                                          ".gif", ".webp", ".exr", ".avi", ".mp4",  ".mov",
                                          ".h5",  ".zip",  ".gz",  ".tar", ".db3"};
  std::error_code code;
  return std::ranges::find(endings, lower_case_extension(path)) != std::end(endings) &&
         !std::filesystem::is_directory(path, code);
}

/// By the file's own ending, else by `name`, which has no dot.
Result<const Format*> choose_format(const std::filesystem::path& path, const std::string& name) {
  const bool is_named_file =
      (names_one_file(path) && path != standard_stream) || names_other_file(path);
  const Format* format = written_format(is_named_file ? path : std::filesystem::path("x." + name));
  if (format == nullptr) {
    return Error{fmt::format("{}: a format that is not written ({} are)",
                             is_named_file ? path.string() : name, written_titles()),
                 ErrorKind::request};
  }
  if (format->create != nullptr && !names_one_file(path)) {
    return Error{
        fmt::format("{}: {} holds all frames in one file; a name that ends with {} is needed",
                    path.string(), format->title, format->extension),
        ErrorKind::request};
  }
  return format;
}

} // namespace

bool names_one_file(const std::filesystem::path& path) {
  std::error_code code;
  return path == standard_stream ||
         (format_of_name(path) != nullptr && !std::filesystem::is_directory(path, code));
}

Failure check_sink(const std::filesystem::path& path, const std::string& format) {
  const auto chosen = choose_format(path, format);
  return chosen ? std::nullopt : Failure(chosen.error());
}

Result<std::unique_ptr<FrameSink>> create_sink(const std::filesystem::path& path,
                                               const SinkOptions& options) {
  const auto chosen = choose_format(path, options.format);
  if (!chosen)
    return chosen.error();
  const Format& format = **chosen;
  if (format.create != nullptr)
    return format.create(path, options);
  if (path == standard_stream)
    return create_picture_stream(format);
  return names_one_file(path) ? create_picture_file(path, format)
                              : create_picture_folder(path, format);
}

} // namespace recordings
