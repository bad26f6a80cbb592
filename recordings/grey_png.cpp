#include "recordings/grey_png.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <libdeflate.h>

#include "recordings/pixel_bytes.h"
#include "recordings/png_image.h"

namespace recordings {
namespace {

constexpr size_t pixel_bytes = 2;

// ---- chunks ----

constexpr size_t around_chunk = 12;                     // its length, type and checksum
constexpr size_t header_bytes = 13;                     // width, height and the five below
constexpr std::array<uint8_t, 5> plain{16, 0, 0, 0, 0}; // bits, grey, deflate, filters, in order

/// Threads keep their buffers; larger pictures go the long way.
constexpr uint64_t most_pixels = uint64_t{16} << 20;

uint32_t big_endian_number(std::span<const uint8_t> bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 |
         uint32_t{bytes[3]};
}

struct Chunk {
  std::string_view type;
  std::span<const uint8_t> content;
};

/// Cuts the next chunk off the front of `bytes`; null where there is no whole and undamaged one.
std::optional<Chunk> take_chunk(std::span<const uint8_t>& bytes) {
  if (bytes.size() < around_chunk)
    return std::nullopt;
  const size_t length = big_endian_number(bytes);
  if (length > bytes.size() - around_chunk)
    return std::nullopt;
  const auto checked = bytes.subspan(4, 4 + length);
  if (libdeflate_crc32(0, checked.data(), checked.size()) !=
      big_endian_number(bytes.subspan(8 + length)))
    return std::nullopt;
  bytes = bytes.subspan(around_chunk + length);
  return Chunk{{reinterpret_cast<const char*>(checked.data()), 4}, checked.subspan(4)};
}

/// One that says nothing about the pixels, and nothing that the general library could refuse.
bool can_be_passed_over(const Chunk& chunk) {
  constexpr size_t most_bytes = size_t{1} << 20;
  const auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  return chunk.type[0] >= 'a' && std::ranges::all_of(chunk.type, is_letter) &&
         chunk.content.size() <= most_bytes;
}

struct PlainPng {
  FrameSize size;
  std::span<const uint8_t> stream; ///< in the file, or in `joined`
};

/// Null where the picture is not 16-bit grey from top to bottom, or too small for its size.
std::optional<FrameSize> plain_size(const Chunk& header, size_t file_size) {
  if (header.type != "IHDR" || header.content.size() != header_bytes ||
      !std::ranges::equal(header.content.subspan(8), plain))
    return std::nullopt;
  const FrameSize size{big_endian_number(header.content),
                       big_endian_number(header.content.subspan(4))};
  // Deflate shrinks at most 1032-fold.
  if (check_size(size.width, size.height) || size.pixel_count() > most_pixels ||
      size.pixel_count() * pixel_bytes / 1040 > file_size)
    return std::nullopt;
  return size;
}

/// `joined` is for the parts of a stream that comes in several chunks.
std::optional<PlainPng> parse(std::span<const uint8_t> bytes, std::vector<uint8_t>& joined) {
  std::span<const uint8_t> rest = bytes.subspan(png_first_bytes.size());
  const auto header = take_chunk(rest);
  const auto size = header ? plain_size(*header, bytes.size()) : std::nullopt;
  if (!size)
    return std::nullopt;
  PlainPng png{*size, {}};
  enum { before, within, behind } place = before; // the stream's chunks stand side by side
  while (const auto chunk = take_chunk(rest)) {
    if (chunk->type == "IEND")
      return chunk->content.empty() ? std::optional(png) : std::nullopt;
    if (chunk->type == "IDAT" && place == before) {
      png.stream = chunk->content;
      place = within;
    } else if (chunk->type == "IDAT" && place == within) {
      if (png.stream.data() != joined.data())
        joined.assign(png.stream.begin(), png.stream.end());
      joined.insert(joined.end(), chunk->content.begin(), chunk->content.end());
      png.stream = joined;
    } else if (chunk->type != "IDAT" && can_be_passed_over(*chunk)) {
      place = place == before ? before : behind;
    } else {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

// ---- filters: each byte of a row less a guess, made of the bytes `pixel_bytes` before and above
// ----

uint8_t sum(int left, int right) {
  return static_cast<uint8_t>(left + right);
}

uint8_t paeth(int left, int above, int corner) {
  const int to_left = std::abs(above - corner);
  const int to_above = std::abs(left - corner);
  const int to_corner = std::abs(left + above - 2 * corner);
  if (to_left <= to_above && to_left <= to_corner)
    return static_cast<uint8_t>(left);
  return static_cast<uint8_t>(to_above <= to_corner ? above : corner);
}

/// `row` has the filtered bytes and gets the pixels'; `above` is the row before it.
bool unfilter(uint8_t filter, uint8_t* row, const uint8_t* above, size_t count) {
  switch (filter) {
  case 0:
    return true;
  case 1: {
    uint8_t high = 0;
    uint8_t low = 0;
    for (size_t i = 0; i < count; i += pixel_bytes) {
      row[i] = high = sum(high, row[i]);
      row[i + 1] = low = sum(low, row[i + 1]);
    }
    return true;
  }
  case 2:
    for (size_t i = 0; i < count; ++i)
      row[i] = sum(row[i], above[i]);
    return true;
  case 3:
    for (size_t i = 0; i < count; ++i)
      row[i] = sum(row[i], ((i >= pixel_bytes ? row[i - pixel_bytes] : 0) + above[i]) / 2);
    return true;
  case 4:
    for (size_t i = 0; i < pixel_bytes; ++i)
      row[i] = sum(row[i], above[i]);
    for (size_t i = pixel_bytes; i < count; ++i)
      row[i] = sum(row[i], paeth(row[i - pixel_bytes], above[i], above[i - pixel_bytes]));
    return true;
  default:
    return false;
  }
}

// ---- what a thread keeps from picture to picture ----

struct FreeDecompressor {
  void operator()(libdeflate_decompressor* decompressor) const {
    libdeflate_free_decompressor(decompressor);
  }
};

struct Workspace {
  std::unique_ptr<libdeflate_decompressor, FreeDecompressor> decompressor{
      libdeflate_alloc_decompressor()};
  std::vector<uint8_t> joined;
  std::vector<uint8_t> filtered;
  std::vector<uint8_t> rows;
};

Workspace& workspace() {
  thread_local Workspace own;
  return own;
}

} // namespace

std::optional<Image> decode_grey_png(std::span<const uint8_t> bytes) {
  Workspace& work = workspace();
  const auto png = begins_with(bytes, png_first_bytes) ? parse(bytes, work.joined) : std::nullopt;
  if (!png || png->stream.size() < 2 || work.decompressor == nullptr)
    return std::nullopt;
  const size_t row_bytes = size_t{png->size.width} * pixel_bytes;
  const size_t total = (1 + row_bytes) * png->size.height;
  // The general library refuses what reaches back beyond the window that the stream announces.
  if (png->stream[0] != 0x78 && total > size_t{256} << (png->stream[0] >> 4))
    return std::nullopt;
  work.filtered.resize(std::max(work.filtered.size(), total));
  if (libdeflate_zlib_decompress(work.decompressor.get(), png->stream.data(), png->stream.size(),
                                 work.filtered.data(), total, nullptr) != LIBDEFLATE_SUCCESS)
    return std::nullopt;

  Image image{png->size, std::vector<uint16_t>(png->size.pixel_count())};
  work.rows.assign(row_bytes, 0); // above the first
  const uint8_t* above = work.rows.data();
  for (size_t y = 0; y < png->size.height; ++y) {
    uint8_t* row = &work.filtered[y * (1 + row_bytes)];
    if (!unfilter(row[0], row + 1, above, row_bytes))
      return std::nullopt;
    above = row + 1;
    copy_from_bytes(std::span(image.pixels).subspan(y * png->size.width, png->size.width),
                    {above, row_bytes}, ByteOrder::big);
  }
  return image;
}

} // namespace recordings
