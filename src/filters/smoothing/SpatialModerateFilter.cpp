#include "filters/smoothing/SpatialModerateFilter.h"

#include <cstring>
#include <iostream>
#include <limits>

#include "filters/smoothing/spatial_moderate_kernels.h"
#include "plugin/base/parameters.h"

namespace filter_processor {
namespace {

/// The 8-bit parameters print as the characters of those codes.
void print_params(const char* heading, const SpatialModerateParams& params) {
  std::cout << heading << std::endl
            << "disp_diff: " << params.disp_diff << "\n"
            << "magnitude: " << params.magnitude << "\n"
            << "radius:    " << params.radius << std::endl;
}

} // namespace

const char* SpatialModerateFilter::get_config_schema() {
  return "magnitude, integer, 1, 3, 1, 1, number of filtering iterations\n"
         "disp_diff, integer, 1, 10000, 1, 160, threshold for non-edge transitions\n"
         "radius, integer, 3, 7, 2, 5, window size";
}

void SpatialModerateFilter::update_filter_config(int32_t argc, const char** argv,
                                                 gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(3))
    return;
  const int magnitude = parameters.integer(0, "magnitude", 1, 3);
  const int disp_diff = parameters.integer(1, "disp_diff", 1, 10000);
  const int radius = parameters.integer(2, "radius", std::numeric_limits<int>::min(), 7);
  if (!parameters.accepted())
    return;
  configure({static_cast<uint8_t>(radius), static_cast<uint8_t>(magnitude),
             static_cast<uint16_t>(disp_diff)},
            [&] {
              // The radius is compared wider than it is stored: one below 0 always counts as a
              // change.
              return magnitude != anchor_params.magnitude || disp_diff != anchor_params.disp_diff ||
                     static_cast<uint16_t>(radius) != anchor_params.radius;
            });
}

void SpatialModerateFilter::set_filter_config_data(const uint8_t* data, uint64_t size,
                                                   gx_error** /*error*/) {
  uint16_t values[2];
  if (data == nullptr || size != sizeof values)
    return;
  std::memcpy(values, data, sizeof values);
  std::cout << "pa: " << values[1] << "\n";
}

gx_frame* SpatialModerateFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  const FrameInfo info = describe(call);
  if (!call.ok())
    return nullptr;
  const std::lock_guard guard(lock);
  take_over(call, info);
  uint16_t* pixels = call.copy_depth_to_output();
  if (call.ok())
    smooth(pixels);
  return call.deliver();
}

void SpatialModerateFilter::smooth(uint16_t* pixels) {
  const auto width = static_cast<uint32_t>(current_frame_info.width);
  const auto height = static_cast<uint32_t>(current_frame_info.height);
  row_buffers_.resize(SpatialModerateKernels::row_buffers * size_t{width});
  const SmoothingWindow window{pixels,
                               width,
                               height,
                               current_filter_params.radius / 2U,
                               current_filter_params.magnitude,
                               row_buffers_.data()};
  const auto& kernels = simd::kernels<SpatialModerateKernels>();
  if (current_frame_info.depth_flag == GX_PIXEL_DISPARITY)
    kernels.fixed(window, current_filter_params.disp_diff);
  else
    kernels.table(window, depth_diff_lut.entries.data(), depth_diff_lut.shift);
}

void SpatialModerateFilter::print_filter_params() {
  print_params("anchor_params: ", anchor_params);
  print_params("current_filter_params: ", current_filter_params);
  print_frame_info(current_frame_info);
  print_depth_diff_lut(depth_diff_lut);
  std::cout << "depth_shift: " << depth_diff_lut.shift << std::endl;
}

} // namespace filter_processor
