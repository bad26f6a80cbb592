#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "naive/depth_table.h"
#include "plugin/base/frame_info.h"
#include "plugin/base/numbers.h"
#include "support/capture.h"
#include "support/faults.h"

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
    uint16_t expected;
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

TEST(DepthDiffLut, EqualsTheNaiveForm) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> octave(-8, 8);
  for (int run = 0; run < 20000; ++run) {
    FrameInfo info;
    constexpr int32_t flags[] = {-1, 0, 0, 0, 2, 4};
    info.depth_flag = flags[random() % 6];
    info.depth_unit = std::exp2(octave(random)) * (random() % 20 == 0 ? -1 : 1);
    if (run % 50 == 0)
      info.depth_unit = run % 100 == 0 ? infinity : nan;
    info.bxf = random() % 20 == 0 ? 0.0F : static_cast<float>(std::exp2(octave(random)) * 2000);
    info.fraction_bit_size = static_cast<uint8_t>(random());
    const auto difference = static_cast<uint16_t>(random());
    DepthDiffLut lut{{1, 2, 3, 4, 5, 6, 7}, 8};
    DepthDiffLut expected = lut;
    ASSERT_EQ(updateDepthDiffLut(info, difference, lut) == 0,
              naive::build_depth_table(info, difference, expected));
    ASSERT_EQ(lut.entries, expected.entries);
    ASSERT_EQ(lut.shift, expected.shift) << info.depth_unit;
  }
}

TEST(ReadFrameInfo, ChangesNothingWhenAHostCallFails) {
  const test::Frame frame = test::CameraFrame{32, 16}.make();
  const FrameInfo before{1, 2, 3.0, 2, 4.0F, 5};
  for (const ValueScale of :
       {ValueScale::of_every_frame, ValueScale::of_frames_with_disparity_record}) {
    for (uint64_t n = 2; n < 10; ++n) { // the first asks for the frame's type, the last is gone
      FrameInfo info = before;
      D2DParameters record{};
      test::ErrorSlot error;
      const test::Capture traces(stdout);
      test::arm(test::Fault::host_call, n);
      ProcessingFrame call("AFilter", frame.get(), error.receive());
      const bool done = read_frame_info(call, of, info, record);
      test::disarm(test::Fault::host_call);
      EXPECT_EQ(done, n == 10) << n;
      EXPECT_EQ(info == before && record.packMode == 0, !done) << n;
    }
  }
}

} // namespace
