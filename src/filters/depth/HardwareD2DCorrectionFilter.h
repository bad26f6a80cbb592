#pragma once

#include "plugin/base/i_priv_filter.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// Cleans depth frames that the camera itself converted from disparity. A camera that adds an
/// offset to every disparity turns pixels without disparity into one particular depth, fb / offset;
/// they become 0. Frames without an offset, and those that are not GX_PIXEL_DEPTH, come back as
/// copies.
///
/// Has no parameters and no lock: resetting it while it processes a frame is the host's
/// responsibility to avoid.
class HardwareD2DCorrectionFilter final : public IPrivFilter {
 public:
  static constexpr const char* class_name = "HardwareD2DCorrectionFilter";

  const char* get_config_schema() override { return ""; }
  void update_filter_config(int32_t /*argc*/, const char** /*argv*/,
                            gx_error** /*error*/) override {}
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;

  /// Forgets the camera and its offset; the tolerance stays until the value scale changes.
  void reset() override;
  void print_filter_params() override;

 private:
  void follow_profile(ProcessingFrame& call, FrameSize size);
  bool profile_matches(ProcessingFrame& call, FrameSize size);
  bool follow_offset(ProcessingFrame& call);
  void choose_tolerance(float value_scale, uint8_t bit_size);
  void correct(uint16_t* pixels, size_t count, float value_scale, uint8_t bit_size);

  double disp_offset = 0.0;      ///< of the last depth frame, disparity in pixels; 0: none
  double invalid_depth = 0.0;    ///< fb / disp_offset when the offset last changed, millimetres
  double fb = 0.0;               ///< baseline x focal length of the cached profile
  bool offset_changed = false;   ///< since invalid_depth was computed
  float depth_tolerance = 0.0F;  ///< millimetres around invalid_depth, for 12 and 14 bits
  float last_value_scale = 0.0F; ///< that the tolerance was chosen for
  OwnedProfile cached_profile;   ///< as of the last change of size or format
};

} // namespace filter_processor
