// The reference host: who owns what, what copies carry, and the faults that it is asked for.

#include <algorithm>
#include <cstring>
#include <latch>
#include <set>
#include <thread>
#include <tuple>
#include <type_traits>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "support/allocation_faults.h"
#include "support/host_objects.h"
#include "support/platform.h"

namespace {

using namespace test;
using gexton::FrameState;
using Names = std::vector<std::string>;

/// Every test begins with a depth frame of 4 x 2 pixels and a set that holds it, and ends without
/// live handles and excess releases.
class Host : public testing::Test {
 protected:
  Host() { gexton_frame_set_metadata(frame.get(), GX_METADATA_DISPARITY_OFFSET, -7, nullptr); }
  ~Host() override { gexton_clear_faults(); }

  const NoLeftovers no_leftovers;
  const Pixels pixels{0x0100, 0x0101, 0x0102, 0x0103, 0x0104, 0x0105, 0x0106, 0x0107};
  const Profile profile{gexton_create_stream_profile(GX_FORMAT_Y16, 4, 2, nullptr)};
  const Frame frame{
      gexton_create_video_frame(GX_FRAME_DEPTH, profile.get(), pixels.data(), nullptr)};
  const Frame set = gexton::make_frame_set({frame.get()});
  ErrorSlot error;
};

TEST_F(Host, CopiesCarryEveryAttribute) {
  const FrameState fresh(*frame);
  gexton_frame_set_index(frame.get(), uint64_t{1} << 40, nullptr);
  gx_video_frame_set_pixel_type(frame.get(), GX_PIXEL_DISPARITY, nullptr);
  gx_video_frame_set_pixel_available_bit_size(frame.get(), 12, nullptr);
  gx_depth_frame_set_value_scale(frame.get(), 0.25F, nullptr);
  const FrameState changed(*frame);
  EXPECT_EQ(changed.differences(fresh), (Names{"index", "pixel type", "bit size", "value scale"}));
  const Frame info{gx_create_frame(GX_FRAME_COLOR, GX_FORMAT_UNKNOWN, 6, nullptr)};
  gx_frame_copy_info(frame.get(), info.get(), nullptr);
  const Frame zero{gx_create_frame_from_other_frame(frame.get(), false, nullptr)};
  const Frame full{gx_create_frame_from_other_frame(frame.get(), true, nullptr)};
  EXPECT_EQ(pixels_of(info.get()), Pixels(3));
  EXPECT_EQ(pixels_of(zero.get()), Pixels(8));
  EXPECT_NE(gx_frame_get_data(full.get(), nullptr), gx_frame_get_data(frame.get(), nullptr));
  for (gx_frame* copy : {info.get(), zero.get(), full.get()}) {
    EXPECT_EQ(FrameState(*copy).differences(changed),
              copy == full.get() ? Names{} : Names{"pixels"});
    EXPECT_EQ(Profile{gx_frame_get_stream_profile(copy, nullptr)}, profile);
  }
}

TEST_F(Host, StreamProfileCopiesAreIndependent) {
  D2DParameters parameters{};
  parameters.zpd = 1.5;
  parameters.isDualCamera = 1;
  gexton_stream_profile_set_disparity_param(profile.get(), &parameters, nullptr);
  const FrameState before(*frame);
  const std::string said =
      "intrinsics: 0 0 0 0 4 2 \ndisparity record: 1.5 0 0 0 0 0 0 0 0 0 0 1 \n";
  EXPECT_TRUE(before.text().ends_with(said)) << before.text();
  Profile copy{gx_create_stream_profile_from_other_stream_profile(profile.get(), nullptr)};
  gx_video_stream_profile_set_width(copy.get(), 9, nullptr);
  gx_video_stream_profile_set_intrinsic(copy.get(), {1, 2, 3, 4, 9, 2}, nullptr);
  EXPECT_EQ(FrameState(*frame), before);
  gx_frame_set_stream_profile(frame.get(), copy.get(), nullptr);
  copy.reset(); // the frame's own reference keeps it alive
  EXPECT_EQ(FrameState(*frame).differences(before), (Names{"width", "intrinsics"}));
}

TEST_F(Host, FrameSetsShareMembersAndCopiesOwnThem) {
  const Frame color{gx_create_frame(GX_FRAME_COLOR, GX_FORMAT_UNKNOWN, 0, nullptr)};
  const Frame colors = gexton::make_frame_set({color.get()});
  EXPECT_EQ(gx_frameset_get_depth_frame(colors.get(), error.receive()), nullptr);
  EXPECT_EQ(error.text(), "");
  gx_frameset_push_frame(colors.get(), set.get(), nullptr);
  gx_frameset_push_frame(set.get(), colors.get(), error.receive()); // would close a circle
  EXPECT_EQ(error.text(), "invalid argument | gx_frameset_push_frame | frame | 4");

  EXPECT_EQ(Frame{gx_frameset_get_depth_frame(set.get(), nullptr)}, frame);
  const Frame empty{gx_create_frame_from_other_frame(set.get(), false, nullptr)};
  Frame full{gx_create_frame_from_other_frame(set.get(), true, nullptr)};
  EXPECT_EQ(gexton_frameset_get_count(empty.get(), nullptr), 0U);
  EXPECT_EQ(gexton_frameset_get_count(full.get(), nullptr), 1U);
  const Frame member{gexton_frameset_get_frame(full.get(), 0, nullptr)};
  full.reset();
  EXPECT_NE(member, frame);
  EXPECT_EQ(pixels_of(member.get()), pixels);
}

TEST_F(Host, UpdateDataAcceptsTheFramesOwnBuffer) {
  uint8_t* const own = gx_frame_get_data(frame.get(), nullptr);
  gx_frame_update_data(frame.get(), own, 16, nullptr);
  EXPECT_EQ(gx_frame_get_data(frame.get(), nullptr), own);
  EXPECT_EQ(pixels_of(frame.get()), pixels);
  for (const uint32_t offset : {0U, 6U}) {
    gx_frame_update_data(frame.get(), own + offset, 17, error.receive());
    EXPECT_EQ(error.text(), "invalid argument | gx_frame_update_data | size | 4");
  }
  gx_frame_update_data(frame.get(), own + 6, 10, nullptr);
  EXPECT_EQ(pixels_of(frame.get()), Pixels(pixels.begin() + 3, pixels.end()));

  const std::vector<uint8_t> larger(4098, 0xA5);
  gx_frame_update_data(frame.get(), larger.data(), 4098, nullptr);
  EXPECT_EQ(pixels_of(frame.get()), Pixels(2049, 0xA5A5));
  gx_frame_update_data(frame.get(), nullptr, 1, error.receive());
  EXPECT_EQ(error.text(), "invalid argument | gx_frame_update_data | data | 4");
  gx_frame_update_data(frame.get(), nullptr, 0, error.receive());
  EXPECT_EQ(gx_frame_get_data_size(frame.get(), nullptr), 0U);
  EXPECT_EQ(error.text(), "");
}

TEST_F(Host, WrappedPixelsStayTheirOwnersUntilTheFrameGoes) {
  const auto owner = std::make_shared<int>(7); // wrap_pixels keeps a copy
  const Pixels original = pixels;
  const auto wrap = [&] {
    return gexton::wrap_pixels(GX_FRAME_DEPTH, *profile, pixels.data(), owner, error);
  };
  Frame wrapped = wrap();
  EXPECT_EQ(reinterpret_cast<const uint16_t*>(gx_frame_get_data(wrapped.get(), nullptr)),
            pixels.data());
  EXPECT_TRUE(FrameState(*wrapped).differences(FrameState(*frame)) ==
              (Names{"disparity offset"})); // which only the fixture's frame has
  Frame second = gexton::share(*wrapped);
  const Frame copy{gx_create_frame_from_other_frame(wrapped.get(), true, nullptr)};
  wrapped.reset();
  EXPECT_EQ(owner.use_count(), 2);
  second.reset();
  EXPECT_EQ(owner.use_count(), 1);
  EXPECT_EQ(pixels_of(copy.get()), pixels);

  // New pixels never go into somebody else's memory, be they as many or more.
  for (const size_t count : {pixels.size(), pixels.size() + 1}) {
    const Frame replaced = wrap();
    const Pixels others(count, 9);
    gx_frame_update_data(replaced.get(), reinterpret_cast<const uint8_t*>(others.data()),
                         static_cast<uint32_t>(count * sizeof(uint16_t)), nullptr);
    EXPECT_EQ(owner.use_count(), 1);
    EXPECT_EQ(pixels_of(replaced.get()), others);
  }
  EXPECT_EQ(pixels, original);

  // Pixels that outlive the frame need nobody to give them back.
  EXPECT_TRUE(Frame(gexton_wrap_video_frame(GX_FRAME_DEPTH, profile.get(), pixels.data(), nullptr,
                                            nullptr, nullptr)));
}

TEST_F(Host, AnOfferIsTakenOnceByAFrameOfItsSize) {
  Pixels memory(pixels.size(), 5);
  const auto bytes = static_cast<uint32_t>(memory.size() * sizeof(uint16_t));
  const auto lies_in_memory = [&](const Frame& made) {
    return reinterpret_cast<const uint16_t*>(gx_frame_get_data(made.get(), nullptr)) ==
           memory.data();
  };
  const auto copy = [&] {
    return Frame{gx_create_frame_from_other_frame(frame.get(), true, nullptr)};
  };
  EXPECT_FALSE(gexton_offer_pixels(memory.data(), bytes));
  EXPECT_FALSE(
      lies_in_memory(Frame{gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, bytes - 2, nullptr)}));
  EXPECT_TRUE(lies_in_memory(copy()));
  EXPECT_EQ(memory, pixels); // stays as the frame left it
  EXPECT_FALSE(lies_in_memory(copy()));
  gexton_offer_pixels(memory.data(), bytes);
  EXPECT_TRUE(gexton_offer_pixels(nullptr, 0));
  EXPECT_FALSE(lies_in_memory(copy()));
}

TEST_F(Host, WhatCanNotBeWrappedStaysTheCallers) {
  int released = 0;
  const auto release = [](void* count) { ++*static_cast<int*>(count); };
  const auto wrap = [&](gx_stream_profile* of_size, const uint16_t* those) {
    return Frame(gexton_wrap_video_frame(GX_FRAME_DEPTH, of_size, those, release, &released,
                                         error.receive()));
  };
  EXPECT_FALSE(wrap(nullptr, pixels.data()));
  EXPECT_EQ(error.text(), "invalid argument | gexton_wrap_video_frame | profile | 4");
  EXPECT_FALSE(wrap(profile.get(), nullptr));
  EXPECT_EQ(error.text(), "invalid argument | gexton_wrap_video_frame | pixels | 4");
  const Profile vast{gexton_create_stream_profile(GX_FORMAT_Y16, 1U << 16, 1U << 15, nullptr)};
  EXPECT_FALSE(wrap(vast.get(), pixels.data()));
  EXPECT_EQ(error.text(), "invalid argument | gexton_wrap_video_frame | profile | 4");
  REQUIRE_ALLOCATION_FAULTS();
  for (uint64_t n = 1;; ++n) {
    fail_nth_allocation(n);
    const Frame wrapped = wrap(profile.get(), pixels.data());
    fail_nth_allocation(0);
    if (wrapped)
      break;
    EXPECT_EQ(error.text(), "out of memory | gexton_wrap_video_frame |  | 0");
    EXPECT_EQ(released, 0);
  }
  EXPECT_EQ(released, 1);
}

TEST_F(Host, RecycledBuffersAreAlignedAndComeBackZero) {
  std::set<const uint8_t*> buffers;
  for (int i = 0; i < 100; ++i) {
    const Frame used{gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 1000, nullptr)};
    uint8_t* const data = gx_frame_get_data(used.get(), nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 64, 0U);
    EXPECT_EQ(std::count(data, data + 1000, 0), 1000);
    std::fill_n(data, 1000, uint8_t{0xFF});
    buffers.insert(data);
  }
  EXPECT_TRUE(SANITIZED || buffers.size() == 1);
}

#if defined(__GLIBC__)
TEST_F(Host, IdleMemoryIsBounded) {
  if (SANITIZED)
    GTEST_SKIP() << "sanitizers have their own allocators";
  const auto heap_bytes = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
  const auto create_and_drop = [](size_t count, uint32_t size) {
    std::vector<Frame> frames(count);
    for (Frame& each : frames)
      each.reset(gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, size, nullptr));
  };
  constexpr size_t mib = 1 << 20;
  create_and_drop(3, 2 * mib); // small blocks are not mapped any more, nor rounded up to pages
  gexton_trim_buffers();
  const size_t start = heap_bytes();
  create_and_drop(100, mib / 4);
  EXPECT_LT(heap_bytes() - start, 65 * mib / 4) << "64 idle buffers";
  EXPECT_GT(heap_bytes() - start, 63 * mib / 4);
  create_and_drop(3, 100 * mib);
  EXPECT_LT(heap_bytes() - start, 257 * mib) << "256 MiB of idle memory";
  gexton_trim_buffers();
  EXPECT_LT(heap_bytes(), start + mib / 4);
}
#endif

TEST_F(Host, GuardedBuffersStopWhateverGoesBeyondTheirEnd) {
#if defined(GTEST_HAS_DEATH_TEST) && !defined(_WIN32)
  gexton_guard_buffers(true);
  const Frame guarded{gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 128, nullptr)};
  gexton_guard_buffers(false);
  volatile uint8_t* const data = gx_frame_get_data(guarded.get(), nullptr);
  data[127] = 1;
  EXPECT_EQ(data[127], 1);
  EXPECT_DEATH(data[128] = 1, "");
#else
  GTEST_SKIP() << "memory can't be guarded here";
#endif
}

TEST_F(Host, WhatAFrameLacksIsAnError) {
  const Frame bare{gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 2, nullptr)};
  EXPECT_EQ(gx_frame_get_stream_profile(bare.get(), error.receive()), nullptr);
  EXPECT_EQ(error.text(), "");
  EXPECT_EQ(gx_video_frame_get_height(bare.get(), error.receive()), 0U);
  EXPECT_EQ(error.text(), "frame has no stream profile | gx_video_frame_get_height | frame | 4");
  EXPECT_EQ(gx_frame_get_metadata_value(bare.get(), GX_METADATA_DISPARITY_OFFSET, error.receive()),
            0);
  EXPECT_EQ(error.text(), "frame has no such metadata | gx_frame_get_metadata_value | id | 4");
  gx_frameset_get_depth_frame(bare.get(), error.receive());
  EXPECT_EQ(error.text(), "not a frame set | gx_frameset_get_depth_frame | frameset | 4");
}

TEST_F(Host, FramesHoldAsManyBytesAs32BitsCount) {
  REQUIRE_ALLOCATION_FAULTS();
  const std::tuple<uint32_t, uint32_t, const char*> cases[] = {
      {UINT32_MAX / 2, 1, "out of memory | gexton_create_video_frame |  | 0"},
      {1U << 16, 1U << 15, "invalid argument | gexton_create_video_frame | profile | 4"},
      {1U << 31, 1U << 31, "invalid argument | gexton_create_video_frame | profile | 4"}};
  for (const auto& [width, height, expected] : cases) {
    const Profile vast{gexton_create_stream_profile(GX_FORMAT_Y16, width, height, nullptr)};
    EXPECT_EQ(gx_video_stream_profile_get_intrinsic(vast.get(), nullptr).width, INT16_MAX);
    fail_nth_allocation(height == 1 ? 1 : 0); // the pixels
    EXPECT_EQ(gexton_create_video_frame(GX_FRAME_DEPTH, vast.get(), nullptr, error.receive()),
              nullptr);
    fail_nth_allocation(0);
    EXPECT_EQ(error.text(), expected);
  }
}

TEST_F(Host, ErrorsOwnTheirTexts) {
  std::string message = "a message that is too long to live inside a string object";
  *error.receive() = gx_create_error(GX_STATUS_ERROR, message.c_str(), "f", nullptr,
                                     GX_EXCEPTION_TYPE_INVALID_VALUE);
  message.assign(message.size(), 'x');
  EXPECT_EQ(error.text(), "a message that is too long to live inside a string object | f |  | 4");
  EXPECT_STREQ(gx_error_get_message(nullptr), "");
  gx_delete_error(nullptr);
}

TEST(HostHandles, SecondReleaseIsAnErrorAndCounted) {
  ErrorSlot error;
  const uint64_t excess = gexton_get_excess_releases();
  gx_frame* const extra = gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 64, nullptr);
  gexton_frame_add_reference(extra, nullptr);
  for (const char* expected : {"", "", "invalid argument | gx_delete_frame | frame | 4"}) {
    gx_delete_frame(extra, error.receive());
    EXPECT_EQ(error.text(), expected);
  }
  gx_stream_profile* const other = gexton_create_stream_profile(GX_FORMAT_Y16, 1, 1, nullptr);
  for (const char* expected : {"", "invalid argument | gx_delete_stream_profile | profile | 4"}) {
    gx_delete_stream_profile(other, error.receive());
    EXPECT_EQ(error.text(), expected);
  }
  EXPECT_EQ(gexton_get_excess_releases(), excess + 2);
}

/// The function succeeds, fails when it is asked to and refuses null; each time it counts once and
/// leaves nothing behind.
template <typename Function, typename Handle, typename... Arguments>
void check(const char* name, Function function, const Handle& handle, Arguments... arguments) {
  SCOPED_TRACE(name);
  const auto outcome = [&](typename Handle::pointer object) {
    using Result = decltype(function(object, arguments..., nullptr));
    const NoLeftovers nothing_left;
    ErrorSlot slot;
    const uint64_t calls = gexton_get_call_count();
    if constexpr (std::is_invocable_v<gexton::Release, Result>) {
      const std::unique_ptr<std::remove_pointer_t<Result>, gexton::Release> created{
          function(object, arguments..., slot.receive())};
      EXPECT_EQ(gexton_get_call_count() - calls, 1U);
      EXPECT_TRUE(created == nullptr || !slot);
    } else {
      function(object, arguments..., slot.receive());
      EXPECT_EQ(gexton_get_call_count() - calls, 1U);
    }
    return slot.text();
  };
  EXPECT_EQ(outcome(handle.get()), "");
  gexton_fail_function(name, 0);
  const std::string fault = "injected fault | " + std::string(name) + " | gexton | 0";
  EXPECT_EQ(outcome(handle.get()), fault);
  EXPECT_EQ(outcome(handle.get()), fault);
  function(handle.get(), arguments..., nullptr); // nowhere to store the error
  gexton_fail_function(nullptr, 0);
  const auto has = [name](const char* part) { return std::strstr(name, part) != nullptr; };
  const std::string parameter = has("_from_other")                ? "other"
                                : has("copy_info")                ? "source"
                                : has("frameset")                 ? "frameset"
                                : std::is_same_v<Handle, Profile> ? "profile"
                                                                  : "frame";
  EXPECT_EQ(outcome(nullptr),
            "invalid argument | " + std::string(name) + " | " + parameter + " | 4");
}

TEST_F(Host, ItsOwnFunctionsRefuseNullToo) {
  const auto id = GX_METADATA_DISPARITY_OFFSET;
  const auto refuses = [&](const std::string& parameter, auto function, auto... arguments) {
    function(arguments..., error.receive());
    EXPECT_EQ(error.text(), "invalid argument | " + parameter + " | 4");
  };
  refuses("gexton_frame_add_reference | frame", gexton_frame_add_reference, nullptr);
  refuses("gexton_frame_set_index | frame", gexton_frame_set_index, nullptr, 1U);
  refuses("gexton_frame_set_metadata | frame", gexton_frame_set_metadata, nullptr, id, 1);
  refuses("gexton_frame_remove_metadata | frame", gexton_frame_remove_metadata, nullptr, id);
  refuses("gexton_create_video_frame | profile", gexton_create_video_frame, GX_FRAME_DEPTH, nullptr,
          nullptr);
  refuses("gexton_frameset_get_count | frameset", gexton_frameset_get_count, nullptr);
  refuses("gexton_frameset_get_frame | index", gexton_frameset_get_frame, set.get(), 1U);
  refuses("gexton_stream_profile_set_disparity_param | parameters",
          gexton_stream_profile_set_disparity_param, profile.get(), nullptr);
}

#define CHECK(function, ...) check(#function, function, __VA_ARGS__)
TEST_F(Host, FunctionsSucceedFailOnPurposeAndRefuseNull) {
  const auto offset = GX_METADATA_DISPARITY_OFFSET;
  CHECK(gx_frame_get_type, frame);
  CHECK(gx_frame_get_format, frame);
  CHECK(gx_frame_get_index, frame);
  CHECK(gx_frame_get_data, frame);
  CHECK(gx_frame_get_data_size, frame);
  CHECK(gx_frame_update_data, frame, nullptr, 0U);
  CHECK(gx_frame_copy_info, frame, frame.get());
  CHECK(gx_frame_get_stream_profile, frame);
  CHECK(gx_frame_set_stream_profile, frame, profile.get());
  CHECK(gx_frame_has_metadata, frame, offset);
  CHECK(gx_frame_get_metadata_value, frame, offset);
  CHECK(gx_create_frame_from_other_frame, set, true);
  CHECK(gx_frameset_get_depth_frame, set);
  CHECK(gx_frameset_push_frame, set, frame.get());
  CHECK(gx_video_frame_get_width, frame);
  CHECK(gx_video_frame_get_height, frame);
  CHECK(gx_video_frame_get_pixel_type, frame);
  CHECK(gx_video_frame_set_pixel_type, frame, GX_PIXEL_DEPTH);
  CHECK(gx_video_frame_get_pixel_available_bit_size, frame);
  CHECK(gx_video_frame_set_pixel_available_bit_size, frame, uint8_t{16});
  CHECK(gx_depth_frame_get_value_scale, frame);
  CHECK(gx_depth_frame_set_value_scale, frame, 1.0F);
  CHECK(gx_create_stream_profile_from_other_stream_profile, profile);
  CHECK(gx_stream_profile_get_format, profile);
  CHECK(gx_video_stream_profile_get_width, profile);
  CHECK(gx_video_stream_profile_get_height, profile);
  CHECK(gx_video_stream_profile_set_width, profile, 4U);
  CHECK(gx_video_stream_profile_set_height, profile, 2U);
  CHECK(gx_video_stream_profile_get_intrinsic, profile);
  CHECK(gx_video_stream_profile_set_intrinsic, profile, gx_camera_intrinsic{});
  CHECK(gx_disparity_based_stream_profile_get_disparity_param, profile);
  // What is given back is made for it.
  const auto delete_frame = [](gx_frame* held, gx_error** slot) {
    gx_delete_frame(held == nullptr ? held : gexton_frame_add_reference(held, nullptr), slot);
  };
  const auto delete_profile = [](gx_stream_profile* held, gx_error** slot) {
    gx_delete_stream_profile(
        held == nullptr ? held : gexton_create_stream_profile(GX_FORMAT_Y16, 1, 1, nullptr), slot);
  };
  check("gx_delete_frame", delete_frame, frame);
  check("gx_delete_stream_profile", delete_profile, profile);
}

/// Threads share the lists of what is alive, the idle buffers and the faults, though no object. The
/// thread sanitizer sees more of it.
TEST_F(Host, ServesThreadsThatShareNoObject) {
  REQUIRE_THREADS();
  constexpr int count = 4;
  const uint64_t most_frames = gexton_get_live_handles().frames + count;
  std::latch all_started(count);
  const auto work = [&] {
    all_started.arrive_and_wait();
    for (uint64_t i = 0; i < 5000; ++i) {
      gexton_fail_function("no function", i % 2);
      gexton_fail_nth_call(i % 2 * 1'000'000);
      const Frame own{gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 1000, nullptr)};
      const Profile copy{
          gx_create_stream_profile_from_other_stream_profile(profile.get(), nullptr)};
      EXPECT_TRUE(own != nullptr && copy != nullptr);
      EXPECT_LE(gexton_get_live_handles().frames, most_frames);
      if (i % 3 == 0)
        gexton_trim_buffers();
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i)
    threads.emplace_back(work);
  for (std::thread& thread : threads)
    thread.join();
}

TEST_F(Host, FaultsStrikeTheOrderedCallOnce) {
  const auto fails = [&](auto query) {
    query(frame.get(), error.receive());
    return bool(error);
  };
  gexton_clear_faults();
  gexton_fail_nth_call(3);
  EXPECT_FALSE(fails(gx_frame_get_type));
  gexton_frame_set_index(frame.get(), 1, nullptr); // no gx_ call
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
  EXPECT_EQ(gx_create_frame(GX_FRAME_DEPTH, GX_FORMAT_Y16, 2, error.receive()), nullptr);
  EXPECT_EQ(error.text(), "injected fault | gx_create_frame | gexton | 0");
}

} // namespace
