#pragma once

#include "filters/depth/nearest_sampling.h"
#include "plugin/base/i_priv_filter.h"

namespace filter_processor {

/// Scales a depth frame by nearest-neighbour sampling, then extends (positive values) or crops
/// (negative values) each side. New area is 0.
///
/// Keeps nothing between frames and has no lock: configuring it while it processes a frame is the
/// host's responsibility to avoid.
class DepthResize final : public IPrivFilter {
 public:
  static constexpr const char* class_name = "DepthResize";

  const char* get_config_schema() override;

  /// Seven values: the output's width and height (1 to 65535), which do not choose the size but
  /// must agree with the others; the scale (0.1 to 50); left, right, top and bottom extension in
  /// pixels. Each accepted value is kept even when a later one is refused.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;

  /// Fails with "incorrect config schema" where the output's size is not the configured one. A new
  /// instance, whose members are all 0, fails with "depth resize error".
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;
  void reset() override;
  void print_filter_params() override;

 private:
  bool resize(const uint16_t* from, FrameSize size, uint16_t* to, FrameSize out);

  uint64_t dst_width = 0;
  uint64_t dst_height = 0;
  float scale = 0.0F;
  int32_t ex_left = 0;
  int32_t ex_top = 0;
  int32_t ex_right = 0;
  int32_t ex_bottom = 0;
  NearestSampler sampler_;
};

} // namespace filter_processor
