// Frames that filters refuse, while the host or memory fails during the refusal, and during the
// frame after it as well. Whatever fails, the frames that follow come out as if it had not.

#include <gtest/gtest.h>

#include <set>

#include "support/instance.h"
#include "support/platform.h"

namespace {

using namespace test;

/// A frame that filters refuse: most of them, or those that need what it lacks.
struct Refusal {
  const char* name;
  void (*change)(Look&);
  bool by_kernel = false; // for what the filter is told, instead of what the frame is
};

constexpr Refusal refusals[] = {
    {"short buffer", [](Look& look) { look.is_short = true; }},
    {"no columns", [](Look& look) { look.width = 0; }},
    {"no rows", [](Look& look) { look.height = 0; }},
    {"wrong type", [](Look& look) { look.type = GX_FRAME_COLOR; }},
    {"no depth unit", [](Look& look) { look.scale = 0.0F; }},
    {"no camera", [](Look& look) { look.camera_known = false; }},
    {"no camera and another size",
     [](Look& look) {
       look.camera_known = false;
       look.width = 48;
     }},
    {"kernel", [](Look&) {}, true},
};

/// Which frame fails, and with what; n = 0: it does not. `skipped`: it is not even processed.
struct Strike {
  Fault fault = Fault::host_call;
  uint64_t n = 0;
  bool skipped = false;
};

struct Attempt {
  std::string outcome; // facts, error, or nothing
  bool struck = false;
  bool failed = false; // with the fault's own error
};

/// When the frame is refused: as the first or a later one, and whether it comes again at once.
struct Occasion {
  bool later, twice;
};

struct History {
  Attempt refused, next;
  std::vector<std::string> following; // two good frames and the refused one again
};

class RefusedFrames : public CaseTest {
 protected:
  static bool applies(const Refusal& refusal) {
    // What the first frame of a stream lacks would stay away.
    if (facts().derives_once && refusal.name == std::string("no camera"))
      return false;
    return !refusal.by_kernel || !facts().failing_blob.empty() ||
           (!facts().failing.empty() && !filter_case().values.empty());
  }

  static void set_kernel(Instance& instance, bool fails) {
    if (!facts().failing_blob.empty())
      instance.set_blob_to(fails ? facts().failing_blob : facts().blob);
    instance.update_to(fails && !facts().failing.empty() ? facts().failing : filter_case().values);
  }

  static Attempt attempt(Instance& instance, const Look& look, const Strike& strike) {
    if (strike.skipped)
      return {};
    const Struck result = instance.strike(instance.make(look), strike.fault, strike.n);
    Attempt attempt{result.outcome, result.struck};
    if (!result.struck || result.output != nullptr)
      return attempt;
    if (is_of_host(strike.fault)) {
      attempt.failed = result.outcome == "injected fault | " + result.culprit + " | gexton | 0";
      EXPECT_TRUE(!attempt.failed || result.printed == result.trace);
    } else {
      attempt.failed =
          result.outcome.empty() || reports_no_memory(result.outcome, strike.fault, facts());
    }
    return attempt;
  }

  static History live(const Refusal& refusal, Occasion occasion, const Strike& at_refused,
                      const Strike& at_next) {
    const NoLeftovers no_leftovers;
    Instance instance(filter_case(), kind());
    const auto set_kernel_where_needed = [&](bool fails) {
      if (refusal.by_kernel)
        set_kernel(instance, fails);
    };
    set_kernel_where_needed(false);
    if (occasion.later)
      instance.pass();
    Look refused = instance.look;
    refusal.change(refused);
    set_kernel_where_needed(true);
    History history;
    history.refused = attempt(instance, refused, at_refused);
    if (!occasion.twice)
      set_kernel_where_needed(false);
    history.next = attempt(instance, occasion.twice ? refused : instance.look, at_next);
    set_kernel_where_needed(false);
    instance.look.shift = 1;
    for (int i = 0; i < 2; ++i)
      history.following.push_back(instance.outcome(instance.make(instance.look)));
    set_kernel_where_needed(true);
    history.following.push_back(instance.outcome(instance.make(refused)));
    return history;
  }

  void torture(const Refusal& refusal, Occasion occasion);
};

void RefusedFrames::torture(const Refusal& refusal, Occasion occasion) {
  // A failed frame may have been taken in before it failed, or not: filters that blend frames tell.
  constexpr Strike none, skipped{.skipped = true};
  const History whole = live(refusal, occasion, none, none);
  if (is_frame(whole.refused.outcome))
    return; // this filter does not mind
  std::set<std::string> nexts;
  std::set<std::vector<std::string>> followings;
  for (const Strike& first : {none, skipped}) {
    nexts.insert(live(refusal, occasion, first, none).next.outcome);
    for (const Strike& second : {none, skipped})
      followings.insert(live(refusal, occasion, first, second).following);
  }
  EXPECT_LE(followings.size(), facts().blends_frames ? 4U : 1U);
  const auto check = [&](const Strike& first, const Strike& second) {
    SCOPED_TRACE(std::to_string(first.n) + " and then " + std::to_string(second.n));
    const History history = live(refusal, occasion, first, second);
    // A table whose building the host broke off stays empty while the camera's record stays.
    const bool lost_table = second.n > 0 && facts().derives_once &&
                            gexton_get_last_fault() == std::string("gx_stream_profile_get_format");
    const auto& [refused, next, following] = history;
    EXPECT_TRUE(refused.failed || refused.outcome == whole.refused.outcome)
        << legible(refused.outcome);
    EXPECT_TRUE(next.failed || nexts.contains(next.outcome)) << legible(next.outcome);
    EXPECT_TRUE(followings.contains(following) || lost_table);
    return history;
  };
  for (const Fault fault : {Fault::host_call, Fault::allocation, Fault::all_allocations}) {
    for (uint64_t n = 1; check({fault, n}, none).refused.struck && !HasFailure(); ++n) {
      ASSERT_LT(n, 100U);
      for (uint64_t m = 1; check({fault, n}, {fault, m}).next.struck && !HasFailure(); ++m)
        ASSERT_LT(m, 100U);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Filters, RefusedFrames, cases_and_kinds(), name_of);

TEST_P(RefusedFrames, LeaveNothingBehindWhateverFails) {
  unsigned number = 0;
  // Under an emulator one in four: another occasion for each refusal, and other ones for each case.
  const auto is_due = [&, first = std::string(filter_case().label).size()] {
    ++number;
    return !is_emulated() || (number + number / 4 + first) % 4 == 0;
  };
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.name);
    for (const Occasion& occasion :
         {Occasion{false, false}, {false, true}, {true, false}, {true, true}}) {
      if (applies(refusal) && is_due())
        torture(refusal, occasion);
      if (HasFailure())
        return;
    }
  }
}

/// Or else the frames would not be refused.
TEST(RefusedFramesTable, EachFrameIsRefused) {
  for (const Refusal& refusal : refusals) {
    std::set<std::string> errors;
    for (const FilterCase& each : filter_cases()) {
      Instance instance(each, InputKind::depth_frame);
      Look look = instance.look;
      refusal.change(look);
      if (refusal.by_kernel)
        instance.update_to(each.filter->failing);
      const std::string outcome = instance.outcome(instance.make(look));
      if (!is_frame(outcome))
        errors.insert(each.filter->name);
    }
    EXPECT_GE(errors.size(), 4U) << refusal.name;
  }
}

} // namespace
