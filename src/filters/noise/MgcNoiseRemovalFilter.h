#pragma once

#include <cstdint>
#include <vector>

#include "filters/noise/chamfer_table.h"
#include "plugin/base/i_priv_filter.h"
#include "plugin/base/instance_lock.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// Removes the unreliable strip of depth at the outer boundary of a valid area with rounded
/// corners: the strips at the rows' ends are longest in the first row, get shorter along an arc
/// down to the middle row, and longer again. Strips at the columns' ends have a fixed length, by
/// default 0.
///
/// Lengths are given for an anchor size and scaled to each frame's. The table of the strips'
/// lengths depends on the frame size only: changed parameters reach it when the size changes, and a
/// reset leaves it. Keeps no image data between frames. Updates and processing exclude each other
/// by `lock`.
class MgcNoiseRemovalFilter final : public IPrivFilter {
 public:
  static constexpr const char* class_name = "MgcNoiseRemovalFilter";

  const char* get_config_schema() override;

  /// Nine integers in schema order. A vertical margin above its limit is taken; frames at whose
  /// size it still is above the limit then fail.
  void update_filter_config(std::int32_t argc, const char** argv, gx_error** error) override;
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;
  void reset() override;
  void print_filter_params() override;

 private:
  /// Lengths in pixels for frames of `width` x `height`. The limits are distances from the border
  /// within which strips are cleared.
  struct Params {
    std::uint32_t width = 1280;
    std::uint32_t height = 800;
    std::uint32_t max_width_left = 80;
    std::uint32_t max_width_right = 80;
    std::uint32_t max_radius = 640;
    std::uint32_t margin_x_th = 6;
    std::uint32_t margin_y_th = 0;
    std::uint32_t limit_x_th = 120;
    std::uint32_t limit_y_th = 120;

    friend bool operator==(const Params&, const Params&) = default;
  };

  static void print(const char* heading, const Params& params);

  /// Derives table and current parameters where the frame or the anchor has changed. False, with
  /// the current parameters unchanged, for a frame too small.
  bool updateConfig(FrameSize size);
  std::int32_t clear_strips(std::uint16_t* pixels, FrameSize size);

  bool config_changed = false;
  Params anchor_params;
  Params current_filter_params;
  InstanceLock lock;
  ChamferTable chamfer_table_;
  std::vector<std::int32_t> columns_; // the kernel's work memory
};

} // namespace filter_processor
