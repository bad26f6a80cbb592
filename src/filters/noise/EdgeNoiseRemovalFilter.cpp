#include "filters/noise/EdgeNoiseRemovalFilter.h"

#include <iostream>

#include "filters/noise/edge_strips_kernels.h"
#include "filters/noise/size_ratios.h"
#include "plugin/base/parameters.h"

namespace filter_processor {

const char* EdgeNoiseRemovalFilter::get_config_schema() {
  return "margin_x_th, integer, 0, 640, 1, 6, Horizontal threshold settings \n"
         "margin_y_th, integer, 0, 400, 1, 6, Vertical threshold settings\n"
         "limit_x_th, integer, 1, 640, 1, 70, Maximum horizontal threshold\n"
         "limit_y_th, integer, 1, 400, 1, 30, Maximum vertical threshold\n"
         "enable_vertical_direction, bool, 0, 1, 1, 0, whether vertical threshold is enable or "
         "not\n"
         "width, integer, 1, 1280, 1, 1280, depth map width of the above parameters corresponded\n"
         "height, integer, 1, 800, 1, 800, depth map height of the above parameters corresponded";
}

void EdgeNoiseRemovalFilter::update_filter_config(std::int32_t argc, const char** argv,
                                                  gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(7))
    return;
  const auto length = [&](std::int32_t index, const char* key, int min, int max) {
    return static_cast<std::uint16_t>(parameters.integer(index, key, min, max));
  };
  Params params;
  params.margin_x_th = length(0, "margin_x_th", 0, 640);
  params.margin_y_th = length(1, "margin_y_th", 0, 400);
  params.limit_x_th = length(2, "limit_x_th", 1, 640);
  params.limit_y_th = length(3, "limit_y_th", 1, 400);
  params.enable_vertical_direction = parameters.integer(4, "enable_vertical_direction", 0, 1) != 0;
  params.width = length(5, "width", 1, 1280);
  params.height = length(6, "height", 1, 1024); // more than the schema offers
  if (!parameters.accepted())
    return;

  lock.update([&] { return params != anchor_params; },
              [&] {
                anchor_params = params;
                config_changed = true;
              });
}

gx_frame* EdgeNoiseRemovalFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  const FrameSize size = call.read_size();
  if (!call.ok())
    return nullptr;
  const std::lock_guard guard(lock);
  if (!updateConfig(size))
    call.fail_traced({"invalid params", "updateConfig", "width||height"});
  std::uint16_t* pixels = call.copy_depth_to_output();
  if (call.ok() && clear_strips(pixels, size) != 0)
    call.fail_kernel("edge noise removal filter error", class_name);
  return call.deliver();
}

bool EdgeNoiseRemovalFilter::updateConfig(FrameSize size) {
  if (!config_changed &&
      size == FrameSize{current_filter_params.width, current_filter_params.height})
    return true;
  if (size.width == 0 || size.height == 0)
    return false;
  Params params = anchor_params;
  const FrameSize anchor{params.width, params.height};
  if (size != anchor) {
    const SizeRatios ratios(size, anchor);
    if (!ratios.usable())
      return false;
    params.margin_x_th = scaled(params.margin_x_th, ratios.x);
    params.limit_x_th = scaled(params.limit_x_th, ratios.x);
    params.margin_y_th = scaled(params.margin_y_th, ratios.y);
    params.limit_y_th = scaled(params.limit_y_th, ratios.y);
    params.width = size.width;
    params.height = size.height;
  }
  current_filter_params = params;
  config_changed = false;
  return true;
}

std::int32_t EdgeNoiseRemovalFilter::clear_strips(std::uint16_t* pixels, FrameSize size) {
  const auto& kernels = simd::kernels<EdgeStripsKernels>();
  const Params& params = current_filter_params;
  const EdgeStripsImage image{pixels, size.width, size.height};
  if (!params.enable_vertical_direction)
    return kernels.rows(image, params.margin_x_th, params.limit_x_th);
  columns_.resize(std::size_t{2} * size.width);
  return kernels.rows_and_columns(image, params.margin_x_th, params.margin_y_th, params.limit_x_th,
                                  params.limit_y_th, columns_.data());
}

void EdgeNoiseRemovalFilter::reset() {
  anchor_params = Params{};
  current_filter_params = anchor_params;
  config_changed = false;
}

void EdgeNoiseRemovalFilter::print(const char* heading, const Params& params) {
  std::cout << heading << std::endl
            << "width:            " << params.width << std::endl
            << "height:           " << params.height << std::endl
            << "enable_direction: " << params.enable_vertical_direction << std::endl
            << "limit_x_th:       " << params.limit_x_th << std::endl
            << "limit_y_th:       " << params.limit_y_th << std::endl
            << "margin_x_th:      " << params.margin_x_th << std::endl
            << "margin_y_th:      " << params.margin_y_th << std::endl;
}

void EdgeNoiseRemovalFilter::print_filter_params() {
  print("anchor_params: ", anchor_params);
  print("current_filter_params: ", current_filter_params);
}

} // namespace filter_processor
