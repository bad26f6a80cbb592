#include "filters/noise/EdgeNoiseRemovalFilter.h"

#include <iostream>

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

void EdgeNoiseRemovalFilter::update_filter_config(int32_t argc, const char** argv,
                                                  gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(7))
    return;
  EdgeNoiseRemovalParams params;
  params.strips = read_strips(parameters, 0);
  params.enable_vertical_direction = parameters.integer(4, "enable_vertical_direction", 0, 1) != 0;
  params.width = read_length(parameters, 5, "width", 1, 1280);
  params.height = read_length(parameters, 6, "height", 1, 1024); // more than the schema offers
  if (parameters.accepted())
    configure(params);
}

int32_t EdgeNoiseRemovalFilter::clear_strips(const EdgeStripsImage& image,
                                             const EdgeNoiseRemovalParams& params) {
  const auto& kernels = simd::kernels<EdgeStripsKernels>();
  const StripLengths& strips = params.strips;
  if (!params.enable_vertical_direction)
    return kernels.rows(image, strips.margin_x_th, strips.limit_x_th);
  return kernels.rows_and_columns(image, strips.margin_x_th, strips.margin_y_th, strips.limit_x_th,
                                  strips.limit_y_th, columns(image.width));
}

void EdgeNoiseRemovalFilter::print_params(const char* heading,
                                          const EdgeNoiseRemovalParams& params) const {
  std::cout << heading << std::endl
            << "width:            " << params.width << std::endl
            << "height:           " << params.height << std::endl
            << "enable_direction: " << params.enable_vertical_direction << std::endl
            << "limit_x_th:       " << params.strips.limit_x_th << std::endl
            << "limit_y_th:       " << params.strips.limit_y_th << std::endl
            << "margin_x_th:      " << params.strips.margin_x_th << std::endl
            << "margin_y_th:      " << params.strips.margin_y_th << std::endl;
}

} // namespace filter_processor
