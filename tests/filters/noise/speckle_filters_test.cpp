// NoiseRemovalFilter and LutNoiseRemovalFilter as hosts see them.

#include <gtest/gtest.h>

#include "naive/speckle_filters.h"
#include "support/sequences.h"

namespace {

using namespace test;
using Input = CameraFrame;

int between(Random& random, int low, int high) {
  return std::uniform_int_distribution<int>(low, high)(random);
}

Input random_input(Random& random) {
  constexpr uint32_t sizes[][2] = {{40, 30}, {33, 7}, {160, 9}, {640, 11},  {1, 1},     {13, 320},
                                   {0, 3},   {3, 0},  {3, 4},   {32767, 1}, {32768, 1}, {1, 32768}};
  const auto& size = one_of(random, sizes);
  Input input{size[0], size[1]};
  input.pixel_type = one_of(random, {GX_PIXEL_DEPTH, GX_PIXEL_DEPTH, GX_PIXEL_DISPARITY,
                                     GX_PIXEL_TOF_DEPTH, GX_PIXEL_UNKNOWN});
  input.scale = one_of(random, {1.0F, 1.0F, 0.05F, 0.1F, 0.3F, 8.0F, 0.0F, -1.0F, NAN, INFINITY});
  input.bits = one_of(random, {uint8_t{12}, uint8_t{14}, uint8_t{16}});
  input.record.dispIntPlace = one_of(random, {8, 10, 256 + 9});
  input.record.isDualCamera = one_of(random, {uint8_t{0}, uint8_t{1}});
  input.record.packMode = one_of(random, {uint8_t{1}, uint8_t{2}, uint8_t{4}});
  input.record.baseline = one_of(random, {50.0F, 50.0F, 20.0F, 0.0F, NAN, INFINITY});
  constexpr int invalid[] = {0, 8192, 65532};
  const int hole = one_of(random, invalid);
  for (size_t i = 0; i < size_t{input.width} * input.height; ++i) {
    const int level = 500 + 400 * static_cast<int>(i % input.width / 6);
    input.pixels.push_back(
        static_cast<uint16_t>(between(random, 0, 3) == 0 ? hole : level + between(random, 0, 60)));
  }
  return input;
}

std::vector<int> random_values(bool tiled, Random& random) {
  std::vector<int> values(tiled ? 16 : 1);
  for (int& value : values)
    value = between(random, 1, tiled ? 60 : 30);
  values.insert(values.end(), {between(random, 1, 900), one_of(random, {40, 160, 1280}),
                               one_of(random, {30, 9, 1024})});
  return values;
}

struct Model : naive::SpeckleFilter {
  using SpeckleFilter::SpeckleFilter;

  Input next{};

  void configure(Filter& filter, Random& random) {
    const std::vector<int> values = random_values(tiled, random);
    EXPECT_EQ(filter.update_to_numbers(values), "");
    store(values);
  }

  /// The first is sometimes of the size, and but for its pixel type like what the parameters are
  /// for before any frame.
  Input frame(Random& random) {
    if (next.width == 0 && random() % 2 == 0)
      next = {.width = static_cast<uint32_t>(width),
              .height = static_cast<uint32_t>(height),
              .pixel_type = one_of(random, {GX_PIXEL_DEPTH, GX_PIXEL_UNKNOWN}),
              .bits = 8,
              .record = {},
              .pixels = Pixels(static_cast<size_t>(width * height), 1000)};
    else if (next.width == 0 || random() % 3 > 0)
      next = random_input(random);
    return next;
  }
};

class SpeckleFilters : public ::testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(Kinds, SpeckleFilters, ::testing::Values(false, true),
                         [](const auto& test) { return test.param ? "Lut" : "Single"; });

TEST_P(SpeckleFilters, EqualTheNaiveFilterOverAnySequence) {
  Random random(33);
  for (int instance = 0; instance < 24; ++instance) {
    Model model(GetParam());
    follow(model.name(), model, 60, random);
  }
}

} // namespace
