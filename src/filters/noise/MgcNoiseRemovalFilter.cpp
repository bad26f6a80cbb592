#include "filters/noise/MgcNoiseRemovalFilter.h"

#include <iostream>

#include "filters/noise/edge_strips_kernels.h"
#include "filters/noise/size_ratios.h"
#include "plugin/base/parameters.h"

namespace filter_processor {

const char* MgcNoiseRemovalFilter::get_config_schema() {
  return "max_width_left, integer, 0, 640, 1, 80, Left chamfer threshold settings \n"
         "max_width_right, integer, 0, 640, 1, 80, Rigth chamfer threshold settings \n"
         "max_radius, integer, 0, 640, 1, 640, Chamfer radius threshold settings \n"
         "margin_x_th, integer, 0, 640, 1, 6, Horizontal threshold settings \n"
         "margin_y_th, integer, 0, 400, 1, 0, Vertical threshold settings\n"
         "limit_x_th, integer, 1, 640, 1, 120, Maximum horizontal threshold\n"
         "limit_y_th, integer, 1, 400, 1, 120, Maximum vertical threshold\n"
         "width, integer, 1, 1280, 1, 1280, depth map width of the above parameters corresponded\n"
         "height, integer, 1, 800, 1, 800, depth map height of the above parameters "
         "corresponded\n";
}

void MgcNoiseRemovalFilter::update_filter_config(std::int32_t argc, const char** argv,
                                                 gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(9))
    return;
  const auto length = [&](std::int32_t index, const char* key, int min, int max) {
    return static_cast<std::uint16_t>(parameters.integer(index, key, min, max));
  };
  Params params;
  params.max_width_left = length(0, "max_width_left", 0, 640);
  params.max_width_right = length(1, "max_width_right", 0, 640);
  params.max_radius = length(2, "max_radius", 0, 640);
  params.margin_x_th = length(3, "margin_x_th", 0, 640);
  params.margin_y_th = length(4, "margin_y_th", 0, 400);
  params.limit_x_th = length(5, "limit_x_th", 1, 640);
  params.limit_y_th = length(6, "limit_y_th", 1, 400);
  params.width = length(7, "width", 1, 1280);
  params.height = length(8, "height", 1, 1024); // more than the schema offers
  if (!parameters.accepted())
    return;

  lock.update([&] { return params != anchor_params; },
              [&] {
                anchor_params = params;
                config_changed = true;
              });
}

gx_frame* MgcNoiseRemovalFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  const FrameSize size = call.read_size();
  if (!call.ok())
    return nullptr;
  const std::lock_guard guard(lock);
  if (!updateConfig(size))
    call.fail_traced({"invalid params", "updateConfig", "width||height"});
  std::uint16_t* pixels = call.copy_depth_to_output();
  if (call.ok() && clear_strips(pixels, size) != 0)
    call.fail_kernel("mgc noise removal filter error", class_name);
  return call.deliver();
}

bool MgcNoiseRemovalFilter::updateConfig(FrameSize size) {
  const FrameSize current{current_filter_params.width, current_filter_params.height};
  if (!config_changed && size == current && chamfer_table_.is_for(size))
    return true;
  if (size.width == 0 || size.height == 0)
    return false;
  Params params = anchor_params;
  const FrameSize anchor{params.width, params.height};
  const SizeRatios ratios(size, anchor);
  // The table comes first: it is replaced even for a frame that is refused below.
  if (!chamfer_table_.is_for(size)) {
    chamfer_table_.build(size, {.left = scaled(params.max_width_left, ratios.x),
                                .right = scaled(params.max_width_right, ratios.x),
                                .margin = scaled(params.margin_x_th, ratios.x),
                                .radius = scaled(params.max_radius, ratios.x)});
  }
  if (size != anchor) {
    if (!ratios.usable())
      return false;
    params.width = size.width;
    params.height = size.height;
    params.max_width_left = scaled(params.max_width_left, ratios.x);
    params.max_width_right = scaled(params.max_width_right, ratios.x);
    params.max_radius = scaled(params.max_radius, ratios.x);
    params.margin_x_th = scaled(params.margin_x_th, ratios.x);
    params.limit_x_th = scaled(params.limit_x_th, ratios.x);
    params.margin_y_th = scaled(params.margin_y_th, ratios.y);
    params.limit_y_th = scaled(params.limit_y_th, ratios.y);
  }
  current_filter_params = params;
  config_changed = false;
  return true;
}

std::int32_t MgcNoiseRemovalFilter::clear_strips(std::uint16_t* pixels, FrameSize size) {
  const Params& params = current_filter_params;
  columns_.resize(std::size_t{2} * size.width);
  return simd::kernels<EdgeStripsKernels>().chamfered_rows_and_columns(
      {pixels, size.width, size.height}, params.margin_y_th, params.limit_x_th, params.limit_y_th,
      chamfer_table_.entries(), columns_.data());
}

void MgcNoiseRemovalFilter::reset() {
  anchor_params = Params{};
  current_filter_params = anchor_params;
  config_changed = false;
}

void MgcNoiseRemovalFilter::print(const char* heading, const Params& params) {
  std::cout << heading << std::endl
            << "width:            " << params.width << std::endl
            << "height:           " << params.height << std::endl
            << "max_width_left:   " << params.max_width_left << std::endl
            << "max_width_right:  " << params.max_width_right << std::endl
            << "max_radius:       " << params.max_radius << std::endl
            << "limit_x_th:       " << params.limit_x_th << std::endl
            << "limit_y_th:       " << params.limit_y_th << std::endl
            << "margin_x_th:      " << params.margin_x_th << std::endl
            << "margin_y_th:      " << params.margin_y_th << std::endl;
}

void MgcNoiseRemovalFilter::print_filter_params() {
  print("anchor_params: ", anchor_params);
  print("current_filter_params: ", current_filter_params);
}

} // namespace filter_processor
