#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "naive/speckles.h"
#include "support/host_objects.h"
#include "support/random.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::SpeckleKernels;
using filter_processor::SpeckleTask;
using namespace test;

Pixels filtered(const SpeckleTask& task, const Pixels& input, simd::Level level) {
  const auto& kernels = simd::kernels<SpeckleKernels>(level);
  const uint64_t bytes = kernels.work_buffer_size(task.width, task.height, task.single);
  std::vector<uint64_t> work(static_cast<size_t>(bytes / 8 + 1), ~uint64_t{0});
  Pixels output = input;
  EXPECT_EQ(kernels.removeSpeckles(work.data(), output.data(), task), 0);
  return output;
}

void expect_naive(const SpeckleTask& task, const Pixels& input, const std::string& what) {
  Pixels expected = input;
  naive::remove_speckles(task, expected);
  for (const simd::Level level : simd::supported_levels()) {
    ASSERT_EQ(filtered(task, input, level), expected)
        << what << " " << simd::level_name(level) << " " << task.width << "x" << task.height
        << " lut " << int{task.lut_size} << " single " << task.single << " diff " << task.max_diff
        << " size " << task.max_size << " invalid " << task.invalid_value;
  }
}

uint32_t below(Random& random, uint32_t limit) {
  return std::uniform_int_distribution<uint32_t>(0, limit - 1)(random);
}

// Contents, from few large regions to as many as pixels, and shapes that lead growth astray.

using Content = uint16_t (*)(uint32_t x, uint32_t y, Random& random);

uint16_t noise(uint32_t, uint32_t, Random& random) {
  return static_cast<uint16_t>(random());
}
uint16_t few_values(uint32_t, uint32_t, Random& random) {
  return static_cast<uint16_t>(below(random, 5) * 30);
}
uint16_t bins(uint32_t, uint32_t, Random& random) {
  return static_cast<uint16_t>(below(random, 900)); // steps within and across bins of 64
}
uint16_t slope_with_holes(uint32_t x, uint32_t y, Random& random) {
  return random() % 6 == 0 ? uint16_t{0}
                           : static_cast<uint16_t>(300 + 7 * x + 5 * y + random() % 16);
}
uint16_t comb(uint32_t x, uint32_t y, Random&) {
  return x % 4 < 2 || y % 64 >= 62 ? 500 : 0; // teeth two wide, for half sampling as well
}
uint16_t checkerboard(uint32_t x, uint32_t y, Random&) {
  return (x / 2 + y / 2) % 2 == 0 ? 60 : 70; // in two bins of 64
}
uint16_t spiral(uint32_t x, uint32_t y, Random&) {
  const int dx = static_cast<int>(x / 2) - 16;
  const int dy = static_cast<int>(y / 2) - 16;
  const int ring = std::max(std::abs(dx), std::abs(dy));
  return ring % 2 == 0 || (dx == ring && dy == ring - 1) ? 400 : 0;
}
uint16_t stairs(uint32_t x, uint32_t y, Random&) {
  // Rows fall by a step that only the upper bin allows, so that regions reach down but not up.
  return static_cast<uint16_t>(20 * (40 - (x + 3 * y) % 40));
}

constexpr struct {
  const char* name;
  Content content;
} contents[] = {{"noise", noise},   {"few values", few_values},
                {"bins", bins},     {"slope", slope_with_holes},
                {"comb", comb},     {"checkerboard", checkerboard},
                {"spiral", spiral}, {"stairs", stairs}};

struct RandomTask : SpeckleTask {
  RandomTask(uint32_t frame_width, uint32_t frame_height, Random& random);

  uint16_t limits[16];
  uint16_t thresholds[255];
};

RandomTask::RandomTask(uint32_t frame_width, uint32_t frame_height, Random& random)
    : SpeckleTask{frame_width, frame_height} {
  constexpr int32_t differences[] = {-1, 0, 12, 35, 300, 70000};
  constexpr uint32_t invalid_values[] = {0, 0, 60, 8192, 65532, 65536 + 60};
  constexpr uint8_t table_sizes[] = {0, 0, 1, 7, 7, 255};
  max_diff = differences[below(random, 6)];
  invalid_value = invalid_values[below(random, 6)];
  max_size = static_cast<int32_t>(below(random, 90)) - 5;
  single = below(random, 2) == 1;
  for (auto& limit : limits)
    limit = static_cast<uint16_t>(below(random, 30));
  tile_limits = single ? nullptr : limits;
  lut_size = table_sizes[below(random, 6)];
  for (auto& threshold : thresholds)
    threshold = static_cast<uint16_t>(below(random, 80));
  lut = lut_size == 0 ? nullptr : thresholds + std::size(thresholds) - lut_size;
  depth_shift = static_cast<uint8_t>(random() % 4 == 0 ? below(random, 32) : 6);
}

void compare_contents(uint32_t width, uint32_t height, Random& random) {
  for (const auto& [name, content] : contents) {
    Pixels input(size_t{width} * height);
    for (size_t i = 0; i < input.size(); ++i) {
      input[i] =
          content(static_cast<uint32_t>(i % width), static_cast<uint32_t>(i / width), random);
    }
    expect_naive(RandomTask(width, height, random), input, name);
  }
}

TEST(RemoveSpeckles, EqualsDepthFirstGrowthAtAnySize) {
  Random random(31);
  for (int i = 0; i < 60; ++i)
    compare_contents(1 + below(random, 140), 1 + below(random, 40), random);
  for (const uint32_t length : {1u, 2u, 3u, 63u, 64u, 65u, 128u, 500u, 32767u}) {
    compare_contents(length, 1, random);
    compare_contents(1, length, random);
    compare_contents(length, 2, random);
  }
  for (int i = 0; i < 20; ++i)
    compare_contents(2 + below(random, 4), 2 + below(random, 4), random);
}

TEST(RemoveSpeckles, EqualsDepthFirstGrowthAtTheSizesOfHalfSampling) {
  Random random(32);
  for (const uint32_t side : {1280u, 640u, 320u, 160u}) {
    for (const uint32_t other : {1u, 2u, 3u, 4u, 5u, 50u, 67u}) {
      compare_contents(side, other, random);
      compare_contents(other, side, random);
    }
  }
  for (const uint32_t other : {1u, 2u, 31u}) {
    compare_contents(424, other, random);
    compare_contents(other, 266, random);
    compare_contents(266, other, random); // neither 266 wide nor 424 high is halved
    compare_contents(other, 424, random);
  }
}

TEST(RemoveSpeckles, FollowsStepsAllowedOneWayHoweverTheyTurn) {
  // Every other column is a leg of a path that goes down and up. Along it, depths climb by steps
  // that any pixel allows, and fall by one that only pixels from 64 on do.
  constexpr uint16_t thresholds[] = {4, 30};
  constexpr uint32_t width = 131, height = 30;
  for (const bool reversed : {false, true}) {
    Pixels input(width * height);
    for (uint32_t place = 0; place < (width + 1) / 2 * (height + 1); ++place) {
      const uint32_t leg = place / (height + 1);
      const uint32_t y = std::min(place % (height + 1), height - 1);
      const bool turn = place % (height + 1) == height;
      const uint32_t index = (leg % 2 == 0 ? y : height - 1 - y) * width + 2 * leg + (turn ? 1 : 0);
      if (index % width < width && index < input.size())
        input[reversed ? input.size() - 1 - index : index] =
            static_cast<uint16_t>(50 + 4 * (place % 5));
    }
    for (const int32_t limit : {1, 4, 5, 2000, 3000})
      expect_naive({.width = width,
                    .height = height,
                    .lut = thresholds,
                    .lut_size = 2,
                    .depth_shift = 6,
                    .max_size = limit},
                   input, "path");
  }
}

/// The largest island, a row of samples, that is removed from a frame of this size.
uint32_t largest_removed(uint32_t width, uint32_t height, int32_t max_size, uint32_t step) {
  const SpeckleTask task{.width = width, .height = height, .max_size = max_size};
  Pixels island(size_t{width} * height);
  for (uint32_t size = 0; size < width / step; ++size) {
    island[(step - 1) * width + size * step + step - 1] = 1000;
    const Pixels output = filtered(task, island, simd::active_level());
    if (std::any_of(output.begin(), output.end(), [](auto pixel) { return pixel != 0; }))
      return size;
  }
  return width / step;
}

TEST(RemoveSpeckles, TakesTheLimitFromTheFramesSize) {
  EXPECT_EQ(largest_removed(700, 4, 80, 1), 80u);
  EXPECT_EQ(largest_removed(700, 4, 0, 1), 480u);
  EXPECT_EQ(largest_removed(700, 4, -9, 1), 480u);
  EXPECT_EQ(largest_removed(640, 4, 80, 2), 20u);
  EXPECT_EQ(largest_removed(700, 640, 3, 2), 350u) << "the default of 480 is the whole row";
  EXPECT_EQ(largest_removed(700, 320, 3, 2), 120u);
  EXPECT_EQ(largest_removed(700, 160, -8, 2), 30u);
  EXPECT_EQ(largest_removed(424, 160, 3, 2), 30u);
  EXPECT_EQ(largest_removed(424, 240, 3, 2), 120u);
  EXPECT_EQ(largest_removed(700, 266, 41, 2), 10u);
  EXPECT_EQ(largest_removed(266, 424, 41, 1), 41u);
}

} // namespace
