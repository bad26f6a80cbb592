// What filter_process does alike in every filter: the choice of the depth frame, refusals,
// delivery, and failures of the host or of memory at every point on the way.

#include <gtest/gtest.h>

#include <tuple>

#include "plugin/base/gx_frame.h"
#include "support/allocation_faults.h"
#include "support/filter_cases.h"
#include "support/host_objects.h"

namespace {

using test::ErrorSlot;
using test::Filter;
using test::Frame;
using test::Pixels;

enum class InputKind { depth_frame, frame_set };

/// Each test runs every filter on a depth frame and on a frame set that holds it.
class ProcessingFrameTest
    : public ::testing::TestWithParam<std::tuple<test::FilterCase, InputKind>> {
 protected:
  void SetUp() override { gexton_clear_faults(); }
  void TearDown() override { gexton_clear_faults(); }

  static bool is_set() { return std::get<InputKind>(GetParam()) == InputKind::frame_set; }

  static Frame make_input() {
    Frame depth = test::make_case_frame(std::get<test::FilterCase>(GetParam()));
    if (!is_set())
      return depth;
    const Frame color = test::make_frame(1, 1, {7}, GX_PIXEL_UNKNOWN, GX_FRAME_COLOR);
    return test::make_set({color.get(), depth.get()});
  }

  /// A new, configured instance; the configuration must be accepted.
  static Filter make_filter() {
    const auto& filter_case = std::get<test::FilterCase>(GetParam());
    Filter filter(filter_case.filter);
    if (!filter_case.values.empty()) {
      EXPECT_EQ(filter.update(filter_case.values), "");
    }
    if (filter_case.blends_frames) {
      const Frame first = test::make_frame(32, 16, Pixels(32 * 16, 1050));
      EXPECT_NE(filter.process(first.get()), nullptr);
    }
    return filter;
  }

  static Pixels depth_pixels(const Frame& frame) {
    if (!is_set())
      return test::pixels_of(frame.get());
    const Frame depth{gx_frameset_get_depth_frame(frame.get(), nullptr)};
    return test::pixels_of(depth.get());
  }

  /// What a new instance makes of the input.
  static Pixels expected_pixels(const Frame& input) {
    ErrorSlot error;
    const Frame output = make_filter().process(input, error);
    EXPECT_EQ(error.text(), "");
    return depth_pixels(output);
  }
};

std::string name_of(const ::testing::TestParamInfo<std::tuple<test::FilterCase, InputKind>>& test) {
  const auto& [filter_case, kind] = test.param;
  return filter_case.label +
         std::string(kind == InputKind::frame_set ? "OfFrameSet" : "OfDepthFrame");
}

INSTANTIATE_TEST_SUITE_P(Filters, ProcessingFrameTest,
                         ::testing::Combine(::testing::ValuesIn(test::filter_cases()),
                                            ::testing::Values(InputKind::depth_frame,
                                                              InputKind::frame_set)),
                         name_of);

TEST_P(ProcessingFrameTest, DeliversANewFrameAndLeavesTheInputAlone) {
  const test::NoLeftovers no_leftovers;
  const Frame input = make_input();
  const Pixels before = depth_pixels(input);
  Filter filter = make_filter();
  ErrorSlot error;
  const Frame output = filter.process(input, error);
  ASSERT_NE(output, nullptr);
  EXPECT_TRUE(error.empty());
  EXPECT_NE(output, input);
  EXPECT_NE(depth_pixels(output), before) << "the case's frame gives the filter nothing to do";
  EXPECT_EQ(depth_pixels(input), before);
  EXPECT_EQ(gx_frame_get_type(output.get(), nullptr), gx_frame_get_type(input.get(), nullptr));
  if (is_set()) {
    EXPECT_EQ(gexton_frameset_get_count(input.get(), nullptr), 2u);
    EXPECT_EQ(gexton_frameset_get_count(output.get(), nullptr), 1u);
  }
}

TEST_P(ProcessingFrameTest, SurvivesAFailureOfEachHostCall) {
  const Frame input = make_input();
  const Pixels expected = expected_pixels(input);
  for (std::uint64_t n = 1;; ++n) {
    const test::NoLeftovers no_leftovers;
    Filter filter = make_filter();
    ErrorSlot error;
    gexton_clear_faults();
    gexton_fail_nth_call(n);
    testing::internal::CaptureStdout();
    const Frame output = filter.process(input, error);
    const std::string printed = testing::internal::GetCapturedStdout();
    const bool spared = gexton_get_fault_count() == 0;
    gexton_clear_faults();
    if (spared) {
      EXPECT_GE(n, 7u);
      EXPECT_EQ(depth_pixels(output), expected);
      break;
    }
    if (output != nullptr) {
      // Only giving a frame of the filter's own back may fail unnoticed: nothing is lost by it.
      EXPECT_TRUE(is_set()) << n;
      EXPECT_STREQ(gexton_get_last_fault(), "gx_delete_frame") << n;
      EXPECT_EQ(error.text() + printed, "") << n;
      EXPECT_EQ(depth_pixels(output), expected) << n;
      continue;
    }
    EXPECT_NE(error.text().find("injected fault | gx_"), std::string::npos) << n << error.text();
    EXPECT_EQ(printed, error.trace()) << n;
    // The failed call has left nothing behind that the next one trips over.
    const Frame next = filter.process(input, error);
    ASSERT_NE(next, nullptr) << n << error.text();
  }
}

TEST_P(ProcessingFrameTest, SurvivesAFailureOfEachAllocation) {
  const Frame input = make_input();
  const Pixels expected = expected_pixels(input);
  for (std::uint64_t n = 1;; ++n) {
    const test::NoLeftovers no_leftovers;
    Filter filter = make_filter();
    ErrorSlot error;
    test::fail_nth_allocation(n);
    const Frame output = filter.process(input, error);
    const bool spared = test::allocation_fault_pending();
    test::fail_nth_allocation(0);
    if (spared) {
      ASSERT_NE(output, nullptr);
      EXPECT_EQ(depth_pixels(output), expected);
      break;
    }
    EXPECT_EQ(output, nullptr) << n;
    // Reported by the host, by the barrier, or by the one filter that catches it itself.
    const std::string text = error.text();
    EXPECT_TRUE(text.find("out of memory | gx_") == 0 ||
                text.find(" | gx_priv_filter_process | frame | 0") != std::string::npos ||
                text == "FP filter error | FalsePositiveFilter::filter_process | "
                        "FalsePositiveFilter | 0")
        << n << text;
  }
}

TEST_P(ProcessingFrameTest, IsSilentWithoutAnErrorSlot) {
  const test::NoLeftovers no_leftovers;
  const Frame input = make_input();
  Filter filter = make_filter();
  testing::internal::CaptureStdout();
  gexton_fail_nth_call(3);
  EXPECT_EQ(filter.process(input.get()), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

const Pixels raw = {7, 8, 9, 0, 5, 0}; // 3 x 2

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
  Filter filter("HoleFillingFilter");
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
  gexton_fail_function("gx_delete_frame", 1); // the destructor lets nothing out
}

} // namespace
