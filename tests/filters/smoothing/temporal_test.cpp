#include <gtest/gtest.h>

#include <cmath>

#include "filters/smoothing/temporal_kernels.h"
#include "naive/temporal.h"
#include "support/allocation_faults.h"
#include "support/sequences.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::TemporalKernels;
using namespace test;

/// A pixel about as far from `other` as the scales' limits lie, or any.
uint16_t related_pixel(uint16_t other, Random& random) {
  if (random() % 8 == 0)
    return static_cast<uint16_t>(random());
  const double factor = std::uniform_real_distribution<double>(0.4, 1.6)(random);
  return static_cast<uint16_t>(std::min(65535.0, other * factor));
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

struct Model : naive::Temporal {
  std::pair<uint32_t, uint32_t> size{37, 5};
  Pixels scene{};

  void configure(Filter& filter, Random& random) {
    const char* texts[] = {"0.1", "0.25x", " 1", "0.0999999999", "0.05", "1.01", "nan", "1e99", ""};
    const auto scale = random() % std::size(texts);
    const auto new_weight = random() % std::size(texts);
    const char* refused = scale > 3 ? "diff_scale" : new_weight > 3 ? "weight" : nullptr;
    if (scale <= 3)
      diff_scale = static_cast<float>(std::atof(texts[scale]));
    if (refused == nullptr)
      weight = static_cast<float>(std::atof(texts[new_weight]));
    EXPECT_EQ(filter.update({texts[scale], texts[new_weight]}),
              refused == nullptr ? ""
                                 : "params out of range | TemporalFilter::update_filter_config | " +
                                       std::string(refused) + " | 4");
    // A buffer that is too short leaves the history alone.
    const Frame refused_frame = CameraFrame{.width = 3, .height = 1, .pixels = {1, 2}}.make();
    EXPECT_EQ(filter.process(refused_frame.get()), nullptr);
  }
  CameraFrame frame(Random& random) {
    if (random() % 20 == 0)
      size = one_of<decltype(size)>(random, {{37, 5}, {5, 37}, {16, 4}, {1, 1}, {0, 3}});
    scene.resize(size_t{size.first} * size.second, 500);
    for (auto& pixel : scene)
      pixel = random() % 10 == 0 ? uint16_t{0} : related_pixel(pixel == 0 ? 3000 : pixel, random);
    return {.width = size.first, .height = size.second, .pixels = scene};
  }
};

TEST(TemporalFilter, FollowsTheNaiveFilterThroughAnySequence) {
  Random random(11);
  Model model;
  EXPECT_GT(follow("TemporalFilter", model, 2000, random), 500);
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
