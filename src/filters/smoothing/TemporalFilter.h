#pragma once

#include <vector>

#include "plugin/base/i_priv_filter.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// Smooths over time: blends each pixel with that of the previous filtered frame where both are
/// valid and close to each other, and leaves it alone elsewhere. The first frame, and each first
/// one of a new size, passes unchanged.
///
/// No lock: configuring or resetting it while it processes a frame is the host's responsibility to
/// avoid.
class TemporalFilter final : public IPrivFilter {
 public:
  static constexpr const char* class_name = "TemporalFilter";

  const char* get_config_schema() override;

  /// Two values, each from 0.1 to 1: the difference scale (two readings closer than this fraction
  /// of the smaller one count as one surface) and the weight of the current frame. An accepted
  /// scale stays when the weight is refused.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;

  /// Throws std::bad_alloc with the text "bad allocation" when there is no memory for the previous
  /// frame; the filter then starts anew with the next frame.
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;
  void reset() override;
  void print_filter_params() override;

 private:
  static constexpr float default_diff_scale = 0.1F;
  static constexpr float default_weight = 0.4F;

  void discard_history();
  void prepare_history(FrameSize size);

  uint64_t width = 0;            ///< of the history, in pixels
  uint64_t height = 0;           ///< of the history, in pixels
  std::vector<uint16_t> history; ///< the previous output's pixels; empty: none
  float diff_scale = default_diff_scale;
  float weight = default_weight;
};

} // namespace filter_processor
