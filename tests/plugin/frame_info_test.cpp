#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "plugin/base/frame_info.h"
#include "plugin/base/numbers.h"
#include "support/filter_cases.h"

namespace {

using filter_processor::DepthDiffLut;
using filter_processor::FrameInfo;
using filter_processor::low_16_bits;
using filter_processor::ProcessingFrame;
using filter_processor::ValueScale;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Numbers, AreCutToWholeNumbersAnd16Bits) {
  const struct {
    double value;
    std::uint16_t expected;
  } cases[] = {{1.999, 1},
               {65535.9, 65535},
               {65536.5, 0},
               {-1.9, 65535},
               {-0.9, 0},
               {65536.0 * 65536.0 * 65536.0 + 32768.0, 32768},
               {0x1p63 + 0x1p11, 2048},
               {1e300, 0},
               {infinity, 0},
               {-infinity, 0},
               {nan, 0}};
  for (const auto& [value, expected] : cases)
    EXPECT_EQ(low_16_bits(value), expected) << value;
}

TEST(FractionBits, RescaleByPowersOfTwo) {
  EXPECT_EQ(filter_processor::rescale_fraction_bits(256, 8, 6), 64);
  EXPECT_EQ(filter_processor::rescale_fraction_bits(255, 8, 6), 63); // 63.75
  EXPECT_EQ(filter_processor::rescale_fraction_bits(10000, 8, 12), 160000 % 65536);
  EXPECT_EQ(filter_processor::rescale_fraction_bits(10000, 8, 255), 0);
}

std::uint16_t cut(double value) {
  if (!std::isfinite(value))
    return 0;
  const double whole = std::trunc(value);
  return static_cast<std::uint16_t>(whole - std::floor(whole / 65536.0) * 65536.0);
}

/// The table entry by entry, in the widths that hosts rely on; `expected` as it is on failure.
int naive_lut(const FrameInfo& info, std::uint16_t difference, DepthDiffLut& expected) {
  if (info.depth_flag == GX_PIXEL_DEPTH && (info.depth_unit <= 0 || info.bxf <= 0))
    return 1;
  for (int k = 1; k <= 7; ++k) {
    float a = static_cast<float>(difference / std::pow(2.0, info.fraction_bit_size));
    a = a * 500.0F;
    a = a * 500.0F;
    a = a / info.bxf;
    a = a * static_cast<float>(k * k);
    auto& entry = expected.entries[static_cast<std::size_t>(k - 1)];
    if (info.depth_flag == GX_PIXEL_DEPTH)
      entry = cut(static_cast<double>(a) / info.depth_unit);
    else
      entry = info.depth_flag == GX_PIXEL_TOF_DEPTH ? static_cast<std::uint16_t>(k * difference)
                                                    : std::uint16_t{0};
  }
  if (info.depth_flag == GX_PIXEL_TOF_DEPTH) {
    expected.shift = 9;
  } else if (info.depth_flag == GX_PIXEL_DEPTH) {
    const float octaves = std::floor(std::log2(static_cast<float>(info.depth_unit / 0.1)));
    expected.shift =
        info.depth_unit < 0.1 ? std::uint8_t{13} : static_cast<std::uint8_t>(12 - octaves);
  }
  return 0;
}

TEST(DepthDiffLut, EqualsTheNaiveForm) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> octave(-8, 8);
  for (int run = 0; run < 20000; ++run) {
    FrameInfo info;
    constexpr std::int32_t flags[] = {-1, 0, 0, 0, 2, 4};
    info.depth_flag = flags[random() % 6];
    info.depth_unit = std::exp2(octave(random)) * (random() % 20 == 0 ? -1 : 1);
    info.bxf = random() % 20 == 0 ? 0.0F : static_cast<float>(std::exp2(octave(random)) * 2000);
    info.fraction_bit_size = static_cast<std::uint8_t>(random());
    const auto difference = static_cast<std::uint16_t>(random());
    DepthDiffLut lut{{1, 2, 3, 4, 5, 6, 7}, 8};
    DepthDiffLut expected = lut;
    ASSERT_EQ(updateDepthDiffLut(info, difference, lut), naive_lut(info, difference, expected));
    ASSERT_EQ(lut.entries, expected.entries);
    ASSERT_EQ(lut.shift, expected.shift) << info.depth_unit;
  }
}

TEST(DepthDiffLut, HasBinsOfAboutHalfAMetre) {
  const struct {
    double unit;
    int shift;
  } cases[] = {{0.05, 13}, {0.1, 12}, {1.0, 9}, {10.0, 6}, {infinity, 12}, {nan, 12}};
  for (const auto& [unit, shift] : cases) {
    FrameInfo info{.depth_unit = unit, .depth_flag = GX_PIXEL_DEPTH, .bxf = 20000.0F};
    DepthDiffLut lut;
    EXPECT_EQ(updateDepthDiffLut(info, 256, lut), 0);
    EXPECT_EQ(lut.shift, shift) << unit;
  }
}

class ReadFrameInfo : public ::testing::TestWithParam<ValueScale> {
 protected:
  /// Reads the description of a frame of that kind over `info`; false after a failure.
  static bool read(gx_pixel_type pixel_type, std::int32_t disp_int_place, FrameInfo& info,
                   D2DParameters& record) {
    const test::Frame frame = test::make_case_frame({"", "", {}, pixel_type});
    const test::Profile profile{gx_frame_get_stream_profile(frame.get(), nullptr)};
    D2DParameters parameters = test::stereo_record();
    parameters.dispIntPlace = disp_int_place;
    gexton_stream_profile_set_disparity_param(profile.get(), &parameters, nullptr);
    gx_depth_frame_set_value_scale(frame.get(), 0.25F, nullptr);
    test::ErrorSlot error;
    testing::internal::CaptureStdout();
    ProcessingFrame call("AFilter", frame.get(), error.out());
    const bool done = read_frame_info(call, GetParam(), info, record);
    testing::internal::GetCapturedStdout();
    return done;
  }
};

INSTANTIATE_TEST_SUITE_P(Modes, ReadFrameInfo,
                         ::testing::Values(ValueScale::of_every_frame,
                                           ValueScale::of_frames_with_disparity_record));

TEST_P(ReadFrameInfo, TakesTheLowByteOfTheIntegerBits) {
  for (const std::int32_t place : {8, 264, -1, INT32_MIN, INT32_MAX}) {
    FrameInfo info;
    D2DParameters record{};
    ASSERT_TRUE(read(GX_PIXEL_DISPARITY, place, info, record));
    const auto low_byte = static_cast<std::uint8_t>(place);
    EXPECT_EQ(info, (FrameInfo{32, 16, 0.25, GX_PIXEL_DISPARITY, 20000.0F,
                               static_cast<std::uint8_t>(12 - low_byte)}));
  }
}

TEST_P(ReadFrameInfo, KeepsWhatAFrameDoesNotCarry) {
  FrameInfo info{1, 2, 3.0, 2, 4.0F, 5};
  D2DParameters record{};
  record.packMode = 9;
  ASSERT_TRUE(read(GX_PIXEL_TOF_DEPTH, 8, info, record));
  const double unit = GetParam() == ValueScale::of_every_frame ? 0.25 : 3.0;
  EXPECT_EQ(info, (FrameInfo{32, 16, unit, GX_PIXEL_TOF_DEPTH, 4.0F, 5}));
  EXPECT_EQ(record.packMode, 9);
}

TEST_P(ReadFrameInfo, ChangesNothingWhenAHostCallFails) {
  FrameInfo info{1, 2, 3.0, 2, 4.0F, 5};
  D2DParameters record{};
  for (const char* function :
       {"gx_video_frame_get_pixel_type", "gx_video_frame_get_width", "gx_frame_get_data_size",
        "gx_depth_frame_get_value_scale", "gx_disparity_based_stream_profile_get_disparity_param",
        "gx_video_frame_get_pixel_available_bit_size"}) {
    gexton_fail_function(function, 1);
    EXPECT_FALSE(read(GX_PIXEL_DEPTH, 8, info, record)) << function;
    EXPECT_EQ(info, (FrameInfo{1, 2, 3.0, 2, 4.0F, 5})) << function;
  }
  gexton_clear_faults();
}

} // namespace
