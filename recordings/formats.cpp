#include "recordings/formats.h"

#include <algorithm>

#include <fmt/format.h>

#include "recordings/bag_reader.h"
#include "recordings/frame_names.h"
#include "recordings/matroska.h"
#include "recordings/mcap.h"
#include "recordings/message_sink.h"
#include "recordings/message_source.h"
#include "recordings/npy_array.h"
#include "recordings/npz_archive.h"
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
    {.extension = ".png",
     .title = "16-bit .png",
     .first_bytes = png_first_bytes,
     .read = sized<decode_png>,
     .length = png_length,
     .write = encode_png},
    {.extension = ".pgm",
     .title = "16-bit .pgm",
     .first_bytes = pgm_first_bytes,
     .read = sized<decode_pgm>,
     .length = pgm_length,
     .write = encode_pgm},
    {.extension = ".bin", .title = ".bin", .read = sized<decode_bin>, .length = bin_length},
    {.extension = ".raw",
     .title = ".raw",
     .read = decode_raw,
     .length = raw_length,
     .write = encode_raw},
    {.extension = ".npy",
     .title = ".npy",
     .first_bytes = npy_first_bytes,
     .read = sized<decode_npy>,
     .open = open_npy,
     .create = create_npy},
    {.extension = ".npz", .title = ".npz", .first_bytes = npz_first_bytes, .open = open_npz},
    {.extension = ".mkv",
     .title = ".mkv",
     .first_bytes = matroska_first_bytes,
     .open = open_matroska,
     .create = create_matroska},
    {.extension = ".mcap",
     .title = ".mcap",
     .first_bytes = mcap_first_bytes,
     .open = open_mcap_source,
     .create = create_mcap_sink},
    {.extension = ".bag",
     .title = "ROS 1 .bag",
     .first_bytes = bag_first_bytes,
     .open = open_bag_source},
};

/// "a, b or c".
template <class Chosen>
std::string list_titles(Chosen is_chosen) {
  std::vector<std::string_view> titles;
  for (const Format& format : table)
    if (is_chosen(format))
      titles.push_back(format.title);
  const std::string last(titles.back());
  titles.pop_back();
  return fmt::format("{} or {}", fmt::join(titles, ", "), last);
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
  return list_titles([](const Format&) { return true; });
}

std::string written_titles() {
  return list_titles(
      [](const Format& format) { return format.write != nullptr || format.create != nullptr; });
}

} // namespace recordings
