#include "filters/smoothing/SpatialAdvancedFilter.h"

#include <iostream>

#include "filters/smoothing/spatial_advanced_kernels.h"
#include "plugin/base/parameters.h"
#include "plugin/base/uninitialized.h"

namespace filter_processor {
namespace {

/// The magnitude, of 8 bits, prints as the character of that code.
void print_params(const char* heading, const SpatialAdvancedParams& params) {
  std::cout << heading << std::endl
            << "alpha:     " << params.alpha << "\n"
            << "disp_diff: " << params.disp_diff << "\n"
            << "magnitude: " << params.magnitude << "\n"
            << "radius:    " << params.radius << std::endl;
}

} // namespace

const char* SpatialAdvancedFilter::get_config_schema() {
  return "magnitude, integer, 1, 5, 1, 1, number of filtering iterations\n"
         "alpha, float, 0.1, 1, 0.01, 0.5, weight for the current pixel value\n"
         "disp_diff, integer, 1, 10000, 1, 160, threshold for non-edge transitions\n"
         "radius, integer, 0, 8, 1, 1, radius of holes in depth image to be filled";
}

void SpatialAdvancedFilter::update_filter_config(int32_t argc, const char** argv,
                                                 gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(4))
    return;
  const int magnitude = parameters.integer(0, "magnitude", 1, 5);
  const auto alpha = static_cast<float>(parameters.real(1));
  parameters.in_range("alpha", alpha, 0.1F, 1.0F);
  const int disp_diff = parameters.integer(2, "disp_diff", 1, 10000);
  const int radius = parameters.integer(3, "radius", 0, 8);
  if (!parameters.accepted())
    return;
  const SpatialAdvancedParams params{static_cast<uint8_t>(magnitude), alpha,
                                     static_cast<uint16_t>(disp_diff),
                                     static_cast<uint16_t>(radius)};
  configure(params, [&] { return params != anchor_params; });
}

gx_frame* SpatialAdvancedFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  const FrameInfo info = describe(call);
  if (!call.ok())
    return nullptr;
  const std::lock_guard guard(lock);
  take_over(call, info);
  uint16_t* pixels = call.copy_depth_to_output();
  if (pixels == nullptr) // of a host that breaks its promise, too
    call.fail_kernel("spatial advanced filter error", "SpatialaDvancedFilter");
  if (call.ok())
    smooth(pixels);
  return call.deliver();
}

void SpatialAdvancedFilter::smooth(uint16_t* pixels) {
  const SpatialAdvancedParams& params = current_filter_params;
  // 16 bits of each: rows of a wider frame are taken to be that much shorter.
  const auto width = static_cast<uint16_t>(current_frame_info.width);
  const auto height = static_cast<uint16_t>(current_frame_info.height);
  const auto radius = static_cast<uint8_t>(params.radius);
  const size_t needed = SpatialAdvancedKernels::work_size(width, height);
  if (needed > work_size_) {
    work_ = make_uninitialized<uint16_t>(needed);
    work_size_ = needed;
  }
  const PixelGrid image{pixels, width, height};
  const auto& kernels = simd::kernels<SpatialAdvancedKernels>();
  if (current_frame_info.depth_flag == GX_PIXEL_DISPARITY)
    // One round on disparity frames, whatever the magnitude.
    kernels.fixed(image, params.disp_diff, radius, work_.get());
  else
    kernels.table(image, depth_diff_lut.entries.data(), radius, params.magnitude, work_.get());
}

void SpatialAdvancedFilter::print_filter_params() {
  print_params("anchor_params: ", anchor_params);
  print_params("current_filter_params: ", current_filter_params);
  print_frame_info(current_frame_info);
  print_depth_diff_lut(depth_diff_lut);
}

} // namespace filter_processor
