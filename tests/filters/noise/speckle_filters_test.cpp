// NoiseRemovalFilter and LutNoiseRemovalFilter as hosts see them.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "filters/noise/LutNoiseRemovalFilter.h"
#include "filters/noise/NoiseRemovalFilter.h"
#include "filters/noise/naive_speckles.h"
#include "support/filter_cases.h"
#include "support/host_objects.h"

namespace {

using test::ErrorSlot;
using test::Filter;
using test::Frame;
using test::Pixels;

/// A frame and what the filters ask about it.
struct Input {
  std::uint32_t width, height;
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  float scale = 1;
  std::uint8_t bits = 12;
  D2DParameters record = test::stereo_record();
  Pixels pixels = {};

  Frame make() const {
    const std::size_t count = std::size_t{width} * height;
    Frame frame =
        test::make_frame(width, height, pixels.empty() ? Pixels(count, 1000) : pixels, pixel_type);
    const test::Profile profile{gx_frame_get_stream_profile(frame.get(), nullptr)};
    gexton_stream_profile_set_disparity_param(profile.get(), &record, nullptr);
    gx_video_frame_set_pixel_available_bit_size(frame.get(), bits, nullptr);
    gx_depth_frame_set_value_scale(frame.get(), scale, nullptr);
    return frame;
  }
};

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

  std::string update(const std::vector<int>& values) {
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      if (values[i] < 1 || values[i] > (tiled ? 10000 : 1000))
        return error("params out of range", "update_filter_config", tiled ? "max_lut" : "max_size");
    }
    const std::vector<int> rest(values.end() - 3, values.end());
    constexpr int largest[] = {10000, 1280, 1024};
    constexpr const char* keys[] = {"min_diff", "width", "height"};
    for (std::size_t i = 0; i < 3; ++i) {
      if (rest[i] < 1 || rest[i] > largest[i])
        return error("params out of range", "update_filter_config", keys[i]);
    }
    sizes.assign(values.begin(), values.end() - 3);
    min_diff = rest[0];
    width = rest[1];
    height = rest[2];
    return "";
  }

  static std::uint16_t cut(double value) {
    return std::isfinite(value) ? static_cast<std::uint16_t>(static_cast<std::int64_t>(value)) : 0;
  }

  /// False when there is no table for such a frame.
  static bool fill_table(const Input& input, int diff, int fraction_bits, test::SpeckleTask& task) {
    task.lut.assign(7, 0);
    if (input.pixel_type == GX_PIXEL_TOF_DEPTH) {
      task.shift = 9;
      for (int i = 0; i < 7; ++i)
        task.lut[static_cast<std::size_t>(i)] = static_cast<std::uint16_t>((i + 1) * diff);
    }
    if (input.pixel_type != GX_PIXEL_DEPTH)
      return true;
    const double unit = input.scale;
    const auto bxf = static_cast<float>(double{input.record.baseline} * input.record.fx);
    if (unit <= 0 || bxf <= 0)
      return false;
    task.shift = 13;
    if (unit >= 0.1) {
      task.shift =
          static_cast<std::uint8_t>(12 - cut(floorf(log2f(static_cast<float>(unit / 0.1)))));
    }
    const float step = static_cast<float>(diff / std::exp2(fraction_bits)) * 500.0F * 500.0F / bxf;
    for (int k = 1; k <= 7; ++k) {
      const float depth_step = step * static_cast<float>(k * k);
      task.lut[static_cast<std::size_t>(k - 1)] = cut(double{depth_step} / unit);
    }
    return true;
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
    const int fraction_bits = static_cast<std::uint8_t>(input.bits - input.record.dispIntPlace);
    const int diff = type == GX_PIXEL_TOF_DEPTH
                         ? min_diff
                         : cut(std::exp2(fraction_bits) * min_diff / std::exp2(8));
    test::SpeckleTask task{input.width, input.height};
    for (const int size : sizes)
      task.tiles.push_back(cut(static_cast<float>(size) * area));
    task.max_size = tiled ? 80 : task.tiles[0];
    task.max_diff = diff;
    task.single = tiled ? 0 : 1;
    if (!fill_table(input, diff, fraction_bits, task))
      return error("update depth diff lut error", "updateConfig", "updateDepthDiffLut()");
    if (type == GX_PIXEL_DISPARITY) {
      task.lut.clear();
      const bool own_code = input.record.isDualCamera == 0 && input.record.packMode != 1;
      task.invalid_value = !own_code ? 0 : input.record.packMode == 4 ? 65532 : 8192;
    }
    pixels = input.pixels;
    test::naive_remove_speckles(task, pixels);
    return "";
  }
};

using Random = std::mt19937;

int between(Random& random, int low, int high) {
  return std::uniform_int_distribution<int>(low, high)(random);
}

template <typename T, std::size_t Count>
T one_of(Random& random, const T (&values)[Count]) {
  return values[static_cast<std::size_t>(between(random, 0, static_cast<int>(Count) - 1))];
}

Input random_input(Random& random) {
  constexpr std::uint32_t sizes[][2] = {{40, 30}, {33, 7}, {160, 9}, {640, 11}, {1, 1}, {13, 320}};
  const auto& size = sizes[between(random, 0, 5)];
  Input input{size[0], size[1]};
  input.pixel_type = one_of(random, {GX_PIXEL_DEPTH, GX_PIXEL_DEPTH, GX_PIXEL_DISPARITY,
                                     GX_PIXEL_TOF_DEPTH, GX_PIXEL_UNKNOWN});
  input.scale = one_of(random, {1.0F, 1.0F, 0.05F, 0.1F, 0.3F, 8.0F, 0.0F, -1.0F, NAN, INFINITY});
  input.bits = one_of(random, {std::uint8_t{12}, std::uint8_t{14}, std::uint8_t{16}});
  input.record.dispIntPlace = one_of(random, {8, 10, 256 + 9});
  input.record.isDualCamera = one_of(random, {std::uint8_t{0}, std::uint8_t{1}});
  input.record.packMode = one_of(random, {std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{4}});
  input.record.baseline = one_of(random, {50.0F, 50.0F, 20.0F, 0.0F, NAN, INFINITY});
  constexpr int invalid[] = {0, 8192, 65532};
  const int hole = one_of(random, invalid);
  for (std::size_t i = 0; i < std::size_t{input.width} * input.height; ++i) {
    const int level = 500 + 400 * static_cast<int>(i % input.width / 6);
    input.pixels.push_back(static_cast<std::uint16_t>(
        between(random, 0, 3) == 0 ? hole : level + between(random, 0, 60)));
  }
  return input;
}

std::string update(Filter& filter, const std::vector<int>& values) {
  std::vector<std::string> texts;
  texts.reserve(values.size());
  for (const int value : values)
    texts.push_back(std::to_string(value));
  std::vector<const char*> strings;
  strings.reserve(values.size());
  for (const std::string& text : texts)
    strings.push_back(text.c_str());
  return filter.update(strings);
}

std::vector<int> random_values(bool tiled, Random& random) {
  std::vector<int> values(tiled ? 16 : 1);
  for (int& value : values)
    value = between(random, 1, tiled ? 60 : 30);
  values.insert(values.end(), {between(random, 1, 900), one_of(random, {40, 160, 1280}),
                               one_of(random, {30, 9, 1024})});
  if (between(random, 0, 5) == 0) {
    one_of(random, {&values.front(), &values[values.size() - 3], &values[values.size() - 2],
                    &values.back()})[0] = one_of(random, {0, -3, 10001});
  }
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
        ASSERT_EQ(update(filter, values), naive.update(values));
      } else {
        if (dice < 8)
          input = random_input(random);
        Pixels expected;
        const std::string failure = naive.process(input, expected);
        ErrorSlot error;
        testing::internal::CaptureStdout();
        const Frame output = filter.process(input.make(), error);
        const std::string printed = testing::internal::GetCapturedStdout();
        ASSERT_EQ(error.text(), failure) << instance << "." << step;
        ASSERT_EQ(printed, failure.empty() ? "" : error.trace());
        ASSERT_EQ(output != nullptr, failure.empty());
        if (output != nullptr) {
          ASSERT_EQ(test::pixels_of(output.get()), expected) << instance << "." << step;
        }
      }
    }
  }
}

TEST_P(SpeckleFilters, RepeatADerivationThatFailed) {
  Filter filter(name());
  ErrorSlot error;
  // Of the size, and but for its pixel type like what the parameters are for before any frame.
  Input input = tiled() ? Input{1280, 800} : Input{848, 480};
  input.record = {};
  input.bits = 8;
  const Frame depth = input.make();
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(filter.process(depth, error), nullptr);
    EXPECT_EQ(error.text(), "update depth diff lut error | " + name() +
                                "::updateConfig | updateDepthDiffLut() | 4");
    filter.reset();
  }
  input.pixel_type = GX_PIXEL_UNKNOWN;
  EXPECT_NE(filter.process(input.make(), error), nullptr) << error.text();
}

TEST_P(SpeckleFilters, RefuseSizesThatNoParametersCanBeDerivedFor) {
  const std::string refusal =
      "invalid params | " + name() + "::updateConfig | frame_info.width||frame_info.height | 4";
  Filter filter(name());
  std::vector<int> values(tiled() ? 16 : 1, 9);
  values.insert(values.end(), {9, 1280, 1024});
  ASSERT_EQ(update(filter, values), "");
  ErrorSlot error;
  for (const Input& input :
       {Input{0, 3}, Input{3, 0}, Input{3, 4}, Input{32768, 1}, Input{1, 32768}}) {
    EXPECT_EQ(filter.process(input.make(), error), nullptr);
    EXPECT_EQ(error.text(), refusal) << input.width << "x" << input.height;
  }
  EXPECT_NE(filter.process(Input{32767, 1}.make(), error), nullptr) << error.text();
}

TEST_P(SpeckleFilters, RefuseAnotherNumberOfParameters) {
  const std::string refusal =
      "the number of params error | " + name() + "::update_filter_config | argc | 4";
  for (const std::size_t count : {0u, 3u, 4u, 5u, 18u, 19u, 20u}) {
    Filter filter(name());
    const bool right = count == (tiled() ? 19u : 4u);
    EXPECT_EQ(filter.update(std::vector<const char*>(count, "1")), right ? "" : refusal) << count;
  }
}

TEST_P(SpeckleFilters, CallTheHostInOrder) {
  std::vector<std::string> common = {"gx_frame_get_type",
                                     "gx_frameset_get_depth_frame",
                                     "gx_video_frame_get_pixel_type",
                                     "gx_video_frame_get_width",
                                     "gx_video_frame_get_height",
                                     "gx_frame_get_data_size",
                                     "gx_depth_frame_get_value_scale",
                                     "gx_frame_get_stream_profile"};
  const std::vector<std::string> of_record = {
      "gx_disparity_based_stream_profile_get_disparity_param",
      "gx_video_frame_get_pixel_available_bit_size"};
  const std::vector<std::string> delivery = {
      "gx_create_frame_from_other_frame", "gx_frame_get_data", "gx_delete_stream_profile",
      "gx_create_frame_from_other_frame", "gx_frameset_push_frame"};
  for (const gx_pixel_type type : {GX_PIXEL_DISPARITY, GX_PIXEL_TOF_DEPTH}) {
    std::vector<std::string> expected = common;
    if (type != GX_PIXEL_TOF_DEPTH)
      expected.insert(expected.end(), of_record.begin(), of_record.end());
    expected.insert(expected.end(), delivery.begin(), delivery.end());
    const Frame set = test::make_set({Input{64, 48, type}.make().get()});
    Filter filter(name());
    for (std::size_t n = 0; n < expected.size(); ++n) {
      ErrorSlot error;
      testing::internal::CaptureStdout();
      gexton_clear_faults();
      gexton_fail_nth_call(n + 1);
      EXPECT_EQ(filter.process(set, error), nullptr);
      gexton_clear_faults();
      testing::internal::GetCapturedStdout();
      EXPECT_EQ(error.text(), "injected fault | " + expected[n] + " | gexton | 0");
    }
  }
}

/// A row of `size` pixels of equal depth, alone in its row, for each of the given rows.
Pixels bars(std::uint32_t width, std::uint32_t height, std::uint32_t row,
            const std::vector<std::uint32_t>& sizes) {
  Pixels pixels(std::size_t{width} * height);
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    std::fill_n(pixels.begin() + static_cast<std::ptrdiff_t>((row + 4 * i) * width), sizes[i],
                std::uint16_t{1000});
  }
  return pixels;
}

TEST(NoiseRemovalFilter, ScalesTheLimitWithTheArea) {
  // A quarter of 80 pixels, and a quarter of these in samples: bars of 5 samples go, 6 stay.
  Input input{424, 240};
  input.pixels = bars(424, 240, 1, {10, 12});
  Filter filter("NoiseRemovalFilter");
  ErrorSlot error;
  const Pixels output = test::pixels_of(filter.process(input.make(), error).get());
  EXPECT_EQ(output[424 + 1], 0);
  EXPECT_EQ(output[std::size_t{5} * 424 + 1], 1000);
  EXPECT_EQ(output[std::size_t{4} * 424], 1000) << "a hole beside the bar is filled";
}

TEST(LutNoiseRemovalFilter, ScalesEachTilesLimit) {
  // 480 samples for the top tiles, but 50 for the second tile of the second row.
  Input input{640, 400};
  input.pixels = bars(640, 400, 101, {640, 640});
  for (std::size_t x = 0; x < 640; ++x) {
    input.pixels[std::size_t{105} * 640 + x] = x >= 160 && x < 160 + 100 ? 1000 : 0;
    input.pixels[std::size_t{109} * 640 + x] = x >= 160 && x < 160 + 102 ? 1000 : 0;
  }
  Filter filter("LutNoiseRemovalFilter");
  ErrorSlot error;
  const Pixels output = test::pixels_of(filter.process(input.make(), error).get());
  EXPECT_EQ(output[std::size_t{101} * 640 + 200], 0);
  EXPECT_EQ(output[std::size_t{105} * 640 + 200], 0);
  EXPECT_EQ(output[std::size_t{109} * 640 + 200], 1000);
}

template <typename FilterClass>
std::string printed(FilterClass& filter) {
  testing::internal::CaptureStdout();
  filter.print_filter_params();
  return testing::internal::GetCapturedStdout();
}

TEST(NoiseRemovalFilter, PrintsItsParameters) {
  filter_processor::NoiseRemovalFilter filter;
  const Frame frame = Input{424, 240, GX_PIXEL_DEPTH, 0.5F}.make();
  const Frame output{filter.filter_process(frame.get(), nullptr)};
  // 16 / 16 disparities at 500 mm x k with 20000 mm pixels: 12.5 mm x k^2, in half millimetres.
  EXPECT_EQ(printed(filter),
            "anchor_params: \nwidth:    848\nheight:   480\nmax_size: 80\nmin_diff: 256\n"
            "current_filter_params: \nwidth:    424\nheight:   240\nmax_size: 20\nmin_diff: 16\n"
            "current_frame_info: \nwidth:      424\nheight:     240\nbxf:        20000\n"
            "depth_flag: 0\ndepth_unit: 0.5\nfraction_bit_size: \4\n"
            "depth_diff_lut: \n25 100 225 400 625 900 1225 \ndepth_shift: \n\n");
  filter.reset();
  EXPECT_EQ(printed(filter).substr(0, 150),
            "anchor_params: \nwidth:    848\nheight:   480\nmax_size: 80\nmin_diff: 256\n"
            "current_filter_params: \nwidth:    848\nheight:   480\nmax_size: 80\nmin_diff: 256\n");
}

TEST(LutNoiseRemovalFilter, PrintsItsParameters) {
  filter_processor::LutNoiseRemovalFilter filter;
  const Frame frame = Input{640, 400, GX_PIXEL_TOF_DEPTH, 0.25F}.make();
  const Frame output{filter.filter_process(frame.get(), nullptr)};
  EXPECT_EQ(printed(filter),
            "anchor_params: \nwidth:    1280\nheight:   800\n"
            "max_lut_0: 1920\nmax_lut_1: 1920\nmax_lut_2: 1920\nmax_lut_3: 1920\n"
            "max_lut_4: 1920\nmax_lut_5: 200\nmax_lut_6: 200\nmax_lut_7: 1920\n"
            "max_lut_8: 800\nmax_lut_9: 200\nmax_lut_10: 200\nmax_lut_11: 800\n"
            "max_lut_12: 800\nmax_lut_13: 800\nmax_lut_14: 800\nmax_lut_15: 800\nmin_diff: 192\n"
            "current_filter_params: \nwidth:    640\nheight:   400\n"
            "max_lut_0: 480\nmax_lut_1: 480\nmax_lut_2: 480\nmax_lut_3: 480\n"
            "max_lut_4: 480\nmax_lut_5: 50\nmax_lut_6: 50\nmax_lut_7: 480\n"
            "max_lut_8: 200\nmax_lut_9: 50\nmax_lut_10: 50\nmax_lut_11: 200\n"
            "max_lut_12: 200\nmax_lut_13: 200\nmax_lut_14: 200\nmax_lut_15: 200\nmin_diff: 192\n"
            "current_frame_info: \nwidth:      640\nheight:     400\nbxf:        0\n"
            "depth_flag: 4\ndepth_unit: 0.25\nfraction_bit_size: \6\n"
            "depth_diff_lut: \n192 384 576 768 960 1152 1344 \ndepth_shift: \t\n");
}

} // namespace
