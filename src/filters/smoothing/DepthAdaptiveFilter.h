#pragma once

#include "filters/smoothing/depth_adaptive_frames.h"
#include "plugin/base/i_priv_filter.h"

namespace filter_processor {

/// The smoothing filters with a threshold on neighbour differences: what they know of the frames,
/// and their parameters, a record with the defaults and a member `disp_diff`.
template <typename Params>
class DepthAdaptiveFilter : public IPrivFilter, protected DepthAdaptiveFrames {
 public:
  void reset() override {
    anchor_params = Params{};
    current_filter_params = anchor_params;
    forget_frame();
  }

 protected:
  DepthAdaptiveFilter() = default;
  ~DepthAdaptiveFilter() = default;

  /// New parameters, in use from the next frame that takes `lock`, unless `differs()` finds them to
  /// be those that are configured.
  template <typename Differs>
  void configure(const Params& params, Differs differs) {
    lock.update(differs, [&] {
      anchor_params = params;
      params_changed = true;
    });
  }

  /// Derives the parameters in use if the configuration or the description `info` of the frame have
  /// changed. Requires `lock`.
  void take_over(ProcessingFrame& call, const FrameInfo& info) {
    if (!follow_frame(info))
      return;
    current_filter_params = anchor_params;
    updateConfig(call, current_filter_params.disp_diff);
  }

  Params anchor_params;         ///< as configured
  Params current_filter_params; ///< in use, derived for anchor_frame_info
};

} // namespace filter_processor
