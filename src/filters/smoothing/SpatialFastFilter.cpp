#include "filters/smoothing/SpatialFastFilter.h"

#include <iostream>

#include "filters/smoothing/spatial_fast_kernels.h"
#include "plugin/base/parameters.h"

namespace filter_processor {
namespace {

/// Null for a window side without kernel.
SpatialFastKernels::Filter choose_kernel(uint8_t side) {
  const auto& kernels = simd::kernels<SpatialFastKernels>();
  switch (side) {
  case 3:
    return kernels.median_3x3;
  case 5:
    return kernels.median_5x5;
  default:
    return nullptr;
  }
}

} // namespace

const char* SpatialFastFilter::get_config_schema() {
  return "radius, integer, 3, 5, 2, 3, window size";
}

void SpatialFastFilter::update_filter_config(int32_t argc, const char** argv, gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(1))
    return;
  const int radius = parameters.integer(0);
  if (radius != 3 && radius != 5) {
    parameters.refuse_value("radius");
    return;
  }
  lock.update([&] { return radius != anchor_params.radius; },
              [&] {
                anchor_params.radius = static_cast<uint8_t>(radius);
                params_changed = true;
              });
}

void SpatialFastFilter::take_over(ProcessingFrame& call, FrameSize size) {
  current_frame_info = size;
  if (current_frame_info != anchor_frame_info || params_changed)
    updateConfig(call);
}

/// A frame without pixels fails, and so does the next one: the change counts as taken over only
/// with a valid size.
void SpatialFastFilter::updateConfig(ProcessingFrame& call) {
  current_filter_params = anchor_params;
  if (current_frame_info.width == 0 || current_frame_info.height == 0) {
    call.fail_traced(invalid_params("frame_info.width||frame_info.height"));
    return;
  }
  anchor_frame_info = current_frame_info;
  params_changed = false;
}

gx_frame* SpatialFastFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  call.host(gx_frame_get_format, call.depth());
  const FrameSize size = call.read_size();
  if (!call.ok())
    return nullptr;

  const std::lock_guard guard(lock);
  take_over(call, size);
  uint16_t* output = call.copy_depth_to_output();
  const auto* input = reinterpret_cast<const uint16_t*>(call.host(gx_frame_get_data, call.depth()));
  if (!call.ok())
    return nullptr;

  if (const auto kernel = choose_kernel(current_filter_params.radius))
    kernel(input, output, size.width, size.height);
  else
    call.fail_kernel("spatial fast filter error", class_name);
  return call.deliver();
}

void SpatialFastFilter::reset() {
  anchor_params.radius = default_radius;
  current_filter_params.radius = default_radius;
  anchor_frame_info = {};
}

void SpatialFastFilter::print_filter_params() {
  // The radii are 8-bit numbers, which the stream writes as raw characters.
  std::cout << "anchor_params: " << std::endl
            << "radius:    " << anchor_params.radius << std::endl
            << "current_filter_params: " << std::endl
            << "radius:    " << current_filter_params.radius << std::endl
            << "current_frame_info: " << std::endl
            << "width:      " << current_frame_info.width << "\n"
            << "height:     " << current_frame_info.height << std::endl;
}

} // namespace filter_processor
