#pragma once

#include "filters/depth/disparity_conversion.h"
#include "filters/depth/nearest_sampling.h"

namespace filter_processor {

/// Turns a disparity frame into a depth frame as DisparityTransform does for a stereo camera with
/// pack mode 1 and whole pixels as codes, whatever the camera's record and the format say. With a
/// target size it also resamples the frame: scales it by `scale` from the source pixel (`x_cut`,
/// `y_cut`) on and blanks a border.
class OpenNIDisparityTransform final : public DisparityConversion {
 public:
  static constexpr const char* class_name = "OpenNIDisparityTransform";

  OpenNIDisparityTransform() : DisparityConversion({.max = 10000, .min = 100}) {}

  const char* get_config_schema() override;

  /// Ten values: those of DisparityTransform, the target width and height (0 to 65535; 0 switches
  /// resampling off), the scale (0.1 to 50), the cuts and the borders in pixels. Each accepted
  /// value is kept even when a later one is refused; whether frames are resampled then stays as it
  /// was.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;

 private:
  void fill_table(ProcessingFrame& call, DisparityTable& table) override;
  void convert(ProcessingFrame& call, gx_format format, FrameSize size) override;
  void convert_resampled(ProcessingFrame& call, gx_format format, FrameSize size);

  /// How frames are resampled; written by updates only.
  struct Resampling {
    bool resample_enabled = false;
    float scale = 0.0F;      ///< target size / source size
    uint32_t x_cut = 0;      ///< first source column
    uint32_t y_cut = 0;      ///< first source row
    uint32_t x_set = 0;      ///< blank target columns, at the left and at the right
    uint32_t y_set = 0;      ///< blank target rows, at the top and at the bottom
    uint32_t dst_width = 0;  ///< target pixels
    uint32_t dst_height = 0; ///< target pixels

    FrameSize target() const { return {dst_width, dst_height}; }
    friend bool operator==(const Resampling&, const Resampling&) = default;
  };

  bool sample(const Resampling& to, const uint16_t* codes, FrameSize size, uint16_t* depths);
  static OwnedProfile resampled_profile(ProcessingFrame& call, FrameSize target);

  Resampling resampling_;
  NearestSampler sampler_;
};

} // namespace filter_processor
