#include "gexton_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <ostream>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#include <sys/resource.h>
#endif

namespace {

#if defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

std::array<uint64_t, 3> live() {
  const gexton_live_handles handles = gexton_get_live_handles();
  return {handles.frames, handles.stream_profiles, handles.errors};
}

struct ErrorText {
  std::string message, function, args;
  int type = -1;
  bool operator==(const ErrorText&) const = default;
};

std::ostream& operator<<(std::ostream& out, const ErrorText& text) {
  return out << text.function << "(" << text.args << "): " << text.message << ", " << text.type;
}

/// Reads and deletes the error; all empty where there is none.
ErrorText take(gx_error*& error) {
  if (error == nullptr) {
    return {};
  }
  ErrorText text{gx_error_get_message(error), gx_error_get_function(error),
                 gx_error_get_args(error), gx_error_get_exception_type(error)};
  EXPECT_EQ(gx_error_get_status(error), GX_STATUS_ERROR);
  gx_delete_error(error);
  error = nullptr;
  return text;
}

void drop(gx_frame* frame) {
  if (frame != nullptr) {
    gx_delete_frame(frame, nullptr);
  }
}

void drop(gx_stream_profile* profile) {
  if (profile != nullptr) {
    gx_delete_stream_profile(profile, nullptr);
  }
}

std::vector<uint8_t> pixels_of(const gx_frame* frame) {
  const uint8_t* const data = gx_frame_get_data(frame, nullptr);
  return {data, data + gx_frame_get_data_size(frame, nullptr)};
}

/// Every test begins with a depth frame of 4 x 2 pixels 0x0100, 0x0101, ... and a set that holds
/// it, and ends without live handles and excess releases.
class Host : public testing::Test {
 protected:
  void SetUp() override {
    gexton_clear_faults();
    std::array<uint16_t, 8> pixels{};
    std::iota(pixels.begin(), pixels.end(), uint16_t{0x0100});
    profile = gexton_create_stream_profile(GX_FORMAT_Y16, 4, 2, nullptr);
    frame = gexton_create_video_frame(GX_FRAME_DEPTH, profile, pixels.data(), nullptr);
    set = gexton_create_frameset(nullptr);
    gx_frameset_push_frame(set, frame, nullptr);
    gexton_frame_set_metadata(frame, GX_METADATA_DISPARITY_OFFSET, -7, nullptr);
  }

  void TearDown() override {
    gexton_clear_faults();
    drop(set);
    drop(frame);
    drop(profile);
    EXPECT_EQ(live(), (std::array<uint64_t, 3>{}));
    EXPECT_EQ(gexton_get_excess_releases(), expected_excess);
  }

  gx_stream_profile* profile = nullptr;
  gx_frame* frame = nullptr;
  gx_frame* set = nullptr;
  gx_error* error = nullptr;
  static inline uint64_t expected_excess = 0; // the count is the process's
};

TEST_F(Host, CopiesCarryEveryAttribute) {
  gexton_frame_set_index(frame, uint64_t{1} << 40, nullptr);
  gx_video_frame_set_pixel_type(frame, GX_PIXEL_DISPARITY, nullptr);
  gx_video_frame_set_pixel_available_bit_size(frame, 12, nullptr);
  gx_depth_frame_set_value_scale(frame, 0.25F, nullptr);
  gx_frame* const info = gx_create_frame(GX_FRAME_COLOR, GX_FORMAT_UNKNOWN, 6, nullptr);
  gx_frame_copy_info(frame, info, nullptr);
  gx_frame* const zero = gx_create_frame_from_other_frame(frame, false, nullptr);
  gx_frame* const full = gx_create_frame_from_other_frame(frame, true, nullptr);
  EXPECT_EQ(pixels_of(info), std::vector<uint8_t>(6));
  EXPECT_EQ(pixels_of(zero), std::vector<uint8_t>(16));
  EXPECT_EQ(pixels_of(full), pixels_of(frame));
  EXPECT_NE(gx_frame_get_data(full, nullptr), gx_frame_get_data(frame, nullptr));
  for (gx_frame* copy : {info, zero, full}) {
    EXPECT_EQ(gx_frame_get_type(copy, nullptr), GX_FRAME_DEPTH);
    EXPECT_EQ(gx_frame_get_format(copy, nullptr), GX_FORMAT_Y16);
    EXPECT_EQ(gx_frame_get_index(copy, nullptr), uint64_t{1} << 40);
    EXPECT_EQ(gx_video_frame_get_pixel_type(copy, nullptr), GX_PIXEL_DISPARITY);
    EXPECT_EQ(gx_video_frame_get_pixel_available_bit_size(copy, nullptr), 12);
    EXPECT_EQ(gx_depth_frame_get_value_scale(copy, nullptr), 0.25F);
    EXPECT_EQ(gx_frame_get_metadata_value(copy, GX_METADATA_DISPARITY_OFFSET, nullptr), -7);
    gx_stream_profile* const shared = gx_frame_get_stream_profile(copy, nullptr);
    EXPECT_EQ(shared, profile);
    drop(shared);
    drop(copy);
  }
}

TEST_F(Host, StreamProfileCopiesAreIndependent) {
  D2DParameters parameters{};
  parameters.zpd = 1.5;
  parameters.isDualCamera = 1;
  gexton_stream_profile_set_disparity_param(profile, &parameters, nullptr);
  gx_stream_profile* const copy =
      gx_create_stream_profile_from_other_stream_profile(profile, &error);
  gx_video_stream_profile_set_width(copy, 9, nullptr);
  gx_video_stream_profile_set_intrinsic(copy, {1, 2, 3, 4, 9, 2}, nullptr);
  EXPECT_EQ(gx_video_frame_get_width(frame, nullptr), 4U);
  EXPECT_EQ(gx_video_stream_profile_get_intrinsic(profile, nullptr).width, 4);
  EXPECT_EQ(gx_video_stream_profile_get_intrinsic(copy, nullptr).width, 9);
  const D2DParameters copied = gx_disparity_based_stream_profile_get_disparity_param(copy, nullptr);
  EXPECT_EQ(copied.zpd, 1.5);
  EXPECT_EQ(copied.isDualCamera, 1);
  gx_frame_set_stream_profile(frame, copy, nullptr);
  drop(copy); // the frame's own reference keeps it alive
  EXPECT_EQ(gx_video_frame_get_width(frame, nullptr), 9U);
}

TEST_F(Host, FrameSetsShareMembersAndCopiesOwnThem) {
  gx_frame* const color = gx_create_frame(GX_FRAME_COLOR, GX_FORMAT_UNKNOWN, 0, nullptr);
  gx_frame* const colors = gexton_create_frameset(nullptr);
  gx_frameset_push_frame(colors, color, nullptr);
  EXPECT_EQ(gx_frameset_get_depth_frame(colors, &error), nullptr);
  EXPECT_EQ(take(error), ErrorText{});
  gx_frameset_push_frame(colors, set, nullptr);
  gx_frameset_push_frame(set, colors, &error); // would close a circle
  EXPECT_EQ(take(error), (ErrorText{"invalid argument", "gx_frameset_push_frame", "frame", 4}));
  drop(color);
  drop(colors);

  gx_frame* const shared = gx_frameset_get_depth_frame(set, nullptr);
  EXPECT_EQ(shared, frame);
  drop(shared);
  gx_frame* const empty = gx_create_frame_from_other_frame(set, false, nullptr);
  gx_frame* const full = gx_create_frame_from_other_frame(set, true, nullptr);
  EXPECT_EQ(gexton_frameset_get_count(empty, nullptr), 0U);
  EXPECT_EQ(gexton_frameset_get_count(full, nullptr), 1U);
  gx_frame* const member = gexton_frameset_get_frame(full, 0, nullptr);
  drop(full);
  drop(empty);
  EXPECT_NE(member, frame);
  EXPECT_EQ(pixels_of(member), pixels_of(frame));
  drop(member);
}

TEST_F(Host, UpdateDataAcceptsTheFramesOwnBuffer) {
  uint8_t* const own = gx_frame_get_data(frame, nullptr);
  std::vector<uint8_t> expected = pixels_of(frame);
  gx_frame_update_data(frame, own, 16, nullptr);
  EXPECT_EQ(gx_frame_get_data(frame, nullptr), own);
  EXPECT_EQ(pixels_of(frame), expected);

  for (const uint32_t offset : {0U, 6U}) {
    gx_frame_update_data(frame, gx_frame_get_data(frame, nullptr) + offset, 17, &error);
    EXPECT_EQ(take(error), (ErrorText{"invalid argument", "gx_frame_update_data", "size", 4}));
  }
  gx_frame_update_data(frame, own + 6, 10, &error);
  expected.erase(expected.begin(), expected.begin() + 6);
  EXPECT_EQ(pixels_of(frame), expected);

  const std::vector<uint8_t> larger(4099, 0xA5);
  gx_frame_update_data(frame, larger.data(), 4099, &error);
  EXPECT_EQ(pixels_of(frame), larger);
  gx_frame_update_data(frame, nullptr, 1, &error);
  EXPECT_EQ(take(error), (ErrorText{"invalid argument", "gx_frame_update_data", "data", 4}));
  gx_frame_update_data(frame, nullptr, 0, &error);
  EXPECT_EQ(gx_frame_get_data_size(frame, nullptr), 0U);
  EXPECT_EQ(take(error), ErrorText{});
}

TEST_F(Host, RecycledBuffersAreAlignedAndComeBackZero) {
  std::set<const uint8_t*> buffers;
  for (int i = 0; i < 100; ++i) {
    gx_frame* const used = gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 1000, nullptr);
    uint8_t* const data = gx_frame_get_data(used, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 64, 0U);
    EXPECT_EQ(std::count(data, data + 1000, 0), 1000);
    std::fill_n(data, 1000, uint8_t{0xFF});
    buffers.insert(data);
    drop(used);
  }
  if (!sanitized) {
    EXPECT_EQ(buffers.size(), 1U);
  }
}

#if defined(__GLIBC__)
long page_faults() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt;
}

std::size_t heap_bytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

void create_and_drop(std::size_t count, uint32_t size) {
  std::vector<gx_frame*> frames(count);
  for (gx_frame*& each : frames) {
    each = gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, size, nullptr);
  }
  for (gx_frame* each : frames) {
    drop(each);
  }
}

TEST_F(Host, SteadyStreamFaultsNoPagesInAndIdleMemoryIsBounded) {
  if (sanitized) {
    GTEST_SKIP() << "sanitizers have their own allocators";
  }
  constexpr std::size_t mib = 1 << 20;
  create_and_drop(3, 2 * mib);
  const long faults = page_faults();
  for (int i = 0; i < 50; ++i) {
    create_and_drop(3, 2 * mib);
  }
  EXPECT_LT(page_faults() - faults, 64) << "one new buffer would fault in up to 512 pages";

  gexton_trim_buffers();
  const std::size_t start = heap_bytes();
  create_and_drop(100, mib / 4);
  EXPECT_LT(heap_bytes() - start, 65 * mib / 4) << "64 idle buffers";
  EXPECT_GT(heap_bytes() - start, 63 * mib / 4);
  create_and_drop(3, 100 * mib);
  EXPECT_LT(heap_bytes() - start, 257 * mib) << "256 MiB of idle memory";
  gexton_trim_buffers();
  EXPECT_LT(heap_bytes(), start + mib / 4);
}
#endif

#if !defined(_WIN32)
TEST_F(Host, GuardedBuffersStopWhateverGoesBeyondTheirEnd) {
  gexton_guard_buffers(true);
  gx_frame* const guarded = gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 128, nullptr);
  gexton_guard_buffers(false);
  volatile uint8_t* const data = gx_frame_get_data(guarded, nullptr);
  data[127] = 1;
  EXPECT_EQ(data[127], 1);
  EXPECT_DEATH(data[128] = 1, "");
  gx_delete_frame(guarded, nullptr);
}
#endif

TEST_F(Host, MemoryThatRunsOutIsAnError) {
#if defined(__linux__)
  if (sanitized) {
    GTEST_SKIP() << "sanitizers stop the program instead, and map more than the limit";
  }
  rlimit unlimited{};
  getrlimit(RLIMIT_AS, &unlimited);
  const rlimit limit{rlim_t{1} << 30, unlimited.rlim_max};
  setrlimit(RLIMIT_AS, &limit);
  gx_frame* const huge = gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, UINT32_MAX, &error);
  setrlimit(RLIMIT_AS, &unlimited);
  EXPECT_EQ(huge, nullptr);
  EXPECT_EQ(take(error), (ErrorText{"out of memory", "gx_create_frame", "", 0}));
#endif
  gx_stream_profile* const vast =
      gexton_create_stream_profile(GX_FORMAT_Y16, 1U << 31, 1U << 31, nullptr);
  EXPECT_EQ(gexton_create_video_frame(GX_FRAME_DEPTH, vast, nullptr, &error), nullptr);
  EXPECT_EQ(take(error),
            (ErrorText{"invalid argument", "gexton_create_video_frame", "profile", 4}));
  drop(vast);
}

TEST_F(Host, WhatAFrameLacksIsAnError) {
  gx_frame* const bare = gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 2, nullptr);
  EXPECT_EQ(gx_frame_get_stream_profile(bare, &error), nullptr);
  EXPECT_EQ(take(error), ErrorText{});
  EXPECT_EQ(gx_video_frame_get_height(bare, &error), 0U);
  EXPECT_EQ(take(error),
            (ErrorText{"frame has no stream profile", "gx_video_frame_get_height", "frame", 4}));
  EXPECT_EQ(gx_frame_get_metadata_value(bare, GX_METADATA_DISPARITY_OFFSET, &error), 0);
  EXPECT_EQ(take(error),
            (ErrorText{"frame has no such metadata", "gx_frame_get_metadata_value", "id", 4}));
  gx_frameset_get_depth_frame(bare, &error);
  EXPECT_EQ(take(error),
            (ErrorText{"not a frame set", "gx_frameset_get_depth_frame", "frameset", 4}));
  drop(bare);
}

TEST_F(Host, ErrorsOwnTheirTexts) {
  std::string message = "a message that is too long to live inside a string object";
  error = gx_create_error(GX_STATUS_ERROR, message.c_str(), "f", nullptr,
                          GX_EXCEPTION_TYPE_INVALID_VALUE);
  const ErrorText expected{message, "f", "", 4};
  message.assign(message.size(), 'x');
  EXPECT_EQ(take(error), expected);
  EXPECT_STREQ(gx_error_get_message(nullptr), "");
  gx_delete_error(nullptr);
}

TEST_F(Host, SecondReleaseIsAnErrorAndCounted) {
  gx_frame* const extra = gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 64, nullptr);
  gexton_frame_add_reference(extra, nullptr);
  gx_delete_frame(extra, &error);
  gx_delete_frame(extra, &error);
  EXPECT_EQ(take(error), ErrorText{});
  gx_delete_frame(extra, &error);
  EXPECT_EQ(take(error), (ErrorText{"invalid argument", "gx_delete_frame", "frame", 4}));
  gx_stream_profile* const other = gexton_create_stream_profile(GX_FORMAT_Y16, 1, 1, nullptr);
  drop(other);
  gx_delete_stream_profile(other, &error);
  EXPECT_EQ(take(error), (ErrorText{"invalid argument", "gx_delete_stream_profile", "profile", 4}));
  expected_excess += 2;
}

struct Handles {
  gx_frame* frame = nullptr;
  gx_frame* set = nullptr;
  gx_stream_profile* profile = nullptr;
};

template <typename Argument>
auto resolve(const Handles& handles, Argument argument) {
  if constexpr (std::is_member_object_pointer_v<Argument>) {
    return handles.*argument;
  } else {
    return argument;
  }
}

/// Calls `function(arguments..., error)`, members of Handles standing for the handles, and returns
/// the new references.
template <auto function, auto... arguments>
Handles call(const Handles& handles, gx_error** error) {
  const auto run = [&] { return function(resolve(handles, arguments)..., error); };
  Handles created;
  if constexpr (std::is_same_v<decltype(run()), gx_frame*>) {
    created.frame = run();
  } else if constexpr (std::is_same_v<decltype(run()), gx_stream_profile*>) {
    created.profile = run();
  } else {
    run();
  }
  return created;
}

// The delete functions release a reference that was made for them.

Handles delete_frame(const Handles& handles, gx_error** error) {
  gx_delete_frame(gexton_frame_add_reference(handles.frame, nullptr), error);
  return {};
}

Handles delete_profile(const Handles& handles, gx_error** error) {
  const bool null = handles.profile == nullptr;
  gx_delete_stream_profile(
      null ? nullptr : gexton_create_stream_profile(GX_FORMAT_Y16, 1, 1, nullptr), error);
  return {};
}

Handles set_intrinsic(const Handles& handles, gx_error** error) {
  gx_video_stream_profile_set_intrinsic(handles.profile, {}, error);
  return {};
}

constexpr auto frame = &Handles::frame;
constexpr auto set = &Handles::set;
constexpr auto profile = &Handles::profile;
constexpr gx_metadata_id offset = GX_METADATA_DISPARITY_OFFSET;

struct Function {
  const char* name;
  Handles (*call)(const Handles&, gx_error**);
};

/// Every function with an error slot and a handle, with arguments that succeed.
const Function functions[] = {
    {"gx_frame_get_type", call<gx_frame_get_type, frame>},
    {"gx_frame_get_format", call<gx_frame_get_format, frame>},
    {"gx_frame_get_index", call<gx_frame_get_index, frame>},
    {"gx_frame_get_data", call<gx_frame_get_data, frame>},
    {"gx_frame_get_data_size", call<gx_frame_get_data_size, frame>},
    {"gx_frame_update_data", call<gx_frame_update_data, frame, nullptr, 0U>},
    {"gx_frame_copy_info", call<gx_frame_copy_info, frame, frame>},
    {"gx_frame_get_stream_profile", call<gx_frame_get_stream_profile, frame>},
    {"gx_frame_set_stream_profile", call<gx_frame_set_stream_profile, frame, profile>},
    {"gx_frame_has_metadata", call<gx_frame_has_metadata, frame, offset>},
    {"gx_frame_get_metadata_value", call<gx_frame_get_metadata_value, frame, offset>},
    {"gx_create_frame_from_other_frame", call<gx_create_frame_from_other_frame, set, true>},
    {"gx_delete_frame", delete_frame},
    {"gx_frameset_get_depth_frame", call<gx_frameset_get_depth_frame, set>},
    {"gx_frameset_push_frame", call<gx_frameset_push_frame, set, frame>},
    {"gx_video_frame_get_width", call<gx_video_frame_get_width, frame>},
    {"gx_video_frame_get_height", call<gx_video_frame_get_height, frame>},
    {"gx_video_frame_get_pixel_type", call<gx_video_frame_get_pixel_type, frame>},
    {"gx_video_frame_set_pixel_type", call<gx_video_frame_set_pixel_type, frame, GX_PIXEL_DEPTH>},
    {"gx_video_frame_get_pixel_available_bit_size",
     call<gx_video_frame_get_pixel_available_bit_size, frame>},
    {"gx_video_frame_set_pixel_available_bit_size",
     call<gx_video_frame_set_pixel_available_bit_size, frame, uint8_t{16}>},
    {"gx_depth_frame_get_value_scale", call<gx_depth_frame_get_value_scale, frame>},
    {"gx_depth_frame_set_value_scale", call<gx_depth_frame_set_value_scale, frame, uint8_t{1}>},
    {"gx_create_stream_profile_from_other_stream_profile",
     call<gx_create_stream_profile_from_other_stream_profile, profile>},
    {"gx_delete_stream_profile", delete_profile},
    {"gx_stream_profile_get_format", call<gx_stream_profile_get_format, profile>},
    {"gx_video_stream_profile_get_width", call<gx_video_stream_profile_get_width, profile>},
    {"gx_video_stream_profile_get_height", call<gx_video_stream_profile_get_height, profile>},
    {"gx_video_stream_profile_set_width", call<gx_video_stream_profile_set_width, profile, 4U>},
    {"gx_video_stream_profile_set_height", call<gx_video_stream_profile_set_height, profile, 2U>},
    {"gx_video_stream_profile_get_intrinsic", call<gx_video_stream_profile_get_intrinsic, profile>},
    {"gx_video_stream_profile_set_intrinsic", set_intrinsic},
    {"gx_disparity_based_stream_profile_get_disparity_param",
     call<gx_disparity_based_stream_profile_get_disparity_param, profile>},
};

class HostFunctions : public Host {
 protected:
  /// One call: what it leaves in the slot, after checks that it counted once and leaked nothing.
  ErrorText outcome(const Function& function, const Handles& handles) {
    const auto live_before = live();
    const uint64_t calls_before = gexton_get_call_count();
    const Handles created = function.call(handles, &error);
    EXPECT_EQ(gexton_get_call_count() - calls_before, 1U);
    EXPECT_TRUE(error == nullptr || (created.frame == nullptr && created.profile == nullptr));
    drop(created.frame);
    drop(created.profile);
    ErrorText text = take(error);
    EXPECT_EQ(live(), live_before);
    return text;
  }

  Handles handles() const { return {Host::frame, Host::set, Host::profile}; }
};

TEST_F(HostFunctions, SucceedFailOnPurposeAndRefuseNull) {
  for (const Function& function : functions) {
    SCOPED_TRACE(function.name);
    EXPECT_EQ(outcome(function, handles()), ErrorText{});

    gexton_fail_function(function.name, 0);
    const ErrorText fault{"injected fault", function.name, "gexton", 0};
    EXPECT_EQ(outcome(function, handles()), fault);
    EXPECT_EQ(outcome(function, handles()), fault);
    function.call(handles(), nullptr); // nowhere to store the error
    gexton_fail_function(nullptr, 0);

    const ErrorText refusal = outcome(function, {});
    EXPECT_EQ(refusal, (ErrorText{"invalid argument", function.name, refusal.args, 4}));
    EXPECT_NE(refusal.args, "");
  }
}

TEST_F(HostFunctions, FaultsStrikeTheOrderedCallOnce) {
  const auto fails = [&](auto query) {
    query(Host::frame, &error);
    return take(error) != ErrorText{};
  };
  gexton_clear_faults();
  gexton_fail_nth_call(3);
  EXPECT_FALSE(fails(gx_frame_get_type));
  gexton_frame_set_index(Host::frame, 1, &error); // no gx_ call
  EXPECT_FALSE(fails(gx_frame_get_index));
  EXPECT_TRUE(fails(gx_frame_get_type));
  EXPECT_FALSE(fails(gx_frame_get_type));
  gexton_fail_function("gx_frame_get_index", 2);
  EXPECT_FALSE(fails(gx_frame_get_index));
  EXPECT_FALSE(fails(gx_frame_get_type));
  EXPECT_TRUE(fails(gx_frame_get_index));
  EXPECT_FALSE(fails(gx_frame_get_index));
  EXPECT_EQ(gexton_get_call_count(), 8U);
  EXPECT_EQ(gexton_get_fault_count(), 2U);
  gexton_fail_function("gx_create_frame", 1);
  EXPECT_EQ(gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 2, &error), nullptr);
  EXPECT_EQ(take(error), (ErrorText{"injected fault", "gx_create_frame", "gexton", 0}));
}

TEST_F(Host, ThreadsShareFramesAndRecycleBuffers) {
  const std::vector<uint8_t> expected = pixels_of(frame);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        gx_frame* const copy = gx_create_frame_from_other_frame(set, true, nullptr);
        gx_frame* const member = gx_frameset_get_depth_frame(copy, nullptr);
        drop(copy);
        EXPECT_EQ(pixels_of(member), expected);
        gx_frame_get_data(member, nullptr)[i % 16] = 0xEE; // shared memory would show in `expected`
        drop(member);
        drop(gx_frameset_get_depth_frame(set, nullptr));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(pixels_of(frame), expected);
}

} // namespace
