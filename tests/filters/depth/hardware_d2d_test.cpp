#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include "filters/depth/invalid_depth_kernels.h"
#include "naive/depth_table.h"
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

struct Model {
  double disp_offset = 0, invalid_depth = 0, fb = 0;
  bool changed = false;
  float tolerance = 0, last_scale = 0;
  std::optional<Input> cached{};

  void configure(Filter&, Random&) {} // it has no parameters
  void reset() { *this = Model{.tolerance = tolerance, .last_scale = last_scale}; }

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

  Pixels process(const Input& input, std::string&) {
    Pixels pixels = input.pixels;
    if (!cached || cached->width != input.width || cached->height != input.height) {
      cached = input;
      fb = double{input.record.baseline} * input.record.fx;
    }
    if (!input.offset) {
      disp_offset = 0;
    } else if (disp_offset != static_cast<double>(*input.offset) || disp_offset == 0x1p63) {
      // The largest offsets are none of the doubles: they count as new each time.
      disp_offset = static_cast<double>(*input.offset);
      changed = true;
    }
    if (disp_offset == 0)
      return pixels;
    if (changed)
      invalid_depth = std::round(fb / disp_offset);
    changed = false;
    const bool banded = input.bits == 12 || input.bits == 14;
    if (banded && std::fabs(input.scale - last_scale) >= 1e-6f) {
      tolerance = 12.8f;
      for (const float step : {6.4f, 3.2f, 1.6f, 0.8f, 0.4f})
        if (step >= input.scale && (input.bits == 14 || step > 1.0f))
          tolerance = step;
      last_scale = input.scale;
    }
    for (auto& pixel : pixels) {
      const auto v = static_cast<double>(static_cast<float>(pixel) * input.scale);
      const auto band = static_cast<double>(tolerance);
      if (banded ? invalid_depth - band <= v && v <= invalid_depth + band
                 : naive::cut(v) == naive::cut(invalid_depth))
        pixel = 0;
    }
    return pixels;
  }
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
