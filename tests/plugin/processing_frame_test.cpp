// What filter_process does alike in every filter: the order of host calls, and the frames behind
// it. Delivery and failures on the way are in torture_test.cpp, refusals in what `gxfilter
// validate` finds of our plug-in.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "plugin/base/gx_frame.h"
#include "support/faults.h"

namespace {

using namespace test;

/// The host functions that a new filter calls for a frame, in order, perhaps after another frame.
std::string calls_of(const std::string& filter_name, const Frame& frame, const Frame& before) {
  std::string names;
  for (uint64_t n = 1;; ++n) {
    Filter filter(filter_name);
    if (before != nullptr)
      filter.process(before.get());
    const Capture traces(stdout);
    arm(Fault::host_call, n);
    filter.process(frame.get());
    if (!disarm(Fault::host_call))
      return names;
    names += gexton_get_last_fault() + std::string(" ");
  }
}

/// As a first frame, and after one of another size: then what tells that the stream is another one
/// is asked for first.
TEST(ProcessingFrame, AsksTheHostInTheOrderOfTheTable) {
  std::ostringstream expected;
  expected << std::ifstream(TEST_FILES "/plugin/host_calls.txt").rdbuf();
  std::string calls;
  for (const FilterFacts& filter : all_filters()) {
    for (const auto pixel_type : {GX_PIXEL_DEPTH, GX_PIXEL_DISPARITY, GX_PIXEL_TOF_DEPTH}) {
      const Frame frame = make_case_frame(pixel_type);
      const Frame before = CameraFrame{9, 9, pixel_type}.make();
      calls += filter.name + ", pixel type " + std::to_string(pixel_type) +
               "\n  first: " + calls_of(filter.name, frame, nullptr) +
               "\n  after another size: " + calls_of(filter.name, frame, before) + "\n";
    }
  }
  EXPECT_EQ(calls, expected.str());
}

TEST(FrameWrapper, OwnsItsHandleAndThrowsTheHostsError) {
  const NoLeftovers no_leftovers;
  Frame frame = make_frame(3, 2, Pixels(6));
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
