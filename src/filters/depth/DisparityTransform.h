#pragma once

#include "filters/depth/disparity_conversion.h"

namespace filter_processor {

/// Turns a disparity frame into a depth frame by the formula of its camera: stereo or, with one
/// camera, structured light. Depths outside the parameters' range become 0.
class DisparityTransform final : public DisparityConversion {
 public:
  static constexpr const char* class_name = "DisparityTransform";

  DisparityTransform() : DisparityConversion({.max = 65535, .min = 0}) {}

  const char* get_config_schema() override;

  /// Three values: the maximal and the minimal depth in millimetres (1 to 65535) and the depth unit
  /// of the output in millimetres (0.001 to 10). Values out of range are ignored without an error.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;

  /// Fails for a record whose pack mode its kind of camera does not have. The frames after it, with
  /// the same record, become all zero if they have its bit size, and fail as well if not.
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;

 private:
  void fill_table(ProcessingFrame& call, DisparityTable& table) override;
  void convert(ProcessingFrame& call, gx_format format, FrameSize size) override;
  void stereo_camera_init_lookup_table(ProcessingFrame& call, DisparityTable& table);
  void mono_camera_init_lookup_table(ProcessingFrame& call, DisparityTable& table);
};

} // namespace filter_processor
