// The short way through 16-bit grey PNG against libpng.
#include <algorithm>
#include <bit>
#include <random>

#include <gtest/gtest.h>
#include <libdeflate.h>
#include <png.h>

#include "recordings/grey_png.h"
#include "recordings/png_image.h"

namespace recordings {
namespace {

using Bytes = std::vector<uint8_t>;

/// Smooth, noisy and empty parts, which filters treat each in their way.
Image mixed_picture(FrameSize size, uint32_t seed) {
  std::mt19937 random(seed);
  Image image{size, std::vector<uint16_t>(size.pixel_count())};
  for (size_t i = 0; i < image.pixels.size(); ++i) {
    const size_t part = i / 7 / size.width % 4;
    image.pixels[i] = static_cast<uint16_t>(part == 0   ? 0
                                            : part == 1 ? random()
                                            : part == 2 ? 1000 + i % size.width
                                                        : 60000 + i + random() % 16);
  }
  return image;
}

void append(png_structp png, png_bytep bytes, size_t count) {
  auto& file = *static_cast<Bytes*>(png_get_io_ptr(png));
  file.insert(file.end(), bytes, bytes + count);
}

Bytes written_by_libpng(const Image& image, int filters, int interlace = PNG_INTERLACE_NONE) {
  Bytes file;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(png, &file, append, [](png_structp) {});
  png_set_filter(png, 0, filters);
  png_set_IHDR(png, info, image.size.width, image.size.height, 16, PNG_COLOR_TYPE_GRAY, interlace,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_gAMA(png, info, 0.5);
  png_write_info(png, info);
  if (std::endian::native == std::endian::little)
    png_set_swap(png);
  std::vector<png_bytep> rows;
  for (size_t y = 0; y < image.size.height; ++y)
    rows.push_back(const_cast<png_bytep>(
        reinterpret_cast<png_const_bytep>(&image.pixels[y * image.size.width])));
  png_write_image(png, rows.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return file;
}

Image read_by_libpng(const Bytes& file) {
  png_image header{};
  header.version = PNG_IMAGE_VERSION;
  EXPECT_NE(png_image_begin_read_from_memory(&header, file.data(), file.size()), 0);
  header.format = PNG_FORMAT_LINEAR_Y; // linear samples pass through as they are
  Image image{{header.width, header.height},
              std::vector<uint16_t>(size_t{header.width} * header.height)};
  EXPECT_NE(png_image_finish_read(&header, nullptr, image.pixels.data(), 0, nullptr), 0)
      << header.message;
  return image;
}

constexpr FrameSize sizes[] = {{1, 1}, {1, 40}, {2, 3}, {131, 57}, {640, 90}};

TEST(GreyPng, ReadsWhatLibpngWrites) {
  for (const FrameSize size : sizes) {
    const Image image = mixed_picture(size, size.width);
    for (const int filters : {PNG_FILTER_NONE, PNG_FILTER_SUB, PNG_FILTER_UP, PNG_FILTER_AVG,
                              PNG_FILTER_PAETH, PNG_ALL_FILTERS})
      EXPECT_EQ(decode_grey_png(written_by_libpng(image, filters)), image) << filters;
    const Bytes interlaced = written_by_libpng(image, PNG_ALL_FILTERS, PNG_INTERLACE_ADAM7);
    EXPECT_FALSE(decode_grey_png(interlaced));
    EXPECT_EQ(*decode_png(interlaced), image);
  }
}

TEST(GreyPng, IsReadByLibpng) {
  for (const FrameSize size : sizes) {
    const Image image = mixed_picture(size, 1);
    const auto file = encode_png(image);
    ASSERT_TRUE(file);
    EXPECT_EQ(decode_grey_png(*file), image);
    EXPECT_EQ(read_by_libpng(*file), image);
  }
}

} // namespace
} // namespace recordings
