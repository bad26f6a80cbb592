#include "conformance/our_filters.h"

#include <algorithm>

#include "conformance/probes.h"
#include "recordings/system.h"

namespace conformance {
namespace {

constexpr const char* bounds = "parameter bounds";
constexpr const char* short_frames = "short frames";
constexpr const char* reset = "reset";
constexpr const char* silent = "no error";
constexpr const char* copied = "a copy of the frame and no error";
constexpr const char* other_pixels = "other pixels in frame *";
constexpr const char* other_frames = "other frames";
constexpr const char* as_before = "the pixels of before";
constexpr const char* kept_parameters = "reset keeps the parameters";
constexpr const char* passed_on =
    "frames of this pixel type are passed on as they are, and their pixels not looked at";

std::string refused(const std::string& filter, const char* key,
                    const char* message = out_of_range) {
  return describe_error(message, filter + "::update_filter_config", key);
}

const KnownDifference differences[] = {
    {"DisparityTransform", bounds, "* one step *", silent,
     "an update with a value out of range is dropped without an error"},
    {"OpenNIDisparityTransform", bounds, "*_depth = *, one step *", silent,
     "values out of range of the first three parameters are dropped without an error"},
    {"OpenNIDisparityTransform", bounds, "depth_uint = *, one step *", silent,
     "values out of range of the first three parameters are dropped without an error"},
    {"OpenNIDisparityTransform", bounds, "scale = 0.01, its minimum",
     refused("OpenNIDisparityTransform", "scale"), "scales below 0.1 are refused"},
    {"OpenNIDisparityTransform", bounds, "?_cut = *, one step *", silent,
     "the start of the crop is not checked"},
    {"OpenNIDisparityTransform", bounds, "?_set = *, one step *", silent,
     "the lengths to blank are not checked"},
    {"HardwareD2DCorrectionFilter", "parameter counts", "* instead of 0", silent,
     "the filter takes no parameters and ignores what it is given"},
    {"DepthResize", bounds, "scale = 0.01, its minimum", refused("DepthResize", "scale"),
     "scales below 0.1 are refused"},
    {"DepthResize", bounds, "ex_* = *, one step *", silent,
     "the extensions are not checked, but against the frame's size"},
    {"DepthResize", bounds, "frames after ex_* = *, one step *", other_frames,
     "extensions out of range are used, where the frame is large enough"},
    {"SpatialModerateFilter", bounds, "frames after radius = 1, one step below *", other_frames,
     "a radius below the minimum is used"},
    {"LutNoiseRemovalFilter", bounds, "frames after max_lut_* = 2001, one step above *",
     other_frames, "sizes up to 10000 are used"},
    {"LutNoiseRemovalFilter", bounds, "max_lut_* = 2001, one step above *", silent,
     "sizes up to 10000 are accepted"},
    {"LutNoiseRemovalFilter", bounds, "max_lut_* = 0, one step below *",
     refused("LutNoiseRemovalFilter", "max_lut"), "the error names all sixteen sizes by max_lut"},
    {"EdgeNoiseRemovalFilter", bounds, "height = 801, one step above *", silent,
     "heights up to 1024 are accepted"},
    {"MgcNoiseRemovalFilter", bounds, "height = 801, one step above *", silent,
     "heights up to 1024 are accepted"},
    {"SpatialModerateFilter", bounds, "radius = 1, one step below *", silent,
     "the radius has no lower bound"},
    {"HoleFillingFilter", bounds, "hole_filling_mode = *, one step *",
     refused("HoleFillingFilter", "argv", "invalid hole filling mode params"),
     "the error names the argument array"},
    {"DisparityTransform", short_frames, "*, depth pixels", copied, passed_on},
    {"DisparityTransform", short_frames, "*, time-of-flight pixels", copied, passed_on},
    {"OpenNIDisparityTransform", short_frames, "*, depth pixels", copied, passed_on},
    {"OpenNIDisparityTransform", short_frames, "*, time-of-flight pixels", copied, passed_on},
    {"HardwareD2DCorrectionFilter", short_frames, "*, disparity pixels", copied, passed_on},
    {"HardwareD2DCorrectionFilter", short_frames, "*, time-of-flight pixels", copied, passed_on},
    {"DisparityTransform", reset, "*, disparity pixels", as_before, kept_parameters},
    {"DisparityTransform", "host failures",
     "the frame after each failure in a first frame*, disparity pixels",
     "other pixels after gx_* had failed",
     "a host call that fails while the table is made leaves an empty table for the next frames"},
    {"OpenNIDisparityTransform", reset, "*, disparity pixels", as_before, kept_parameters},
    {"EdgeNoiseRemovalFilter", reset, "*", "the pixels of enable_vertical_direction = 1",
     "reset switches the vertical direction on, which the schema has off"},
    {"LutNoiseRemovalFilter", reset, "*", "the pixels of min_diff = 192",
     "reset sets min_diff to 192, for which the schema has 256"},
    {"FalsePositiveFilter", reset, "*", as_before,
     "reset restores parameters that are taken over with the next update only"},
    {"MgcNoiseRemovalFilter", reset, "*", other_pixels,
     "the chamfer table is made anew when the frame's size changes, and not by reset"},
};

constexpr ResetValue reset_values[] = {
    {"EdgeNoiseRemovalFilter", "enable_vertical_direction", "1"},
    {"LutNoiseRemovalFilter", "min_diff", "192"},
};

bool matches(const char* pattern, const std::string& text) {
  return recordings::system::matches(pattern, text);
}

} // namespace

std::span<const KnownDifference> known_differences() {
  return differences;
}

int find_known_difference(const std::string& filter, const std::string& check,
                          const std::string& doing, const std::string& came) {
  int index = 0;
  for (const KnownDifference& known : differences) {
    if (filter == known.filter && check == known.check && matches(known.doing, doing) &&
        matches(known.came.c_str(), came))
      return index;
    ++index;
  }
  return -1;
}

const ResetValue* find_reset_value(const std::string& filter) {
  const auto found = std::ranges::find(reset_values, filter, &ResetValue::filter);
  return found != std::end(reset_values) ? &*found : nullptr;
}

std::vector<SpecialSetting> special_settings(const std::string& filter,
                                             recordings::FrameSize size) {
  std::vector<SpecialSetting> settings = {
      {"DepthResize",
       "the frame's own size",
       {{"dst_width", std::to_string(size.width)}, {"dst_height", std::to_string(size.height)}},
       false},
      {"OpenNIDisparityTransform",
       "a target size of 40x20",
       {{"dst_width", "40"}, {"dst_height", "20"}, {"x_cut", "2"}, {"x_set", "3"}},
       true},
      {"FalsePositiveFilter",
       "all detectors",
       {{"fpEdgeBleedFilterEnable", "1"},
        {"fpTextureSparsityFilterEnable", "1"},
        {"fpPatternAmbiguityFilterEnable", "1"}},
       true},
      {"HoleFillingFilter", "the nearest neighbour", {{"hole_filling_mode", "1"}}, true},
      {"SpatialFastFilter", "a window of 5", {{"radius", "5"}}, true},
  };
  std::erase_if(settings,
                [&filter](const SpecialSetting& setting) { return setting.filter != filter; });
  return settings;
}

} // namespace conformance
