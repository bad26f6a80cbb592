#pragma once

#include <cstdint>

#include "plugin/base/frame_info.h"
#include "plugin/base/instance_lock.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// What the smoothing filters with a threshold on neighbour differences know of the frames: their
/// description, the table of depth differences derived from it, and when to derive again.
///
/// The threshold is configured as a difference of disparities with `reference_fraction_bits`; on
/// depth frames it allows, at every distance, what that difference makes there.
class DepthAdaptiveFrames {
 protected:
  DepthAdaptiveFrames() = default;
  DepthAdaptiveFrames(const DepthAdaptiveFrames&) = delete;
  DepthAdaptiveFrames& operator=(const DepthAdaptiveFrames&) = delete;
  ~DepthAdaptiveFrames() = default;

  /// Before any frame; a frame of this description needs no derivation.
  static constexpr FrameInfo no_frame{.fraction_bit_size = 8};

  /// Reads the depth frame's description; to be called without `lock`.
  static FrameInfo describe(ProcessingFrame& call);

  /// Makes `info` the current description; a GX_PIXEL_TOF_DEPTH frame keeps the camera facts and
  /// the depth unit of the frame before it. True if the parameters in use have to be derived, which
  /// stays due until updateConfig has done it.
  bool follow_frame(FrameInfo info);

  /// Brings a configured difference to the frame's fraction bits and rebuilds the table with it. A
  /// failure ends the call and leaves the derivation due.
  void updateConfig(ProcessingFrame& call, uint16_t& disp_diff);

  /// Has parameters derived anew; what a GX_PIXEL_TOF_DEPTH frame keeps stays.
  void forget_frame();

  bool params_changed = false;
  FrameInfo anchor_frame_info = no_frame; ///< what the parameters in use were derived for
  FrameInfo current_frame_info = no_frame;
  DepthDiffLut depth_diff_lut;
  InstanceLock lock; ///< guards everything but reset and print
  uint8_t reference_fraction_bits = no_frame.fraction_bit_size;
};

} // namespace filter_processor
