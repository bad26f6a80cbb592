// What filters tell the host and when they ask it, as seen by a host that stands in for some of its
// functions.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>

#include "support/filter_facts.h"
#include "support/host_function.h"
#include "support/platform.h"

REPLACED_HOST_FUNCTION(gx_create_frame)
REPLACED_HOST_FUNCTION(gx_frame_set_stream_profile)
REPLACED_HOST_FUNCTION(gx_frame_update_data)
REPLACED_HOST_FUNCTION(gx_create_frame_from_other_frame)
REPLACED_HOST_FUNCTION(gx_video_frame_get_width)

namespace {

/// Called before the host's own functions below, where set.
struct Observer {
  std::function<void(gx_frame_type type, gx_format format, uint32_t size)> creates;
  std::function<void(gx_stream_profile* profile)> sets_profile;
  std::function<void(const gx_frame* frame, const uint8_t* data, uint32_t size)> updates;
  std::function<void()> asks_width, copies; // at the first call
};
Observer observer;

void call_once(std::function<void()>& watched) {
  if (const auto call = std::exchange(watched, nullptr))
    call();
}

} // namespace

gx_frame* __wrap_gx_create_frame(gx_frame_type type, gx_format format, uint32_t size,
                                 gx_error** error) {
  if (observer.creates)
    observer.creates(type, format, size);
  call_once(observer.copies);
  return __real_gx_create_frame(type, format, size, error);
}

void __wrap_gx_frame_set_stream_profile(gx_frame* frame, gx_stream_profile* profile,
                                        gx_error** error) {
  if (observer.sets_profile)
    observer.sets_profile(profile);
  __real_gx_frame_set_stream_profile(frame, profile, error);
}

void __wrap_gx_frame_update_data(gx_frame* frame, const uint8_t* data, uint32_t size,
                                 gx_error** error) {
  if (observer.updates)
    observer.updates(frame, data, size);
  __real_gx_frame_update_data(frame, data, size, error);
}

gx_frame* __wrap_gx_create_frame_from_other_frame(const gx_frame* other, bool copy,
                                                  gx_error** error) {
  call_once(observer.copies);
  return __real_gx_create_frame_from_other_frame(other, copy, error);
}

uint32_t __wrap_gx_video_frame_get_width(const gx_frame* frame, gx_error** error) {
  call_once(observer.asks_width);
  return __real_gx_video_frame_get_width(frame, error);
}

namespace {

using namespace test;

/// Cases of all filters; observers are gone at the end of each.
class HostCalls : public ::testing::TestWithParam<FilterCase> {
 protected:
  void TearDown() override { observer = {}; }

  Filter make_filter() const {
    Filter filter(GetParam().filter->name);
    if (!GetParam().values.empty())
      EXPECT_EQ(filter.update(GetParam().values), "");
    return filter;
  }
};

INSTANTIATE_TEST_SUITE_P(Filters, HostCalls, ::testing::ValuesIn(filter_cases()),
                         [](const auto& test) { return std::string(test.param.label); });

/// A host may keep copies of what it is given: a profile must be complete when it is set, and the
/// pixels must be committed.
TEST_P(HostCalls, OutputsOfAnotherSizeAreCompleteForHostsThatCopy) {
  const Frame shifted = CameraFrame{.width = 32,
                                    .height = 16,
                                    .pixel_type = GetParam().pixel_type,
                                    .pixels = case_pixels(32, 16),
                                    .format = GX_FORMAT_Y12_SHIFTED}
                            .make();
  const Frame set = gexton::make_frame_set({shifted.get()});

  Filter filter = make_filter();
  std::string calls;
  observer.creates = [&](gx_frame_type type, gx_format format, uint32_t size) {
    calls += "create " + std::to_string(type) + " " + std::to_string(format) + " " +
             std::to_string(size) + "; ";
  };
  observer.sets_profile = [&](gx_stream_profile* given) {
    calls += "profile " + std::to_string(gx_video_stream_profile_get_width(given, nullptr)) + "x" +
             std::to_string(gx_video_stream_profile_get_height(given, nullptr)) + "; ";
  };
  observer.updates = [&](const gx_frame* frame, const uint8_t* data, uint32_t size) {
    const bool own = data == gx_frame_get_data(frame, nullptr);
    calls += (own ? "commit " : "copy ") + std::to_string(size) + "; ";
  };
  ErrorSlot error;
  const Frame output = filter.process(set, error);
  observer = {};
  ASSERT_NE(output, nullptr) << error.text();
  const Frame member{gx_frameset_get_depth_frame(output.get(), nullptr)};
  const uint32_t width = gx_video_frame_get_width(member.get(), nullptr);
  const uint32_t height = gx_video_frame_get_height(member.get(), nullptr);
  const std::string size = std::to_string(2 * width * height);
  const std::string made = "create 5 34 " + size + "; profile " + std::to_string(width) + "x" +
                           std::to_string(height) + "; commit " + size + "; ";
  EXPECT_EQ(calls, width == 32 && height == 16 ? "" : made);
}

/// Runs `body` on a thread of its own; whether it has ended within ten seconds.
bool ends_soon(std::future<void>& thread, std::function<void()> body) {
  thread = std::async(std::launch::async, std::move(body));
  return thread.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
}

/// The host may wait in its functions for a thread that configures the filter.
TEST_P(HostCalls, FramesAreDescribedWithoutTheLock) {
  REQUIRE_THREADS();
  if (!GetParam().filter->locks_itself)
    return;
  Filter filter = make_filter();
  const Frame input = make_case_frame(GetParam());
  const Values values = default_values(filter); // in most cases others than in use: they are stored
  std::future<void> thread;
  observer.asks_width = [&] {
    EXPECT_TRUE(ends_soon(thread, [&] { EXPECT_EQ(filter.update(values), ""); }));
  };
  ErrorSlot error;
  EXPECT_NE(filter.process(input, error), nullptr) << error.text();
}

/// What has nothing to do does not wait for the frame that holds the lock.
TEST_P(HostCalls, CallsThatEndBeforeTheLockWaitForNobody) {
  REQUIRE_THREADS();
  if (!GetParam().filter->locks_itself)
    return;
  Filter filter(GetParam().filter->name);
  const Values values = GetParam().values.empty() ? default_values(filter) : GetParam().values;
  EXPECT_EQ(filter.update(values), "");
  Values refused = values;
  refused[refused.size() > 3 ? 3 : 0] = "-5"; // behind depth ranges, which are refused silently
  Values changed = values;
  const bool compares = GetParam().filter->compares_updates;
  changed[0] = !compares ? "0" : std::string(values[0]) == "3" ? "5" : "3";

  const Frame input = make_case_frame(GetParam());
  const Frame color = make_frame(1, 1, {7}, GX_PIXEL_UNKNOWN, GX_FRAME_COLOR);
  std::future<void> waiting, thread;
  observer.copies = [&] {
    waiting = std::async(std::launch::async, [&] { filter.update(changed); });
    waiting.wait_for(std::chrono::milliseconds(50)); // on its way to the lock
    EXPECT_TRUE(ends_soon(thread, [&] {
      EXPECT_EQ(filter.process(nullptr), nullptr);
      EXPECT_EQ(filter.process(color.get()), nullptr);
      EXPECT_EQ(filter.process(gexton::make_frame_set({color.get()}).get()), nullptr);
      EXPECT_NE(filter.update({}), "");
      filter.update(refused);
      if (compares)
        EXPECT_EQ(filter.update(values), "");
    }));
    // A host may also configure from within its functions: the lock is recursive.
    EXPECT_EQ(filter.update(changed), "");
  };
  ErrorSlot error;
  EXPECT_NE(filter.process(input, error), nullptr) << error.text();
  EXPECT_TRUE(thread.valid()) << "the output was made without the host";
}

} // namespace
