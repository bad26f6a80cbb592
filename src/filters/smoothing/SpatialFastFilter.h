#pragma once

#include "plugin/base/i_priv_filter.h"
#include "plugin/base/instance_lock.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// Smooths with a square median filter of side 3 or 5. Every pixel value counts alike; a hole is an
/// ordinary 0.
///
/// Configuring and processing may happen on different threads; `reset` and `print_filter_params`
/// take no lock.
class SpatialFastFilter final : public IPrivFilter {
 public:
  static constexpr const char* class_name = "SpatialFastFilter";

  explicit SpatialFastFilter(uint8_t radius = default_radius)
      : anchor_params{radius}, current_filter_params{radius} {}

  const char* get_config_schema() override;

  /// One value: the window side, 3 or 5. It counts from the next frame that takes `lock`.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;

  /// Refuses a frame without pixels when it has to take over parameters.
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;
  void reset() override;
  void print_filter_params() override;

 private:
  static constexpr uint8_t default_radius = 3;

  struct FilterParams {
    uint8_t radius; ///< in spite of its name the window's side
  };

  /// Takes the configured parameters over where they, or the frame size, have changed. Requires
  /// `lock`.
  void take_over(ProcessingFrame& call, FrameSize size);
  void updateConfig(ProcessingFrame& call);

  bool params_changed = false;
  FilterParams anchor_params;  ///< as configured
  FrameSize anchor_frame_info; ///< of the frame for which they were taken over
  FrameSize current_frame_info;
  FilterParams current_filter_params; ///< as used by the kernels
  InstanceLock lock;
};

} // namespace filter_processor
