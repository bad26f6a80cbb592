// DisparityTransform and OpenNIDisparityTransform against a model of both, written entry by entry.

#include <gtest/gtest.h>

#include <limits>

#include "naive/disparity_filters.h"
#include "support/sequences.h"

namespace {

using namespace test;

using Input = CameraFrame;

D2DParameters random_record(Random& random) {
  const auto pick = [&](std::initializer_list<double> values) {
    return values.begin()[random() % values.size()];
  };
  if (random() % 8 == 0)
    return {}; // what a new filter believes to know already
  D2DParameters r = test::stereo_record();
  r.zpd = pick({600, 1000, 0});
  r.baseline = static_cast<float>(pick({50, 75.3, 1e30, 0}));
  r.fx = pick({400, 580.7, std::numeric_limits<double>::infinity()});
  r.bitSize = static_cast<uint8_t>(pick({12, 12, 14, 10, 16, 0, 6, 255}));
  r.unit = static_cast<float>(pick({1, 0.1, 7.3}));
  r.minDisparity = static_cast<float>(pick({0, 100.5, 328}));
  r.packMode = static_cast<uint8_t>(pick({1, 2, 2, 3, 4, 5}));
  r.dispOffset = static_cast<float>(pick({0, 0.25, -3}));
  r.invalidDisp = static_cast<int32_t>(pick({0, 5, 200}));
  r.isDualCamera = static_cast<uint8_t>(random() % 2);
  return r;
}

constexpr void (*changes[])(D2DParameters&) = {
    [](D2DParameters& r) { r.baseline += 10; },
    [](D2DParameters& r) { r.fx += 100; },
    [](D2DParameters& r) { r.unit *= 2; },
    [](D2DParameters& r) { r.dispOffset += 1; },
    [](D2DParameters& r) { r.invalidDisp += 7; },
    [](D2DParameters& r) { r.minDisparity += 1; },
    [](D2DParameters& r) { r.isDualCamera ^= 1; },
    [](D2DParameters& r) { r.zpd += 500; },
    [](D2DParameters& r) { r.packMode = static_cast<uint8_t>(1 + r.packMode % 4); },
};

struct Model : naive::DisparityFilter {
  /// With two cameras that differ in one fact.
  Model(bool open_ni_filter, Random& random) : DisparityFilter(open_ni_filter) {
    records[0] = records[1] = random_record(random);
    one_of(random, changes)(records[1]);
  }
  D2DParameters records[2]{};

  void configure(Filter& filter, Random& random) {
    const char* const texts[] = {"100", "700", "4095", "65535", "0", "65536"};
    std::vector<const char*> values = {
        one_of(random, texts), texts[random() % 3],
        one_of(random, {"1", "0.5", "0.001", "0.0009", "10", "10.01", "nan"})};
    if (std::string(values[2]) != "nan")
      update(std::atoi(values[0]), std::atoi(values[1]), static_cast<float>(std::atof(values[2])));
    if (open_ni)
      values.insert(values.end(), {"0", "0", "1", "0", "0", "0", "0"});
    EXPECT_EQ(filter.update(values), "");
  }

  Input frame(Random& random) const {
    Input input{31 + random() % 2, 9, GX_PIXEL_DISPARITY};
    input.format = one_of(random, {GX_FORMAT_Y12_SHIFTED, GX_FORMAT_Y16, GX_FORMAT_Y16});
    input.record = records[random() % 3 == 0];
    input.bits = random() % 4 == 0 ? uint8_t{11} : input.record.bitSize;
    if (random() % 2 == 0)
      input.offset = random() % 9;
    input.pixels = {0, 8192, 65531, 65532, 65534, 65535};
    while (input.pixels.size() < size_t{input.width} * 9)
      input.pixels.push_back(static_cast<uint16_t>(random() >> random() % 16));
    if (random() % 4 == 0) // the whole buffer is mapped, however long
      input.pixels.insert(input.pixels.end(), {160, 5, 1000});
    return input;
  }

  Pixels process(const Input& input, std::string& error) {
    if (const auto pixels = convert(input))
      return *pixels;
    const std::string operation = stored.isDualCamera != 0 ? "stereo_camera_init_lookup_table"
                                                           : "mono_camera_init_lookup_table";
    error = "Unsupported disparity data pack type error | DisparityTransform::" + operation +
            " | " + operation + " | 4";
    return {};
  }
};

TEST(DisparityFilters, FollowTheModelThroughRandomSequences) {
  Random random(8);
  for (int sequence = 0; sequence < 240; ++sequence) {
    Model model(sequence % 2 == 0, random);
    follow(model.open_ni ? "OpenNIDisparityTransform" : "DisparityTransform", model, 12, random,
           [&](gx_frame* output) {
             EXPECT_EQ(gx_video_frame_get_pixel_type(output, nullptr), GX_PIXEL_DEPTH);
             EXPECT_EQ(gx_video_frame_get_pixel_available_bit_size(output, nullptr),
                       model.output_bits);
             EXPECT_EQ(gx_depth_frame_get_value_scale(output, nullptr), 1.0f / model.value_scale);
           });
  }
}

TEST(OpenNIDisparityTransform, RefusesWhatItsRangesExclude) {
  const std::string range =
      "params out of range | OpenNIDisparityTransform::update_filter_config | ";
  Filter filter("OpenNIDisparityTransform");
  const auto update = [&](const char* width, const char* height, const char* scale) {
    return filter.update({"900", "9", "1", width, height, scale, "0", "0", "0", "0"});
  };
  EXPECT_EQ(update("-1", "4", "1"), range + "dst_width | 4");
  EXPECT_EQ(update("4", "65536", "1"), range + "dst_height | 4");
  EXPECT_EQ(update("4", "4", "0.05"), range + "scale | 4");
  EXPECT_EQ(update("4", "4", "50.1"), range + "scale | 4");
  EXPECT_EQ(update("4", "4", "0.1"), "");
  // Resampling stays on while a refused update has stored a width of 0, which no frame can have.
  EXPECT_EQ(update("0", "4", "0"), range + "scale | 4");
  const Frame input = CameraFrame{256, 16, GX_PIXEL_DISPARITY}.make();
  for (const char* height : {"4", "65535"}) {
    if (height[0] == '6')
      EXPECT_EQ(update("65535", height, "1"), ""); // more bytes than a frame can count
    EXPECT_EQ(filter.outcome(input).error,
              "Frame sampling process error | "
              "OpenNIDisparityTransform::filter_process | frameType | 4");
  }
  EXPECT_EQ(update("4", "0", "1"), ""); // either 0 switches resampling off
  EXPECT_EQ(filter.outcome(input).pixels.size(), pixels_of(input.get()).size());
}

TEST(OpenNIDisparityTransform, ResamplesAsTheWalkSays) {
  Random random(3);
  for (int round = 0; round < 400; ++round) {
    Input input{1 + random() % 70, 1 + random() % 20, GX_PIXEL_DISPARITY};
    input.record.minDisparity = 100;
    for (size_t i = 0; i < size_t{input.width} * input.height; ++i)
      input.pixels.push_back(static_cast<uint16_t>(random() % 5000));
    const uint32_t width = 1 + random() % 200, height = 1 + random() % 40;
    const float scale = 0.1f + static_cast<float>(random() % 40) / 8;
    std::vector<std::string> texts = {
        "9999", "5", "1", std::to_string(width), std::to_string(height), std::to_string(scale)};
    for (const uint32_t limit : {8U, 8U, 12U, 5U})
      texts.push_back(std::to_string(random() % limit));
    naive::DisparityFilter model(true);
    model.update(texts);
    const std::optional<Pixels> expected = model.convert(input);
    Filter filter("OpenNIDisparityTransform");
    ASSERT_EQ(filter.update_to(texts), "");
    const auto [output, pixels, error, trace, printed, level] = filter.outcome(input.make());
    ASSERT_EQ(pixels, expected) << level << round;
    EXPECT_EQ(gx_video_frame_get_width(output.get(), nullptr), width);
    EXPECT_EQ(gx_video_frame_get_pixel_type(output.get(), nullptr), GX_PIXEL_DEPTH);
  }
}

TEST(OpenNIDisparityTransform, MovesThePrincipalPointOfCroppedSizes) {
  struct Case {
    const char *width, *height;
    float cx, cy;
  };
  for (const Case& each : {Case{"640", "320", 300, 160},
                           {"320", "160", 300, 180},
                           {"540", "400", 250, 200},
                           {"270", "200", 275, 200},
                           {"400", "300", 300, 200}}) {
    Filter filter("OpenNIDisparityTransform");
    filter.update({"900", "9", "1", each.width, each.height, "1", "0", "0", "0", "0"});
    const Frame input =
        CameraFrame{.width = 256, .height = 16, .pixel_type = GX_PIXEL_DISPARITY}.make();
    const Frame output = filter.process(input.get());
    const Profile profile{gx_frame_get_stream_profile(output.get(), nullptr)};
    const auto intrinsic = gx_video_stream_profile_get_intrinsic(profile.get(), nullptr);
    EXPECT_EQ(intrinsic.fx, 1);
    EXPECT_EQ(intrinsic.cx, each.cx);
    EXPECT_EQ(intrinsic.cy, each.cy);
    EXPECT_EQ(intrinsic.width, std::atoi(each.width));
    EXPECT_EQ(intrinsic.height, std::atoi(each.height));
  }
}

} // namespace
