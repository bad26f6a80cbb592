#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "filters/depth/invalid_depth_kernels.h"
#include "naive/hardware_d2d.h"
#include "naive/invalid_depth.h"
#include "support/sequences.h"

namespace {

namespace simd = filter_processor::simd;
using namespace test;

using Input = CameraFrame;

constexpr float infinity = std::numeric_limits<float>::infinity();

/// Pixel i has value i.
Input counting_input(int64_t offset, uint32_t width = 256, uint32_t height = 256) {
  Input input{.width = width, .height = height, .bits = 16, .offset = offset};
  input.record.fx = 800; // times a baseline of 50
  for (uint32_t i = 0; i < width * height; ++i)
    input.pixels.push_back(static_cast<uint16_t>(i));
  return input;
}

struct Model : naive::HardwareD2D {
  void configure(Filter&, Random&) {} // it has no parameters

  Input frame(Random& random) {
    Input input =
        counting_input(one_of<int64_t>(random, {8, 8, 3, -5, 0, 70, 1, INT64_MAX, INT64_MIN}),
                       250 + random() % 2, 251 + random() % 2);
    input.scale = one_of(random, {1.0F, 1.0F, 0.1F, 0.125F, 0.4F, 1.5F, 2.0F, 1.7F, 7.3F, 13.0F,
                                  17.0F, 1e30F, infinity, -infinity, -1.0F, std::nanf("")});
    input.bits = one_of<uint8_t>(random, {12, 14, 16, 10});
    input.record.fx = one_of(random, {HUGE_VAL, 33e7, 800.0, 800.0, 800.0, 800.0, 800.0, 800.0});
    if (random() % 5 == 0)
      input.offset.reset();
    return input;
  }

  Pixels process(const Input& input, std::string&) { return correct(input).value_or(input.pixels); }
};

TEST(HardwareD2DCorrectionFilter, FollowsTheModelThroughRandomSequences) {
  Random random(9);
  for (int sequence = 0; sequence < 40; ++sequence) {
    Model model;
    follow("HardwareD2DCorrectionFilter", model, 10, random);
  }
}

TEST(InvalidDepthKernels, EveryLevelClearsEveryRange) {
  Pixels all(65536 + 7);
  for (size_t i = 0; i < all.size(); ++i)
    all[i] = static_cast<uint16_t>(i * 3);
  struct Range {
    uint16_t first, last;
  };
  for (const Range range :
       {Range{0, 0}, {5, 5}, {1, 65535}, {0, 65535}, {65535, 65535}, {32000, 33000}}) {
    for (const simd::Level level : simd::supported_levels()) {
      Pixels expected = all, output = all;
      naive::clear_between(expected, range.first, range.last);
      simd::kernels<filter_processor::InvalidDepthKernels>(level).clear_between(
          output.data(), output.size(), range.first, range.last);
      EXPECT_EQ(output, expected) << simd::level_name(level) << range.first;
    }
  }
}

} // namespace
