#pragma once

#include "filters/noise/EdgeStripsFilter.h"
#include "filters/noise/chamfer_table.h"

namespace filter_processor {

/// Lengths in pixels for frames of `width` x `height`.
struct MgcNoiseRemovalParams {
  uint32_t width = 1280;
  uint32_t height = 800;
  uint32_t max_width_left = 80;
  uint32_t max_width_right = 80;
  uint32_t max_radius = 640;
  StripLengths strips{.margin_x_th = 6, .margin_y_th = 0, .limit_x_th = 120, .limit_y_th = 120};

  void scale(const SizeRatios& ratios);
  friend bool operator==(const MgcNoiseRemovalParams&, const MgcNoiseRemovalParams&) = default;
};

/// Removes the unreliable strip of depth at the outer boundary of a valid area with rounded
/// corners: the strips at the rows' ends are longest in the first row, get shorter along an arc
/// down to the middle row, and longer again. Strips at the columns' ends have a fixed length, by
/// default 0.
///
/// The table of the strips' lengths depends on the frame size only: changed parameters reach it
/// when the size changes, and a reset leaves it.
class MgcNoiseRemovalFilter final : public EdgeStripsFilter<MgcNoiseRemovalParams> {
 public:
  static constexpr const char* class_name = "MgcNoiseRemovalFilter";

  MgcNoiseRemovalFilter() : EdgeStripsFilter({class_name, "mgc noise removal filter error"}) {}

  const char* get_config_schema() override;

  /// Nine integers in schema order. A vertical margin above its limit is taken; frames at whose
  /// size it still is above the limit then fail.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;

 private:
  bool is_prepared_for(FrameSize size) const override { return chamfer_table_.is_for(size); }
  void prepare(FrameSize size, const MgcNoiseRemovalParams& params) override;
  int32_t clear_strips(const EdgeStripsImage& image, const MgcNoiseRemovalParams& params) override;
  void print_params(const char* heading, const MgcNoiseRemovalParams& params) const override;

  ChamferTable chamfer_table_;
};

} // namespace filter_processor
