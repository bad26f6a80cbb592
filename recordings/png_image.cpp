#include "recordings/png_image.h"

#include <array>
#include <bit>
#include <csetjmp>
#include <cstring>
#include <new>

#include <fmt/format.h>
#include <png.h>
#include <zlib.h>

#include "recordings/grey_png.h"

namespace recordings {
namespace {

/// libpng reports errors by longjmp, which must not cross a frame with destructors: each step that
/// calls it is a function of its own with plain locals, and everything that owns memory lives here.
struct PngSession {
  png_structp png = nullptr;
  png_infop info = nullptr;
  std::string message = "damaged PNG";
  std::span<const uint8_t> input;
  std::vector<uint8_t> output;
  std::vector<png_bytep> rows;

  PngSession() { message.reserve(128); }
  PngSession(const PngSession&) = delete;
  PngSession& operator=(const PngSession&) = delete;
};

struct PngReader : PngSession {
  ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
};

struct PngWriter : PngSession {
  std::vector<png_color> palette; ///< for PNG_COLOR_TYPE_PALETTE

  ~PngWriter() { png_destroy_write_struct(&png, &info); }
};

/// The message is copied within the reserved room: nothing here may throw.
void on_error(png_structp png, png_const_charp text) {
  auto& session = *static_cast<PngSession*>(png_get_error_ptr(png));
  session.message.assign(text, strnlen(text, 127));
  png_longjmp(png, 1);
}

void on_warning(png_structp, png_const_charp) {}

void read_bytes(png_structp png, png_bytep destination, size_t count) {
  auto& session = *static_cast<PngSession*>(png_get_io_ptr(png));
  if (count > session.input.size())
    png_error(png, "truncated PNG");
  std::memcpy(destination, session.input.data(), count);
  session.input = session.input.subspan(count);
}

void write_bytes(png_structp png, png_bytep source, size_t count) {
  auto& output = static_cast<PngSession*>(png_get_io_ptr(png))->output;
  bool stored = true;
  try {
    output.insert(output.end(), source, source + count);
  } catch (const std::bad_alloc&) {
    stored = false;
  }
  if (!stored)
    png_error(png, "out of memory");
}

void flush_nothing(png_structp) {}

bool read_header(PngReader& reader) {
  if (setjmp(png_jmpbuf(reader.png)))
    return false;
  png_set_user_limits(reader.png, max_side, max_side);
  png_set_chunk_malloc_max(reader.png, png_alloc_size_t{1} << 24);
  png_set_read_fn(reader.png, &reader, read_bytes);
  png_read_info(reader.png, reader.info);
  return true;
}

bool read_rows(PngReader& reader) {
  if (setjmp(png_jmpbuf(reader.png)))
    return false;
  if constexpr (std::endian::native == std::endian::little)
    png_set_swap(reader.png);
  png_set_interlace_handling(reader.png);
  png_read_update_info(reader.png, reader.info);
  png_read_image(reader.png, reader.rows.data());
  png_read_end(reader.png, nullptr);
  return true;
}

bool write_picture(PngWriter& writer, FrameSize size, int bit_depth, int color_type) {
  if (setjmp(png_jmpbuf(writer.png)))
    return false;
  png_set_write_fn(writer.png, &writer, write_bytes, flush_nothing);
  // What noisy neighbours leave hardly repeats: looking for more than runs takes longer and makes
  // larger files. The row above is the nearest guess of a depth, but not of a palette's index.
  png_set_compression_level(writer.png, 1);
  png_set_compression_strategy(writer.png, Z_RLE);
  png_set_filter(writer.png, PNG_FILTER_TYPE_BASE,
                 bit_depth == 16 ? PNG_FILTER_UP : PNG_FILTER_NONE);
  png_set_IHDR(writer.png, writer.info, size.width, size.height, bit_depth, color_type,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (color_type == PNG_COLOR_TYPE_PALETTE) {
    png_set_PLTE(writer.png, writer.info, writer.palette.data(),
                 static_cast<int>(writer.palette.size()));
  }
  png_write_info(writer.png, writer.info);
  if (bit_depth == 16 && std::endian::native == std::endian::little)
    png_set_swap(writer.png);
  png_write_image(writer.png, writer.rows.data());
  png_write_end(writer.png, nullptr);
  return true;
}

std::vector<png_bytep> row_pointers(uint8_t* first, size_t row_bytes, uint32_t height) {
  std::vector<png_bytep> rows(height);
  for (size_t y = 0; y < height; ++y)
    rows[y] = first + y * row_bytes;
  return rows;
}

Failure check_header(const PngReader& reader, size_t file_size) {
  const uint64_t width = png_get_image_width(reader.png, reader.info);
  const uint64_t height = png_get_image_height(reader.png, reader.info);
  if (auto failure = check_size(width, height))
    return failure;
  const int bits = png_get_bit_depth(reader.png, reader.info);
  const bool grey = png_get_color_type(reader.png, reader.info) == PNG_COLOR_TYPE_GRAY;
  if (!grey || bits != 16) {
    return Error{fmt::format("a PNG with {}-bit {} samples; 16-bit grey is needed", bits,
                             grey ? "grey" : "colour")};
  }
  // Deflate shrinks at most 1032-fold: a header that promises more can't be honest, and is refused
  // before memory is set aside for its picture.
  if (width * height * 2 / 1040 > file_size) {
    return Error{
        fmt::format("truncated PNG: {} bytes can't hold {}x{} pixels", file_size, width, height)};
  }
  return std::nullopt;
}

Result<std::vector<uint8_t>> encode(FrameSize size, const uint8_t* samples, size_t row_bytes,
                                    int bit_depth, int color_type,
                                    std::vector<png_color> palette = {}) {
  PngWriter writer;
  writer.palette = std::move(palette);
  writer.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &writer, on_error, on_warning);
  writer.info = writer.png != nullptr ? png_create_info_struct(writer.png) : nullptr;
  if (writer.info == nullptr)
    return Error{"out of memory", ErrorKind::system};
  // The writer only reads through these pointers.
  writer.rows = row_pointers(const_cast<uint8_t*>(samples), row_bytes, size.height);
  if (!write_picture(writer, size, bit_depth, color_type))
    return Error{writer.message, ErrorKind::system};
  return std::move(writer.output);
}

} // namespace

Result<Image> decode_png(std::span<const uint8_t> bytes) {
  if (!begins_with(bytes, png_first_bytes))
    return Error{"not a PNG"};
  if (auto image = decode_grey_png(bytes))
    return std::move(*image);
  return decode_png_with_libpng(bytes);
}

Result<Image> decode_png_with_libpng(std::span<const uint8_t> bytes) {
  PngReader reader;
  reader.input = bytes;
  reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader, on_error, on_warning);
  reader.info = reader.png != nullptr ? png_create_info_struct(reader.png) : nullptr;
  if (reader.info == nullptr)
    return Error{"out of memory", ErrorKind::system};
  if (!read_header(reader))
    return Error{reader.message};
  if (auto failure = check_header(reader, bytes.size()))
    return *failure;
  const FrameSize size{png_get_image_width(reader.png, reader.info),
                       png_get_image_height(reader.png, reader.info)};
  Image image{size, std::vector<uint16_t>(size.pixel_count())};
  reader.rows = row_pointers(reinterpret_cast<uint8_t*>(image.pixels.data()),
                             size_t{size.width} * 2, size.height);
  if (!read_rows(reader))
    return Error{reader.message};
  return image;
}

Result<std::optional<uint64_t>> png_length(std::span<const uint8_t> front,
                                           std::optional<FrameSize>) {
  constexpr size_t around_chunk = 12; // its length, type and checksum
  if (front.size() >= png_first_bytes.size() && !begins_with(front, png_first_bytes))
    return Error{"not a PNG"};
  for (uint64_t at = png_first_bytes.size(); at + around_chunk <= front.size();) {
    const auto chunk = front.subspan(static_cast<size_t>(at));
    const uint64_t length = uint64_t{chunk[0]} << 24 | uint64_t{chunk[1]} << 16 |
                            uint64_t{chunk[2]} << 8 | uint64_t{chunk[3]};
    at += around_chunk + length;
    if (begins_with(chunk.subspan(4), "IEND"))
      return std::optional(at);
  }
  return std::optional<uint64_t>();
}

Result<std::vector<uint8_t>> encode_png(ImageView image) {
  return encode(image.size, reinterpret_cast<const uint8_t*>(image.pixels.data()),
                size_t{image.size.width} * 2, 16, PNG_COLOR_TYPE_GRAY);
}

Result<std::vector<uint8_t>> encode_png(const PaletteImage& image) {
  std::vector<png_color> palette;
  for (const auto& [red, green, blue] : image.palette)
    palette.push_back({red, green, blue});
  return encode(image.size, image.indices.data(), image.size.width, 8, PNG_COLOR_TYPE_PALETTE,
                std::move(palette));
}

} // namespace recordings
