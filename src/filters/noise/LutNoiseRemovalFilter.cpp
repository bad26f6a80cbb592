#include "filters/noise/LutNoiseRemovalFilter.h"

namespace filter_processor {

/// The bounds and the default of min_diff differ from the schema's on purpose.
constinit const SpeckleFilter::Kind LutNoiseRemovalFilter::kind = {
    .class_name = class_name,
    .kernel_error = "lut noise removal filter error",
    .size_key = "max_lut",
    .largest_size = 10000,
    .tiled = true,
    .defaults = {.width = 1280,
                 .height = 800,
                 .max_sizes = {1920, 1920, 1920, 1920, 1920, 200, 200, 1920, 800, 200, 200, 800,
                               800, 800, 800, 800},
                 .min_diff = 192},
};

LutNoiseRemovalFilter::LutNoiseRemovalFilter() : SpeckleFilter(kind) {}

const char* LutNoiseRemovalFilter::get_config_schema() {
  return "max_lut_0, integer, 1, 2000, 1, 1920, Lut0 max size of noise pixels\n"
         "max_lut_1, integer, 1, 2000, 1, 1920, Lut1 max size of noise pixels\n"
         "max_lut_2, integer, 1, 2000, 1, 1920, Lut2 max size of noise pixels\n"
         "max_lut_3, integer, 1, 2000, 1, 1920, Lut3 max size of noise pixels\n"
         "max_lut_4, integer, 1, 2000, 1, 1920, Lut4 max size of noise pixels\n"
         "max_lut_5, integer, 1, 2000, 1, 200, Lut5 max size of noise pixels\n"
         "max_lut_6, integer, 1, 2000, 1, 200, Lut6 max size of noise pixels\n"
         "max_lut_7, integer, 1, 2000, 1, 1920, Lut7 max size of noise pixels\n"
         "max_lut_8, integer, 1, 2000, 1, 800, Lut8 max size of noise pixels\n"
         "max_lut_9, integer, 1, 2000, 1, 200, Lut9 max size of noise pixels\n"
         "max_lut_10, integer, 1, 2000, 1, 200, Lut10 max size of noise pixels\n"
         "max_lut_11, integer, 1, 2000, 1, 800, Lut11 max size of noise pixels\n"
         "max_lut_12, integer, 1, 2000, 1, 800, Lut12 max size of noise pixels\n"
         "max_lut_13, integer, 1, 2000, 1, 800, Lut13 max size of noise pixels\n"
         "max_lut_14, integer, 1, 2000, 1, 800, Lut14 max size of noise pixels\n"
         "max_lut_15, integer, 1, 2000, 1, 800, Lut15 max size of noise pixels\n"
         "min_diff, integer, 1, 10000, 1, 256, difference threshold between neighbor pixels\n"
         "width, integer, 1, 1280, 1, 1280, depth map width of the above 2 parameters "
         "corresponded\n"
         "height, integer, 1, 1024, 1, 800, depth map height of the above 2 parameters "
         "corresponded";
}

void LutNoiseRemovalFilter::reset() {
  SpeckleFilter::reset();
  config_changed = false;
}

} // namespace filter_processor
