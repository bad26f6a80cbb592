#include "recordings/formats.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "recordings/pgm_image.h"
#include "recordings/png_image.h"
#include "recordings/raw_image.h"

namespace recordings {
namespace {

/// A reader of files that say their size themselves.
template <Result<Image> (*decode)(std::span<const uint8_t>)>
Result<Image> sized(std::span<const uint8_t> bytes, std::optional<FrameSize>) {
  return decode(bytes);
}

constexpr Format table[] = {
    {".png", "16-bit .png", png_first_bytes, sized<decode_png>, encode_png},
    {".pgm", "16-bit .pgm", pgm_first_bytes, sized<decode_pgm>, nullptr},
    {".bin", ".bin", {}, sized<decode_bin>, nullptr},
    {".raw", ".raw", {}, decode_raw, nullptr},
};

std::string lower_case_extension(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

} // namespace

const Format* format_of_name(const std::filesystem::path& path) {
  const auto found = std::ranges::find(table, lower_case_extension(path), &Format::extension);
  return found != std::end(table) ? &*found : nullptr;
}

const Format* format_of_content(std::span<const uint8_t> bytes) {
  const auto found = std::ranges::find_if(table, [bytes](const Format& format) {
    return !format.first_bytes.empty() && begins_with(bytes, format.first_bytes);
  });
  return found != std::end(table) ? &*found : nullptr;
}

std::string format_titles() {
  std::string titles;
  for (const Format& format : table) {
    const bool is_last = &format == std::end(table) - 1;
    titles += fmt::format("{}{}", titles.empty() ? "" : is_last ? " or " : ", ", format.title);
  }
  return titles;
}

} // namespace recordings
