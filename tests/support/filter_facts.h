#pragma once

// What tests, fuzzers and benchmarks know of each filter: one row, with its typical configurations
// and a frame for them.

#include <cstring>
#include <ostream>
#include <set>
#include <sstream>

#include "filters/noise/false_positive/config.h"
#include "support/camera_frame.h"
#include "support/filter.h"

namespace test {

using Values = std::vector<const char*>;
using Blob = std::vector<uint8_t>;

/// The values of a text with blanks between them; they stay as long as the program.
inline Values words(const char* text) {
  static std::set<std::string> known;
  Values values;
  std::istringstream rest(text);
  for (std::string word; rest >> word;)
    values.push_back(known.insert(word).first->c_str());
  return values;
}

/// What a filter's schema has for values.
inline Values default_values(const gexton::Filter& filter) {
  std::string texts;
  for (const gexton::Parameter& parameter : filter.schema())
    texts += parameter.default_value + " ";
  return words(texts.c_str());
}

struct FilterFacts;

/// A filter in a typical configuration.
struct FilterCase {
  const char* label;
  Values values; ///< of update_filter_config; empty: none is made
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  int64_t disparity_offset = 2;
  const FilterFacts* filter = nullptr; ///< set in filter_cases()
};

/// What tests print of a case.
inline void PrintTo(const FilterCase& filter_case, std::ostream* out) {
  *out << filter_case.label;
}

/// What becomes of the single pixel, whatever the parameters.
enum class Pixel { may_change, may_be_cleared, may_be_filled };

struct FilterFacts {
  std::string name;
  std::vector<FilterCase> cases;
  Values others = {}; ///< accepted besides those of the cases, and frames show it
  /// For cases that have the others; or, where values have to fit the frame, for a larger one.
  Values second_others = {};
  Values failing = {};    ///< accepted, but no frame stands them
  Blob blob = {};         ///< configures, or is at least looked at; empty: any is ignored
  Blob failing_blob = {}; ///< stored, but no frame stands it

  // How it is called.
  bool locks_itself = true;     ///< of the others, the host serialises the calls
  bool compares_updates = true; ///< and has nothing to do if they are what is in use
  bool refuses_by_name = true;  ///< values out of range, with an error that names the parameter

  // What it makes of a frame.
  bool needs_profile = false; ///< of frames that are no time of flight
  bool converts = false;      ///< disparity to depth; what is no disparity comes back as it was
  Pixel pixel = Pixel::may_change;
  int size_parameter = -1; ///< where width and height of the output stand, -1: those of the input
  bool must_fit_frame = false; ///< its values to the frame's size
  bool blends_frames = false;  ///< passes a first frame unchanged: to be run on a second one
  bool remembers = false;      ///< results depend on more than the last update and the frames
  bool keeps_blob = false;     ///< with what it configures
  bool derives_once = false;   ///< what failed is not repeated while the camera's record stays
  bool has_workspace = false;  ///< and prints that there is no memory for it
  const char* no_memory = "";  ///< error of frames, besides those of all filters
};

/// The configuration record of FalsePositiveFilter behind its first byte, for 48 x 24 pixels that
/// are turned. Of quarter turns the kernel knows three.
inline Blob false_positive_blob(uint8_t quarter_turns) {
  filter_processor::FalsePositiveConfig config;
  config.width = 48;
  config.height = 24;
  config.small_region_size = 600;
  config.turned = 1;
  config.quarter_turns = quarter_turns;
  Blob blob(1 + sizeof config);
  std::memcpy(blob.data() + 1, &config, sizeof config);
  return blob;
}

/// In the order of the registry.
inline const std::vector<FilterFacts>& all_filters() {
  static const std::vector<FilterFacts> all = {
      {.name = "DisparityTransform",
       .cases = {{"DisparityTransform", {}, GX_PIXEL_DISPARITY}},
       .others = words("9000 200 0.5"),
       .refuses_by_name = false,
       .needs_profile = true,
       .converts = true,
       .derives_once = true},
      {.name = "HoleFillingFilter",
       .cases = {{"HoleFillingTop", {"0"}},
                 {"HoleFillingNearest", {"1"}},
                 {"HoleFillingDisparity", {"2"}, GX_PIXEL_DISPARITY}},
       .others = {"2"},
       .second_others = {"0"},
       .locks_itself = false,
       .refuses_by_name = false,
       .pixel = Pixel::may_be_filled},
      {.name = "NoiseRemovalFilter",
       .cases = {{"NoiseRemovalDepth", words("250 256 32 16")},
                 {"NoiseRemovalDisparity", words("250 256 32 16"), GX_PIXEL_DISPARITY},
                 {"NoiseRemovalTof", words("250 10 32 16"), GX_PIXEL_TOF_DEPTH}},
       .others = words("2 256 32 16"),
       .needs_profile = true},
      {.name = "SpatialAdvancedFilter",
       .cases = {{"SpatialAdvanced", {}},
                 {"SpatialAdvancedDisparity", words("1 0.5 160 3"), GX_PIXEL_DISPARITY}},
       .others = words("2 0.5 16 0"),
       .needs_profile = true},
      {.name = "TemporalFilter",
       .cases = {{"Temporal", words("0.2 0.3")}},
       .others = words("0.5 0.7"),
       .locks_itself = false,
       .blends_frames = true,
       .no_memory = "bad allocation | gx_priv_filter_process | frame | 0"},
      {.name = "DepthResize",
       .cases = {{"DepthResize", words("70 28 2 4 2 -4 0")}},
       .others = words("36 20 1 2 2 3 1"),
       .second_others = words("52 28 1 2 2 3 1"),
       .failing = words("71 28 2 4 2 -4 0"),
       .locks_itself = false,
       .needs_profile = true,
       .size_parameter = 0,
       .must_fit_frame = true},
      {.name = "EdgeNoiseRemovalFilter",
       .cases = {{"EdgeNoiseRows", words("2 2 8 6 0 32 16")},
                 {"EdgeNoise", words("2 2 8 6 1 32 16")}},
       .others = words("4 3 9 7 1 32 16"),
       .failing = words("9 2 8 6 0 32 16"),
       .pixel = Pixel::may_be_cleared},
      {.name = "HardwareD2DCorrectionFilter",
       .cases = {{"HardwareD2DCorrection", {}, GX_PIXEL_DEPTH, 20}},
       .locks_itself = false,
       .refuses_by_name = false,
       .needs_profile = true,
       .pixel = Pixel::may_be_cleared},
      {.name = "OpenNIDisparityTransform",
       .cases = {{"OpenNIDisparityTransform", {}, GX_PIXEL_DISPARITY},
                 {"OpenNIDisparityTransformResampled", words("9000 10 0.5 40 20 1.5 2 1 3 1"),
                  GX_PIXEL_DISPARITY}},
       .others = words("8000 10 0.25 36 18 1.1 1 1 2 0"),
       .failing = words("9000 10 0.5 65535 65535 1.5 2 1 3 1"),
       .refuses_by_name = false,
       .needs_profile = true,
       .converts = true,
       .size_parameter = 3},
      {.name = "SpatialFastFilter",
       .cases = {{"SpatialFast3x3", {"3"}}, {"SpatialFast5x5", {"5"}}},
       .others = {"5"},
       .second_others = {"3"}},
      {.name = "SpatialModerateFilter",
       .cases = {{"SpatialModerate", {}},
                 {"SpatialModerateDisparity", words("2 20 3"), GX_PIXEL_DISPARITY},
                 {"SpatialModerateTof", words("1 160 7"), GX_PIXEL_TOF_DEPTH}},
       .others = words("3 900 3"),
       .blob = {1, 0, 2, 0},
       .needs_profile = true},
      {.name = "FalsePositiveFilter",
       .cases = {{"FalsePositiveEdgeBleed",
                  words("1 0 1 0 1 0 0 1 0 1 6000 1000 0 0 1 0 1 4000 3000")},
                 {"FalsePositiveAllDetectors",
                  words("1 0 1 0 1 1 0 1 0 1 6000 65535 1 0 1 0 1 4000 65535")}},
       .others = words("0 0 1 0 1 0 0 1 0 1 6000 1000 0 0 1 0 1 4000 3000"),
       .blob = false_positive_blob(1),
       .failing_blob = false_positive_blob(7),
       .compares_updates = false,
       .remembers = true,
       .keeps_blob = true,
       .has_workspace = true,
       .no_memory =
           "FP filter error | FalsePositiveFilter::filter_process | FalsePositiveFilter | 0"},
      {.name = "LutNoiseRemovalFilter",
       .cases = {{"LutNoiseRemoval", words("250 250 250 250 250 250 250 250 250 250 250 250 250 "
                                           "250 250 250 192 32 16")}},
       .others = words("2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 192 32 16"),
       .needs_profile = true},
      {.name = "MgcNoiseRemovalFilter",
       .cases = {{"MgcNoise", words("4 3 20 2 1 9 6 32 16")}},
       .others = words("4 3 20 2 3 7 5 32 16"),
       .failing = words("4 3 20 2 7 9 6 32 16"),
       .pixel = Pixel::may_be_cleared,
       .remembers = true},
  };
  return all;
}

inline const std::vector<FilterCase>& filter_cases() {
  static const std::vector<FilterCase> all = [] {
    std::vector<FilterCase> cases;
    for (const FilterFacts& filter : all_filters())
      for (FilterCase each : filter.cases) {
        each.filter = &filter;
        cases.push_back(each);
      }
    return cases;
  }();
  return all;
}

/// Two surfaces, holes and specks; another `shift` moves the specks and the surfaces a little.
inline Pixels case_pixels(uint32_t width, uint32_t height, unsigned shift = 0) {
  Pixels pixels(size_t{width} * height);
  for (size_t i = 0; i < pixels.size(); ++i) {
    const auto surface = i % width < 20 ? 1000 + i % 5 : 3000 + i % 3;
    pixels[i] = (i + shift) % 11 == 0 ? uint16_t{0} : static_cast<uint16_t>(surface + 20 * shift);
  }
  return pixels;
}

/// 32 x 16 pixels, with the camera facts that filters ask for.
inline Frame make_case_frame(gx_pixel_type pixel_type, int64_t disparity_offset = 2) {
  return CameraFrame{.width = 32,
                     .height = 16,
                     .pixel_type = pixel_type,
                     .pixels = case_pixels(32, 16),
                     .offset = disparity_offset}
      .make();
}
inline Frame make_case_frame(const FilterCase& filter_case) {
  return make_case_frame(filter_case.pixel_type, filter_case.disparity_offset);
}

} // namespace test
