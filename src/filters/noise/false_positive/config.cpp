#include "filters/noise/false_positive/config.h"

#include <array>
#include <cstring>
#include <type_traits>

#include "filters/noise/size_ratios.h"
#include "plugin/base/numbers.h"

namespace filter_processor {
namespace {

using Config = FalsePositiveConfig;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are read byte for byte");
static_assert(std::is_trivially_copyable_v<Config>);
static_assert(sizeof(Config) == 289);

static_assert(offsetof(Config, edge_bleed) == 52);
static_assert(offsetof(Config, texture_sparsity) == 79);
static_assert(offsetof(Config, pattern_ambiguity) == 160);
static_assert(offsetof(Config, ground_plane) == 231);
static_assert(offsetof(Config, left_band) == 270);

uint16_t scaled_low_16(uint16_t value, float factor) {
  return low_16_bits(static_cast<float>(value) * factor);
}

} // namespace

FalsePositiveConfig zero_config() {
  return read_config(std::array<uint8_t, sizeof(Config)>{}.data());
}

FalsePositiveConfig read_config(const uint8_t* bytes) {
  Config config;
  std::memcpy(&config, bytes, sizeof config);
  return config;
}

const char* find_config_fault(const FalsePositiveConfig& config) {
  if (config.width == 0 || config.height == 0)
    return "Invalid image dimensions";
  if (config.depth_bin_width == 0)
    return "Invalid depth bin width";
  return nullptr;
}

std::optional<FalsePositiveConfig> scale_config(const FalsePositiveConfig& anchor, uint16_t width,
                                                uint16_t height) {
  const SizeRatios ratios({width, height}, {anchor.width, anchor.height});
  const auto [x, y] = ratios;
  const float area = ratios.area();
  constexpr float smallest_area =
      0.00001F; // in single precision: a touch less than for other filters
  if (area < smallest_area)
    return std::nullopt;

  Config config = anchor;
  config.width = width;
  config.height = height;
  config.small_region_size = scaled_low_16(config.small_region_size, area);
  config.edge_bleed.min_run_length = scaled_low_16(config.edge_bleed.min_run_length, x);
  config.texture_sparsity.max_size = scaled_low_16(config.texture_sparsity.max_size, area);
  config.pattern_ambiguity.max_size = scaled_low_16(config.pattern_ambiguity.max_size, area);
  config.ground_plane.max_size = scaled_low_16(config.ground_plane.max_size, area);
  config.ground_plane.fx *= x;
  config.ground_plane.fy *= y;
  config.ground_plane.cx *= x;
  config.ground_plane.cy *= y;
  config.left_band.max_size = scaled_low_16(config.left_band.max_size, area);
  return config;
}

size_t ConfigParameter::byte_count() const {
  switch (kind) {
  case Kind::enable:
    return sizeof(uint8_t);
  case Kind::ratio:
    return sizeof(float);
  default:
    return sizeof(uint16_t);
  }
}

using Kind = ConfigParameter::Kind;

const ConfigParameter config_parameters[config_parameter_count] = {
    {"fpEdgeBleedFilterEnable", Kind::enable, offsetof(Config, edge_bleed.enabled)},
    {"fpebfROIMinXRatio", Kind::ratio, offsetof(Config, edge_bleed.roi.min_x)},
    {"fpebfROIMaxXRatio", Kind::ratio, offsetof(Config, edge_bleed.roi.max_x)},
    {"fpebfROIMinYRatio", Kind::ratio, offsetof(Config, edge_bleed.roi.min_y)},
    {"fpebfROIMaxYRatio", Kind::ratio, offsetof(Config, edge_bleed.roi.max_y)},
    {"fpTextureSparsityFilterEnable", Kind::enable, offsetof(Config, texture_sparsity.enabled)},
    {"fptsfROIMinXRatio", Kind::ratio, offsetof(Config, texture_sparsity.roi.min_x)},
    {"fptsfROIMaxXRatio", Kind::ratio, offsetof(Config, texture_sparsity.roi.max_x)},
    {"fptsfROIMinYRatio", Kind::ratio, offsetof(Config, texture_sparsity.roi.min_y)},
    {"fptsfROIMaxYRatio", Kind::ratio, offsetof(Config, texture_sparsity.roi.max_y)},
    {"fptsfMaxNoiseLevel", Kind::size, offsetof(Config, texture_sparsity.max_depth)},
    {"fptsfMaxSpeckleSize", Kind::size, offsetof(Config, texture_sparsity.max_size)},
    {"fpPatternAmbiguityFilterEnable", Kind::enable, offsetof(Config, pattern_ambiguity.enabled)},
    {"fppafROIMinXRatio", Kind::ratio, offsetof(Config, pattern_ambiguity.roi.min_x)},
    {"fppafROIMaxXRatio", Kind::ratio, offsetof(Config, pattern_ambiguity.roi.max_x)},
    {"fppafROIMinYRatio", Kind::ratio, offsetof(Config, pattern_ambiguity.roi.min_y)},
    {"fppafROIMaxYRatio", Kind::ratio, offsetof(Config, pattern_ambiguity.roi.max_y)},
    {"fppafMaxNoiseLevel", Kind::size, offsetof(Config, pattern_ambiguity.max_depth)},
    {"fppafMaxSpeckleSize", Kind::size, offsetof(Config, pattern_ambiguity.max_size)},
};

} // namespace filter_processor
