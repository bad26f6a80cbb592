#include "filters/noise/MgcNoiseRemovalFilter.h"

#include <iostream>

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

void MgcNoiseRemovalFilter::update_filter_config(int32_t argc, const char** argv,
                                                 gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(9))
    return;
  const auto length = [&](int32_t index, const char* key, int min, int max) {
    return read_length(parameters, index, key, min, max);
  };
  MgcNoiseRemovalParams params;
  params.max_width_left = length(0, "max_width_left", 0, 640);
  params.max_width_right = length(1, "max_width_right", 0, 640);
  params.max_radius = length(2, "max_radius", 0, 640);
  params.strips = read_strips(parameters, 3);
  params.width = length(7, "width", 1, 1280);
  params.height = length(8, "height", 1, 1024); // more than the schema offers
  if (parameters.accepted())
    configure(params);
}

void MgcNoiseRemovalParams::scale(const SizeRatios& ratios) {
  max_width_left = scaled(max_width_left, ratios.x);
  max_width_right = scaled(max_width_right, ratios.x);
  max_radius = scaled(max_radius, ratios.x);
  strips.scale(ratios);
}

void MgcNoiseRemovalFilter::prepare(FrameSize size, const MgcNoiseRemovalParams& params) {
  chamfer_table_.build(size, {.left = params.max_width_left,
                              .right = params.max_width_right,
                              .margin = params.strips.margin_x_th,
                              .radius = params.max_radius});
}

int32_t MgcNoiseRemovalFilter::clear_strips(const EdgeStripsImage& image,
                                            const MgcNoiseRemovalParams& params) {
  return simd::kernels<EdgeStripsKernels>().chamfered_rows_and_columns(
      image, params.strips.margin_y_th, params.strips.limit_x_th, params.strips.limit_y_th,
      chamfer_table_.entries(), columns(image.width));
}

void MgcNoiseRemovalFilter::print_params(const char* heading,
                                         const MgcNoiseRemovalParams& params) const {
  std::cout << heading << std::endl
            << "width:            " << params.width << std::endl
            << "height:           " << params.height << std::endl
            << "max_width_left:   " << params.max_width_left << std::endl
            << "max_width_right:  " << params.max_width_right << std::endl
            << "max_radius:       " << params.max_radius << std::endl
            << "limit_x_th:       " << params.strips.limit_x_th << std::endl
            << "limit_y_th:       " << params.strips.limit_y_th << std::endl
            << "margin_x_th:      " << params.strips.margin_x_th << std::endl
            << "margin_y_th:      " << params.strips.margin_y_th << std::endl;
}

} // namespace filter_processor
