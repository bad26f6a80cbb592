#include "configurations.h"

#include "generated_scene.h"

namespace bench {
namespace {

using Parameters = std::vector<std::string>;
using All = std::vector<Configuration>;

Parameters false_positive(const char* edge_bleed, const char* texture, const char* pattern) {
  return {edge_bleed, "0",    "1",     "0", "0.6", texture, "0",   "1",    "0",   "0.6",
          "6000",     "1000", pattern, "0", "1",   "0",     "0.6", "4000", "3000"};
}

// What searches for the worst scene found, as `worst_scene` printed it.

/// Noise of some 800 units over a step in every other column: hardly two pixels of a row join.
constexpr char noisy_stripes[] = "level=1000 column_step=1500 noise=800 quantum=4";
/// The same with so little noise that columns hang together in long ragged regions.
constexpr char ragged_stripes[] =
    "level=1003 slope_x=-1 column_step=1440 row_width=2 checker_step=30 "
    "noise=86 outliers=2 quantum=2";
constexpr char disparity_stripes[] =
    "slope_x=1 column_step=-299 row_width=56 row_step=130 holes=1 outliers=1";
/// Slopes across the steps in which the tolerated difference grows.
constexpr char one_way_slope[] = "level=930 slope_x=-1 column_step=81 row_step=-2 checker_width=3 "
                                 "noise=32 outliers=2";
constexpr char one_way_noise[] = "level=911 slope_x=-1 column_width=128 column_step=1 row_step=-1 "
                                 "checker_step=-1 noise=204 holes=1";
/// Saturated far values with outliers.
constexpr char far_outliers[] = "level=60000 noise=2000 outliers=30 ceiling=60000";
constexpr char small_squares[] =
    "level=853 checker_width=12 checker_step=-791 noise=253 outliers=1";
/// Narrow regions from top to bottom.
constexpr char stripes[] = "column_step=1500";
/// Each pixel beside four of another depth bin, of which one lets the other join but not the
/// reverse.
constexpr char one_way_checkers[] = "level=1490 checker_step=35";
/// The same over wavy steps, narrow ragged regions of some hundred pixels that join one way.
constexpr char ragged_columns[] =
    "level=569 slope_x=-3 slope_y=-3 column_step=51 row_step=-1 checker_step=-7 "
    "grain=2 outliers=1 quantum=16";
/// Every second column goes on below over thousands of units.
constexpr char leaning_columns[] = "slope_y=701 column_step=-360 checker_width=2 outliers=1";
constexpr char short_columns[] = "level=430 column_step=-331 row_width=49 holes=1 quantum=11";
/// Each row a region of its own on a slope.
constexpr char striped_rows[] = "slope_y=-6 column_step=-3 row_step=878";

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
  const auto add = [&](const char* label, Parameters parameters, Targets targets, const char* naive,
                       Scene scene = noisy_scene) {
    all.push_back({.filter = "FalsePositiveFilter",
                   .label = label,
                   .parameters = std::move(parameters),
                   .scene = scene,
                   .targets = targets,
                   .naive = naive,
                   .soaked = targets.at_848x480 > 0});
  };
  add("off", false_positive("0", "0", "0"), {}, "");
  add("edge_bleed", false_positive("1", "0", "0"), {}, "");
  add("texture_sparsity", false_positive("0", "1", "0"), {}, "");
  add("pattern_ambiguity", false_positive("0", "0", "1"), {}, "");
  add("all", false_positive("1", "1", "1"), {0, 200}, "false_positive_all");
  add("all_far_outliers", false_positive("1", "1", "1"), {}, "", found_scene<far_outliers>);
  add("all_small_squares", false_positive("1", "1", "1"), {}, "", found_scene<small_squares>);
  add("all_stripes", false_positive("1", "1", "1"), {}, "", found_scene<stripes>);
  add("all_one_way_checkers", false_positive("1", "1", "1"), {}, "", found_scene<one_way_checkers>);
  add("all_ragged_columns", false_positive("1", "1", "1"), {}, "", found_scene<ragged_columns>);
  add("all_leaning_columns", false_positive("1", "1", "1"), {}, "", found_scene<leaning_columns>);
  add("all_short_columns", false_positive("1", "1", "1"), {}, "", found_scene<short_columns>);
  add("all_striped_rows", false_positive("1", "1", "1"), {}, "", found_scene<striped_rows>);
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
  add(noise, "noisy_stripes", found_scene<noisy_stripes>);
  add(noise, "ragged_stripes", found_scene<ragged_stripes>);
  add(noise, "disparity_stripes", found_scene<disparity_stripes>, GX_PIXEL_DISPARITY);
  add(noise, "one_way_slope", found_scene<one_way_slope>);
  add(noise, "one_way_noise", found_scene<one_way_noise>);
  add("LutNoiseRemovalFilter", "noisy", noisy_scene);
  add("LutNoiseRemovalFilter", "ragged_stripes", found_scene<ragged_stripes>);
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
