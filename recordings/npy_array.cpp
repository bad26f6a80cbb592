#include "recordings/npy_array.h"

#include <array>
#include <charconv>
#include <cstring>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "recordings/output_file.h"
#include "recordings/picture_source.h"

namespace recordings {
namespace {

// ---- the header: a Python dictionary of three entries, as text ----

/// What stands next in the text is taken off its front, or nothing is.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool take(char c) {
    skip_blanks();
    if (rest_.empty() || rest_.front() != c)
      return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool take_word(std::string_view word) {
    skip_blanks();
    if (!rest_.starts_with(word))
      return false;
    rest_.remove_prefix(word.size());
    return true;
  }

  std::optional<std::string_view> take_string() {
    const char quote = take('\'') ? '\'' : '"';
    if (quote == '"' && !take('"'))
      return std::nullopt;
    const size_t length = rest_.find(quote);
    if (length == std::string_view::npos)
      return std::nullopt;
    const std::string_view text = rest_.substr(0, length);
    rest_.remove_prefix(length + 1);
    return text;
  }

  std::optional<uint64_t> take_number() {
    skip_blanks();
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    if (error != std::errc{})
      return std::nullopt;
    rest_.remove_prefix(static_cast<size_t>(end - rest_.data()));
    return number;
  }

  bool ended() {
    skip_blanks();
    return rest_.empty();
  }

 private:
  void skip_blanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\n\r"), rest_.size()));
  }

  std::string_view rest_;
};

struct Entries {
  std::optional<std::string> type;
  std::optional<bool> by_columns;
  std::optional<std::vector<uint64_t>> shape;
};

std::optional<std::vector<uint64_t>> take_shape(Scanner& scanner) {
  constexpr size_t most_dimensions = 32; // NumPy's own limit
  std::vector<uint64_t> shape;
  if (!scanner.take('('))
    return std::nullopt;
  for (bool comma = true; !scanner.take(')'); comma = scanner.take(',')) {
    const auto side = comma ? scanner.take_number() : std::nullopt;
    if (!side || shape.size() == most_dimensions)
      return std::nullopt;
    shape.push_back(*side);
  }
  return shape;
}

std::optional<bool> take_bool(Scanner& scanner) {
  const bool yes = scanner.take_word("True");
  return yes || scanner.take_word("False") ? std::optional(yes) : std::nullopt;
}

/// Each entry once, nothing else; null for any other text.
std::optional<Entries> parse_entries(std::string_view text) {
  Entries entries;
  Scanner scanner(text);
  if (!scanner.take('{'))
    return std::nullopt;
  for (bool comma = true; !scanner.take('}'); comma = scanner.take(',')) {
    const auto key = comma ? scanner.take_string() : std::nullopt;
    if (!key || !scanner.take(':'))
      return std::nullopt;
    bool understood = false;
    if (*key == "descr" && !entries.type)
      understood = (entries.type = scanner.take_string()).has_value();
    else if (*key == "fortran_order" && !entries.by_columns)
      understood = (entries.by_columns = take_bool(scanner)).has_value();
    else if (*key == "shape" && !entries.shape)
      understood = (entries.shape = take_shape(scanner)).has_value();
    if (!understood)
      return std::nullopt;
  }
  const bool complete = entries.type && entries.by_columns && entries.shape && scanner.ended();
  return complete ? std::optional(std::move(entries)) : std::nullopt;
}

Result<NpyHeader> make_header(const Entries& entries) {
  if (*entries.type != "<u2" && *entries.type != ">u2") {
    return Error{fmt::format("an array of '{}'; unsigned 16-bit numbers ('<u2' or '>u2') are "
                             "needed",
                             *entries.type)};
  }
  NpyHeader header;
  header.order = *entries.type == "<u2" ? ByteOrder::little : ByteOrder::big;
  std::span<const uint64_t> sides = *entries.shape;
  if (sides.size() != 2 && sides.size() != 3) {
    return Error{fmt::format("an array of shape ({}); height x width or frames x height x width "
                             "is needed",
                             fmt::join(sides, ", "))};
  }
  header.one_picture = sides.size() == 2;
  if (!header.one_picture) {
    header.frames = sides[0];
    sides = sides.subspan(1);
  }
  if (header.frames == 0)
    return header;
  if (auto failure = check_size(sides[1], sides[0]))
    return *failure;
  header.size = {static_cast<uint32_t>(sides[1]), static_cast<uint32_t>(sides[0])};
  header.by_columns = *entries.by_columns;
  if (header.by_columns && header.frames > 1) {
    return Error{"an array of several frames in Fortran's order, whose frames are interleaved; "
                 "numpy.ascontiguousarray before saving puts them one behind the other"};
  }
  return header;
}

std::string dictionary(uint64_t frames, FrameSize size) {
  return fmt::format("{{'descr': '<u2', 'fortran_order': False, 'shape': ({}, {}, {}), }}", frames,
                     size.height, size.width);
}

/// All of `count` bytes of the header.
Result<std::vector<uint8_t>> read_whole(ByteStream& stream, size_t count) {
  auto bytes = read_bytes(stream, count);
  if (bytes && bytes->size() < count)
    return Error{"a .npy file that ends within its header"};
  return bytes;
}

// ---- in ----

class NpySource final : public FrameSource {
 public:
  NpySource(std::unique_ptr<ByteStream> stream, const NpyHeader& header)
      : stream_(std::move(stream)), header_(header) {
    const uint64_t frame_bytes = header.size.pixel_count() * sizeof(uint16_t);
    if (frame_bytes != 0 && stream_->size())
      there_ = (*stream_->size() - stream_->position()) / frame_bytes;
  }

  Result<std::optional<StoredFrame>> next() override {
    if (ended_)
      return std::optional<StoredFrame>();
    if (index_ == header_.frames)
      return end();
    auto stored = read_npy_frame(*stream_, header_);
    if (!stored)
      return stored.error();
    if (!*stored) {
      ended_ = cut_off_ = true;
      remarks_.push_back(fmt::format("{}: cut off behind {} of {} frames", stream_->name(), index_,
                                     header_.frames));
      return std::optional<StoredFrame>();
    }
    StoredFrame frame;
    frame.info = {index_, numbered_name(index_), std::nullopt};
    frame.place = fmt::format("{}, frame {}", stream_->name(), index_++);
    frame.decode = [stored = std::move(**stored), header = header_]() mutable -> Result<Image> {
      return decode_npy_frame(std::move(stored), header);
    };
    return std::optional(std::move(frame));
  }

  std::optional<uint64_t> frame_count() const override {
    return std::min(header_.frames, there_.value_or(header_.frames));
  }

  const std::vector<std::string>& remarks() const override { return remarks_; }
  bool has_losses() const override { return cut_off_; }

 private:
  Result<std::optional<StoredFrame>> end() {
    ended_ = true;
    std::array<uint8_t, 1> more{};
    const auto count = stream_->read(more);
    if (!count)
      return count.error();
    if (*count != 0)
      remarks_.push_back(fmt::format("{}: what follows the array is left out", stream_->name()));
    return std::optional<StoredFrame>();
  }

  std::unique_ptr<ByteStream> stream_;
  NpyHeader header_;
  std::optional<uint64_t> there_; ///< frames that the file has room for
  std::vector<std::string> remarks_;
  uint64_t index_ = 0;
  bool ended_ = false;
  bool cut_off_ = false;
};

// ---- out ----

class NpySink final : public FrameSink {
 public:
  explicit NpySink(OutputFile file) : file_(std::move(file)) {}

  Result<EncodedFrame> encode(ImageView image) const override {
    EncodedFrame frame{image.size, {}};
    append_pixels(frame.bytes, image, ByteOrder::little);
    return frame;
  }

  Failure write(const FrameInfo& info, const EncodedFrame& frame) override {
    if (frames_ == 0)
      size_ = frame.size;
    if (frame.size != size_) {
      return Error{fmt::format("{}: {}x{} pixels after frames of {}x{}; all frames of a .npy file "
                               "have one size",
                               info.name, frame.size.width, frame.size.height, size_.width,
                               size_.height),
                   ErrorKind::request};
    }
    if (frames_++ == 0)
      if (auto failure = file_.write(header()))
        return failure;
    return file_.write(frame.bytes);
  }

  Failure finish() override {
    if (auto failure = frames_ == 0 ? file_.write(header()) : file_.rewrite(0, header()))
      return failure;
    return file_.commit();
  }

 private:
  /// Of the same length for every number of frames.
  std::vector<uint8_t> header() const {
    constexpr size_t length = 128; // a multiple of 64 with room for the longest numbers
    constexpr size_t in_front = 10;
    std::string text =
        fmt::format("{}{}{}{}{}{}", npy_first_bytes, '\1', '\0',
                    static_cast<char>(length - in_front), '\0', dictionary(frames_, size_));
    text.resize(length, ' ');
    text.back() = '\n';
    return {text.begin(), text.end()};
  }

  OutputFile file_;
  FrameSize size_;
  uint64_t frames_ = 0;
};

} // namespace

Result<NpyHeader> read_npy_header(ByteStream& stream) {
  constexpr size_t longest = size_t{1} << 16;
  const auto front = read_whole(stream, npy_first_bytes.size() + 2);
  if (!front)
    return front.error();
  if (!begins_with(*front, npy_first_bytes))
    return Error{"not a .npy file"};
  const uint8_t version = (*front)[npy_first_bytes.size()];
  if (version < 1 || version > 3 || front->back() != 0) {
    return Error{
        fmt::format("version {}.{} of .npy; 1.0, 2.0 and 3.0 are known", version, front->back())};
  }
  const auto length_bytes = read_whole(stream, version == 1 ? 2 : 4);
  if (!length_bytes)
    return length_bytes.error();
  size_t length = 0;
  for (size_t i = length_bytes->size(); i-- > 0;)
    length = length << 8 | (*length_bytes)[i];
  if (length > longest)
    return Error{fmt::format("a .npy header of {} bytes; {} are the limit", length, longest)};
  const auto text = read_whole(stream, length);
  if (!text)
    return text.error();
  const auto entries = parse_entries({reinterpret_cast<const char*>(text->data()), text->size()});
  if (!entries)
    return Error{"a .npy header that is not understood (records, or damaged)"};
  return make_header(*entries);
}

Result<std::optional<Image>> read_npy_frame(ByteStream& stream, const NpyHeader& header) {
  constexpr size_t step = size_t{1} << 20;
  const size_t count = header.size.pixel_count();
  Image stored{header.size, {}};
  while (stored.pixels.size() < count) {
    const size_t before = stored.pixels.size();
    // What a header claims sets nothing aside: memory grows with what comes.
    stored.pixels.resize(before + std::min(count - before, std::max(step, before)));
    const std::span<uint16_t> fresh = std::span(stored.pixels).subspan(before);
    const auto got = stream.read({reinterpret_cast<uint8_t*>(fresh.data()), fresh.size_bytes()});
    if (!got)
      return got.error();
    if (*got < fresh.size_bytes())
      return std::optional<Image>();
  }
  return std::optional(std::move(stored));
}

Image decode_npy_frame(Image stored, const NpyHeader& header) {
  to_native(stored.pixels, header.order);
  if (!header.by_columns)
    return stored;
  Image image{stored.size, std::vector<uint16_t>(stored.pixels.size())};
  const size_t width = stored.size.width;
  const size_t height = stored.size.height;
  for (size_t x = 0; x < width; ++x)
    for (size_t y = 0; y < height; ++y)
      image.pixels[y * width + x] = stored.pixels[x * height + y];
  return image;
}

Result<Image> decode_npy(std::span<const uint8_t> bytes) {
  const auto stream = memory_stream(bytes, {});
  const auto header = read_npy_header(*stream);
  if (!header)
    return header.error();
  if (header->frames != 1)
    return Error{fmt::format("an array of {} frames, not one picture", header->frames)};
  auto stored = read_npy_frame(*stream, *header);
  if (!stored)
    return stored.error();
  if (!*stored)
    return Error{"a .npy file that is cut off"};
  return decode_npy_frame(std::move(**stored), *header);
}

Result<std::unique_ptr<FrameSource>> open_npy(std::unique_ptr<ByteStream> stream,
                                              const SourceOptions&) {
  const auto header = read_npy_header(*stream);
  if (!header)
    return Error{fmt::format("{}: {}", stream->name(), header.error().message),
                 header.error().kind};
  return std::unique_ptr<FrameSource>(std::make_unique<NpySource>(std::move(stream), *header));
}

Result<std::unique_ptr<FrameSink>> create_npy(const std::filesystem::path& path,
                                              const SinkOptions&) {
  auto file = OutputFile::create(path, true);
  if (!file)
    return file.error();
  return std::unique_ptr<FrameSink>(std::make_unique<NpySink>(std::move(*file)));
}

} // namespace recordings
