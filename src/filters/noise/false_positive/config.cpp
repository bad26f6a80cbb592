#include "filters/noise/false_positive/config.h"

#include <array>
#include <bit>
#include <cstring>
#include <type_traits>

#include "plugin/base/numbers.h"

namespace filter_processor {
namespace {

using Config = FalsePositiveConfig;

static_assert(std::endian::native == std::endian::little, "records are read byte for byte");
static_assert(std::is_trivially_copyable_v<Config>);
static_assert(sizeof(Config) == 289);

static_assert(offsetof(Config, width) == 0);
static_assert(offsetof(Config, height) == 2);
static_assert(offsetof(Config, invalid_depth) == 4);
static_assert(offsetof(Config, small_region_size) == 6);
static_assert(offsetof(Config, depth_bin_width) == 8);
static_assert(offsetof(Config, join_thresholds) == 10);
static_assert(offsetof(Config, turned) == 50);
static_assert(offsetof(Config, quarter_turns) == 51);

static_assert(offsetof(Config, edge_bleed.enabled) == 52);
static_assert(offsetof(Config, edge_bleed.min_run_length) == 53);
static_assert(offsetof(Config, edge_bleed.cleared_ends) == 55);
static_assert(offsetof(Config, edge_bleed.max_depth) == 57);
static_assert(offsetof(Config, edge_bleed.roi.min_x) == 59);
static_assert(offsetof(Config, edge_bleed.roi.max_x) == 63);
static_assert(offsetof(Config, edge_bleed.roi.min_y) == 67);
static_assert(offsetof(Config, edge_bleed.roi.max_y) == 71);
static_assert(offsetof(Config, edge_bleed.flat_limit) == 75);

static_assert(offsetof(Config, texture_sparsity.enabled) == 79);
static_assert(offsetof(Config, texture_sparsity.max_size) == 80);
static_assert(offsetof(Config, texture_sparsity.max_depth) == 82);
static_assert(offsetof(Config, texture_sparsity.roi) == 84);
static_assert(offsetof(Config, texture_sparsity.left_band) == 100);
static_assert(offsetof(Config, texture_sparsity.max_width) == 104);
static_assert(offsetof(Config, texture_sparsity.max_height) == 108);
static_assert(offsetof(Config, texture_sparsity.size_fraction) == 112);
static_assert(offsetof(Config, texture_sparsity.min_strong_steps) == 128);
static_assert(offsetof(Config, texture_sparsity.max_side_contact) == 144);

static_assert(offsetof(Config, pattern_ambiguity.enabled) == 160);
static_assert(offsetof(Config, pattern_ambiguity.max_size) == 161);
static_assert(offsetof(Config, pattern_ambiguity.max_depth) == 163);
static_assert(offsetof(Config, pattern_ambiguity.max_support_depth) == 165);
static_assert(offsetof(Config, pattern_ambiguity.roi) == 167);
static_assert(offsetof(Config, pattern_ambiguity.depth_tolerance) == 183);
static_assert(offsetof(Config, pattern_ambiguity.reach) == 187);
static_assert(offsetof(Config, pattern_ambiguity.min_smoothness) == 191);

static_assert(offsetof(Config, ground_plane.enabled) == 231);
static_assert(offsetof(Config, ground_plane.max_size) == 232);
static_assert(offsetof(Config, ground_plane.min_y) == 234);
static_assert(offsetof(Config, ground_plane.fx) == 238);
static_assert(offsetof(Config, ground_plane.fy) == 242);
static_assert(offsetof(Config, ground_plane.cx) == 246);
static_assert(offsetof(Config, ground_plane.cy) == 250);
static_assert(offsetof(Config, ground_plane.normal_x) == 254);
static_assert(offsetof(Config, ground_plane.normal_y) == 258);
static_assert(offsetof(Config, ground_plane.normal_z) == 262);
static_assert(offsetof(Config, ground_plane.offset) == 266);

static_assert(offsetof(Config, left_band.enabled) == 270);
static_assert(offsetof(Config, left_band.max_size) == 271);
static_assert(offsetof(Config, left_band.min_x) == 273);
static_assert(offsetof(Config, left_band.max_x) == 277);
static_assert(offsetof(Config, left_band.min_y) == 281);
static_assert(offsetof(Config, left_band.max_y) == 285);

std::uint16_t scaled(std::uint16_t value, float factor) {
  return low_16_bits(static_cast<float>(value) * factor);
}

} // namespace

FalsePositiveConfig zero_config() {
  return std::bit_cast<Config>(std::array<std::uint8_t, sizeof(Config)>{});
}

FalsePositiveConfig read_config(const std::uint8_t* bytes) {
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

std::optional<FalsePositiveConfig> scale_config(const FalsePositiveConfig& anchor,
                                                std::uint16_t width, std::uint16_t height) {
  constexpr float smallest_factor = 0.00001F;
  const float x = static_cast<float>(width) / static_cast<float>(anchor.width);
  const float y = static_cast<float>(height) / static_cast<float>(anchor.height);
  const float area = x * y;
  if (x < smallest_factor || y < smallest_factor || area < smallest_factor)
    return std::nullopt;

  Config config = anchor;
  config.width = width;
  config.height = height;
  config.small_region_size = scaled(config.small_region_size, area);
  config.edge_bleed.min_run_length = scaled(config.edge_bleed.min_run_length, x);
  config.texture_sparsity.max_size = scaled(config.texture_sparsity.max_size, area);
  config.pattern_ambiguity.max_size = scaled(config.pattern_ambiguity.max_size, area);
  config.ground_plane.max_size = scaled(config.ground_plane.max_size, area);
  config.ground_plane.fx *= x;
  config.ground_plane.fy *= y;
  config.ground_plane.cx *= x;
  config.ground_plane.cy *= y;
  config.left_band.max_size = scaled(config.left_band.max_size, area);
  return config;
}

std::size_t ConfigParameter::byte_count() const {
  switch (kind) {
  case Kind::enable:
    return sizeof(std::uint8_t);
  case Kind::ratio:
    return sizeof(float);
  default:
    return sizeof(std::uint16_t);
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
