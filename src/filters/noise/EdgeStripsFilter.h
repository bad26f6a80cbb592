#pragma once

#include <cstdint>
#include <vector>

#include "filters/noise/edge_strips_kernels.h"
#include "filters/noise/size_ratios.h"
#include "plugin/base/i_priv_filter.h"
#include "plugin/base/instance_lock.h"
#include "plugin/base/parameters.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// What both filters' parameters have in common, in pixels. The margins are the strips' lengths,
/// the limits are distances from the border within which strips are cleared.
struct StripLengths {
  uint32_t margin_x_th, margin_y_th, limit_x_th, limit_y_th;

  void scale(const SizeRatios& ratios) {
    margin_x_th = scaled(margin_x_th, ratios.x);
    limit_x_th = scaled(limit_x_th, ratios.x);
    margin_y_th = scaled(margin_y_th, ratios.y);
    limit_y_th = scaled(limit_y_th, ratios.y);
  }

  friend bool operator==(const StripLengths&, const StripLengths&) = default;
};

/// The filters that clear strips along the border of the valid area: all but the strips' shape.
///
/// Lengths are given for an anchor size and scaled to each frame's. Keeps no image data between
/// frames. Updates and processing exclude each other by `lock`.
///
/// `Params` is a record with the defaults, a size (`width`, `height`) for which its lengths hold,
/// equality, and `scale(ratios)` for the lengths.
template <typename Params>
class EdgeStripsFilter : public IPrivFilter {
 public:
  gx_frame* filter_process(gx_frame* frame, gx_error** error) final;

  void reset() final {
    anchor_params = Params{};
    current_filter_params = anchor_params;
    config_changed = false;
  }

  void print_filter_params() final {
    print_params("anchor_params: ", anchor_params);
    print_params("current_filter_params: ", current_filter_params);
  }

 protected:
  /// What tells the filters apart; both texts are constants.
  struct Kind {
    const char* class_name;
    const char* kernel_error;
  };

  explicit EdgeStripsFilter(const Kind& kind) : kind_(kind) {}
  ~EdgeStripsFilter() = default;

  /// A parameter in pixels, cut to 16 bits.
  static uint32_t read_length(Parameters& parameters, int32_t index, const char* key, int min,
                              int max) {
    return static_cast<uint16_t>(parameters.integer(index, key, min, max));
  }

  /// The four lengths of strips, the first of which is parameter `first`.
  static StripLengths read_strips(Parameters& parameters, int32_t first) {
    return {.margin_x_th = read_length(parameters, first, "margin_x_th", 0, 640),
            .margin_y_th = read_length(parameters, first + 1, "margin_y_th", 0, 400),
            .limit_x_th = read_length(parameters, first + 2, "limit_x_th", 1, 640),
            .limit_y_th = read_length(parameters, first + 3, "limit_y_th", 1, 400)};
  }

  /// New parameters, in use from the next frame that takes `lock`, unless they are those that are
  /// configured.
  void configure(const Params& params) {
    lock.update([&] { return params != anchor_params; },
                [&] {
                  anchor_params = params;
                  config_changed = true;
                });
  }

  /// The kernels' work memory for an image of that width; may throw std::bad_alloc.
  EdgeStripsColumns columns(uint32_t width) {
    columns_.resize(size_t{2} * width);
    return columns_.data();
  }

  /// Whether what `prepare` made holds for frames of that size.
  virtual bool is_prepared_for(FrameSize /*size*/) const { return true; }

  /// Makes what depends on the size of frames besides the lengths, from those scaled to that size;
  /// called even for a frame that turns out to be too small.
  virtual void prepare(FrameSize /*size*/, const Params& /*params*/) {}

  /// Runs the kernel and returns its status.
  virtual int32_t clear_strips(const EdgeStripsImage& image, const Params& params) = 0;

  virtual void print_params(const char* heading, const Params& params) const = 0;

 private:
  /// Derives the parameters in use if the configuration or the frame's size has changed. Requires
  /// `lock`.
  void take_over(ProcessingFrame& call, FrameSize size);

  /// False, with the current parameters unchanged, for a frame too small.
  bool updateConfig(FrameSize size);

  Kind kind_;
  bool config_changed = false;
  Params anchor_params;         ///< as configured
  Params current_filter_params; ///< derived for the frame before
  InstanceLock lock;
  std::vector<int32_t> columns_;
};

template <typename Params>
gx_frame* EdgeStripsFilter<Params>::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(kind_.class_name, frame, error);
  const FrameSize size = call.read_size();
  if (!call.ok())
    return nullptr;
  const std::lock_guard guard(lock);
  take_over(call, size);
  uint16_t* pixels = call.copy_depth_to_output();
  if (call.ok() && clear_strips({pixels, size.width, size.height}, current_filter_params) != 0)
    call.fail_kernel(kind_.kernel_error, kind_.class_name);
  return call.deliver();
}

template <typename Params>
void EdgeStripsFilter<Params>::take_over(ProcessingFrame& call, FrameSize size) {
  const FrameSize current{current_filter_params.width, current_filter_params.height};
  if (!config_changed && size == current && is_prepared_for(size))
    return;
  if (!updateConfig(size))
    call.fail_traced(invalid_params("width||height"));
}

template <typename Params>
bool EdgeStripsFilter<Params>::updateConfig(FrameSize size) {
  if (size.width == 0 || size.height == 0)
    return false;
  Params params = anchor_params;
  const SizeRatios ratios(size, {params.width, params.height});
  params.scale(ratios); // by exactly 1 for frames of the anchor's size: lengths have 16 bits
  params.width = size.width;
  params.height = size.height;
  if (!is_prepared_for(size))
    prepare(size, params);
  if (!ratios.usable())
    return false;
  current_filter_params = params;
  config_changed = false;
  return true;
}

} // namespace filter_processor
