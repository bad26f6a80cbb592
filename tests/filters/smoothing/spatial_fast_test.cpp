#include <gtest/gtest.h>

#include "filters/smoothing/SpatialFastFilter.h"
#include "filters/smoothing/spatial_fast_kernels.h"
#include "naive/spatial_fast.h"
#include "support/sequences.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::SpatialFastFilter;
using filter_processor::SpatialFastKernels;
using namespace test;

Pixels random_pixels(size_t count, unsigned kind, Random& random) {
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
  Random random(5);
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

struct Model : naive::SpatialFast {
  void configure(Filter& filter, Random& random) {
    const int side = one_of(random, {3, 5});
    EXPECT_EQ(filter.update_to({std::to_string(side)}), "");
    store(side);
  }
  CameraFrame frame(Random& random) const {
    const Size size = one_of<Size>(random, {{0, 0}, {0, 3}, {3, 0}, {21, 4}, {4, 21}, {40, 3}});
    return {.width = size.first,
            .height = size.second,
            .pixels = random_pixels(size_t{size.first} * size.second, 0, random)};
  }
};

TEST(SpatialFastFilter, TakesParametersOverAsTheNaiveFilterDoes) {
  Random random(3);
  Model model;
  EXPECT_GT(follow("SpatialFastFilter", model, 3000, random), 1000);
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
