// NoiseRemovalFilter and LutNoiseRemovalFilter as hosts see them.

#include <gtest/gtest.h>

#include <cmath>

#include "naive/depth_table.h"
#include "naive/speckles.h"
#include "support/sequences.h"

namespace {

using filter_processor::SpeckleTask;
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

/// The filters without memory: everything is derived anew for each frame.
struct Model {
  bool tiled;
  std::vector<int> sizes{};
  int min_diff{}, width{}, height{};
  Input next{};

  std::string name() const { return tiled ? "LutNoiseRemovalFilter" : "NoiseRemovalFilter"; }

  void store(const std::vector<int>& values) {
    sizes.assign(values.begin(), values.end() - 3);
    min_diff = values[sizes.size()];
    width = values[sizes.size() + 1];
    height = values[sizes.size() + 2];
  }

  void reset() {
    if (tiled)
      store({1920, 1920, 1920, 1920, 1920, 200, 200, 1920, 800, 200, 200, 800, 800, 800, 800, 800,
             192, 1280, 800});
    else
      store({80, 256, 848, 480});
  }

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

  Pixels process(const Input& input, std::string& error) const {
    const gx_pixel_type type = input.pixel_type;
    const auto failure = [&](const char* args, const char* message = "invalid params") {
      error = message + (" | " + name()) + "::updateConfig | " + args + " | 4";
      return Pixels{};
    };
    const char* const bad_size = "frame_info.width||frame_info.height";
    constexpr uint32_t largest = 32767;
    if (input.width - 1 >= largest || input.height - 1 >= largest)
      return failure(bad_size);
    const bool other_size =
        static_cast<int>(input.width) != width || static_cast<int>(input.height) != height;
    if (other_size && type == GX_PIXEL_DEPTH && input.record.baseline <= 0)
      return failure("frame_info.bxf");
    if (type != GX_PIXEL_DISPARITY && input.scale <= 0)
      return failure("frame_info.depth_unit");
    const float area = (static_cast<float>(input.height) / static_cast<float>(height)) *
                       (static_cast<float>(input.width) / static_cast<float>(width));
    if (area < 1e-5)
      return failure(bad_size);
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
      return failure("updateDepthDiffLut()", "update depth diff lut error");
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
    Pixels pixels = input.pixels;
    naive::remove_speckles(task, pixels);
    return pixels;
  }
};

class SpeckleFilters : public ::testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(Kinds, SpeckleFilters, ::testing::Values(false, true),
                         [](const auto& test) { return test.param ? "Lut" : "Single"; });

TEST_P(SpeckleFilters, EqualTheNaiveFilterOverAnySequence) {
  Random random(33);
  for (int instance = 0; instance < 24; ++instance) {
    Model model{GetParam()};
    model.reset();
    follow(model.name(), model, 60, random);
  }
}

} // namespace
