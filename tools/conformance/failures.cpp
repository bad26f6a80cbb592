// Checks of what happens when the host's calls fail, without an error slot, and at the end.
#include <cstdio>
#include <string>

#include <fmt/format.h>

#include "conformance/probes.h"
#include "conformance/settings.h"
#include "gexton_host.h"
#include "recordings/system.h"

namespace conformance {

using namespace hosting;

namespace {

/// What is printed on standard output from here on; it must be a file.
class PrintedText {
 public:
  std::string text() const { return recordings::system::printed_from(start_); }

 private:
  uint64_t start_ = recordings::system::printed_bytes();
};

/// The three lines that a filter prints for a host's error.
std::string trace_of(const gx_error& error) {
  return fmt::format("gx_error was raised: \n\tcall: {}({})\n\tmessage: {}\n\terror type: {}\n",
                     gx_error_get_function(&error), gx_error_get_args(&error),
                     gx_error_get_message(&error),
                     static_cast<int>(gx_error_get_exception_type(&error)));
}

struct FaultCase {
  const Subject& subject;
  Setting setting;
  PixelKind kind;
  bool second_frame; ///< fails, after one that went well
  bool frame_set;
};

/// What goes in: a depth frame, alone or in a set.
class FaultInput {
 public:
  FaultInput(PixelKind kind, bool in_a_set)
      : depth_(kind), set_(in_a_set ? make_set({depth_.get()}) : nullptr) {}

  gx_frame& frame() const { return set_ != nullptr ? *set_ : depth_.frame(); }

  /// The pixels that such an input gave; none where the depth frame is missing.
  std::string pixels_of(gx_frame& output) const {
    const gexton::Frame depth =
        set_ != nullptr ? gexton::depth_frame_of(output) : gexton::share(output);
    return depth != nullptr ? FrameState(*depth).pixels() : std::string();
  }

 private:
  Input depth_;
  gexton::Frame set_;
};

/// Makes one host call fail after the other until a frame meets no failure.
class FaultLoop {
 public:
  explicit FaultLoop(const FaultCase& fault_case) : case_(fault_case) {}

  /// What went wrong, or nothing; a loop that went well has made `calls()` calls fail.
  std::string run() {
    expected_ = undisturbed_pixels(1);
    expected_after_ = undisturbed_pixels(2);
    for (calls_ = 0; calls_ < most_calls; ++calls_) {
      const gexton::LiveHandles before;
      std::string problem = fail_call(calls_ + 1);
      if (problem.empty() && !before.left_over().empty())
        problem = before.left_over();
      if (!problem.empty()) {
        return fmt::format("host call {} ({}) made to fail: {}", calls_ + 1,
                           gexton_get_last_fault(), problem);
      }
      if (spared_)
        return {};
    }
    return fmt::format("still calling the host after {} calls", most_calls);
  }

  uint64_t calls() const { return calls_; }
  /// What was wrong with the frame after the first failure that left something behind, or nothing.
  const std::string& next_frame_problem() const { return next_frame_problem_; }

 private:
  static constexpr uint64_t most_calls = 1000;

  Filter warmed_filter() const {
    Filter filter = make_configured(case_.subject, case_.setting);
    if (case_.second_frame)
      process(filter, Input(case_.kind, usual_size, 1));
    return filter;
  }

  /// What the input gives when it comes so many times.
  std::string undisturbed_pixels(int times) const {
    const FaultInput input(case_.kind, case_.frame_set);
    Filter filter = warmed_filter();
    gexton::ErrorSlot slot;
    Output output;
    for (int i = 0; i < times; ++i)
      output = try_frame(filter, input.frame(), slot);
    if (output.frame == nullptr)
      throw Unable("without a failure: " + describe(output, slot.get()));
    return input.pixels_of(*output.frame);
  }

  std::string fail_call(uint64_t n) {
    const FaultInput input(case_.kind, case_.frame_set);
    Filter filter = warmed_filter();
    gexton::ErrorSlot slot;
    gexton_clear_faults();
    gexton_fail_nth_call(n);
    const PrintedText printed;
    const Output output = try_frame(filter, input.frame(), slot);
    const std::string trace = printed.text();
    spared_ = gexton_get_fault_count() == 0;
    const std::string function = gexton_get_last_fault();
    gexton_clear_faults();
    if (output.is_input)
      return "the input itself";
    if (spared_ || (output.frame != nullptr && may_fail_unnoticed(function) && !slot)) {
      const bool same = output.frame != nullptr && input.pixels_of(*output.frame) == expected_;
      return same ? "" : "not the frame that comes without a failure";
    }
    std::string problem = failure_problem(describe(output, slot.get()), slot, function, trace);
    if (problem.empty() && next_frame_problem_.empty())
      try_next_frame(filter, input, function);
    return problem;
  }

  /// Nothing is lost when giving a reference back is reported to have failed.
  static bool may_fail_unnoticed(const std::string& function) {
    return function == "gx_delete_frame" || function == "gx_delete_stream_profile";
  }

  static std::string failure_problem(const std::string& came, const gexton::ErrorSlot& slot,
                                     const std::string& function, const std::string& printed) {
    const std::string expected =
        "no frame and " +
        describe_error("injected fault", function, "gexton", GX_EXCEPTION_TYPE_UNKNOWN);
    if (came != expected)
      return fmt::format("{}, expected {}", came, expected);
    if (const std::string trace = trace_of(*slot.get()); printed != trace)
      return fmt::format("printed \"{}\", expected the three lines \"{}\"", printed, trace);
    return {};
  }

  /// A filter that keeps frames may have seen the one that failed, or not.
  void try_next_frame(Filter& filter, const FaultInput& input, const std::string& function) {
    gexton::ErrorSlot slot;
    const Output output = try_frame(filter, input.frame(), slot);
    if (output.frame == nullptr) {
      next_frame_problem_ =
          fmt::format("{} after {} had failed", describe(output, slot.get()), function);
    } else if (const auto pixels = input.pixels_of(*output.frame);
               pixels != expected_ && pixels != expected_after_) {
      next_frame_problem_ = fmt::format("other pixels after {} had failed", function);
    }
  }

  const FaultCase& case_;
  std::string expected_;
  std::string expected_after_; ///< the frame after, if the one that failed was seen
  std::string next_frame_problem_;
  uint64_t calls_ = 0;
  bool spared_ = false;
};

void try_host_failures(const FaultCase& fault_case, Findings& findings) {
  const std::string where = fmt::format(
      "{}{} with {}, {} pixels", fault_case.second_frame ? "in a second frame" : "in a first frame",
      fault_case.frame_set ? " in a set" : "", fault_case.setting.label, fault_case.kind.name);
  findings.doing("each host call made to fail once, " + where);
  try {
    FaultLoop loop(fault_case);
    if (const std::string problem = loop.run(); !problem.empty()) {
      findings.fail(problem);
    } else {
      findings.pass(fmt::format("no frame, the host's error and its trace for each of {} calls",
                                loop.calls()));
    }
    findings.doing("the frame after each failure " + where);
    const std::string& problem = loop.next_frame_problem();
    findings.expect(problem.empty(), "the pixels that come without a failure", problem);
  } catch (const Unable& unable) {
    findings.fail(unable.what());
  }
  gexton_clear_faults();
}

void check_host_failures(const Subject& subject, Findings& findings) {
  for (const Setting& setting : working_settings(subject)) {
    for (const PixelKind& kind : pixel_kinds) {
      for (const bool second_frame : {false, true})
        for (const bool frame_set : {false, true})
          try_host_failures({subject, setting, kind, second_frame, frame_set}, findings);
    }
  }
}

void check_missing_slot(const Subject& subject, Findings& findings) {
  const Setting setting = working_settings(subject).front();
  Filter filter = make_configured(subject, setting);
  const gx_priv_filter_context& context = filter.context();
  const Input depth(pixel_kinds[0]);
  const Input color(pixel_kinds[0], usual_size, 0, GX_FRAME_COLOR);
  const uint8_t byte = 0;
  findings.doing("-1 strings without an error slot");
  context.update_config(context.filter, -1, nullptr, nullptr);
  findings.survived();
  findings.doing("a record of 1 byte without an error slot");
  context.set_config_data(context.filter, &byte, 1, nullptr);
  findings.survived();
  findings.doing("a colour frame without an error slot");
  findings.expect(context.process(context.filter, color.get(), nullptr) == nullptr, "null",
                  "a frame");
  findings.doing("a failing host call without an error slot");
  gexton_fail_nth_call(1);
  const Output failed = take_output(
      gexton::Frame(context.process(context.filter, depth.get(), nullptr)), depth.frame());
  gexton_clear_faults();
  findings.expect(failed.is_nothing(), "null", "a frame");
  findings.doing("a depth frame without an error slot");
  const Output output = take_output(
      gexton::Frame(context.process(context.filter, depth.get(), nullptr)), depth.frame());
  findings.expect(!output.is_nothing(), "a frame", "null");
}

void check_destruction(const Subject& subject, Findings& findings) {
  const gexton::LiveHandles before;
  findings.doing("destroying an instance that saw frames of three kinds");
  {
    Filter filter = make_configured(subject, working_settings(subject).front());
    for (const PixelKind& kind : pixel_kinds)
      process(filter, Input(kind));
  }
  findings.expect(nothing_left, left_over_since(before));
  findings.doing("destroying an instance that never saw a frame");
  { const Filter filter = subject.make_filter(); }
  findings.expect(nothing_left, left_over_since(before));
}

} // namespace

Checks failure_checks() {
  return {{"host failures", check_host_failures},
          {"missing error slot", check_missing_slot},
          {"destruction", check_destruction}};
}

} // namespace conformance
