#include "filters/depth/DepthResize.h"

#include <algorithm>
#include <cmath>
#include <iostream>

#include "plugin/base/numbers.h"
#include "plugin/base/parameters.h"

namespace filter_processor {
namespace {

/// One axis of the output: a scaled source with a side added or cut off before and behind it.
struct Axis {
  uint32_t source;
  float scale;
  int32_t before, behind;

  /// Where the source's last pixel ends.
  float source_end() const {
    return static_cast<float>(source) * scale + static_cast<float>(before);
  }

  /// The output's pixels, cut to a whole number; far below 2^63 for every 32-bit source.
  int64_t size() const { return static_cast<int64_t>(source_end() + static_cast<float>(behind)); }
};

/// Where the pixels of an axis that show the source begin and end, and the 16.16 source position of
/// the first of them.
struct Span {
  uint32_t begin, end, first;
};

/// `size` is the output's.
Span span_of(const Axis& axis, uint32_t size) {
  const auto source_end = static_cast<int64_t>(axis.source_end());
  const auto end = static_cast<uint32_t>(std::clamp<int64_t>(source_end, 0, int64_t{size}));
  if (axis.before >= 0)
    return {static_cast<uint32_t>(axis.before), end, 0};
  const double cut_off = double{std::abs(static_cast<float>(axis.before) / axis.scale)};
  return {0, end, uint32_t{low_16_bits(cut_off)} << 16};
}

bool store_size(Parameters& parameters, int32_t index, const char* key, uint64_t& member) {
  const double value = parameters.real(index);
  if (parameters.in_range(key, value, 1.0, 65535.0))
    member = static_cast<uint64_t>(value);
  return parameters.accepted();
}

} // namespace

const char* DepthResize::get_config_schema() {
  return "dst_width, integer, 1, 65535, 1, 1280, target width of depth frame\n"
         "dst_height, integer, 1, 65535, 1, 720, target height of depth frame\n"
         "scale, float, 0.01, 50, 0.01, 1, scaling ratio of the target frame to the original "
         "frame\n"
         "ex_left, integer, -640, 640, 1, 0, extension on the left of the frame\n"
         "ex_right, integer,-640, 640, 1, 0, extension on the right of the frame\n"
         "ex_top, integer, -400, 400, 1, 0, extension on the top of the frame\n"
         "ex_bottom, integer, -400, 400, 1, 0, extension on the bottom of the frame";
}

void DepthResize::update_filter_config(int32_t argc, const char** argv, gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(7) || !store_size(parameters, 0, "dst_width", dst_width) ||
      !store_size(parameters, 1, "dst_height", dst_height))
    return;
  const auto ratio = static_cast<float>(parameters.real(2));
  if (!parameters.in_range("scale", ratio, 0.1F, 50.0F))
    return;
  scale = ratio;
  ex_left = saturated_int32(parameters.real(3));
  ex_right = saturated_int32(parameters.real(4));
  ex_top = saturated_int32(parameters.real(5));
  ex_bottom = saturated_int32(parameters.real(6));
}

gx_frame* DepthResize::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  const FrameSize size = call.read_size();
  const int64_t width = Axis{size.width, scale, ex_left, ex_right}.size();
  const int64_t height = Axis{size.height, scale, ex_top, ex_bottom}.size();
  if (static_cast<uint64_t>(width) != dst_width || static_cast<uint64_t>(height) != dst_height)
    call.fail({"incorrect config schema", "filter_process", class_name});

  const FrameSize out{static_cast<uint32_t>(dst_width), static_cast<uint32_t>(dst_height)};
  if (!fits_a_frame(out))
    call.fail_kernel("depth resize error", class_name);
  call.create_output(call.host(gx_frame_get_format, call.depth()), out);
  const uint16_t* const from = call.pixels_of(call.depth());
  uint16_t* const to = call.pixels_of(call.output());
  if (call.ok() && !resize(from, size, to, out))
    call.fail_kernel("depth resize error", class_name);
  call.complete_output(call.copy_depth_profile(), to, out);
  return call.deliver();
}

bool DepthResize::resize(const uint16_t* from, FrameSize size, uint16_t* to, FrameSize out) {
  if (size.width == 0 || size.height == 0 || out.width == 0 || out.height == 0)
    return false;
  const Span columns = span_of({size.width, scale, ex_left, ex_right}, out.width);
  const Span rows = span_of({size.height, scale, ex_top, ex_bottom}, out.height);
  sampler_.run({.source = size,
                .destination = out,
                .left = columns.begin,
                .right = columns.end,
                .top = rows.begin,
                .bottom = rows.end,
                .first_x = columns.first,
                .first_y = rows.first,
                .step = source_step(scale)},
               from, to);
  return true;
}

void DepthResize::reset() {
  dst_width = 1280;
  dst_height = 720;
  scale = 1.0F;
  ex_left = ex_top = ex_right = ex_bottom = 0;
}

void DepthResize::print_filter_params() {
  std::cout << "dst_width:     " << dst_width << std::endl;
  std::cout << "dst_height:    " << dst_height << std::endl;
  std::cout << "process_param: " << std::endl;
  std::cout << "scale:         " << scale << std::endl;
  std::cout << "ex_top:        " << ex_top << std::endl;
  std::cout << "ex_bottom:     " << ex_bottom << std::endl;
  std::cout << "ex_left:       " << ex_left << std::endl;
  std::cout << "ex_right:      " << ex_right << std::endl;
}

} // namespace filter_processor
