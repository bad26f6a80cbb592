#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "plugin/base/frame_info.h"
#include "plugin/base/i_priv_filter.h"
#include "plugin/base/instance_lock.h"

namespace filter_processor {

/// What speckles are, for frames of one size.
struct SpeckleParams {
  static constexpr size_t max_limits = 16;

  uint64_t width = 0;                           ///< pixels
  uint64_t height = 0;                          ///< pixels
  std::array<uint16_t, max_limits> max_sizes{}; ///< pixels; a filter may use the first only
  uint16_t min_diff = 0;                        ///< largest step within a region, disparity
  uint8_t fraction_bit_size = 8;                ///< fraction bits of min_diff

  friend bool operator==(const SpeckleParams&, const SpeckleParams&) = default;
};

/// The filters that remove small islands of pixels: all but the number of their size limits.
///
/// The parameters are given for frames of one size. Each change of them or of what frames are like
/// derives the parameters for the frame at hand: sizes scale with the frame's area, the difference
/// with its fraction bits, and for depth frames it becomes a table of depth steps. A derivation
/// that fails, with an error that is printed as the trace, is repeated at the next frame.
///
/// `lock` keeps configuring and processing apart. reset and print_filter_params take no lock: the
/// host must not call them while it processes a frame.
class SpeckleFilter : public IPrivFilter {
 public:
  /// The size limits in order, then the difference, width and height; all or none are stored.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) final;
  gx_frame* filter_process(gx_frame* frame, gx_error** error) final;
  void reset() override;
  void print_filter_params() final;

 protected:
  /// What tells the filters apart; all texts are constants.
  struct Kind {
    const char* class_name;
    const char* kernel_error;
    const char* size_key;   ///< names a refused size limit
    int largest_size;       ///< that is accepted
    bool tiled;             ///< one limit for each tile of a 4 x 4 grid, or one for all
    SpeckleParams defaults; ///< after construction and reset
  };

  explicit SpeckleFilter(const Kind& kind);
  ~SpeckleFilter() = default;

  bool config_changed = false;

 private:
  struct WorkBuffer {
    uint64_t width = 0;
    uint64_t height = 0;
    std::unique_ptr<uint8_t[]> bytes;
  };

  size_t limit_count() const { return kind_.tiled ? SpeckleParams::max_limits : 1; }
  void take_over(ProcessingFrame& call);
  void updateConfig(ProcessingFrame& call, const FrameInfo& info);
  void make_work_buffer(const FrameInfo& info);
  int32_t run_kernel(uint16_t* pixels, const D2DParameters& record);
  void print_params(const char* heading, const SpeckleParams& params) const;

  const Kind& kind_;
  InstanceLock lock;
  WorkBuffer work_buffer;
  SpeckleParams anchor_params;         ///< as configured
  SpeckleParams current_filter_params; ///< derived for `last_frame_info`
  FrameInfo current_frame_info;
  FrameInfo last_frame_info;
  DepthDiffLut depth_diff_lut;
};

} // namespace filter_processor
