#include <gtest/gtest.h>

#include <chrono>

#include "filters/smoothing/HoleFillingFilter.h"
#include "naive/hole_filling.h"
#include "support/capture.h"
#include "support/filter.h"
#include "support/random.h"

namespace {

using namespace test;

Pixels random_pixels(size_t count, double holes, Random& random) {
  std::uniform_real_distribution<double> share(0, 1);
  Pixels pixels(count);
  for (auto& pixel : pixels) {
    const double dice = share(random);
    if (dice < holes)
      pixel = 0;
    else if (dice > 0.98)
      pixel = dice > 0.99 ? 65535 : 1;
    else
      pixel = static_cast<uint16_t>(random());
  }
  return pixels;
}

TEST(HoleFillingFilter, EqualsTheNaiveFormOfItsModeAndPixelType) {
  Random random(4);
  for (const auto pixel_type : {GX_PIXEL_DEPTH, GX_PIXEL_DISPARITY, GX_PIXEL_TOF_DEPTH}) {
    for (const int mode : {0, 1, 2}) {
      Filter filter("HoleFillingFilter");
      EXPECT_EQ(filter.update_to({std::to_string(mode)}), "");
      for (const uint32_t height : {0u, 1u, 2u, 3u, 4u, 9u}) {
        for (uint32_t width = 0; width < 150; width += width < 40 ? 1 : 13) {
          for (const double holes : {0.05, 0.5, 0.95, 1.0}) {
            const Pixels input = random_pixels(size_t{width} * height, holes, random);
            Pixels expected = input;
            naive::fill({expected, width, height}, mode, pixel_type == GX_PIXEL_DISPARITY);
            const Outcome outcome = filter.outcome(make_frame(width, height, input, pixel_type));
            ASSERT_EQ(outcome.pixels, expected)
                << mode << " of pixel type " << pixel_type << " " << outcome.level << " " << width
                << "x" << height << " holes " << holes;
          }
        }
      }
    }
  }
}

TEST(HoleFillingFilter, RefusesOtherModes) {
  EXPECT_EQ(
      Filter("HoleFillingFilter").update({"3"}),
      "invalid hole filling mode params | HoleFillingFilter::update_filter_config | argv | 4");
}

TEST(HoleFillingFilter, DeliversTheCopyAndAnErrorInAnUnknownMode) {
  filter_processor::HoleFillingFilter filter(3);
  const Frame input = make_frame(1, 3, {5, 0, 6});
  ErrorSlot error;
  const Frame output{filter.filter_process(input.get(), error.receive())};
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(pixels_of(output.get()), (Pixels{5, 0, 6}));
  EXPECT_EQ(error.text(), "invalid hole filling mode,please check the parameters | "
                          "HoleFillingFilter::filter_process | hole filling mode | 4");
  Capture output_stream(stdout);
  filter.print_filter_params();
  EXPECT_EQ(output_stream.text(), "");
}

TEST(HoleFillingFilter, WalksNoRowsWithoutColumns) {
  const Profile profile{gexton_create_stream_profile(GX_FORMAT_Y16, 0, UINT32_MAX, nullptr)};
  const Frame input{gexton_create_video_frame(GX_FRAME_DEPTH, profile.get(), nullptr, nullptr)};
  for (const char* mode : {"0", "1", "2"}) {
    Filter filter("HoleFillingFilter");
    EXPECT_EQ(filter.update({mode}), "");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(filter.process(input.get()), nullptr);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << mode;
  }
}

} // namespace
