#include "recordings/pgm_image.h"

#include <fmt/format.h>

#include "recordings/pixel_bytes.h"

namespace recordings {
namespace {

bool is_blank(uint8_t byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

/// Walks over the header's numbers, blanks and comments.
class HeaderReader {
 public:
  explicit HeaderReader(std::span<const uint8_t> bytes) : rest_(bytes) {}

  /// The next decimal number, null where there is none or it is beyond any sensible header.
  std::optional<uint32_t> number() {
    if (rest_.empty() || !(is_blank(rest_.front()) || rest_.front() == '#'))
      return std::nullopt;
    skip_blanks_and_comments();
    constexpr uint32_t limit = 1'000'000;
    uint32_t value = 0;
    size_t digits = 0;
    while (digits < rest_.size() && rest_[digits] >= '0' && rest_[digits] <= '9' && value < limit)
      value = value * 10 + (rest_[digits++] - uint32_t{'0'});
    rest_ = rest_.subspan(digits);
    return digits == 0 || value >= limit ? std::nullopt : std::optional(value);
  }

  /// The pixels start after the one blank that ends the header; null without it.
  std::optional<std::span<const uint8_t>> pixels() const {
    if (rest_.empty() || !is_blank(rest_.front()))
      return std::nullopt;
    return rest_.subspan(1);
  }

 private:
  void skip_blanks_and_comments() {
    size_t i = 0;
    while (i < rest_.size() && (is_blank(rest_[i]) || rest_[i] == '#')) {
      if (rest_[i] == '#')
        while (i < rest_.size() && rest_[i] != '\n' && rest_[i] != '\r')
          ++i;
      else
        ++i;
    }
    rest_ = rest_.subspan(i);
  }

  std::span<const uint8_t> rest_;
};

struct Header {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t maximum = 0;
  std::span<const uint8_t> samples; ///< all that follows
};

/// Null where it is damaged or cut off.
std::optional<Header> read_header(std::span<const uint8_t> bytes) {
  HeaderReader reader(bytes.subspan(pgm_first_bytes.size()));
  const auto width = reader.number();
  const auto height = reader.number();
  const auto maximum = reader.number();
  const auto samples = reader.pixels();
  if (!width || !height || !maximum || !samples)
    return std::nullopt;
  return Header{*width, *height, *maximum, *samples};
}

} // namespace

Result<Image> decode_pgm(std::span<const uint8_t> bytes) {
  if (!begins_with(bytes, pgm_first_bytes))
    return Error{"not a binary PGM (P5)"};
  const auto header = read_header(bytes);
  if (!header)
    return Error{"damaged or truncated PGM header"};
  const auto [width, height, maximum, samples] = *header;
  if (auto failure = check_size(width, height))
    return *failure;
  if (maximum <= 255 || maximum > 65535) {
    return Error{fmt::format(
        "a PGM with maximum value {}; 16-bit samples (256 to 65535) are needed", maximum)};
  }
  const FrameSize size{width, height};
  if (samples.size() != size.pixel_count() * 2) {
    return Error{fmt::format("{} PGM: {} bytes of pixels where {}x{} needs {}",
                             samples.size() < size.pixel_count() * 2 ? "truncated" : "too long",
                             samples.size(), width, height, size.pixel_count() * 2)};
  }
  return image_of_bytes(size, samples, ByteOrder::big);
}

Result<std::optional<uint64_t>> pgm_length(std::span<const uint8_t> front,
                                           std::optional<FrameSize>) {
  constexpr size_t longest_header = 65536; // comments included
  if (!begins_with(front, pgm_first_bytes))
    return Error{"not a binary PGM (P5)"};
  const auto header = read_header(front);
  if (!header && front.size() > longest_header)
    return Error{"damaged or truncated PGM header"};
  if (!header)
    return std::optional<uint64_t>();
  if (auto failure = check_size(header->width, header->height))
    return *failure;
  const uint64_t header_length = front.size() - header->samples.size();
  return std::optional(header_length + uint64_t{header->width} * header->height * 2);
}

Result<std::vector<uint8_t>> encode_pgm(ImageView image) {
  const std::string header = fmt::format("P5\n{} {}\n65535\n", image.size.width, image.size.height);
  std::vector<uint8_t> bytes(header.begin(), header.end());
  append_pixels(bytes, image, ByteOrder::big);
  return bytes;
}

} // namespace recordings
