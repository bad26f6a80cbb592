#include "filters/smoothing/HoleFillingFilter.h"

#include <iostream>

#include "filters/smoothing/hole_filling_kernels.h"
#include "plugin/base/parameters.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {
namespace {

enum Mode : int32_t { fill_top, fill_nearest, fill_farthest };

using Kernel = decltype(HoleFillingKernels::top);

/// Null for a mode that does not exist.
Kernel choose_kernel(int32_t mode, gx_pixel_type pixel_type) {
  const auto& kernels = simd::kernels<HoleFillingKernels>();
  const bool larger_is_nearer = pixel_type == GX_PIXEL_DISPARITY;
  switch (mode) {
  case fill_top:
    return kernels.top;
  case fill_nearest:
    return larger_is_nearer ? kernels.maximum : kernels.minimum;
  case fill_farthest:
    return larger_is_nearer ? kernels.minimum : kernels.maximum;
  default:
    return nullptr;
  }
}

} // namespace

const char* HoleFillingFilter::get_config_schema() {
  return "hole_filling_mode, integer, 0, 2, 1, 0, "
         "GX_HOLE_FILL_TOP/GX_HOLE_FILL_NEAREST/GX_HOLE_FILL_FAREST\n";
}

void HoleFillingFilter::update_filter_config(int32_t argc, const char** argv, gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(1))
    return;
  const int mode = parameters.integer(0);
  if (mode < fill_top || mode > fill_farthest)
    parameters.refuse("invalid hole filling mode params", "argv");
  else
    hole_filling_mode = mode;
}

gx_frame* HoleFillingFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  const FrameSize size = call.read_size();
  call.host(gx_frame_get_format, call.depth());
  const gx_pixel_type pixel_type = call.host(gx_video_frame_get_pixel_type, call.depth());
  uint16_t* pixels = call.copy_depth_to_output();
  if (!call.ok())
    return nullptr;

  if (const Kernel kernel = choose_kernel(hole_filling_mode, pixel_type))
    kernel(pixels, size.width, size.height);
  else
    call.warn({"invalid hole filling mode,please check the parameters", "filter_process",
               "hole filling mode"});
  return call.deliver();
}

void HoleFillingFilter::reset() {
  hole_filling_mode = fill_top;
}

void HoleFillingFilter::print_filter_params() {
  constexpr const char* names[] = {"top", "nearest", "farest"};
  if (hole_filling_mode >= fill_top && hole_filling_mode <= fill_farthest)
    std::cout << "hole filling mode: " << names[hole_filling_mode] << std::endl;
}

} // namespace filter_processor
