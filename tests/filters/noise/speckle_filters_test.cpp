// NoiseRemovalFilter and LutNoiseRemovalFilter as hosts see them.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "naive/depth_table.h"
#include "naive/speckles.h"
#include "support/camera_frame.h"
#include "support/filter.h"

namespace {

using filter_processor::SpeckleTask;
using namespace test;
using Input = CameraFrame;

/// The filters without memory: everything is derived anew for each frame.
struct NaiveFilter {
  bool tiled;
  std::vector<int> sizes;
  int min_diff, width, height;

  static NaiveFilter with_defaults(bool tiled) {
    if (!tiled)
      return {false, {80}, 256, 848, 480};
    return {true,
            {1920, 1920, 1920, 1920, 1920, 200, 200, 1920, 800, 200, 200, 800, 800, 800, 800, 800},
            192,
            1280,
            800};
  }

  std::string error(const char* message, const char* operation, const char* args) const {
    const std::string filter = tiled ? "LutNoiseRemovalFilter" : "NoiseRemovalFilter";
    return std::string(message) + " | " + filter + "::" + operation + " | " + args + " | 4";
  }

  void update(const std::vector<int>& values) {
    sizes.assign(values.begin(), values.end() - 3);
    min_diff = values[sizes.size()];
    width = values[sizes.size() + 1];
    height = values[sizes.size() + 2];
  }

  /// The error's text; none: `pixels` are filtered.
  std::string process(const Input& input, Pixels& pixels) const {
    const gx_pixel_type type = input.pixel_type;
    const auto failure = [&](const char* args) {
      return error("invalid params", "updateConfig", args);
    };
    const bool other_size =
        static_cast<int>(input.width) != width || static_cast<int>(input.height) != height;
    if (other_size && type == GX_PIXEL_DEPTH && input.record.baseline <= 0)
      return failure("frame_info.bxf");
    if (type != GX_PIXEL_DISPARITY && input.scale <= 0)
      return failure("frame_info.depth_unit");
    const float area = (static_cast<float>(input.height) / static_cast<float>(height)) *
                       (static_cast<float>(input.width) / static_cast<float>(width));
    if (area < 1e-5)
      return failure("frame_info.width||frame_info.height");
    const int fraction_bits = static_cast<uint8_t>(input.bits - input.record.dispIntPlace);
    const int diff = type == GX_PIXEL_TOF_DEPTH
                         ? min_diff
                         : naive::cut(std::exp2(fraction_bits) * min_diff / std::exp2(8));
    std::vector<uint16_t> limits;
    for (const int size : sizes)
      limits.push_back(naive::cut(static_cast<float>(size) * area));
    const auto bxf = static_cast<float>(double{input.record.baseline} * input.record.fx);
    filter_processor::DepthDiffLut table;
    if (!naive::build_depth_table({input.width, input.height, input.scale, type, bxf,
                                   static_cast<uint8_t>(fraction_bits)},
                                  static_cast<uint16_t>(diff), table))
      return error("update depth diff lut error", "updateConfig", "updateDepthDiffLut()");
    SpeckleTask task{.width = input.width,
                     .height = input.height,
                     .max_diff = diff,
                     .lut = table.entries.data(),
                     .lut_size = static_cast<uint8_t>(table.entries.size()),
                     .depth_shift = table.shift,
                     .single = !tiled,
                     .max_size = limits[0],
                     .tile_limits = limits.data()};
    if (type == GX_PIXEL_DISPARITY) {
      task.lut_size = 0;
      const bool own_code = input.record.isDualCamera == 0 && input.record.packMode != 1;
      task.invalid_value = !own_code ? 0 : input.record.packMode == 4 ? 65532 : 8192;
    }
    pixels = input.pixels;
    naive::remove_speckles(task, pixels);
    return "";
  }
};

using Random = std::mt19937;

int between(Random& random, int low, int high) {
  return std::uniform_int_distribution<int>(low, high)(random);
}

template <typename T, size_t Count>
T one_of(Random& random, const T (&values)[Count]) {
  return values[static_cast<size_t>(between(random, 0, static_cast<int>(Count) - 1))];
}

Input random_input(Random& random) {
  constexpr uint32_t sizes[][2] = {{40, 30}, {33, 7}, {160, 9}, {640, 11}, {1, 1}, {13, 320}};
  const auto& size = sizes[between(random, 0, 5)];
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

std::string update(Filter& filter, const std::vector<int>& values) {
  std::vector<std::string> texts;
  texts.reserve(values.size());
  for (const int value : values)
    texts.push_back(std::to_string(value));
  return filter.update_to(texts);
}

std::vector<int> random_values(bool tiled, Random& random) {
  std::vector<int> values(tiled ? 16 : 1);
  for (int& value : values)
    value = between(random, 1, tiled ? 60 : 30);
  values.insert(values.end(), {between(random, 1, 900), one_of(random, {40, 160, 1280}),
                               one_of(random, {30, 9, 1024})});
  return values;
}

class SpeckleFilters : public ::testing::TestWithParam<bool> {
 protected:
  bool tiled() const { return GetParam(); }
  std::string name() const { return tiled() ? "LutNoiseRemovalFilter" : "NoiseRemovalFilter"; }
};

INSTANTIATE_TEST_SUITE_P(Kinds, SpeckleFilters, ::testing::Values(false, true),
                         [](const auto& test) { return test.param ? "Lut" : "Single"; });

TEST_P(SpeckleFilters, EqualTheNaiveFilterOverAnySequence) {
  Random random(33);
  for (int instance = 0; instance < 12; ++instance) {
    Filter filter(name());
    NaiveFilter naive = NaiveFilter::with_defaults(tiled());
    Input input = random_input(random);
    for (int step = 0; step < 60; ++step) {
      const int dice = between(random, 0, 9);
      if (dice == 0) {
        filter.reset();
        naive = NaiveFilter::with_defaults(tiled());
      } else if (dice < 4) {
        const std::vector<int> values = random_values(tiled(), random);
        ASSERT_EQ(update(filter, values), "");
        naive.update(values);
      } else {
        if (dice < 8)
          input = random_input(random);
        Pixels expected;
        const std::string failure = naive.process(input, expected);
        const Outcome outcome = filter.outcome(input.make());
        ASSERT_EQ(outcome.error, failure) << instance << "." << step;
        ASSERT_EQ(outcome.printed, outcome.trace);
        ASSERT_EQ(outcome.pixels, failure.empty() ? expected : Pixels{}) << instance << "." << step;
      }
    }
  }
}

TEST_P(SpeckleFilters, RepeatADerivationThatFailed) {
  Filter filter(name());
  // Of the size, and but for its pixel type like what the parameters are for before any frame.
  Input input = tiled() ? Input{1280, 800} : Input{848, 480};
  input.record = {};
  input.bits = 8;
  const Frame depth = input.make();
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(filter.outcome(depth).error, "update depth diff lut error | " + name() +
                                               "::updateConfig | updateDepthDiffLut() | 4");
    filter.reset();
  }
  input.pixel_type = GX_PIXEL_UNKNOWN;
  EXPECT_EQ(filter.outcome(input.make()).error, "");
}

TEST_P(SpeckleFilters, RefuseSizesThatNoParametersCanBeDerivedFor) {
  const std::string refusal =
      "invalid params | " + name() + "::updateConfig | frame_info.width||frame_info.height | 4";
  Filter filter(name());
  std::vector<int> values(tiled() ? 16 : 1, 9);
  values.insert(values.end(), {9, 1280, 1024});
  ASSERT_EQ(update(filter, values), "");
  for (const Input& input :
       {Input{0, 3}, Input{3, 0}, Input{3, 4}, Input{32768, 1}, Input{1, 32768}}) {
    EXPECT_EQ(filter.outcome(input.make()).error, refusal) << input.width << "x" << input.height;
  }
  EXPECT_EQ(filter.outcome(Input{32767, 1}.make()).error, "");
}

} // namespace
