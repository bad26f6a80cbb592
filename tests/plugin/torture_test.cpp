// Every filter, in every state that its way through a frame depends on, while the host or memory
// fails at each point of that way in turn. Each failure must be reported, leave nothing behind and
// change nothing for the frames that follow.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>

#include "support/host_function.h"
#include "support/instance.h"
#include "support/platform.h"

REPLACED_HOST_FUNCTION(gx_frame_get_stream_profile)

namespace {

bool frames_have_no_profile = false;

} // namespace

/// In place of the host's function: hosts may have frames without a profile.
gx_stream_profile* __wrap_gx_frame_get_stream_profile(const gx_frame* frame, gx_error** error) {
  return frames_have_no_profile ? nullptr : __real_gx_frame_get_stream_profile(frame, error);
}

namespace {

using namespace test;

// ---- ways to a frame ----

Look usual(Look look) {
  return look;
}
Look larger(Look look) {
  look.width = 48;
  look.height = 24;
  return look;
}
Look of_other_kind(Look look) {
  look.pixel_type = look.pixel_type == GX_PIXEL_DEPTH       ? GX_PIXEL_DISPARITY
                    : look.pixel_type == GX_PIXEL_DISPARITY ? GX_PIXEL_TOF_DEPTH
                                                            : GX_PIXEL_DEPTH;
  return look;
}
Look of_other_format(Look look) {
  look.format = GX_FORMAT_Y12_SHIFTED;
  return look;
}
Look of_other_bits(Look look) {
  look.bits = 13; // which the camera's record contradicts
  return look;
}
Look unconverted(Look look) {
  look.pixel_type = GX_PIXEL_DEPTH;
  look.offset.reset();
  return look;
}
Look next(Look look) {
  look.shift = 1;
  look.offset = look.offset.value_or(0) + 1;
  return look;
}

using Step = void (Instance::*)();

/// Brings an instance into a state and tells the frame to process in it.
struct Path {
  const char* name;
  std::array<Step, 3> steps;
  Look (*look)(Look); ///< of the frame, made of the usual one
  bool takes_blob = false;

  Look prepare(Instance& instance) const {
    for (const Step step : steps)
      if (step != nullptr)
        (instance.*step)();
    return look(instance.look);
  }
};

constexpr Step pass = &Instance::pass;
constexpr Step update = &Instance::update;
constexpr Step set_blob = &Instance::set_blob;

constexpr Path paths[] = {
    {"first frame", {}, usual},
    {"later frame", {pass}, next},
    {"after an update", {pass, update}, next},
    {"after an update to the same values", {pass, &Instance::configure}, next},
    {"frame of another size", {pass}, larger},
    {"frame of another size after an update", {pass, &Instance::update_for_larger}, larger},
    {"after a reset", {pass, &Instance::reset}, usual},
    {"after a reset and an update", {pass, &Instance::reset, update}, usual},
    {"another stream of a changed camera", {pass, &Instance::change_record}, of_other_format},
    {"another bit size", {pass}, of_other_bits},
    {"another record in the same stream", {pass, &Instance::change_record}, usual},
    {"another kind of pixels", {pass}, of_other_kind},
    {"unconverted", {pass}, unconverted},
    {"after a blob", {pass, set_blob}, usual, true},
    {"after a blob and an update", {pass, set_blob, update}, next, true},
    {"frame of another size after a blob", {pass, set_blob}, larger, true},
};

/// What an instance makes of the frame at the end of a path, and of the frames after it.
struct Reference {
  std::string frame;
  /// The same frame again, then a usual one: as if the frame had never been there, or seen once.
  std::vector<std::string> unseen, seen;
};

class TortureTest : public CaseTest {
 protected:
  static Reference reference(const Path& path) {
    Reference result;
    Instance once(filter_case(), kind());
    const Look look = path.prepare(once);
    result.frame = once.outcome(once.make(look));
    result.unseen = {result.frame, once.outcome(once.make(once.look))};
    Instance twice(filter_case(), kind());
    path.prepare(twice);
    twice.outcome(twice.make(look));
    result.seen = twice.outcomes(look);
    return result;
  }

  void torture(Fault fault);
  void torture(const Path& path, Fault fault);
  bool strike(const Path& path, Fault fault, uint64_t n, const Reference& expected);
  void check_memory_report(Fault fault, const Struck& result, const Reference& expected);
  void check_next(Instance& instance, const Look& look, const std::string& culprit,
                  const Reference& expected);

  /// Of one path: how many faults came after the filter had taken the frame in, and how many cost
  /// it its table.
  int seen_ = 0;
  int tables_lost_ = 0;
};

void TortureTest::torture(Fault fault) {
  for (const Path& path : paths) {
    SCOPED_TRACE(path.name);
    if (!path.takes_blob || !facts().blob.empty())
      torture(path, fault);
    if (HasFailure())
      return;
  }
}

void TortureTest::torture(const Path& path, Fault fault) {
  const Reference expected = reference(path);
  seen_ = tables_lost_ = 0;
  uint64_t n = 1;
  while (!strike(path, fault, n, expected)) {
    ASSERT_FALSE(HasFailure()) << "fault " << n;
    ++n;
    ASSERT_LT(n, 200U);
  }
  // The first frame always has a table built for it, others maybe.
  const bool may_lose = facts().derives_once && is_of_host(fault);
  EXPECT_LE(tables_lost_, may_lose ? 1 : 0);
  EXPECT_TRUE(tables_lost_ == 1 || &path != &paths[0] || !may_lose);
  // An unconverted copy takes three calls. Nothing fails without an allocation.
  EXPECT_GT(n, is_of_host(fault) ? 3U : 1U);
  // A filter that blends frames has taken one in once its pixels are blended. Only putting them
  // into a set can fail after that: to make it, to push, and to give two references back.
  const bool tells = is_set() && expected.seen != expected.unseen;
  if (is_of_host(fault))
    EXPECT_EQ(seen_, tells ? 4 : 0);
  else
    EXPECT_EQ(seen_ > 0, tells);
}

/// Processes the frame at the end of the path with one fault, and the frames after it without.
/// True if the fault did not strike.
bool TortureTest::strike(const Path& path, Fault fault, uint64_t n, const Reference& expected) {
  const NoLeftovers no_leftovers;
  Instance instance(filter_case(), kind());
  const Look look = path.prepare(instance);
  const Frame input = instance.make(look);
  const std::string input_facts = gexton::FrameState(*input).dump();
  const Struck result = instance.strike(input, fault, n);
  const auto& [struck, output, error, trace, outcome, printed, printed_errors, culprit] = result;
  const bool heard = fault != Fault::unheard_host_call;
  EXPECT_TRUE(gexton::FrameState(*input).dump() == input_facts);
  if (output != nullptr || (!struck && heard))
    EXPECT_TRUE(outcome == expected.frame) << legible(outcome);
  if (!struck)
    return true;

  if (output != nullptr || (is_of_host(fault) && outcome == expected.frame)) {
    // Only giving a frame of the filter's own back may fail unnoticed: nothing is lost by it.
    EXPECT_TRUE(is_set());
    EXPECT_EQ(culprit, "gx_delete_frame");
    EXPECT_EQ(printed, "");
    EXPECT_TRUE(output == nullptr || error.empty());
  } else if (!heard) {
    EXPECT_EQ(printed, "");
  } else if (is_of_host(fault)) {
    EXPECT_EQ(outcome, "injected fault | " + culprit + " | gexton | 0");
    EXPECT_EQ(printed, trace);
  } else {
    check_memory_report(fault, result, expected);
  }
  check_next(instance, look, culprit, expected);
  return false;
}

void TortureTest::check_memory_report(Fault fault, const Struck& result,
                                      const Reference& expected) {
  const std::string& text = result.outcome;
  // A refusal stays unreported where the host has no memory for an error.
  const bool unreported_refusal = text.empty() && !is_frame(expected.frame);
  EXPECT_TRUE(unreported_refusal || reports_no_memory(text, fault, facts())) << text;
  const bool without_workspace = facts().has_workspace && text == facts().no_memory;
  EXPECT_EQ(result.printed, text.starts_with("out of memory") ? result.trace
                            : without_workspace ? "Handle is not exist! Exiting function.\n"
                                                : "");
  // The one message on this stream: there is no memory for a workspace.
  if (without_workspace || !result.printed_errors.empty()) {
    EXPECT_TRUE(facts().has_workspace);
    EXPECT_EQ(result.printed_errors, "Memory allocation failed: std::bad_alloc\n");
  }
}

/// The outcome with all pixels that were mapped through a table of zeros; the low bits of shifted
/// codes go around it.
std::string with_zero_pixels(std::string outcome, Instance& instance, const Look& look) {
  const Frame depth = gexton::depth_frame_of(*instance.make(look));
  Pixels pixels = pixels_of(depth.get());
  for (uint16_t& pixel : pixels)
    pixel = look.format == GX_FORMAT_Y12_SHIFTED ? pixel & 0xF : 0;
  const size_t bytes = 2 * pixels.size();
  return outcome.replace(outcome.size() - bytes, bytes,
                         reinterpret_cast<const char*>(pixels.data()), bytes);
}

void TortureTest::check_next(Instance& instance, const Look& look, const std::string& culprit,
                             const Reference& expected) {
  const std::vector<std::string> next = instance.outcomes(look);
  if (next == expected.unseen && seen_ == 0)
    return;
  if (next == expected.seen) {
    ++seen_;
    return;
  }
  // The one loss: a table whose building the host broke off stays as it is, empty, while the
  // camera's record stays as it is.
  ++tables_lost_;
  EXPECT_TRUE(facts().derives_once);
  EXPECT_EQ(culprit, "gx_stream_profile_get_format");
  EXPECT_TRUE(next[0] == with_zero_pixels(expected.unseen[0], instance, look)) << legible(next[0]);
  EXPECT_TRUE(next[1] == expected.unseen[1] ||
              next[1] == with_zero_pixels(expected.unseen[1], instance, instance.look))
      << legible(next[1]);
}

INSTANTIATE_TEST_SUITE_P(Filters, TortureTest, cases_and_kinds(), name_of);

TEST_P(TortureTest, SurvivesAFailureOfEachHostCall) {
  torture(Fault::host_call);
}
TEST_P(TortureTest, IsSilentWithoutAnErrorSlot) {
  torture(Fault::unheard_host_call);
}
TEST_P(TortureTest, SurvivesAFailureOfEachAllocation) {
  REQUIRE_ALLOCATION_FAULTS();
  torture(Fault::allocation);
}
TEST_P(TortureTest, SurvivesMemoryThatStaysShort) {
  REQUIRE_ALLOCATION_FAULTS();
  torture(Fault::all_allocations);
}

/// Or else little of a filter's way would be seen. That a frame comes for a frame and a set for a
/// set, `gxfilter validate` checks.
TEST_P(TortureTest, TheCasesFramesGiveTheFilterSomethingToDo) {
  Instance instance(filter_case(), kind());
  const bool blends = facts().blends_frames;
  if (blends)
    instance.pass();
  const Frame input = instance.make(blends ? next(instance.look) : instance.look);
  ErrorSlot error;
  const Frame output = instance.filter().process(input, error);
  ASSERT_NE(output, nullptr) << error.text();
  EXPECT_NE(pixels_of(gexton::depth_frame_of(*output).get()),
            pixels_of(gexton::depth_frame_of(*input).get()));
}

/// What a new instance makes of the frame at the end of the path of that name.
std::string outcome_of(const char* path, const FilterCase& filter_case) {
  Instance instance(filter_case, InputKind::depth_frame);
  for (const Path& each : paths)
    if (std::string(each.name) == path)
      return instance.outcome(instance.make(each.prepare(instance)));
  ADD_FAILURE() << "no path " << path;
  return "";
}

/// Or else the paths would be less different than they look.
TEST(TorturePaths, UpdatesAndBlobsTell) {
  for (const FilterCase& each : filter_cases()) {
    SCOPED_TRACE(each.label);
    const auto differ = [&](const char* a, const char* b) {
      return outcome_of(a, each) != outcome_of(b, each);
    };
    EXPECT_FALSE(differ("later frame", "after an update to the same values"));
    EXPECT_EQ(differ("later frame", "after an update"), !each.filter->others.empty());
    if (!each.filter->blob.empty()) {
      const bool stored = each.filter->keeps_blob;
      EXPECT_EQ(differ("after an update", "after a blob and an update"), stored);
      EXPECT_EQ(differ("frame of another size", "frame of another size after a blob"), stored);
    }
  }
}

// ---- outside of frames ----

/// Calls `attempt(fault, n)` for all failures of memory, until it says that the fault has not
/// struck.
template <typename Attempt>
void fail_each_allocation(Attempt attempt) {
  for (const Fault fault : {Fault::allocation, Fault::all_allocations}) {
    uint64_t n = 1;
    while (attempt(fault, n) && n < 100)
      ++n;
    EXPECT_LT(n, 100U);
  }
}

TEST(Torture, WithoutMemoryAFilterIsMadeWholeOrNotAtAll) {
  for (const FilterCase& each : filter_cases()) {
    SCOPED_TRACE(each.label);
    const std::string expected = outcome_of("first frame", each);
    fail_each_allocation([&](Fault fault, uint64_t n) {
      Capture standard_error(stderr);
      arm(fault, n);
      Filter filter(each.filter->name);
      const bool struck = disarm(fault);
      const std::string printed = standard_error.text();
      // A workspace that could not be had is made with the first frame.
      const bool without_workspace = struck && filter;
      EXPECT_EQ(printed, without_workspace ? "Memory allocation failed: std::bad_alloc\n" : "");
      EXPECT_TRUE(!without_workspace || each.filter->has_workspace);
      if (filter) {
        Instance instance(each, InputKind::depth_frame, std::move(filter));
        EXPECT_TRUE(instance.outcome(instance.make(instance.look)) == expected);
      }
      return struck;
    });
  }
}

/// One call of a configuring function: values, or a blob where there is one.
struct Configuring {
  const char* what;
  Values values;
  Blob blob;
  std::vector<std::string> errors; // that may take the place of success when memory runs out
};

std::vector<Configuring> configurings(const FilterCase& filter_case) {
  const std::string& name = filter_case.filter->name;
  Values accepted = other_values(filter_case, false);
  Values too_few = accepted;
  if (!accepted.empty()) {
    too_few.pop_back();
    const std::string zeros(30, '0'); // too long to be converted in place
    accepted.back() = words((zeros + accepted.back()).c_str())[0];
  }
  Blob blob = filter_case.filter->blob;
  if (blob.empty())
    blob = {1, 2, 3}; // which the filter ignores
  return {
      {"values", accepted, {}, {}},
      {"too few values", too_few, {}, {}},
      {"a blob",
       {},
       blob,
       {"set " + name + " config data failed | " + name + "::set_filter_config_data | data | 4"}}};
}

/// The error, whether the fault has struck, and what frames become afterwards.
struct Configured {
  std::string error;
  bool struck = false;
  std::vector<std::string> frames;
};

/// Configures an instance that has seen a frame; n = 0: without a fault.
Configured configure(const FilterCase& filter_case, const Configuring& with, Fault fault,
                     uint64_t n) {
  const NoLeftovers no_leftovers;
  Instance instance(filter_case, InputKind::depth_frame);
  instance.pass();
  auto* context = &instance.filter().context();
  Values values = with.values;
  Configured result;
  {
    ErrorSlot error;
    gx_error** const slot = error.receive();
    const Capture standard_output(stdout); // of a blob's numbers
    const Capture standard_error(stderr);  // of what there is no memory for
    arm(fault, n);
    if (with.blob.empty())
      context->update_config(context->filter, static_cast<int32_t>(values.size()), values.data(),
                             slot);
    else
      context->set_config_data(context->filter, with.blob.data(), with.blob.size(), slot);
    EXPECT_EQ(gexton_get_call_count(), 0U) << "configuring asks the host for nothing";
    result.struck = disarm(fault) && n > 0;
    result.error = error.text();
  }
  for (const Look& look : {next(instance.look), larger(instance.look)})
    result.frames.push_back(instance.outcome(instance.make(look)));
  return result;
}

TEST(Torture, WithoutMemoryAConfigurationIsRefusedAsAWhole) {
  for (const FilterCase& each : filter_cases()) {
    SCOPED_TRACE(each.label);
    for (const Configuring& with : configurings(each)) {
      SCOPED_TRACE(with.what);
      const Configured done = configure(each, with, Fault::allocation, 0);
      Configuring too_few = configurings(each)[1]; // changes nothing
      const Configured not_done = configure(each, too_few, Fault::allocation, 0);
      fail_each_allocation([&](Fault fault, uint64_t n) {
        const Configured result = configure(each, with, fault, n);
        if (!result.struck) {
          EXPECT_EQ(result.error, done.error);
          EXPECT_TRUE(result.frames == done.frames);
          return false;
        }
        EXPECT_TRUE(result.frames == not_done.frames) << n;
        // Where there is no memory for an error, none is reported.
        const std::string entry = with.blob.empty() ? "gx_priv_filter_update_config | argv | 0"
                                                    : "gx_priv_filter_set_config_data | data | 0";
        EXPECT_TRUE(result.error.empty() || result.error == "std::bad_alloc | " + entry ||
                    std::count(with.errors.begin(), with.errors.end(), result.error) == 1)
            << result.error;
        return true;
      });
    }
  }
}

TEST(Torture, ResettingAndDestroyingSucceedWhateverTheHostSays) {
  for (const FilterCase& each : filter_cases()) {
    SCOPED_TRACE(each.label);
    const std::string expected = outcome_of("after a reset", each);
    const NoLeftovers no_leftovers;
    const auto reset_and_destroy = [&](auto fail) {
      Instance instance(each, InputKind::depth_frame);
      instance.pass();
      fail();
      instance.reset();
      const bool struck = disarm(Fault::all_allocations);
      EXPECT_TRUE(instance.outcome(instance.make(instance.look)) == expected);
      fail();
      { const Instance gone = std::move(instance); }
      return disarm(Fault::all_allocations) || struck;
    };
    Capture printed(stdout);
    reset_and_destroy([] { gexton_fail_function("gx_delete_stream_profile", 0); });
    EXPECT_EQ(printed.text(), "");
    EXPECT_FALSE(reset_and_destroy([] { fail_allocations_from(1); })) << "takes memory";
  }
}

/// Ends the process with 0 if the registry, which no call has asked for yet, is made only when
/// there is memory for it, and is whole then.
[[maybe_unused]] void use_registry_first() {
  uint64_t n = 0;
  for (bool struck = true; struck;) {
    fail_nth_allocation(++n);
    const uint64_t count = gx_get_filter_count(nullptr);
    struck = disarm(Fault::allocation);
    EXPECT_EQ(count == 0, struck) << n;
    if (!struck)
      break;
    fail_nth_allocation(n);
    EXPECT_STREQ(gx_get_filter_name(0, nullptr), "UnknownFilter");
    fail_nth_allocation(n);
    EXPECT_EQ(gx_create_filter(0, nullptr), nullptr);
    fail_nth_allocation(0);
  }
  EXPECT_GT(n, 2U);
  for (const FilterFacts& each : all_filters())
    EXPECT_TRUE(gexton::Filter::create(each.name)) << each.name;
  std::exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(TortureDeathTest, WithoutMemoryTheRegistryIsMadeAtTheNextUse) {
#if defined(GTEST_HAS_DEATH_TEST)
  REQUIRE_ALLOCATION_FAULTS();
#if defined(__linux__)
  if (is_emulated())
    GTEST_SKIP() << "the emulator can't start another program of its processor";
#endif
  GTEST_FLAG_SET(death_test_style, "threadsafe"); // which starts a process of its own
  EXPECT_EXIT(use_registry_first(), testing::ExitedWithCode(0), "");
#else
  GTEST_SKIP() << "a process of its own can't be started here";
#endif
}

// ---- unusual hosts ----

TEST(Torture, MissingTextsAreEmptyOnes) {
  for (const FilterCase& each : filter_cases()) {
    SCOPED_TRACE(each.label);
    Filter filter(each.filter->name);
    auto* context = &filter.context();
    const auto update_to = [&](size_t count, const char** values) {
      ErrorSlot error;
      context->update_config(context->filter, static_cast<int32_t>(count), values, error.receive());
      return error.text();
    };
    Values values = other_values(each, false);
    std::fill(values.begin(), values.end(), "");
    const std::string expected = update_to(values.size(), values.data());
    std::fill(values.begin(), values.end(), nullptr);
    EXPECT_EQ(update_to(values.size(), values.data()), expected);
    EXPECT_EQ(update_to(values.size(), nullptr), expected);
  }
}

TEST_P(TortureTest, StandsFramesWithoutAProfile) {
  for (const Path& path : paths) {
    SCOPED_TRACE(path.name);
    if (path.takes_blob && facts().blob.empty())
      continue;
    const Reference expected = reference(path);
    const NoLeftovers no_leftovers;
    Instance instance(filter_case(), kind());
    const Look look = path.prepare(instance);
    const bool needs_profile = look.pixel_type != GX_PIXEL_TOF_DEPTH && facts().needs_profile;
    const Frame input = instance.make(look);
    frames_have_no_profile = true;
    const Struck result = instance.strike(input, Fault::host_call, 0);
    frames_have_no_profile = false;
    const std::string outcome =
        result.output != nullptr ? gexton::FrameState(*result.output).dump() : result.error;
    EXPECT_TRUE(outcome == expected.frame || needs_profile);
    EXPECT_TRUE(outcome != expected.frame || &path != &paths[0] || !needs_profile);
    if (outcome == expected.frame) {
      EXPECT_EQ(result.printed, "");
    } else {
      // The host's answer to a question about no profile.
      EXPECT_TRUE(outcome ==
                      "invalid argument | gx_disparity_based_stream_profile_get_disparity_param"
                      " | profile | 4" ||
                  outcome == "invalid argument | gx_create_stream_profile_from_other_stream_profile"
                             " | other | 4")
          << legible(outcome);
      EXPECT_EQ(result.printed, result.trace);
    }
    EXPECT_TRUE(instance.outcomes(look) ==
                (result.output != nullptr ? expected.seen : expected.unseen));
  }
}

TEST_P(TortureTest, StandsCodesThatNoHeaderLists) {
  constexpr int of_no_header = 77;
  const auto outcome = [](auto member, int code) {
    Instance instance(filter_case(), kind());
    Look look = instance.look;
    look.*member = static_cast<std::decay_t<decltype(look.*member)>>(code);
    const Struck result = instance.strike(instance.make(look), Fault::host_call, 0);
    // But for what a frame says of itself.
    return result.output == nullptr
               ? result.outcome
               : gexton::FrameState(*gexton::depth_frame_of(*result.output)).pixels();
  };
  for (const int code : {INT_MIN, -2, 1, 4711, INT_MAX}) {
    EXPECT_EQ(outcome(&Look::type, code),
              "invalid frame type error | " + facts().name + "::filter_process | frameType | 4");
    EXPECT_TRUE(outcome(&Look::pixel_type, code) == outcome(&Look::pixel_type, of_no_header));
    EXPECT_TRUE(outcome(&Look::format, code) == outcome(&Look::format, of_no_header));
  }
}

} // namespace
