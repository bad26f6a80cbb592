#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "filters/noise/false_positive/config.h"
#include "filters/noise/false_positive/workspace.h"
#include "plugin/base/i_priv_filter.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// Removes false depth: small regions always; and, each behind its own switch, depth that bleeds
/// along object edges, depth of low-texture regions and depth of repetitive patterns.
///
/// It is configured by nineteen parameter strings or by a blob, the whole record after one byte
/// that is ignored. The record is valid for the reference size it names, and frames are processed
/// with a copy scaled to theirs. That copy is renewed when the frame size changes or an update of
/// the parameters was accepted; a blob alone waits for either.
///
/// update_filter_config, set_filter_config_data and filter_process may be called from any thread;
/// reset and print_filter_params take no lock.
class FalsePositiveFilter final : public IPrivFilter {
 public:
  static constexpr const char* class_name = "FalsePositiveFilter";

  FalsePositiveFilter();

  const char* get_config_schema() override;

  /// Switches of 0 or 1, ratios of 0 to 1, sizes of 1 to 65535. Throws std::invalid_argument or
  /// std::out_of_range for text that is no such number.
  void update_filter_config(int32_t argc, const char** argv, gx_error** error) override;

  /// A blob of 290 bytes. On failure nothing changes.
  void set_filter_config_data(const uint8_t* data, uint64_t size, gx_error** error) override;
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override;

  /// Restores what update_filter_config sets and forgets an update that no frame has seen yet; all
  /// else stays.
  void reset() override;
  void print_filter_params() override;

 private:
  /// Derives what frames of this size are processed with, where they, or the configuration, have
  /// changed. Requires `lock`.
  void take_over(ProcessingFrame& call, FrameSize size);

  /// Renews the current parameters and the workspace for frames of this size. Fails the call, and
  /// leaves the filter to try again with the next frame, for a size that cannot be scaled to.
  void update_all_config_and_initial(ProcessingFrame& call, FrameSize size);

  /// The parameters to use for frames of this size, if it can be scaled to.
  std::optional<FalsePositiveConfig> params_for(FrameSize size) const;

  std::recursive_mutex lock; // guards all that follows
  FalsePositiveConfig anchor_params;
  FalsePositiveConfig current_filter_params = zero_config(); // of the last take-over
  std::unique_ptr<FalsePositiveWorkspace> detection_workspace;
  uint16_t initialized_width = 0; // the frame size of the last take-over
  uint16_t initialized_height = 0;
  bool initialized = false; // whether current parameters and workspace fit frames of that size
  bool params_changed = false;
};

} // namespace filter_processor
