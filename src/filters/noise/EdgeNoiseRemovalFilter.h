#pragma once

#include "filters/noise/EdgeStripsFilter.h"

namespace filter_processor {

/// Lengths for frames of `width` x `height`.
struct EdgeNoiseRemovalParams {
  StripLengths strips{.margin_x_th = 6, .margin_y_th = 6, .limit_x_th = 70, .limit_y_th = 30};
  uint32_t width = 1280;
  uint32_t height = 800;
  bool enable_vertical_direction = true; // although the schema's default is off

  void scale(const SizeRatios& ratios) { strips.scale(ratios); }
  friend bool operator==(const EdgeNoiseRemovalParams&, const EdgeNoiseRemovalParams&) = default;
};

/// Removes the unreliable strip of depth at the outer boundary of the valid area: clears a fixed
/// number of pixels inward from the first and last valid pixel of each row and, optionally, each
/// column, where these lie near the image's border.
class EdgeNoiseRemovalFilter final : public EdgeStripsFilter<EdgeNoiseRemovalParams> {
 public:
  static constexpr const char* class_name = "EdgeNoiseRemovalFilter";

  EdgeNoiseRemovalFilter() : EdgeStripsFilter({class_name, "edge noise removal filter error"}) {}

  const char* get_config_schema() override;

  /// Seven integers in schema order. A margin above its limit is taken; frames at whose size it
  /// still is above the limit then fail, for a vertical one only if columns are worked on.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;

 private:
  int32_t clear_strips(const EdgeStripsImage& image, const EdgeNoiseRemovalParams& params) override;
  void print_params(const char* heading, const EdgeNoiseRemovalParams& params) const override;
};

} // namespace filter_processor
