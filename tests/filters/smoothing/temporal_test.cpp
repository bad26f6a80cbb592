#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "filters/smoothing/temporal_kernels.h"
#include "naive/temporal.h"
#include "support/allocation_faults.h"
#include "support/filter.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::TemporalKernels;
using namespace test;

/// The whole filter, frame by frame.
struct NaiveFilter {
  float diff_scale = 0.1F, weight = 0.4F;
  uint32_t width = 0, height = 0;
  Pixels history;

  Pixels process(uint32_t new_width, uint32_t new_height, Pixels pixels) {
    if (history.empty() || width != new_width || height != new_height)
      history.assign(pixels.size(), 0);
    width = new_width;
    height = new_height;
    naive::blend(pixels, history, diff_scale, weight);
    return pixels;
  }
};

/// A pixel about as far from `other` as the scales' limits lie, or any.
uint16_t related_pixel(uint16_t other, std::mt19937& random) {
  if (random() % 8 == 0)
    return static_cast<uint16_t>(random());
  const double factor = std::uniform_real_distribution<double>(0.4, 1.6)(random);
  return static_cast<uint16_t>(std::min(65535.0, other * factor));
}

Pixels random_pixels(size_t count, std::mt19937& random) {
  Pixels pixels(count);
  for (auto& pixel : pixels)
    pixel = random() % 10 == 0 ? uint16_t{0} : static_cast<uint16_t>(random());
  return pixels;
}

void expect_equal_at_every_level(const Pixels& current, const Pixels& previous, float diff_scale,
                                 float weight) {
  Pixels expected = current, expected_history = previous;
  naive::blend(expected, expected_history, diff_scale, weight);
  for (const simd::Level level : simd::supported_levels()) {
    Pixels output = current;
    Pixels history = previous;
    simd::kernels<TemporalKernels>(level).blend(output.data(), history.data(), output.size(),
                                                diff_scale, weight);
    ASSERT_EQ(output, expected) << simd::level_name(level) << " " << diff_scale << " " << weight;
    ASSERT_EQ(history, expected_history) << simd::level_name(level);
  }
}

TEST(TemporalKernels, RoundsLikeTheNaiveFormAtEveryDistanceFromTheLimit) {
  // All current values near the limit and near the previous one, at both ends of all ranges.
  for (const int value : {1, 2, 10, 11, 999, 1000, 4095, 32768, 59577, 65534, 65535}) {
    const auto p = static_cast<uint16_t>(value);
    for (const float diff_scale : {0.1F, 0.13F, 0.55F, 1.0F}) {
      Pixels current;
      for (const double centre : {p * 1.0, p * (1.0 + diff_scale), p / (1.0 + diff_scale)})
        for (int offset = -40; offset <= 40; ++offset)
          current.push_back(static_cast<uint16_t>(std::lround(centre) + offset));
      for (const float weight : {0.1F, 0.3F, 0.4F, 0.7F, 1.0F})
        expect_equal_at_every_level(current, Pixels(current.size(), p), diff_scale, weight);
    }
  }
}

TEST(TemporalFilter, FollowsTheNaiveFilterThroughAnySequence) {
  const NoLeftovers no_leftovers;
  struct Size {
    uint32_t width, height;
  };
  constexpr Size sizes[] = {{37, 5}, {5, 37}, {16, 4}, {1, 1}, {0, 3}};
  const char* texts[] = {"0.1", "0.25x", " 1", "0.0999999999", "0.05", "1.01", "nan", "1e99", ""};
  const bool valid[] = {true, true, true, true, false, false, false, false, false};
  std::mt19937 random(11);
  Filter filter("TemporalFilter");
  NaiveFilter model;
  Size size = sizes[0];
  Pixels scene = random_pixels(185, random);
  for (int step = 0; step < 2000; ++step) {
    const auto action = random() % 20;
    if (action == 0) {
      filter.reset();
      model = {};
    } else if (action < 3) {
      const auto scale = random() % std::size(texts);
      const auto weight = random() % std::size(texts);
      const std::string refusal = filter.update({texts[scale], texts[weight]});
      if (valid[scale])
        model.diff_scale = static_cast<float>(std::atof(texts[scale]));
      if (valid[scale] && valid[weight])
        model.weight = static_cast<float>(std::atof(texts[weight]));
      const std::string key = !valid[scale] ? "diff_scale" : "weight";
      EXPECT_EQ(refusal, valid[scale] && valid[weight]
                             ? ""
                             : "params out of range | TemporalFilter::update_filter_config | " +
                                   key + " | 4");
    } else if (action == 3) {
      size = sizes[random() % std::size(sizes)];
    }
    scene.resize(size_t{size.width} * size.height, 500);
    for (auto& pixel : scene)
      pixel = related_pixel(pixel == 0 ? 3000 : pixel, random);
    const Frame input = make_frame(size.width, size.height, scene);
    if (action == 4) { // a buffer that is too short leaves the history alone
      const Pixels shorter(2);
      const Frame refused = make_frame(3, 1, {1, 2, 3});
      gx_frame_update_data(refused.get(), reinterpret_cast<const uint8_t*>(shorter.data()), 4,
                           nullptr);
      EXPECT_EQ(filter.process(refused.get()), nullptr);
    }
    ASSERT_EQ(filter.outcome(input).pixels, model.process(size.width, size.height, scene)) << step;
  }
}

TEST(TemporalFilter, StartsAnewWhereThereIsNoMemoryForAHistory) {
  REQUIRE_ALLOCATION_FAULTS();
  Filter filter("TemporalFilter");
  const auto process = [&](uint16_t pixel) {
    return filter.outcome(make_frame(8, 1, Pixels(8, pixel))).pixels[0];
  };
  EXPECT_EQ(process(1000), 1000);
  const Frame larger = make_frame(9, 1, Pixels(9, 1000));
  fail_nth_allocation(1);
  EXPECT_EQ(filter.process(larger.get()), nullptr);
  EXPECT_EQ(process(1050), 1050) << "the history of the size before must be gone";
  EXPECT_EQ(process(1000), 1030);
}

} // namespace
