#include "filters/depth/HardwareD2DCorrectionFilter.h"

#include <cmath>
#include <iostream>
#include <utility>

#include "filters/depth/invalid_depth_kernels.h"
#include "plugin/base/numbers.h"

namespace filter_processor {
namespace {

constexpr uint32_t pixel_values = 65536;

/// Up to this value scale, millimetres for one unit, depths are looked for by their pixel values.
/// Beyond it, where no camera is, they wrap too often around 16 bits; and they do not even ascend
/// where the scale is negative or no number.
constexpr float max_ordered_scale = 16.0F;

bool ascends(float value_scale) {
  return value_scale >= 0.0F && value_scale <= max_ordered_scale;
}

/// The depth of a pixel value, rounded to float32.
double scaled(uint32_t pixel, float value_scale) {
  return double{static_cast<float>(pixel) * value_scale};
}

struct Pixels {
  uint16_t* data;
  size_t count;
};

/// The first pixel value with the property, which all larger ones share.
template <typename Property>
uint32_t first_value_where(Property property) {
  uint32_t first = 0;
  for (uint32_t left = pixel_values; left > 0;) {
    const uint32_t half = left / 2;
    if (property(first + half)) {
      left = half;
    } else {
      first += half + 1;
      left -= half + 1;
    }
  }
  return first;
}

/// Clears the pixels whose depth is `reached` but not `passed`, for scales that ascend: they are a
/// range of pixel values, found by the exact arithmetic once instead of for each pixel.
template <typename Reached, typename Passed>
void clear_range(Pixels pixels, float value_scale, Reached reached, Passed passed) {
  const uint32_t first =
      first_value_where([&](uint32_t pixel) { return reached(scaled(pixel, value_scale)); });
  const uint32_t end =
      first_value_where([&](uint32_t pixel) { return passed(scaled(pixel, value_scale)); });
  if (first < end) {
    simd::kernels<InvalidDepthKernels>().clear_between(
        pixels.data, pixels.count, static_cast<uint16_t>(first), static_cast<uint16_t>(end - 1));
  }
}

template <typename Invalid>
void clear_each(Pixels pixels, float value_scale, Invalid invalid) {
  for (size_t i = 0; i < pixels.count; ++i)
    if (invalid(scaled(pixels.data[i], value_scale)))
      pixels.data[i] = 0;
}

/// Clears depths from `low` to `high`, which may be anything.
void clear_near(Pixels pixels, float value_scale, double low, double high) {
  if (ascends(value_scale)) {
    clear_range(
        pixels, value_scale, [=](double depth) { return depth >= low; },
        [=](double depth) { return !(depth <= high); });
  } else {
    clear_each(pixels, value_scale, [=](double depth) { return low <= depth && depth <= high; });
  }
}

/// Clears depths that, cut to whole millimetres, have these low 16 bits.
void clear_equal(Pixels pixels, float value_scale, uint16_t low_bits) {
  if (ascends(value_scale)) {
    const double largest = scaled(pixel_values - 1, value_scale);
    for (uint32_t invalid = low_bits; invalid <= largest; invalid += 65536) {
      clear_range(
          pixels, value_scale, [=](double depth) { return depth >= invalid; },
          [=](double depth) { return depth >= invalid + 1; });
    }
  } else {
    clear_each(pixels, value_scale, [=](double depth) { return low_16_bits(depth) == low_bits; });
  }
}

/// Whether an offset, once it is a double, stands for another whole number. The largest ones always
/// do: they become 2^63, which no 64-bit number is.
bool is_other_offset(double stored, int64_t offset) {
  return stored >= 0x1p63 || static_cast<int64_t>(stored) != offset;
}

} // namespace

gx_frame* HardwareD2DCorrectionFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  if (call.host(gx_video_frame_get_pixel_type, call.depth()) != GX_PIXEL_DEPTH)
    return call.deliver_copy_of_input();
  const FrameSize size = call.read_size();
  follow_profile(call, size);
  if (!follow_offset(call))
    return call.deliver_copy_of_input();

  uint16_t* const pixels = call.copy_depth_to_output();
  const float value_scale = call.host(gx_depth_frame_get_value_scale, call.output());
  const uint8_t bit_size = call.host(gx_video_frame_get_pixel_available_bit_size, call.depth());
  if (call.ok())
    correct(pixels, size_t{size.width} * size.height, value_scale, bit_size);
  return call.deliver();
}

void HardwareD2DCorrectionFilter::follow_profile(ProcessingFrame& call, FrameSize size) {
  if ((cached_profile != nullptr && profile_matches(call, size)) || !call.ok())
    return;
  call.release(std::move(cached_profile));
  OwnedProfile profile{call.host(gx_frame_get_stream_profile, call.depth())};
  const D2DParameters record =
      call.host(gx_disparity_based_stream_profile_get_disparity_param, profile.get());
  if (!call.ok())
    return;
  cached_profile = std::move(profile);
  fb = double{record.baseline} * record.fx;
}

bool HardwareD2DCorrectionFilter::profile_matches(ProcessingFrame& call, FrameSize size) {
  const StreamFormat cached = call.stream_format_of(cached_profile.get());
  return cached == StreamFormat{size, call.host(gx_frame_get_format, call.depth())};
}

/// Whether there is an offset to correct for.
bool HardwareD2DCorrectionFilter::follow_offset(ProcessingFrame& call) {
  const std::optional<int64_t> offset = call.read_disparity_offset();
  if (!call.ok())
    return false;
  if (!offset) {
    disp_offset = 0.0;
  } else if (is_other_offset(disp_offset, *offset)) {
    disp_offset = static_cast<double>(*offset);
    offset_changed = true;
  }
  return disp_offset != 0.0;
}

void HardwareD2DCorrectionFilter::correct(uint16_t* pixels, size_t count, float value_scale,
                                          uint8_t bit_size) {
  // A new profile alone leaves the depth as it is until the offset changes.
  if (std::exchange(offset_changed, false))
    invalid_depth = std::round(fb / disp_offset);
  if (bit_size == 12 || bit_size == 14) {
    choose_tolerance(value_scale, bit_size);
    const double tolerance = double{depth_tolerance};
    clear_near({pixels, count}, value_scale, invalid_depth - tolerance, invalid_depth + tolerance);
  } else {
    clear_equal({pixels, count}, value_scale, low_16_bits(invalid_depth));
  }
}

void HardwareD2DCorrectionFilter::choose_tolerance(float value_scale, uint8_t bit_size) {
  if (!(std::abs(value_scale - last_value_scale) >= 1e-6F))
    return;
  depth_tolerance = bit_size == 14 ? 0.4F : 1.6F;
  while (depth_tolerance < value_scale && depth_tolerance < 12.8F)
    depth_tolerance *= 2.0F;
  last_value_scale = value_scale;
}

void HardwareD2DCorrectionFilter::reset() {
  cached_profile.reset();
  disp_offset = 0.0;
  invalid_depth = 0.0;
  fb = 0.0;
  offset_changed = false;
}

void HardwareD2DCorrectionFilter::print_filter_params() {
  std::cout << "disp_offset: " << disp_offset << std::endl;
  std::cout << "invalid_depth: " << invalid_depth << std::endl;
  std::cout << "fb: " << fb << std::endl;
}

} // namespace filter_processor
