#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "filters/smoothing/HoleFillingFilter.h"
#include "filters/smoothing/hole_filling_kernels.h"
#include "support/capture.h"
#include "support/host_objects.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::HoleFillingKernels;
using namespace test;

// The kernels written down pixel by pixel.

void naive_top(Pixels& pixels, size_t width, size_t height) {
  for (size_t i = width; i < width * height; ++i)
    if (pixels[i] == 0)
      pixels[i] = pixels[i - width];
}

/// `best` chooses between two values; `hole` marks a pixel to fill while the row is worked on.
template <typename Best>
void naive_neighbours(Pixels& pixels, size_t width, size_t height, uint16_t hole, Best best) {
  const auto treated = [&](size_t y, size_t x) {
    const auto value = pixels[y * width + x];
    return value == 0 ? hole : value;
  };
  for (size_t y = 1; y + 1 < height; ++y) {
    uint16_t left = hole;
    for (size_t x = 0; x < width; ++x) {
      auto value = treated(y, x);
      if (value == hole) {
        const auto vertical = best(value, best(treated(y - 1, x), treated(y + 1, x)));
        value = x % 8 == 0 ? left : best(vertical, left);
      }
      left = value;
      pixels[y * width + x] = hole == 65535 && value == 65535 ? uint16_t{0} : value;
    }
  }
}

void naive_minimum(Pixels& pixels, size_t width, size_t height) {
  naive_neighbours(pixels, width, height, 65535,
                   [](uint16_t a, uint16_t b) { return std::min(a, b); });
}

void naive_maximum(Pixels& pixels, size_t width, size_t height) {
  naive_neighbours(pixels, width, height, 0, [](uint16_t a, uint16_t b) { return std::max(a, b); });
}

Pixels random_pixels(size_t count, double holes, std::mt19937& random) {
  std::uniform_real_distribution<double> share(0, 1);
  Pixels pixels(count);
  for (auto& pixel : pixels) {
    const double dice = share(random);
    if (dice < holes)
      pixel = 0;
    else if (dice > 0.98)
      pixel = dice > 0.99 ? 65535 : 1;
    else
      pixel = static_cast<uint16_t>(random());
  }
  return pixels;
}

TEST(HoleFillingKernels, EveryLevelEqualsTheNaiveForm) {
  struct Variant {
    const char* name;
    void (*HoleFillingKernels::*kernel)(uint16_t*, uint32_t, uint32_t);
    void (*naive)(Pixels&, size_t, size_t);
  };
  const Variant variants[] = {{"top", &HoleFillingKernels::top, naive_top},
                              {"minimum", &HoleFillingKernels::minimum, naive_minimum},
                              {"maximum", &HoleFillingKernels::maximum, naive_maximum}};
  std::mt19937 random(4);
  for (const uint32_t height : {0u, 1u, 2u, 3u, 4u, 9u}) {
    for (uint32_t width = 0; width < 150; width += width < 40 ? 1 : 13) {
      for (const double holes : {0.05, 0.5, 0.95, 1.0}) {
        const Pixels input = random_pixels(size_t{width} * height, holes, random);
        for (const Variant& variant : variants) {
          Pixels expected = input;
          variant.naive(expected, width, height);
          for (const simd::Level level : simd::supported_levels()) {
            Pixels output = input;
            (simd::kernels<HoleFillingKernels>(level).*variant.kernel)(output.data(), width,
                                                                       height);
            ASSERT_EQ(output, expected) << variant.name << " " << simd::level_name(level) << " "
                                        << width << "x" << height << " holes " << holes;
          }
        }
      }
    }
  }
}

TEST(HoleFillingFilter, ChoosesTheSurfaceByModeAndPixelType) {
  const struct {
    const char* mode;
    gx_pixel_type pixel_type;
    void (*naive)(Pixels&, size_t, size_t);
  } cases[] = {{"0", GX_PIXEL_DEPTH, naive_top},         {"0", GX_PIXEL_DISPARITY, naive_top},
               {"1", GX_PIXEL_DEPTH, naive_minimum},     {"2", GX_PIXEL_DEPTH, naive_maximum},
               {"1", GX_PIXEL_DISPARITY, naive_maximum}, {"2", GX_PIXEL_DISPARITY, naive_minimum},
               {"1", GX_PIXEL_TOF_DEPTH, naive_minimum}, {"2", GX_PIXEL_TOF_DEPTH, naive_maximum}};
  std::mt19937 random(5);
  for (const auto& [mode, pixel_type, naive] : cases) {
    const Pixels input = random_pixels(size_t{24} * 5, 0.5, random);
    Pixels expected = input;
    naive(expected, 24, 5);
    Filter filter("HoleFillingFilter");
    EXPECT_EQ(filter.update({mode}), "");
    const Frame output = filter.process(make_frame(24, 5, input, pixel_type).get());
    EXPECT_EQ(pixels_of(output.get()), expected) << mode << " of pixel type " << pixel_type;
  }
}

TEST(HoleFillingFilter, RefusesOtherModes) {
  EXPECT_EQ(
      Filter("HoleFillingFilter").update({"3"}),
      "invalid hole filling mode params | HoleFillingFilter::update_filter_config | argv | 4");
}

TEST(HoleFillingFilter, DeliversTheCopyAndAnErrorInAnUnknownMode) {
  filter_processor::HoleFillingFilter filter(3);
  const Frame input = make_frame(1, 3, {5, 0, 6});
  ErrorSlot error;
  const Frame output{filter.filter_process(input.get(), error.receive())};
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(pixels_of(output.get()), (Pixels{5, 0, 6}));
  EXPECT_EQ(error.text(), "invalid hole filling mode,please check the parameters | "
                          "HoleFillingFilter::filter_process | hole filling mode | 4");
  Capture output_stream(stdout);
  filter.print_filter_params();
  EXPECT_EQ(output_stream.text(), "");
}

TEST(HoleFillingFilter, WalksNoRowsWithoutColumns) {
  const Profile profile{gexton_create_stream_profile(GX_FORMAT_Y16, 0, UINT32_MAX, nullptr)};
  const Frame input{gexton_create_video_frame(GX_FRAME_DEPTH, profile.get(), nullptr, nullptr)};
  for (const char* mode : {"0", "1", "2"}) {
    Filter filter("HoleFillingFilter");
    EXPECT_EQ(filter.update({mode}), "");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(filter.process(input.get()), nullptr);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << mode;
  }
}

} // namespace
