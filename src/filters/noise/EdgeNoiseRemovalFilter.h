#pragma once

#include <cstdint>
#include <vector>

#include "plugin/base/i_priv_filter.h"
#include "plugin/base/instance_lock.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// Removes the unreliable strip of depth at the outer boundary of the valid area: clears a fixed
/// number of pixels inward from the first and last valid pixel of each row and, optionally, each
/// column, where these lie near the image's border.
///
/// Lengths are given for an anchor size and scaled to each frame's. Keeps no image data between
/// frames. Updates and processing exclude each other by `lock`.
class EdgeNoiseRemovalFilter final : public IPrivFilter {
 public:
  static constexpr const char* class_name = "EdgeNoiseRemovalFilter";

  const char* get_config_schema() override;

  /// Seven integers in schema order. A margin above its limit is taken; frames at whose size it
  /// still is above the limit then fail, for a vertical one only if columns are worked on.
  void update_filter_config(std::int32_t argc, const char** argv, gx_error** error) override;
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;
  void reset() override;
  void print_filter_params() override;

 private:
  /// Lengths in pixels for frames of `width` x `height`. The limits are distances from the border
  /// within which a strip is cleared, the margins are the strips' lengths.
  struct Params {
    std::uint32_t margin_x_th = 6;
    std::uint32_t margin_y_th = 6;
    std::uint32_t limit_x_th = 70;
    std::uint32_t limit_y_th = 30;
    std::uint32_t width = 1280;
    std::uint32_t height = 800;
    bool enable_vertical_direction = true; // although the schema's default is off

    friend bool operator==(const Params&, const Params&) = default;
  };

  static void print(const char* heading, const Params& params);

  /// Derives the current parameters where the frame or the anchor has changed. False, with nothing
  /// changed, for a frame too small.
  bool updateConfig(FrameSize size);
  std::int32_t clear_strips(std::uint16_t* pixels, FrameSize size);

  bool config_changed = false;
  Params anchor_params;
  Params current_filter_params;
  InstanceLock lock;
  std::vector<std::int32_t> columns_; // the kernel's work memory
};

} // namespace filter_processor
