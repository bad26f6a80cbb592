#pragma once

// Every filter in its typical configurations, with a frame for it: for tests of what all filters
// share.

#include <ostream>
#include <set>
#include <sstream>
#include <stdexcept>

#include "support/camera_frame.h"

namespace test {

using Values = std::vector<const char*>;

/// The values of a text with blanks between them; they stay as long as the program.
inline Values words(const char* text) {
  static std::set<std::string> known;
  Values values;
  std::istringstream rest(text);
  for (std::string word; rest >> word;)
    values.push_back(known.insert(word).first->c_str());
  return values;
}

struct FilterCase {
  const char* label;
  const char* filter;
  Values values; ///< of update_filter_config; empty: none is made
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  bool blends_frames = false; ///< passes a first frame unchanged: to be run on a second one
  int64_t disparity_offset = 2;
};

/// What tests print of a case.
inline void PrintTo(const FilterCase& filter_case, std::ostream* out) {
  *out << filter_case.label;
}

inline const std::vector<FilterCase>& filter_cases() {
  static const std::vector<FilterCase> all = {
      {"DisparityTransform", "DisparityTransform", {}, GX_PIXEL_DISPARITY},
      {"DepthResize", "DepthResize", words("70 28 2 4 2 -4 0")},
      {"HardwareD2DCorrection", "HardwareD2DCorrectionFilter", {}, GX_PIXEL_DEPTH, false, 20},
      {"OpenNIDisparityTransform", "OpenNIDisparityTransform", {}, GX_PIXEL_DISPARITY},
      {"OpenNIDisparityTransformResampled", "OpenNIDisparityTransform",
       words("9000 10 0.5 40 20 1.5 2 1 3 1"), GX_PIXEL_DISPARITY},
      {"FalsePositiveEdgeBleed", "FalsePositiveFilter",
       words("1 0 1 0 1 0 0 1 0 1 6000 1000 0 0 1 0 1 4000 3000")},
      {"FalsePositiveAllDetectors", "FalsePositiveFilter",
       words("1 0 1 0 1 1 0 1 0 1 6000 65535 1 0 1 0 1 4000 65535")},
      {"HoleFillingTop", "HoleFillingFilter", {"0"}},
      {"HoleFillingNearest", "HoleFillingFilter", {"1"}},
      {"HoleFillingDisparity", "HoleFillingFilter", {"2"}, GX_PIXEL_DISPARITY},
      {"SpatialFast3x3", "SpatialFastFilter", {"3"}},
      {"SpatialFast5x5", "SpatialFastFilter", {"5"}},
      {"Temporal", "TemporalFilter", words("0.2 0.3"), GX_PIXEL_DEPTH, true},
      {"EdgeNoiseRows", "EdgeNoiseRemovalFilter", words("2 2 8 6 0 32 16")},
      {"EdgeNoise", "EdgeNoiseRemovalFilter", words("2 2 8 6 1 32 16")},
      {"MgcNoise", "MgcNoiseRemovalFilter", words("4 3 20 2 1 9 6 32 16")},
      {"SpatialModerate", "SpatialModerateFilter", {}},
      {"SpatialModerateDisparity", "SpatialModerateFilter", words("2 20 3"), GX_PIXEL_DISPARITY},
      {"SpatialModerateTof", "SpatialModerateFilter", words("1 160 7"), GX_PIXEL_TOF_DEPTH},
      {"SpatialAdvanced", "SpatialAdvancedFilter", {}},
      {"SpatialAdvancedDisparity", "SpatialAdvancedFilter", words("1 0.5 160 3"),
       GX_PIXEL_DISPARITY},
      {"NoiseRemovalDepth", "NoiseRemovalFilter", words("250 256 32 16")},
      {"NoiseRemovalDisparity", "NoiseRemovalFilter", words("250 256 32 16"), GX_PIXEL_DISPARITY},
      {"NoiseRemovalTof", "NoiseRemovalFilter", words("250 10 32 16"), GX_PIXEL_TOF_DEPTH},
      {"LutNoiseRemoval", "LutNoiseRemovalFilter",
       words("250 250 250 250 250 250 250 250 250 250 250 250 250 250 250 250 192 32 16")},
  };
  return all;
}

/// What tests know of a filter besides its cases.
struct FilterFacts {
  const char* filter;
  bool locks_itself;        ///< of the others, the host serialises the calls
  bool needs_profile;       ///< of frames that are no time of flight
  const char* others;       ///< values accepted besides those of the cases, and frames show it
  const char* failing = ""; ///< accepted, but no frame stands them
  /// For cases that have the others; or, as DepthResize's have to agree with the frame's size, for
  /// a larger one.
  const char* second_others = "";
};

inline const FilterFacts& facts_of_filter(const std::string& filter) {
  static const FilterFacts all[] = {
      {"DisparityTransform", true, true, "9000 200 0.5"},
      {"OpenNIDisparityTransform", true, true, "8000 10 0.25 36 18 1.1 1 1 2 0",
       "9000 10 0.5 65535 65535 1.5 2 1 3 1"},
      {"DepthResize", false, true, "36 20 1 2 2 3 1", "71 28 2 4 2 -4 0", "52 28 1 2 2 3 1"},
      {"HardwareD2DCorrectionFilter", false, true, ""},
      {"FalsePositiveFilter", true, false, "0 0 1 0 1 0 0 1 0 1 6000 1000 0 0 1 0 1 4000 3000"},
      {"HoleFillingFilter", false, false, "2", "", "0"},
      {"SpatialFastFilter", true, false, "5", "", "3"},
      {"TemporalFilter", false, false, "0.5 0.7"},
      {"EdgeNoiseRemovalFilter", true, false, "4 3 9 7 1 32 16", "9 2 8 6 0 32 16"},
      {"MgcNoiseRemovalFilter", true, false, "4 3 20 2 3 7 5 32 16", "4 3 20 2 7 9 6 32 16"},
      {"SpatialModerateFilter", true, true, "3 900 3"},
      {"SpatialAdvancedFilter", true, true, "2 0.5 16 0"},
      {"NoiseRemovalFilter", true, true, "2 256 32 16"},
      {"LutNoiseRemovalFilter", true, true, "2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 192 32 16"},
  };
  for (const FilterFacts& each : all)
    if (each.filter == filter)
      return each;
  throw std::out_of_range("no facts of " + filter);
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
inline Frame make_case_frame(const FilterCase& filter_case) {
  CameraFrame frame{32, 16, filter_case.pixel_type};
  frame.pixels = case_pixels(32, 16);
  frame.offset = filter_case.disparity_offset;
  return frame.make();
}

} // namespace test
