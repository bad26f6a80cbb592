#include "recordings/tum_folder.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "recordings/system.h"

#include "recordings/frame_names.h"
#include "recordings/image_file.h"

namespace recordings {
namespace {

namespace fs = std::filesystem;

constexpr const char* list_name = "depth.txt";

/// Cuts the next word off the front of `line`.
std::string_view take_word(std::string_view& line) {
  constexpr const char* blanks = " \t\r";
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  return word;
}

/// "1305031102.160407" to the nanosecond, as a float64 can't hold it.
std::optional<int64_t> parse_seconds(std::string_view text) {
  constexpr size_t fraction_digits = 9;
  const size_t point = std::min(text.find('.'), text.size());
  const std::string_view whole = text.substr(0, point);
  std::string digits(text.substr(std::min(point + 1, text.size())));
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (whole.empty() || !std::ranges::all_of(whole, is_digit) ||
      !std::ranges::all_of(digits, is_digit))
    return std::nullopt;
  digits.resize(fraction_digits, '0');
  digits.insert(0, whole);
  int64_t nanoseconds = 0;
  const auto end = digits.data() + digits.size();
  const auto outcome = std::from_chars(digits.data(), end, nanoseconds);
  return outcome.ec == std::errc{} ? std::optional(nanoseconds) : std::nullopt;
}

bool stays_inside(const fs::path& picture) {
  return !picture.has_root_path() && std::ranges::find(picture, fs::path("..")) == picture.end();
}

class TumFolder final : public FrameSource {
 public:
  TumFolder(fs::path folder, std::vector<TumEntry> entries, std::optional<FrameSize> told_size)
      : folder_(std::move(folder)), entries_(std::move(entries)), told_size_(told_size) {}

  Result<std::optional<StoredFrame>> next() override {
    if (index_ == entries_.size())
      return std::optional<StoredFrame>();
    const TumEntry& entry = entries_[index_];
    const fs::path path = folder_ / entry.picture;
    StoredFrame frame;
    frame.info = {index_++, names_.make(entry.picture.stem().string()), entry.time_ns};
    frame.place = path.string();
    frame.decode = [path, size = told_size_] { return read_image(path, size); };
    return std::optional(std::move(frame));
  }

  std::vector<fs::path> files() const override {
    std::vector<fs::path> files;
    for (const TumEntry& entry : entries_)
      files.push_back(folder_ / entry.picture);
    return files;
  }
  fs::path list() const override { return folder_ / list_name; }
  std::optional<uint64_t> frame_count() const override { return entries_.size(); }
  CameraFacts facts() const override { return {{"depth_unit", 0.2}}; }

 private:
  fs::path folder_;
  std::vector<TumEntry> entries_;
  std::optional<FrameSize> told_size_;
  FrameNames names_;
  uint64_t index_ = 0;
};

} // namespace

bool is_tum_folder(const fs::path& folder) {
  std::error_code code;
  return fs::is_directory(folder, code) && fs::is_regular_file(folder / list_name, code);
}

Result<std::vector<TumEntry>> parse_tum_list(std::string_view text) {
  constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";
  if (text.starts_with(byte_order_mark))
    text.remove_prefix(byte_order_mark.size());
  std::vector<TumEntry> entries;
  for (size_t number = 1; !text.empty(); ++number) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const std::string_view first = take_word(line);
    if (first.empty() || first.front() == '#')
      continue;
    const auto time_ns = parse_seconds(first);
    const fs::path picture = take_word(line);
    if (!time_ns || picture.empty() || !take_word(line).empty())
      return Error{fmt::format("line {}: not \"seconds path\"", number)};
    if (!stays_inside(picture))
      return Error{fmt::format("line {}: {} leads out of the folder", number, picture.string())};
    entries.push_back({*time_ns, picture});
  }
  return entries;
}

Result<std::unique_ptr<FrameSource>> open_tum_folder(const fs::path& folder,
                                                     const SourceOptions& options) {
  constexpr uint64_t longest = uint64_t{64} << 20;
  const std::string list = (folder / list_name).string();
  const auto stream = open_byte_stream(list);
  if (!stream)
    return stream.error();
  const auto bytes = read_bytes(**stream, longest + 1);
  if (!bytes)
    return bytes.error();
  if (bytes->size() > longest)
    return Error{fmt::format("{}: too long for a list of pictures", list)};
  auto entries = parse_tum_list({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
  if (!entries)
    return Error{fmt::format("{}, {}", list, entries.error().message)};
  std::erase_if(*entries, [&options](const TumEntry& entry) {
    return !options.match.empty() &&
           !system::matches(options.match, entry.picture.filename().string());
  });
  if (entries->empty())
    return Error{fmt::format("{}: no depth images in this list", list)};
  return std::unique_ptr<FrameSource>(
      std::make_unique<TumFolder>(folder, std::move(*entries), options.told_size));
}

} // namespace recordings
