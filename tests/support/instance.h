#pragma once

// Instances of all filters, configured and with a camera, for tests that drive them through
// histories of updates, resets and frames.

#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "support/capture.h"
#include "support/filter_facts.h"

namespace test {

// ---- what frames are ----

/// A frame as the camera delivers it: its kind, its pixels and what it says of itself.
struct Look {
  uint32_t width = 32, height = 16;
  gx_format format = GX_FORMAT_Y16;
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  uint8_t bits = 12;
  std::optional<int64_t> disparity_offset{};
  unsigned shift = 0; // of the content
  float value_scale = 1.0F;
  gx_frame_type type = GX_FRAME_DEPTH;
  uint32_t missing_bytes = 0; // of the pixel buffer
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

/// One instance of a case's filter, configured, with the camera that its frames come from. Frames
/// of one size and format share a stream profile, as with real cameras.
class Instance {
 public:
  Instance(const FilterCase& filter_case, InputKind kind)
      : Instance(filter_case, kind, Filter(filter_case.filter->name)) {}
  Instance(const FilterCase& filter_case, InputKind kind, Filter filter)
      : filter_case_(filter_case), kind_(kind), filter_(std::move(filter)) {
    look.pixel_type = filter_case.pixel_type;
    look.disparity_offset = filter_case.disparity_offset;
    configure();
  }

  Frame make(const Look& frame_look) {
    Profile& profile = profiles_[frame_look.stream()];
    const auto [width, height, format, camera_known] = frame_look.stream();
    if (profile == nullptr) {
      profile.reset(gexton_create_stream_profile(format, width, height, nullptr));
      set_record(profile.get(), camera_known);
    }
    const Pixels pixels = case_pixels(width, height, frame_look.shift);
    Frame frame{gexton_create_video_frame(frame_look.type, profile.get(), pixels.data(), nullptr)};
    if (frame_look.missing_bytes > 0)
      gx_frame_update_data(frame.get(), reinterpret_cast<const uint8_t*>(pixels.data()),
                           2 * width * height - frame_look.missing_bytes, nullptr);
    gx_depth_frame_set_value_scale(frame.get(), frame_look.value_scale, nullptr);
    gx_video_frame_set_pixel_type(frame.get(), frame_look.pixel_type, nullptr);
    gx_video_frame_set_pixel_available_bit_size(frame.get(), frame_look.bits, nullptr);
    gexton_frame_set_index(frame.get(), frame_look.shift, nullptr);
    if (frame_look.disparity_offset)
      gexton_frame_set_metadata(frame.get(), GX_METADATA_DISPARITY_OFFSET,
                                *frame_look.disparity_offset, nullptr);
    if (kind_ == InputKind::depth_frame)
      return frame;
    const Frame color = make_frame(1, 1, {7}, GX_PIXEL_UNKNOWN, GX_FRAME_COLOR);
    return gexton::make_frame_set({color.get(), frame.get()});
  }

  /// What the filter makes of a frame: the facts of its output, or its error.
  std::string outcome(const Frame& frame) {
    ErrorSlot error;
    Frame output;
    {
      const Capture refusals(stdout); // are printed
      output = filter_.process(frame, error);
    }
    EXPECT_EQ(output == nullptr, bool(error));
    return output != nullptr ? gexton::FrameState(*output).dump() : error.text();
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
