#pragma once

#include <memory>

#include "filters/smoothing/DepthAdaptiveFilter.h"

namespace filter_processor {

struct SpatialAdvancedParams {
  uint8_t magnitude = 1;    ///< iterations, on all frames but disparity frames
  float alpha = 0.5F;       ///< accepted from the host, but no pixel depends on it
  uint16_t disp_diff = 160; ///< threshold, disparity units
  uint16_t radius = 1;      ///< up to one hole less is filled from each end of a run in a row

  friend bool operator==(const SpatialAdvancedParams&, const SpatialAdvancedParams&) = default;
};

/// Smooths by recursion along rows and along columns, in both directions: a pixel is averaged with
/// its neighbour just smoothed where a threshold allows their difference. Along rows, the first
/// holes of a run are filled with the valid pixel before them. Pixels above 32767 count as holes.
///
/// Rows are worked on in blocks of eight and columns in groups of eight; the rows and columns that
/// are left over stay as they are in that direction.
class SpatialAdvancedFilter final : public DepthAdaptiveFilter<SpatialAdvancedParams> {
 public:
  static constexpr const char* class_name = "SpatialAdvancedFilter";

  const char* get_config_schema() override;

  /// Four values: magnitude 1 to 5, alpha 0.1 to 1, disp_diff 1 to 10000, radius 0 to 8.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;
  void print_filter_params() override;

 private:
  void smooth(uint16_t* pixels);

  std::unique_ptr<uint16_t[]> work_; ///< the kernels' work space, kept from frame to frame
  size_t work_size_ = 0;
};

} // namespace filter_processor
