#include "recordings/image_file.h"

#include <algorithm>
#include <cctype>
#include <fstream>

#include <fmt/format.h>

#include "recordings/pgm_image.h"
#include "recordings/png_image.h"
#include "recordings/raw_image.h"

namespace recordings {
namespace {

std::string lower_case_extension(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

Error about_file(const std::filesystem::path& path, Error error) {
  error.message = fmt::format("{}: {}", path.string(), error.message);
  return error;
}

} // namespace

bool has_image_extension(const std::filesystem::path& path) {
  const std::string extension = lower_case_extension(path);
  return extension == ".png" || extension == ".pgm" || extension == ".raw" || extension == ".bin";
}

Result<Image> decode_image(const std::filesystem::path& path, std::span<const uint8_t> bytes,
                           std::optional<FrameSize> raw_size) {
  const std::string extension = lower_case_extension(path);
  if (extension == ".png" || (!has_image_extension(path) && is_png(bytes)))
    return decode_png(bytes);
  if (extension == ".pgm" || (!has_image_extension(path) && is_pgm(bytes)))
    return decode_pgm(bytes);
  if (extension == ".bin")
    return decode_bin(bytes);
  if (extension != ".raw")
    return Error{"not a depth image (16-bit .png, 16-bit .pgm, .bin or .raw)"};
  if (!raw_size)
    return Error{"a headerless file needs its size", ErrorKind::size_needed};
  return decode_raw(bytes, *raw_size);
}

Result<std::vector<uint8_t>> read_file(const std::filesystem::path& path) {
  std::error_code code;
  if (!std::filesystem::exists(path, code))
    return Error{fmt::format("{}: no such file", path.string())};
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

Result<Image> read_image(const std::filesystem::path& path, std::optional<FrameSize> raw_size) {
  auto bytes = read_file(path);
  if (!bytes)
    return bytes.error();
  auto image = decode_image(path, *bytes, raw_size);
  return image ? std::move(image) : about_file(path, std::move(image.error()));
}

Failure write_file(const std::filesystem::path& path, std::span<const uint8_t> bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file)
    return Error{fmt::format("{}: can't be written", path.string()), ErrorKind::system};
  return std::nullopt;
}

} // namespace recordings
