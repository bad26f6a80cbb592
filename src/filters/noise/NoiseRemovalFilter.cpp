#include "filters/noise/NoiseRemovalFilter.h"

namespace filter_processor {

NoiseRemovalFilter::NoiseRemovalFilter() : SpeckleFilter(kind) {}

constinit const SpeckleFilter::Kind NoiseRemovalFilter::kind = {
    .class_name = class_name,
    .kernel_error = "noise removal filter error",
    .size_key = "max_size",
    .largest_size = 1000,
    .tiled = false,
    .defaults = {.width = 848, .height = 480, .max_sizes = {80}, .min_diff = 256},
};

const char* NoiseRemovalFilter::get_config_schema() {
  return "max_size, integer, 1, 1000, 1, 80, Max size of noise pixels\n"
         "min_diff, integer, 1, 10000, 1, 256, difference threshold between neighbor pixels\n"
         "width, integer, 1, 1280, 1, 848, depth map width of the above 2 parameters corresponded\n"
         "height, integer, 1, 1024, 1, 480, depth map height of the above 2 parameters "
         "corresponded";
}

} // namespace filter_processor
