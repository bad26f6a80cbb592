#include <gtest/gtest.h>

#include <random>

#include "filters/smoothing/SpatialFastFilter.h"
#include "filters/smoothing/spatial_fast_kernels.h"
#include "naive/spatial_fast.h"
#include "support/filter.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::SpatialFastFilter;
using filter_processor::SpatialFastKernels;
using namespace test;

Pixels random_pixels(size_t count, unsigned kind, std::mt19937& random) {
  Pixels pixels(count);
  for (auto& pixel : pixels) {
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
  return pixels;
}

using Size = std::pair<uint32_t, uint32_t>;

Pixels filtered(void (*form)(const naive::Image&, const naive::Image&), Pixels input, Size size) {
  Pixels output = input;
  form({input, size.first, size.second}, {output, size.first, size.second});
  return output;
}

struct Variant {
  const char* radius;
  SpatialFastKernels::Filter SpatialFastKernels::*kernel;
  void (*naive)(const naive::Image& from, const naive::Image& to);
};

constexpr Variant variants[] = {{"3", &SpatialFastKernels::median_3x3, naive::median_3x3},
                                {"5", &SpatialFastKernels::median_5x5, naive::median_5x5}};

TEST(SpatialFastKernels, EveryLevelEqualsTheNaiveForm) {
  std::mt19937 random(5);
  std::vector<Size> sizes = {{531, 7}, {264, 66}, {263, 65}, {20, 131}};
  for (uint32_t width = 0; width < 90; ++width)
    for (const uint32_t height : {0U, 1U, 2U, 3U, 4U, 5U, 12U})
      sizes.emplace_back(width, height);
  for (const Size& size : sizes) {
    const auto [width, height] = size;
    for (unsigned kind = 0; kind < 3; ++kind) {
      const Pixels input = random_pixels(size_t{width} * height, kind, random);
      for (const Variant& variant : variants) {
        const Pixels expected = filtered(variant.naive, input, size);
        for (const simd::Level level : simd::supported_levels()) {
          Pixels output = input;
          (simd::kernels<SpatialFastKernels>(level).*variant.kernel)(input.data(), output.data(),
                                                                     width, height);
          ASSERT_EQ(output, expected) << variant.radius << " " << simd::level_name(level) << " "
                                      << width << "x" << height << " kind " << kind;
        }
      }
    }
  }
}

TEST(SpatialFastFilter, TakesParametersOverAsTheNaiveFilterDoes) {
  const NoLeftovers no_leftovers;
  constexpr Size sizes[] = {{0, 0}, {0, 3}, {3, 0}, {21, 4}, {4, 21}, {40, 3}};
  const std::string invalid = "invalid params | SpatialFastFilter::updateConfig | "
                              "frame_info.width||frame_info.height | 4";
  std::mt19937 random(3);
  Filter filter("SpatialFastFilter");
  int anchor = 3, current = 3;
  bool pending = false; // a take-over is due whatever the size
  Size taken{0, 0};
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
      filter.update({value});
    } else {
      const auto size = sizes[random() % std::size(sizes)];
      const Pixels pixels = random_pixels(size_t{size.first} * size.second, 0, random);
      const Frame input = make_frame(size.first, size.second, pixels);
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
      const Outcome outcome = filter.outcome(input);
      ASSERT_EQ(outcome.error, expected_error) << step;
      ASSERT_EQ(outcome.printed, outcome.trace);
      if (expected_error.empty())
        ASSERT_EQ(outcome.pixels, filtered(variants[current == 5].naive, pixels, size)) << step;
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
