#pragma once

// Instances of all filters, configured and with a camera, for tests that drive them through
// histories of updates, resets and frames.

#include <map>
#include <tuple>
#include <utility>

#include "support/capture.h"
#include "support/faults.h"

namespace test {

// ---- what frames are ----

/// A frame of an instance's camera; its pixels are those of the case.
struct Look : CameraFrame {
  unsigned shift = 0; ///< of the content
  bool is_short = false;
  bool camera_known = true;

  auto stream() const { return std::tuple(width, height, format, camera_known); }
};

/// Whether an outcome is the dump of a frame, rather than an error's text.
inline bool is_frame(const std::string& outcome) {
  return outcome.starts_with("pixels: ");
}

/// The text up to the bytes that nobody wants to read.
inline std::string legible(const std::string& dump) {
  return dump.substr(0, dump.find("\n\n"));
}

// ---- what filters are told ----

/// Values that the case's filter accepts besides the case's, and see the difference.
inline Values other_values(const FilterCase& filter_case, bool for_larger_frame) {
  const FilterFacts& facts = *filter_case.filter;
  const bool are_set =
      !filter_case.values.empty() && std::string(filter_case.values[0]) == facts.others[0];
  const bool second = facts.must_fit_frame ? for_larger_frame : are_set;
  return second && !facts.second_others.empty() ? facts.second_others : facts.others;
}

// ---- an instance and its camera ----

enum class InputKind { depth_frame, frame_set };

/// Parameters of the tests of all cases with both kinds of input.
using CaseAndKind = std::tuple<FilterCase, InputKind>;

inline auto cases_and_kinds() {
  return ::testing::Combine(::testing::ValuesIn(filter_cases()),
                            ::testing::Values(InputKind::depth_frame, InputKind::frame_set));
}

inline std::string name_of(const ::testing::TestParamInfo<CaseAndKind>& test) {
  const auto& [filter_case, kind] = test.param;
  return filter_case.label +
         std::string(kind == InputKind::frame_set ? "OfFrameSet" : "OfDepthFrame");
}

/// What came of a frame while a fault was due.
struct Struck {
  bool struck = false;
  Frame output{};
  std::string error{}, trace{};
  std::string outcome{}; ///< the frame's facts, or the error
  std::string printed{}, printed_errors{};
  std::string culprit{}; ///< the function of the host that failed
};

/// Tests of all cases with both kinds of input.
class CaseTest : public ::testing::TestWithParam<CaseAndKind> {
 protected:
  static const FilterCase& filter_case() { return std::get<FilterCase>(GetParam()); }
  static InputKind kind() { return std::get<InputKind>(GetParam()); }
  static const FilterFacts& facts() { return *filter_case().filter; }
  static bool is_set() { return kind() == InputKind::frame_set; }
};

/// One instance of a case's filter, configured, with the camera that its frames come from. Frames
/// of one size and format share a stream profile, as with real cameras.
class Instance {
 public:
  Instance(const FilterCase& filter_case, InputKind kind)
      : Instance(filter_case, kind, Filter(filter_case.filter->name)) {}
  Instance(const FilterCase& filter_case, InputKind kind, Filter filter)
      : filter_case_(filter_case), kind_(kind), filter_(std::move(filter)) {
    look.width = 32;
    look.height = 16;
    look.pixel_type = filter_case.pixel_type;
    look.offset = filter_case.disparity_offset;
    configure();
  }

  Frame make(Look frame_look) {
    Profile& profile = profiles_[frame_look.stream()];
    if (profile == nullptr) {
      profile = frame_look.make_profile();
      set_record(profile.get(), frame_look.camera_known);
    }
    frame_look.pixels = case_pixels(frame_look.width, frame_look.height, frame_look.shift);
    if (frame_look.is_short)
      frame_look.pixels.pop_back();
    Frame frame = frame_look.make(profile);
    gexton_frame_set_index(frame.get(), frame_look.shift, nullptr);
    if (kind_ == InputKind::depth_frame)
      return frame;
    const Frame color = make_frame(1, 1, {7}, GX_PIXEL_UNKNOWN, GX_FRAME_COLOR);
    return gexton::make_frame_set({color.get(), frame.get()});
  }

  /// What the filter makes of a frame: the facts of its output, or its error.
  std::string outcome(const Frame& frame) {
    const Struck result = strike(frame, Fault::host_call, 0);
    EXPECT_NE(result.output == nullptr, result.error.empty());
    return result.outcome;
  }

  /// The same while a fault is due; n = 0: none is.
  Struck strike(const Frame& frame, Fault fault, uint64_t n) {
    Struck result;
    ErrorSlot error;
    gx_error** const slot = fault == Fault::unheard_host_call ? nullptr : error.receive();
    Capture printed(stdout);
    Capture printed_errors(stderr);
    arm(fault, n);
    result.output = filter_.process(frame.get(), slot);
    result.struck = disarm(fault) && n > 0;
    result.printed = printed.text();
    result.printed_errors = printed_errors.text();
    result.error = error.text();
    result.trace = error ? error.trace() : "";
    result.outcome =
        result.output != nullptr ? gexton::FrameState(*result.output).dump() : result.error;
    if (result.struck && is_of_host(fault))
      result.culprit = gexton_get_last_fault();
    return result;
  }
  /// What the filter makes of a look, and then of the usual one.
  std::vector<std::string> outcomes(const Look& first) {
    return {outcome(make(first)), outcome(make(look))};
  }

  /// Steps of a history; none of them may fail.
  void pass() { outcome(make(look)); }
  void configure() { update_to(filter_case_.values); }
  void update() { update_to(other_values(filter_case_, false)); }
  void update_for_larger() { update_to(other_values(filter_case_, true)); }
  void reset() { filter_.reset(); }
  void set_blob() { set_blob_to(filter_case_.filter->blob); }
  void set_blob_to(const Blob& blob) {
    ErrorSlot error;
    const Capture numbers(stdout);
    filter_.set_config_data(blob.data(), blob.size(), error);
    EXPECT_EQ(error.text(), "");
  }
  /// The camera moves its lenses apart: the profiles that frames have say so from now on.
  void change_record() {
    baseline_ = 60.0F;
    for (const auto& [stream, profile] : profiles_)
      set_record(profile.get(), std::get<bool>(stream));
  }

  void update_to(const Values& values) {
    if (!values.empty())
      EXPECT_EQ(filter_.update(values), "");
  }

  Filter& filter() { return filter_; }

  Look look; ///< of the case's usual frame

 private:
  void set_record(gx_stream_profile* profile, bool known) const {
    D2DParameters record = stereo_record();
    record.baseline = known ? baseline_ : 0.0F;
    record.packMode = known ? record.packMode : uint8_t{9};
    gexton_stream_profile_set_disparity_param(profile, &record, nullptr);
  }

  const FilterCase& filter_case_;
  InputKind kind_;
  float baseline_ = 50.0F;
  std::map<std::tuple<uint32_t, uint32_t, gx_format, bool>, Profile> profiles_;
  Filter filter_;
};

} // namespace test
