#include "filters/noise/false_positive/region_tests.h"

#include <algorithm>

namespace filter_processor {
namespace {

// Products with ratios are single precision: hosts tune the ratios against exactly these roundings.

float real(uint64_t value) {
  return static_cast<float>(value);
}

bool lies_in(const RegionStatistics& region, const RoiRatios& roi, ImageSize image) {
  const float w = real(image.width);
  const float h = real(image.height);
  return real(region.x_min) >= w * roi.min_x && real(region.y_min) >= h * roi.min_y &&
         w * roi.max_x >= real(region.x_max) && h * roi.max_y >= real(region.y_max);
}

/// Whether the share of strong steps below is high and that of valid sides low for the size.
bool climbs_ladder(const RegionStatistics& region, const TextureSparsitySettings& settings) {
  float strong_steps = 0.0F;
  float side_contact = 0.0F;
  if (region.steps_below != 0 && region.boundaries != region.invalid_above) {
    strong_steps = real(region.strong_steps_below) / real(region.steps_below);
    side_contact = 1.0F - real(region.invalid - region.invalid_above) /
                              real(region.boundaries - region.invalid_above);
  }
  for (int step = 0; step < TextureSparsitySettings::step_count; ++step)
    if (real(settings.max_size) * settings.size_fraction[step] > real(region.pixels) &&
        strong_steps > settings.min_strong_steps[step] &&
        settings.max_side_contact[step] > side_contact)
      return true;
  return false;
}

bool has_sparse_texture(const RegionStatistics& region, const TextureSparsitySettings& settings,
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
  return placed && small && region.mean_depth() < settings.max_depth &&
         climbs_ladder(region, settings);
}

bool bleeds_flat(const RegionStatistics& region, const EdgeBleedSettings& settings) {
  // Without a horizontal join the share is NaN, which is above no limit.
  return settings.enabled != 0 &&
         real(region.equal_joins) / real(region.horizontal_joins) > settings.flat_limit;
}

bool lies_below_ground(const RegionStatistics& region, const GroundPlaneSettings& settings,
                       ImageSize image) {
  if (settings.enabled == 0 || region.pixels >= settings.max_size ||
      !(real(region.y_min) > real(image.height) * settings.min_y))
    return false;
  const float z = real(region.mean_depth());
  const float v = real(uint64_t{region.y_max} + region.y_min) * 0.5F - settings.cy;
  const float u = real(uint64_t{region.x_max} + region.x_min) * 0.5F - settings.cx;
  const float height = (v * z / settings.fy) * settings.normal_y +
                       (u * z / settings.fx) * settings.normal_x + z * settings.normal_z +
                       settings.offset;
  return height < 0.0F;
}

bool lies_in_left_band(const RegionStatistics& region, const LeftBandSettings& settings,
                       ImageSize image) {
  const float w = real(image.width);
  const float h = real(image.height);
  return settings.enabled != 0 && region.pixels < settings.max_size &&
         real(region.x_min) > w * settings.min_x && w * settings.max_x > real(region.x_max) &&
         real(region.y_min) > h * settings.min_y && h * settings.max_y > real(region.y_max);
}

/// How small the steps between neighbours are beside the region's own depth range; double
/// precision but for the two quotients.
double smoothness(const RegionStatistics& region) {
  constexpr double of_flat_region = 100000.0;
  if (region.join_differences == 0 || region.depth_max == region.depth_min)
    return of_flat_region;
  const float mean_step = real(region.join_differences) / real(region.pixels);
  const float relative_range =
      real(region.depth_max - region.depth_min) / real(region.mean_depth());
  return (100.0 / static_cast<double>(mean_step)) / static_cast<double>(relative_range);
}

} // namespace

bool is_false_region(const RegionStatistics& region, const FalsePositiveConfig& config,
                     ImageSize image) {
  return has_sparse_texture(region, config.texture_sparsity, image) ||
         bleeds_flat(region, config.edge_bleed) ||
         lies_below_ground(region, config.ground_plane, image) ||
         lies_in_left_band(region, config.left_band, image);
}

bool is_pattern_candidate(const RegionStatistics& region, const PatternAmbiguitySettings& settings,
                          ImageSize image) {
  if (settings.enabled == 0 || !lies_in(region, settings.roi, image) ||
      region.mean_depth() >= settings.max_depth || region.pixels >= settings.max_size)
    return false;
  constexpr uint32_t bands = PatternAmbiguitySettings::band_count;
  // Heights that are no multiple of the band count leave rows below the last band: they belong to
  // it.
  const uint32_t band_height = std::max(image.height / bands, 1U);
  const uint32_t band = std::min(region.y_max / band_height, bands - 1);
  return smoothness(region) > settings.min_smoothness[band];
}

} // namespace filter_processor
