#pragma once

#include "plugin/base/i_priv_filter.h"

namespace filter_processor {

/// Fills holes (pixels of value 0) from their neighbours: from the pixel above, with the nearest or
/// with the farthest neighbouring surface. Which value is nearest depends on the pixel type: the
/// smallest depth, or the largest disparity.
///
/// Keeps nothing between frames and has no lock: configuring it while it processes a frame is the
/// host's responsibility to avoid.
class HoleFillingFilter final : public IPrivFilter {
 public:
  static constexpr const char* class_name = "HoleFillingFilter";

  explicit HoleFillingFilter(int32_t mode = 0) : hole_filling_mode(mode) {}

  const char* get_config_schema() override;

  /// One value: the mode, 0 (top), 1 (nearest) or 2 (farthest).
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;

  /// With a stored mode that is none of the three, delivers an unfiltered copy and an error as
  /// well.
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;
  void reset() override;
  void print_filter_params() override;

 private:
  int32_t hole_filling_mode;
};

} // namespace filter_processor
