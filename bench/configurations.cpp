#include "configurations.h"

namespace bench {
namespace {

using Parameters = std::vector<std::string>;
using All = std::vector<Configuration>;

Parameters false_positive(const char* edge_bleed, const char* texture, const char* pattern) {
  return {edge_bleed, "0",    "1",     "0", "0.6", texture, "0",   "1",    "0",   "0.6",
          "6000",     "1000", pattern, "0", "1",   "0",     "0.6", "4000", "3000"};
}

void add_depth(All& all) {
  all.push_back({.filter = "DisparityTransform",
                 .label = "stereo",
                 .parameters = {"10000", "100", "1"},
                 .pixel_type = GX_PIXEL_DISPARITY,
                 .targets = {20},
                 .naive = "lookup",
                 .soaked = true});
  all.push_back({.filter = "DisparityTransform",
                 .label = "random_codes",
                 .parameters = {"10000", "100", "1"},
                 .pixel_type = GX_PIXEL_DISPARITY,
                 .scene = dense_noise,
                 .targets = {20},
                 .naive = "lookup_random_codes"});
  all.push_back({.filter = "OpenNIDisparityTransform",
                 .label = "resampled",
                 .parameters = {"10000", "100", "1", "W", "H", "1", "0", "0", "0", "0"},
                 .pixel_type = GX_PIXEL_DISPARITY,
                 .targets = {25},
                 .naive = "lookup",
                 .soaked = true});
  all.push_back({.filter = "DepthResize",
                 .label = "same",
                 .parameters = {"W", "H", "1", "0", "0", "0", "0"},
                 .targets = {4},
                 .naive = "resize_same",
                 .peer = "resize_same",
                 .soaked = true});
  all.push_back({.filter = "DepthResize",
                 .label = "double",
                 .parameters = {"2W", "2H", "2", "0", "0", "0", "0"},
                 .targets = {14},
                 .naive = "resize_double",
                 .peer = "resize_double"});
  all.push_back({.filter = "HardwareD2DCorrectionFilter",
                 .label = "16bit",
                 .parameters = {},
                 .targets = {4},
                 .naive = "clear_between",
                 .soaked = true});
}

void add_smoothing(All& all) {
  constexpr auto disparity = GX_PIXEL_DISPARITY;
  const auto hole_filling = [&](const char* label, const char* mode, double target, bool soaked) {
    all.push_back({.filter = "HoleFillingFilter",
                   .label = label,
                   .parameters = {mode},
                   .targets = {target},
                   .naive = std::string("fill_") + label,
                   .peer = "dilate_3x3",
                   .soaked = soaked});
  };
  hole_filling("top", "0", 4, false);
  hole_filling("nearest", "1", 12, true);
  hole_filling("farthest", "2", 12, false);
  all.push_back({.filter = "SpatialFastFilter",
                 .label = "3x3",
                 .parameters = {"3"},
                 .targets = {4},
                 .naive = "median_3x3",
                 .peer = "medianBlur_3x3",
                 .soaked = true});
  all.push_back({.filter = "SpatialFastFilter",
                 .label = "5x5",
                 .parameters = {"5"},
                 .targets = {18},
                 .naive = "median_5x5",
                 .peer = "medianBlur_5x5"});
  all.push_back({.filter = "TemporalFilter",
                 .label = "default",
                 .parameters = {"0.1", "0.4"},
                 .targets = {7},
                 .naive = "blend",
                 .peer = "accumulateWeighted",
                 .soaked = true});
  const auto moderate = [&](const char* label, Parameters parameters, gx_pixel_type type,
                            double target, const char* naive, const char* peer) {
    all.push_back({.filter = "SpatialModerateFilter",
                   .label = label,
                   .parameters = std::move(parameters),
                   .pixel_type = type,
                   .targets = {target},
                   .naive = naive,
                   .peer = peer,
                   .soaked = target > 0});
  };
  moderate("3x3", {"1", "160", "3"}, disparity, 0, "", "");
  moderate("5x5", {"1", "160", "5"}, disparity, 35, "window_mean_5x5", "blur_5x5");
  moderate("7x7", {"1", "160", "7"}, disparity, 0, "", "");
  moderate("5x5_threefold", {"3", "160", "5"}, disparity, 0, "", "");
  moderate("5x5_depth", {"1", "160", "5"}, GX_PIXEL_DEPTH, 0, "", "bilateralFilter_5x5");
  moderate("5x5_large_steps", {"1", "10000", "5"}, disparity, 0, "", "blur_5x5");
  const auto advanced = [&](const char* label, Parameters parameters, gx_pixel_type type,
                            double target, const char* naive) {
    all.push_back({.filter = "SpatialAdvancedFilter",
                   .label = label,
                   .parameters = std::move(parameters),
                   .pixel_type = type,
                   .targets = {target},
                   .naive = naive,
                   .peer = "dtFilter",
                   .soaked = target > 0});
  };
  advanced("plain", {"1", "0.5", "160", "1"}, disparity, 20, "recursive_mean");
  advanced("filling", {"1", "0.5", "160", "4"}, disparity, 0, "");
  advanced("depth", {"1", "0.5", "160", "1"}, GX_PIXEL_DEPTH, 0, "");
  advanced("depth_fivefold", {"5", "0.5", "160", "1"}, GX_PIXEL_DEPTH, 0, "");
}

void add_edges(All& all) {
  const auto edge_noise = [&](const char* label, const char* vertical, const char* naive) {
    all.push_back({.filter = "EdgeNoiseRemovalFilter",
                   .label = label,
                   .parameters = {"6", "6", "70", "30", vertical, "1280", "800"},
                   .targets = {5},
                   .naive = naive,
                   .soaked = vertical == std::string("1")});
  };
  edge_noise("rows", "0", "edge_rows");
  edge_noise("rows_and_columns", "1", "");
  const auto mgc_noise = [&](const char* label, const char* margin_y) {
    all.push_back({.filter = "MgcNoiseRemovalFilter",
                   .label = label,
                   .parameters = {"80", "80", "640", "6", margin_y, "120", "120", "1280", "800"},
                   .targets = {5},
                   .soaked = margin_y == std::string("6")});
  };
  mgc_noise("rows", "0");
  mgc_noise("rows_and_columns", "6");
}

void add_false_positive(All& all) {
  const auto add = [&](const char* label, Parameters parameters, Targets targets,
                       const char* naive) {
    all.push_back({.filter = "FalsePositiveFilter",
                   .label = label,
                   .parameters = std::move(parameters),
                   .targets = targets,
                   .naive = naive,
                   .soaked = targets.at_848x480 > 0});
  };
  add("off", false_positive("0", "0", "0"), {}, "");
  add("edge_bleed", false_positive("1", "0", "0"), {}, "");
  add("texture_sparsity", false_positive("0", "1", "0"), {}, "");
  add("pattern_ambiguity", false_positive("0", "0", "1"), {}, "");
  add("all", false_positive("1", "1", "1"), {0, 200}, "false_positive_all");
}

void add_speckles(All& all) {
  const auto add = [&](const char* filter, const char* label, Scene scene,
                       gx_pixel_type type = GX_PIXEL_DEPTH) {
    const bool single = filter == std::string("NoiseRemovalFilter");
    const bool typical = label == std::string("noisy");
    all.push_back({.filter = filter,
                   .label = label,
                   .parameters = single ? Parameters{"80", "256", "848", "480"} : Parameters{},
                   .pixel_type = type,
                   .scene = scene,
                   .targets = typical ? Targets{20, 70} : Targets{},
                   .naive = typical ? "speckles" : "",
                   .peer = typical ? "filterSpeckles" : "",
                   .soaked = typical});
  };
  const char* const noise = "NoiseRemovalFilter";
  add(noise, "noisy", noisy_scene);
  add(noise, "clean", clean_scene);
  add(noise, "dense_noise", dense_noise);
  add(noise, "near_noise", near_noise);
  add(noise, "step_noise", step_noise);
  add(noise, "one_region", one_region);
  add(noise, "recorded", recorded_scene);
  add(noise, "disparity", noisy_scene, GX_PIXEL_DISPARITY);
  add(noise, "disparity_ragged_regions", ragged_regions, GX_PIXEL_DISPARITY);
  add("LutNoiseRemovalFilter", "noisy", noisy_scene);
  add("LutNoiseRemovalFilter", "disparity_dense_noise", dense_noise, GX_PIXEL_DISPARITY);
}

All all_configurations() {
  All all;
  add_depth(all);
  add_smoothing(all);
  add_edges(all);
  add_false_positive(all);
  add_speckles(all);
  return all;
}

} // namespace

const std::vector<Configuration>& configurations() {
  static const All all = all_configurations();
  return all;
}

} // namespace bench
