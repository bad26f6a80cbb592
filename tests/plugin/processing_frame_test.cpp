// What filter_process does alike in every filter: the choice of the depth frame, refusals,
// delivery, and failures of the host or of memory at every point on the way.

#include <gtest/gtest.h>

#include "plugin/base/gx_frame.h"
#include "support/allocation_faults.h"
#include "support/host_objects.h"

namespace {

using test::ErrorSlot;
using test::Filter;
using test::Frame;
using test::Pixels;

constexpr const char* filter_name = "HoleFillingFilter";

/// 3 x 2 pixels with a hole under the 7, and what the filter's construction values make of it.
const Pixels raw = {7, 8, 9, 0, 5, 0};
const Pixels filled = {7, 8, 9, 7, 5, 9};

enum class InputKind { depth_frame, frame_set };

class ProcessingFrameTest : public ::testing::TestWithParam<InputKind> {
 protected:
  void SetUp() override { gexton_clear_faults(); }
  void TearDown() override { gexton_clear_faults(); }

  Frame make_input() const {
    Frame depth = test::make_frame(3, 2, raw);
    if (GetParam() == InputKind::depth_frame)
      return depth;
    const Frame color = test::make_frame(3, 2, raw, GX_PIXEL_UNKNOWN, GX_FRAME_COLOR);
    return test::make_set({color.get(), depth.get()});
  }

  static Pixels depth_pixels(const Frame& frame) {
    if (gx_frame_get_type(frame.get(), nullptr) != GX_FRAME_SET)
      return test::pixels_of(frame.get());
    EXPECT_EQ(gexton_frameset_get_count(frame.get(), nullptr), 1u);
    const Frame depth{gx_frameset_get_depth_frame(frame.get(), nullptr)};
    return test::pixels_of(depth.get());
  }
};

INSTANTIATE_TEST_SUITE_P(Inputs, ProcessingFrameTest,
                         ::testing::Values(InputKind::depth_frame, InputKind::frame_set),
                         [](const auto& kind) {
                           return kind.param == InputKind::depth_frame ? "DepthFrame" : "FrameSet";
                         });

TEST_P(ProcessingFrameTest, DeliversANewFrameAndLeavesTheInputAlone) {
  const test::NoLeftovers no_leftovers;
  const Frame input = make_input();
  Filter filter(filter_name);
  ErrorSlot error;
  const Frame output = filter.process(input, error);
  ASSERT_NE(output, nullptr);
  EXPECT_TRUE(error.empty());
  EXPECT_NE(output, input);
  EXPECT_EQ(depth_pixels(output), filled);
  EXPECT_EQ(gx_frame_get_type(output.get(), nullptr), gx_frame_get_type(input.get(), nullptr));
  if (GetParam() == InputKind::depth_frame)
    EXPECT_EQ(test::pixels_of(input.get()), raw);
  else
    EXPECT_EQ(gexton_frameset_get_count(input.get(), nullptr), 2u);
}

TEST_P(ProcessingFrameTest, SurvivesAFailureOfEachHostCall) {
  const Frame input = make_input();
  Filter filter(filter_name);
  std::uint64_t faults = 0;
  for (std::uint64_t n = 1;; ++n) {
    const test::NoLeftovers no_leftovers;
    ErrorSlot error;
    gexton_clear_faults();
    gexton_fail_nth_call(n);
    testing::internal::CaptureStdout();
    const Frame output = filter.process(input, error);
    const std::string printed = testing::internal::GetCapturedStdout();
    const bool delivered_fault = gexton_get_fault_count() > 0;
    gexton_clear_faults();
    if (!delivered_fault) {
      ASSERT_NE(output, nullptr);
      EXPECT_EQ(depth_pixels(output), filled);
      break;
    }
    ++faults;
    if (output != nullptr) {
      // Only giving a reference back may fail without ending the call: nothing is lost by it.
      EXPECT_EQ(GetParam(), InputKind::frame_set);
      EXPECT_TRUE(error.empty());
      EXPECT_EQ(printed, "");
      EXPECT_EQ(depth_pixels(output), filled);
      continue;
    }
    ASSERT_FALSE(error.empty()) << n;
    EXPECT_NE(error.text().find("injected fault | gx_"), std::string::npos) << error.text();
    EXPECT_EQ(printed, error.trace()) << n;
  }
  EXPECT_GE(faults, 7u);
}

TEST_P(ProcessingFrameTest, SurvivesAFailureOfEachAllocation) {
  const Frame input = make_input();
  Filter filter(filter_name);
  for (std::uint64_t n = 1;; ++n) {
    const test::NoLeftovers no_leftovers;
    ErrorSlot error;
    test::fail_nth_allocation(n);
    const Frame output{gx_priv_filter_process(filter.context()->filter, input.get(), error.out())};
    const bool spared = test::allocation_fault_pending();
    test::fail_nth_allocation(0);
    if (spared) {
      ASSERT_NE(output, nullptr);
      EXPECT_EQ(depth_pixels(output), filled);
      break;
    }
    EXPECT_EQ(output, nullptr) << n;
    EXPECT_FALSE(error.empty()) << n;
  }
}

TEST_P(ProcessingFrameTest, IsSilentWithoutAnErrorSlot) {
  const Frame input = make_input();
  Filter filter(filter_name);
  const test::NoLeftovers no_leftovers;
  testing::internal::CaptureStdout();
  gexton_fail_nth_call(3);
  EXPECT_EQ(filter.process(input.get()), nullptr);
  gexton_clear_faults();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ProcessingFrame, RefusesWhatHoldsNoDepthFrame) {
  const test::NoLeftovers no_leftovers;
  const Frame color = test::make_frame(3, 2, raw, GX_PIXEL_UNKNOWN, GX_FRAME_COLOR);
  const Frame empty_set = test::make_set({});
  const Frame color_set = test::make_set({color.get()});
  for (std::uint64_t i = 0; i < gx_get_filter_count(nullptr); ++i) {
    const std::string name = gx_get_filter_name(static_cast<std::int32_t>(i), nullptr);
    Filter filter(name);
    for (gx_frame* input : {color.get(), empty_set.get(), color_set.get()}) {
      ErrorSlot error;
      EXPECT_EQ(filter.process(input, error.out()), nullptr);
      EXPECT_EQ(error.text(),
                "invalid frame type error | " + name + "::filter_process | frameType | 4");
    }
    ErrorSlot error;
    EXPECT_EQ(filter.process(nullptr, error.out()), nullptr);
    EXPECT_TRUE(error.empty());
  }
}

TEST(ProcessingFrame, RefusesAShortBufferAndTakesALongOne) {
  const Frame frame = test::make_frame(4, 4, Pixels(16, 1));
  Filter filter(filter_name);
  ErrorSlot error;
  const Pixels longer = {7, 8, 9, 6, 0, 0, 0, 0, 1, 1, 1, 1, 0, 1, 1, 0, 0, 0, 0};
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(longer.data());

  gx_frame_update_data(frame.get(), bytes, 31, nullptr);
  EXPECT_EQ(filter.process(frame, error), nullptr);
  EXPECT_EQ(error.text(),
            "invalid frame data size error | HoleFillingFilter::filter_process | frameData | 4");

  gx_frame_update_data(frame.get(), bytes, 38, nullptr);
  const Frame output = filter.process(frame, error);
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(test::pixels_of(output.get()),
            (Pixels{7, 8, 9, 6, 7, 8, 9, 6, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0}));
}

TEST(ProcessingFrame, FiltersThatAreNotBuiltSaySo) {
  const Frame frame = test::make_frame(3, 2, raw);
  Filter filter("FalsePositiveFilter");
  ErrorSlot error;
  EXPECT_EQ(filter.process(frame, error), nullptr);
  EXPECT_EQ(error.text(), "not implemented | FalsePositiveFilter::filter_process | "
                          "FalsePositiveFilter | 0");
}

TEST(FrameWrapper, OwnsItsHandleAndThrowsTheHostsError) {
  const test::NoLeftovers no_leftovers;
  Frame frame = test::make_frame(3, 2, raw);
  gexton_frame_set_index(frame.get(), 77, nullptr);
  const auto shared = gx::Frame::adopt(filter_processor::OwnedFrame{frame.release()});
  EXPECT_EQ(shared->get_type(), GX_FRAME_DEPTH);
  EXPECT_EQ(shared->format(), GX_FORMAT_Y16);
  EXPECT_EQ(shared->index(), 77u);
  EXPECT_EQ(shared->data_size(), 12u);
  EXPECT_EQ(shared->data(), gx_frame_get_data(shared->handle(), nullptr));
  gexton_fail_function("gx_frame_get_index", 1);
  try {
    shared->get_index();
    ADD_FAILURE() << "no exception";
  } catch (const gx::Error& error) {
    EXPECT_STREQ(error.what(), "injected fault");
    EXPECT_STREQ(gx_error_get_function(error.handle()), "gx_frame_get_index");
  }
  gexton_fail_function("gx_delete_frame", 0); // the destructor lets nothing out
}

} // namespace
