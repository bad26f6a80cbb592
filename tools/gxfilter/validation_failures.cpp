// Checks of what happens when the host's calls fail, without an error slot, and at the end.
#include <cstdio>
#include <string>

#include <fmt/format.h>
#include <unistd.h>

#include "gexton_host.h"
#include "validation_probes.h"

namespace gxfilter::validation {
namespace {

// What is printed on standard output from here on; it must be a file.
class PrintedText {
 public:
  PrintedText() : start_(flushed_end()) {}

  [[nodiscard]] std::string text() const {
    const off_t end = flushed_end();
    std::string text(static_cast<size_t>(end - start_), '\0');
    const ssize_t got = pread(STDOUT_FILENO, text.data(), text.size(), start_);
    text.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return text;
  }

 private:
  static off_t flushed_end() {
    std::fflush(stdout);
    return lseek(STDOUT_FILENO, 0, SEEK_END);
  }

  off_t start_;
};

// The three lines that a filter prints for a host's error.
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
  bool second_frame; // fails, after one that went well
  bool frame_set;
};

// Makes one host call fail after the other until a frame meets no failure.
class FaultLoop {
 public:
  explicit FaultLoop(const FaultCase& fault_case) : case_(fault_case), input_(case_.kind) {
    if (case_.frame_set) {
      set_ = make_set({input_.get()});
    }
  }

  // What went wrong, or nothing; a loop that went well has made `calls()` calls fail.
  std::string run() {
    const FrameHandle expected = undisturbed();
    expected_ =
        FrameState(*(set_ ? depth_member(*expected) : FrameHandle(clone(*expected)))).pixels();
    for (calls_ = 0; calls_ < most_calls; ++calls_) {
      const LiveHandles before;
      std::string problem = fail_call(calls_ + 1);
      if (problem.empty() && before.left_over() != nothing_left) {
        problem = before.left_over();
      }
      if (!problem.empty()) {
        return fmt::format("host call {} ({}) made to fail: {}", calls_ + 1,
                           gexton_get_last_fault(), problem);
      }
      if (spared_) {
        return {};
      }
    }
    return fmt::format("still calling the host after {} calls", most_calls);
  }

  [[nodiscard]] uint64_t calls() const { return calls_; }

 private:
  static constexpr uint64_t most_calls = 1000;

  static gx_frame* clone(gx_frame& frame) { return gexton_frame_add_reference(&frame, nullptr); }

  gx_frame& frame() const { return set_ ? *set_ : input_.frame(); }

  Filter warmed_filter() const {
    Filter filter = make_configured(case_.subject, case_.setting);
    if (case_.second_frame) {
      process(filter, Input(case_.kind, usual_size, 1));
    }
    return filter;
  }

  FrameHandle undisturbed() const {
    Filter filter = warmed_filter();
    ErrorSlot slot;
    FrameHandle output = filter.process(frame(), slot);
    if (output == nullptr || (set_ && depth_member(*output) == nullptr)) {
      throw Unable(
          fmt::format("without a failure: {}", describe(output.get(), &frame(), slot.get())));
    }
    return output;
  }

  std::string fail_call(uint64_t n) {
    Filter filter = warmed_filter();
    ErrorSlot slot;
    gexton_clear_faults();
    gexton_fail_nth_call(n);
    const PrintedText printed;
    const FrameHandle output = filter.process(frame(), slot);
    const std::string trace = printed.text();
    spared_ = gexton_get_fault_count() == 0;
    const std::string function = gexton_get_last_fault();
    gexton_clear_faults();
    if (output.get() == &frame()) {
      return "the input itself";
    }
    if (spared_ || (output != nullptr && may_fail_unnoticed(function) && !slot)) {
      return expect_frame(output.get());
    }
    return expect_failure(output.get(), slot, function, trace, filter);
  }

  // Nothing is lost when giving a reference back is reported to have failed.
  static bool may_fail_unnoticed(const std::string& function) {
    return function == "gx_delete_frame" || function == "gx_delete_stream_profile";
  }

  std::string expect_frame(gx_frame* output) const {
    if (output == nullptr) {
      return "no frame";
    }
    const FrameHandle depth = set_ ? depth_member(*output) : FrameHandle(clone(*output));
    const bool same = depth != nullptr && FrameState(*depth).pixels() == expected_;
    return same ? "" : "a frame with other pixels";
  }

  std::string expect_failure(const gx_frame* output, const ErrorSlot& slot,
                             const std::string& function, const std::string& printed,
                             Filter& filter) const {
    const std::string expected =
        "no frame and " +
        describe_error("injected fault", function, "gexton", GX_EXCEPTION_TYPE_UNKNOWN);
    const std::string came = describe(output, &frame(), slot.get());
    if (came != expected) {
      return fmt::format("{}, expected {}", came, expected);
    }
    if (printed != trace_of(*slot.get())) {
      return fmt::format("printed \"{}\", expected the three lines \"{}\"", printed,
                         trace_of(*slot.get()));
    }
    ErrorSlot next;
    const FrameHandle again = filter.process(frame(), next);
    if (again == nullptr) {
      return fmt::format("the frame after the failure gave {}",
                         describe(again.get(), &frame(), next.get()));
    }
    return {};
  }

  const FaultCase& case_;
  Input input_;
  FrameHandle set_; // null for a lone depth frame
  std::vector<uint8_t> expected_;
  uint64_t calls_ = 0;
  bool spared_ = false;
};

void try_host_failures(const FaultCase& fault_case, Findings& findings) {
  findings.doing(fmt::format("each host call made to fail once, {}{} with {}, {} pixels",
                             fault_case.second_frame ? "in a second frame" : "in a first frame",
                             fault_case.frame_set ? " in a set" : "", fault_case.setting.label,
                             fault_case.kind.name));
  try {
    FaultLoop loop(fault_case);
    const std::string problem = loop.run();
    findings.expect(
        problem.empty(),
        fmt::format("no frame, the host's error and its trace for each of {} calls", loop.calls()),
        problem);
  } catch (const Unable& unable) {
    findings.fail(unable.what());
  }
  gexton_clear_faults();
}

void check_host_failures(const Subject& subject, Findings& findings) {
  for (const Setting& setting : settings_of(subject.make_filter())) {
    for (const PixelKind& kind : pixel_kinds) {
      for (const bool second_frame : {false, true}) {
        for (const bool frame_set : {false, true}) {
          try_host_failures({subject, setting, kind, second_frame, frame_set}, findings);
        }
      }
    }
  }
}

void check_missing_slot(const Subject& subject, Findings& findings) {
  const Setting setting = settings_of(subject.make_filter()).front();
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
  const FrameHandle failed(context.process(context.filter, depth.get(), nullptr));
  gexton_clear_faults();
  findings.expect(failed == nullptr, "null", "a frame");
  findings.doing("a depth frame without an error slot");
  const FrameHandle output(context.process(context.filter, depth.get(), nullptr));
  findings.expect(output != nullptr, "a frame", "null");
}

void check_destruction(const Subject& subject, Findings& findings) {
  const LiveHandles before;
  findings.doing("destroying an instance that saw frames of three kinds");
  {
    Filter filter = make_configured(subject, settings_of(subject.make_filter()).front());
    for (const PixelKind& kind : pixel_kinds) {
      process(filter, Input(kind));
    }
  }
  findings.expect(nothing_left, before.left_over());
  findings.doing("destroying an instance that never saw a frame");
  { const Filter filter = subject.make_filter(); }
  findings.expect(nothing_left, before.left_over());
}

} // namespace

Checks failure_checks() {
  return {{"host failures", check_host_failures},
          {"missing error slot", check_missing_slot},
          {"destruction", check_destruction}};
}

} // namespace gxfilter::validation
