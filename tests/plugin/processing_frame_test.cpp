// What filter_process does alike in every filter: the choice of the depth frame, refusals,
// and delivery. Failures on the way are in torture_test.cpp.

#include <gtest/gtest.h>

#include <tuple>

#include "plugin/base/gx_frame.h"
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
