#include "filters/noise/false_positive/region_tests.h"

#include <algorithm>

namespace filter_processor {
namespace {

// Products with ratios are single precision: hosts tune the ratios against exactly these roundings.

float real(uint64_t value) {
  return static_cast<float>(value);
}

bool lies_in(const RegionExtent& region, const RoiRatios& roi, ImageSize image) {
  const float w = real(image.width);
  const float h = real(image.height);
  return real(region.x_min) >= w * roi.min_x && real(region.y_min) >= h * roi.min_y &&
         w * roi.max_x >= real(region.x_max) && h * roi.max_y >= real(region.y_max);
}

/// Whether step `step` of the ladder is for regions of that size.
bool has_step_for(const RegionExtent& region, const TextureSparsitySettings& settings, int step) {
  return real(settings.max_size) * settings.size_fraction[step] > real(region.pixels);
}

/// How small the steps between neighbours are beside the region's own depth range; double
/// precision but for the two quotients.
double smoothness(const RegionExtent& region, const RegionDepths& depths,
                  uint64_t join_differences) {
  constexpr double of_flat_region = 100000.0;
  if (join_differences == 0 || depths.highest == depths.lowest)
    return of_flat_region;
  const float mean_step = real(join_differences) / real(region.pixels);
  const float relative_range = real(depths.highest - depths.lowest) / real(depths.mean);
  return (100.0 / static_cast<double>(mean_step)) / static_cast<double>(relative_range);
}

} // namespace

bool may_have_sparse_texture(const RegionExtent& region, const TextureSparsitySettings& settings,
                             ImageSize image) {
  if (settings.enabled == 0)
    return false;
  const float w = real(image.width);
  const float h = real(image.height);
  const bool placed =
      lies_in(region, settings.roi, image) || w * settings.left_band > real(region.x_max);
  const bool small = w * settings.max_width > real(region.x_max - region.x_min) &&
                     h * settings.max_height > real(region.y_max - region.y_min) &&
                     region.pixels < settings.max_size;
  bool has_step = false;
  for (int step = 0; step < TextureSparsitySettings::step_count; ++step)
    has_step = has_step || has_step_for(region, settings, step);
  return placed && small && has_step;
}

bool has_sparse_texture(const RegionExtent& region, const RegionEvents& events,
                        const TextureSparsitySettings& settings) {
  // Whether the share of strong steps below is high and that of valid sides low for the size.
  float strong_steps = 0.0F;
  float side_contact = 0.0F;
  if (events.below != 0 && events.all != events.invalid_above) {
    strong_steps = real(events.strong_below) / real(events.below);
    side_contact = 1.0F - real(events.invalid - events.invalid_above) /
                              real(events.all - events.invalid_above);
  }
  for (int step = 0; step < TextureSparsitySettings::step_count; ++step)
    if (has_step_for(region, settings, step) && strong_steps > settings.min_strong_steps[step] &&
        settings.max_side_contact[step] > side_contact)
      return true;
  return false;
}

bool bleeds_flat(uint64_t equal_joins, uint64_t horizontal_joins,
                 const EdgeBleedSettings& settings) {
  // Without a horizontal join the share is NaN, which is above no limit.
  return settings.enabled != 0 && real(equal_joins) / real(horizontal_joins) > settings.flat_limit;
}

bool may_lie_below_ground(const RegionExtent& region, const GroundPlaneSettings& settings,
                          ImageSize image) {
  return settings.enabled != 0 && region.pixels < settings.max_size &&
         real(region.y_min) > real(image.height) * settings.min_y;
}

bool lies_below_ground(const RegionExtent& region, uint32_t mean_depth,
                       const GroundPlaneSettings& settings) {
  const float z = real(mean_depth);
  const float v = real(uint64_t{region.y_max} + region.y_min) * 0.5F - settings.cy;
  const float u = real(uint64_t{region.x_max} + region.x_min) * 0.5F - settings.cx;
  const float height = (v * z / settings.fy) * settings.normal_y +
                       (u * z / settings.fx) * settings.normal_x + z * settings.normal_z +
                       settings.offset;
  return height < 0.0F;
}

bool lies_in_left_band(const RegionExtent& region, const LeftBandSettings& settings,
                       ImageSize image) {
  const float w = real(image.width);
  const float h = real(image.height);
  return settings.enabled != 0 && region.pixels < settings.max_size &&
         real(region.x_min) > w * settings.min_x && w * settings.max_x > real(region.x_max) &&
         real(region.y_min) > h * settings.min_y && h * settings.max_y > real(region.y_max);
}

bool may_be_pattern(const RegionExtent& region, const PatternAmbiguitySettings& settings,
                    ImageSize image) {
  return settings.enabled != 0 && lies_in(region, settings.roi, image) &&
         region.pixels < settings.max_size;
}

bool is_pattern_candidate(const RegionExtent& region, const RegionDepths& depths,
                          uint64_t join_differences, const PatternAmbiguitySettings& settings,
                          ImageSize image) {
  constexpr uint32_t bands = PatternAmbiguitySettings::band_count;
  // Heights that are no multiple of the band count leave rows below the last band: they belong to
  // it.
  const uint32_t band_height = std::max(image.height / bands, 1U);
  const uint32_t band = std::min(region.y_max / band_height, bands - 1);
  return smoothness(region, depths, join_differences) > settings.min_smoothness[band];
}

} // namespace filter_processor
