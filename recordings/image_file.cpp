#include "recordings/image_file.h"

#include <cerrno>
#include <fstream>

#include <fmt/format.h>

#include "recordings/formats.h"
#include "recordings/output_file.h"

namespace recordings {
namespace {

Error about_file(const std::filesystem::path& path, Error error) {
  error.message = fmt::format("{}: {}", path.string(), error.message);
  return error;
}

} // namespace

Result<Image> decode_image(const std::filesystem::path& path, std::span<const uint8_t> bytes,
                           std::optional<FrameSize> told_size) {
  const Format* format = format_of_name(path);
  if (format == nullptr)
    format = format_of_content(bytes);
  if (format == nullptr)
    return Error{fmt::format("not a depth image ({})", format_titles())};
  if (format->read == nullptr)
    return Error{fmt::format("{} holds a recording, not one picture", format->title)};
  return format->read(bytes, told_size);
}

Result<std::vector<uint8_t>> read_file(const std::filesystem::path& path) {
  std::error_code code;
  if (!std::filesystem::exists(path, code))
    return Error{fmt::format("{}: no such file", path.string()), ErrorKind::input, {}, ENOENT};
  if (!std::filesystem::is_regular_file(path, code))
    return Error{fmt::format("{}: not a regular file", path.string())};
  constexpr uint64_t max_header = uint64_t{1} << 20;
  const uint64_t size = std::filesystem::file_size(path, code);
  if (code || size > max_pixels * 2 + max_header)
    return Error{fmt::format("{}: too large to be a depth image", path.string())};
  std::vector<uint8_t> bytes(size);
  std::ifstream file(path, std::ios::binary);
  if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size)))
    return Error{fmt::format("{}: can't be read", path.string())};
  return bytes;
}

Result<Image> read_image(const std::filesystem::path& path, std::optional<FrameSize> told_size) {
  auto bytes = read_file(path);
  if (!bytes)
    return bytes.error();
  auto image = decode_image(path, *bytes, told_size);
  return image ? std::move(image) : about_file(path, std::move(image.error()));
}

Failure write_file(const std::filesystem::path& path, std::span<const uint8_t> bytes) {
  auto file = OutputFile::create(path);
  if (!file)
    return file.error();
  if (auto failure = file->write(bytes))
    return failure;
  return file->commit();
}

Failure write_image(const std::filesystem::path& path, ImageView image) {
  const Format* format = format_of_name(path);
  if (format == nullptr || format->write == nullptr)
    return about_file(path, {"a format that is not written", ErrorKind::request});
  const auto bytes = format->write(image);
  return bytes ? write_file(path, *bytes) : bytes.error();
}

} // namespace recordings
