#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace filter_processor {

// The configuration record of FalsePositiveFilter as hosts and calibration tools write it: packed,
// little-endian. Ratios are fractions of the image's width or height. Fields may hold anything, NaN
// included, as nothing checks a record's values but its size and bin width.
#pragma pack(push, 1)

/// A region of interest.
struct RoiRatios {
  float min_x = 0.0F;
  float max_x = 1.0F;
  float min_y = 0.0F;
  float max_y = 0.6F;
};

/// Depth that bleeds along object edges: long horizontal runs of one depth value.
struct EdgeBleedSettings {
  uint8_t enabled = 0;
  uint16_t min_run_length = 40; ///< pixels, for the reference width
  uint16_t cleared_ends = 0;    ///< pixels cleared at each end of a run; 0: the whole run
  uint16_t max_depth = 10000;
  RoiRatios roi;
  float flat_limit = 0.98F; ///< largest share of equal depths among a region's horizontal joins
};

/// Depth found where there is too little texture to match.
struct TextureSparsitySettings {
  static constexpr int step_count = 4;

  uint8_t enabled = 0;
  uint16_t max_size = 1000; ///< pixels, for the reference size
  uint16_t max_depth = 6000;
  RoiRatios roi;
  float left_band = 0.15F; ///< regions in this band count whatever the region of interest
  float max_width = 0.3F;
  float max_height = 0.3F;
  /// The smaller a region is, the weaker the evidence that it needs.
  float size_fraction[step_count] = {0.12F, 0.24F, 0.48F, 0.72F};
  float min_strong_steps[step_count] = {0.1F, 0.3F, 0.5F, 0.75F};
  float max_side_contact[step_count] = {1.0F, 1.0F, 1.0F, 0.92F};
};

/// Depth that repetitive patterns produce: islands in front of or behind their surroundings.
struct PatternAmbiguitySettings {
  static constexpr int band_count = 20;

  uint8_t enabled = 0;
  uint16_t max_size = 3000; ///< pixels, for the reference size
  uint16_t max_depth = 4000;
  uint16_t max_support_depth = 15000;
  RoiRatios roi;
  float depth_tolerance = 0.15F; ///< of the ratio of an island's depth to that of its support
  float reach = 0.25F;           ///< how far support is looked for
  /// Smallest smoothness of a candidate, for each horizontal band of the image.
  uint16_t min_smoothness[band_count] = {50, 50, 50, 50, 50, 50, 50, 50, 50, 50,
                                         50, 50, 50, 50, 50, 50, 50, 50, 50, 50};
};

/// Depth below the ground plane. Camera values are in pixels of the reference size.
struct GroundPlaneSettings {
  uint8_t enabled = 0;
  uint16_t max_size = 625; ///< pixels, for the reference size
  float min_y = 0.5F;
  float fx = 415.0F;
  float fy = 415.0F;
  float cx = 424.0F;
  float cy = 240.0F;
  float normal_x = 0.0F;
  float normal_y = -0.9962F;
  float normal_z = -0.0872F;
  float offset = 259.0F;
};

/// Small regions at the left edge of the image.
struct LeftBandSettings {
  uint8_t enabled = 0;
  uint16_t max_size = 500; ///< pixels, for the reference size
  float min_x = 0.0F;
  float max_x = 0.1F;
  float min_y = 0.4F;
  float max_y = 1.0F;
};

struct FalsePositiveConfig {
  static constexpr int depth_bin_count = 20;

  uint16_t width = 848; ///< the reference size in pixels, never 0
  uint16_t height = 480;
  uint16_t invalid_depth = 0;
  uint16_t small_region_size = 80; ///< pixels, for the reference size
  uint16_t depth_bin_width = 500;  ///< never 0
  /// Largest depth difference between neighbours of one region, for each depth bin.
  uint16_t join_thresholds[depth_bin_count] = {30,  30,  30,  35,  40,  45,  65,  80,  100, 110,
                                               135, 160, 200, 240, 280, 320, 365, 410, 460, 515};
  uint8_t turned = 0;        ///< whether the detectors see a turned image
  uint8_t quarter_turns = 0; ///< clockwise, 1 to 3
  EdgeBleedSettings edge_bleed;
  TextureSparsitySettings texture_sparsity;
  PatternAmbiguitySettings pattern_ambiguity;
  GroundPlaneSettings ground_plane;
  LeftBandSettings left_band;
};

#pragma pack(pop)

/// A record with all fields 0.
FalsePositiveConfig zero_config();

/// The record in the bytes of a configuration blob, which start at `bytes`.
FalsePositiveConfig read_config(const uint8_t* bytes);

/// Why a record cannot be used, as a constant text; null if it can.
const char* find_config_fault(const FalsePositiveConfig& config);

/// The record with its sizes in pixels brought from its reference size to `width` x `height`.
/// Nothing for a size of which the reference size is too large a multiple.
std::optional<FalsePositiveConfig> scale_config(const FalsePositiveConfig& anchor, uint16_t width,
                                                uint16_t height);

/// One of the fields that hosts set by parameter strings, in schema order.
struct ConfigParameter {
  enum class Kind { enable, ratio, size }; ///< of uint8_t, float and uint16_t

  const char* key;
  Kind kind;
  size_t offset; ///< bytes from the start of the record

  size_t byte_count() const;
};

constexpr int config_parameter_count = 19;
extern const ConfigParameter config_parameters[config_parameter_count];

} // namespace filter_processor
