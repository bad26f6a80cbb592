#pragma once

#include <vector>

#include "filters/smoothing/DepthAdaptiveFilter.h"

namespace filter_processor {

struct SpatialModerateParams {
  uint8_t radius = 5;       ///< window size, pixels; a window reaches radius / 2 each way
  uint8_t magnitude = 1;    ///< iterations
  uint16_t disp_diff = 160; ///< threshold, disparity units
};

/// Smooths by an edge-aware mean: each valid pixel becomes the mean of the valid pixels of its
/// square window that are closer to it than a threshold (or just as far, in the columns that groups
/// of eight leave over). Works in place, so that the rows above are seen already smoothed.
class SpatialModerateFilter final : public DepthAdaptiveFilter<SpatialModerateParams> {
 public:
  static constexpr const char* class_name = "SpatialModerateFilter";

  const char* get_config_schema() override;

  /// Three values: magnitude 1 to 3, disp_diff 1 to 10000, radius below 8. The radius has no lower
  /// bound; its low 8 bits are used, so that -1 stands for 255.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;

  /// Stores nothing; prints the second 16-bit number of a 4-byte configuration.
  void set_filter_config_data(const uint8_t* data, uint64_t size, gx_error** error) override;
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;
  void print_filter_params() override;

 private:
  void smooth(uint16_t* pixels);

  std::vector<uint16_t> row_buffers_; ///< kept from frame to frame
};

} // namespace filter_processor
