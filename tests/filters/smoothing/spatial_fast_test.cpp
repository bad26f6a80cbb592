#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "filters/smoothing/SpatialFastFilter.h"
#include "filters/smoothing/spatial_fast_kernels.h"
#include "support/host_objects.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::SpatialFastFilter;
using filter_processor::SpatialFastKernels;
using namespace test;

struct Image {
  Image(int columns, int rows) : width(columns), height(rows), pixels(index(0, rows)) {}

  size_t index(int x, int y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
  }
  uint16_t& at(int x, int y) { return pixels[index(x, y)]; }

  /// Rows outside the image are its first and last one.
  uint16_t clamped(int x, int y) const { return pixels[index(x, std::clamp(y, 0, height - 1))]; }
  Frame frame() const {
    return make_frame(static_cast<uint32_t>(width), static_cast<uint32_t>(height), pixels);
  }

  int width, height;
  Pixels pixels;
};

uint16_t median_of(std::vector<uint16_t> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

/// The pixels of columns `left` to `right` in rows y - radius to y + radius.
std::vector<uint16_t> window(const Image& image, int left, int right, int y, int radius) {
  std::vector<uint16_t> values;
  for (int x = left; x <= right; ++x)
    for (int row = y - radius; row <= y + radius; ++row)
      values.push_back(image.clamped(x, row));
  return values;
}

// The kernels written down pixel by pixel.

Image naive_3x3(const Image& image) {
  Image output = image;
  for (int y = 0; y < image.height; ++y)
    for (int block = 0; block < image.width / 8 - 1; ++block)
      for (int x = 4 + 8 * block; x < 12 + 8 * block; ++x)
        output.at(x, y) = median_of(window(image, x - 1, x + 1, y, 1));
  return output;
}

/// The border set of a row: column `full`, and column `cut` without its lowest pixel.
std::vector<uint16_t> nine(const Image& image, int full, int cut, int y) {
  auto values = window(image, full, full, y, 2);
  for (int row = y - 2; row <= y + 1; ++row)
    values.push_back(image.clamped(cut, row));
  return values;
}

Image naive_5x5(const Image& image) {
  Image output = image;
  const int w = image.width;
  for (int y = 0; y < image.height && w >= 3; ++y) {
    output.at(0, y) = median_of(nine(image, 0, 1, y));
    output.at(1, y) = median_of(window(image, 0, 2, y, 2));
    for (int x = 2; x < 2 + w / 8 * 8 && x < w - 2; ++x)
      output.at(x, y) = median_of(window(image, x - 2, x + 2, y, 2));
    output.at(w - 2, y) = median_of(nine(image, w - 2, w - 1, y));
    output.at(w - 1, y) = median_of(window(image, w - 3, w - 1, y, 2));
  }
  return output;
}

Image random_image(int width, int height, unsigned kind, std::mt19937& random) {
  Image image(width, height);
  for (auto& pixel : image.pixels) {
    switch (kind % 3) {
    case 0: // any value, both sides of the sign bit
      pixel = static_cast<uint16_t>(random());
      break;
    case 1: // two values: a comparator network is right for all when it is for these
      pixel = random() % 2 == 0 ? uint16_t{0x7fff} : uint16_t{0x8000};
      break;
    default: // many holes
      pixel = random() % 2 == 0 ? uint16_t{0} : static_cast<uint16_t>(random() % 50);
    }
  }
  return image;
}

struct Variant {
  const char* radius;
  SpatialFastKernels::Filter SpatialFastKernels::*kernel;
  Image (*naive)(const Image&);
};

constexpr Variant variants[] = {{"3", &SpatialFastKernels::median_3x3, naive_3x3},
                                {"5", &SpatialFastKernels::median_5x5, naive_5x5}};

TEST(SpatialFastKernels, EveryLevelEqualsTheNaiveForm) {
  std::mt19937 random(5);
  std::vector<std::pair<int, int>> sizes = {{531, 7}, {264, 66}, {263, 65}, {20, 131}};
  for (int width = 0; width < 90; ++width)
    for (const int height : {0, 1, 2, 3, 4, 5, 12})
      sizes.emplace_back(width, height);
  for (const auto& [width, height] : sizes) {
    for (unsigned kind = 0; kind < 3; ++kind) {
      const Image image = random_image(width, height, kind, random);
      for (const Variant& variant : variants) {
        const Pixels expected = variant.naive(image).pixels;
        for (const simd::Level level : simd::supported_levels()) {
          Pixels output = image.pixels;
          (simd::kernels<SpatialFastKernels>(level).*
           variant.kernel)(image.pixels.data(), output.data(), static_cast<uint32_t>(width),
                           static_cast<uint32_t>(height));
          ASSERT_EQ(output, expected) << variant.radius << " " << simd::level_name(level) << " "
                                      << width << "x" << height << " kind " << kind;
        }
      }
    }
  }
}

TEST(SpatialFastFilter, TakesParametersOverAsTheNaiveFilterDoes) {
  const NoLeftovers no_leftovers;
  constexpr std::pair<int, int> sizes[] = {{0, 0}, {0, 3}, {3, 0}, {21, 4}, {4, 21}, {40, 3}};
  const std::string invalid = "invalid params | SpatialFastFilter::updateConfig | "
                              "frame_info.width||frame_info.height | 4";
  std::mt19937 random(3);
  SpatialFastFilter filter;
  int anchor = 3, current = 3;
  bool pending = false; // a take-over is due whatever the size
  std::pair<int, int> taken{0, 0};
  for (int step = 0; step < 3000; ++step) {
    const auto action = random() % 8;
    if (action == 0) {
      filter.reset();
      anchor = current = 3;
      taken = {0, 0};
    } else if (action < 3) {
      const char* value = action == 1 ? "3" : "5";
      pending = pending || value[0] - '0' != anchor;
      anchor = value[0] - '0';
      filter.update_filter_config(1, &value, nullptr);
    } else {
      const auto size = sizes[random() % std::size(sizes)];
      const Image image = random_image(size.first, size.second, 0, random);
      const Frame input = image.frame();
      std::string expected_error;
      if (size != taken || pending) {
        current = anchor;
        if (size.first == 0 || size.second == 0) {
          expected_error = invalid;
        } else {
          taken = size;
          pending = false;
        }
      }
      ErrorSlot error;
      testing::internal::CaptureStdout();
      const Frame output{filter.filter_process(input.get(), error.receive())};
      const std::string printed = testing::internal::GetCapturedStdout();
      ASSERT_EQ(error.text(), expected_error) << step;
      ASSERT_EQ(printed, expected_error.empty() ? "" : error.trace());
      ASSERT_EQ(output == nullptr, !expected_error.empty());
      if (output != nullptr) {
        const Image expected = current == 3 ? naive_3x3(image) : naive_5x5(image);
        ASSERT_EQ(pixels_of(output.get()), expected.pixels) << step;
      }
    }
  }
}

TEST(SpatialFastFilter, FailsWithoutAKernelForItsSide) {
  const NoLeftovers no_leftovers;
  SpatialFastFilter filter(4);
  const Frame input = make_frame(3, 1, {1, 2, 3});
  ErrorSlot error;
  EXPECT_EQ(filter.filter_process(input.get(), error.receive()), nullptr);
  EXPECT_EQ(error.text(), "spatial fast filter error | SpatialFastFilter::filter_process | "
                          "SpatialFastFilter | 0");
}

} // namespace
