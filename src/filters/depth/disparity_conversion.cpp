#include "filters/depth/disparity_conversion.h"

#include <iostream>
#include <utility>

namespace filter_processor {
namespace {

/// Fields compare as values: a record that holds NaN differs from itself.
bool same_record(const D2DParameters& a, const D2DParameters& b) {
  return a.zpd == b.zpd && a.zpps == b.zpps && a.baseline == b.baseline && a.fx == b.fx &&
         a.bitSize == b.bitSize && a.unit == b.unit && a.minDisparity == b.minDisparity &&
         a.packMode == b.packMode && a.dispOffset == b.dispOffset &&
         a.invalidDisp == b.invalidDisp && a.dispIntPlace == b.dispIntPlace &&
         a.isDualCamera == b.isDualCamera;
}

/// Bits, from 8 to 16, that hold the depths below `max`.
uint8_t bits_for(float max) {
  uint8_t bits = 8;
  while (bits < 16 && static_cast<float>(1U << bits) <= max)
    ++bits;
  return bits;
}

} // namespace

gx_frame* DisparityConversion::process(const char* filter, gx_frame* frame, gx_error** error) {
  ProcessingFrame call(filter, frame, error);
  const gx_format format = call.host(gx_frame_get_format, call.depth());
  const gx_pixel_type pixel_type = call.host(gx_video_frame_get_pixel_type, call.depth());
  if (pixel_type != GX_PIXEL_DISPARITY)
    return call.deliver_copy_of_input();

  const FrameSize size = call.read_size();
  follow_profile(call, format, size);
  const D2DParameters record =
      call.host(gx_disparity_based_stream_profile_get_disparity_param, cached_profile.get());
  follow_offset(call);
  if (!call.ok())
    return nullptr;
  const std::lock_guard guard(lock);
  follow_record(call, record);
  if (call.ok())
    convert(call, format, size);
  return call.deliver();
}

void DisparityConversion::follow_profile(ProcessingFrame& call, gx_format format, FrameSize size) {
  const auto read_profile = [&] {
    cached_profile = OwnedProfile{call.host(gx_frame_get_stream_profile, call.depth())};
  };
  const auto read_bit_size = [&] {
    return call.host(gx_video_frame_get_pixel_available_bit_size, call.depth());
  };
  const bool first = cached_profile == nullptr;
  if (first)
    read_profile();
  const bool matches =
      !first && call.stream_format_of(cached_profile.get()) == StreamFormat{size, format};
  const uint8_t bit_size = read_bit_size();
  if (!call.ok() || (matches && bit_size == cached_bit_size))
    return;
  if (!first) {
    call.release(std::move(cached_profile));
    read_profile();
  }
  if (call.ok())
    cached_bit_size = bit_size;
}

void DisparityConversion::follow_offset(ProcessingFrame& call) {
  const std::optional<int64_t> offset = call.read_disparity_offset();
  if (call.ok())
    metadata_disparity_offset = static_cast<float>(offset.value_or(0));
}

/// The offset of a frame enters the table when it is built for another reason, and only then.
void DisparityConversion::follow_record(ProcessingFrame& call, const D2DParameters& record) {
  if (same_record(record, d2d_parameters) && !params_changed)
    return;
  value_scale = 1.0F / depth_range.unit;
  output_bit_size = bits_for(static_cast<float>(depth_range.max) * value_scale);
  d2d_parameters = record;
  params_changed = false;
  build_table(call);
}

void DisparityConversion::fit_table(ProcessingFrame& call, uint8_t bit_size) {
  if (!call.ok() || (lookup_table != nullptr && bit_size == d2d_parameters.bitSize))
    return;
  // The record now differs from the profile's, so the next frame starts from the profile's again.
  d2d_parameters.bitSize = bit_size;
  build_table(call);
}

void DisparityConversion::build_table(ProcessingFrame& call) {
  table_size = disparity_code_count(d2d_parameters.bitSize);
  if (lookup_table == nullptr)
    lookup_table = std::make_unique<DisparityTable>();
  lookup_table->fill(0);
  fill_table(call, *lookup_table);
}

void DisparityConversion::convert_same_size(ProcessingFrame& call,
                                            DisparityLookupKernels::Map map) {
  const size_t count = call.host(gx_frame_get_data_size, call.depth()) / sizeof(uint16_t);
  const uint8_t bit_size = call.host(gx_video_frame_get_pixel_available_bit_size, call.depth());
  call.create_output_like_depth();
  call.host(gx_video_frame_set_pixel_type, call.output(), GX_PIXEL_DEPTH);
  const uint16_t* const codes = call.pixels_of(call.depth());
  uint16_t* const depths = call.pixels_of(call.output());
  fit_table(call, bit_size);
  if (!call.ok())
    return;
  map(codes, depths, count, lookup_table->data());
  describe_depths(call);
}

void DisparityConversion::describe_depths(ProcessingFrame& call) const {
  call.host(gx_video_frame_set_pixel_available_bit_size, call.output(), output_bit_size);
  call.host(gx_depth_frame_set_value_scale, call.output(), 1.0F / value_scale);
}

DepthOutput DisparityConversion::depth_output() const {
  return {.max_depth = depth_range.max,
          .min_depth = depth_range.min,
          .value_scale = value_scale,
          .disparity_offset = metadata_disparity_offset};
}

std::optional<DisparityConversion::DepthRange>
DisparityConversion::read_depth_range(const Parameters& parameters) {
  const int max = parameters.integer(0);
  const int min = parameters.integer(1);
  const auto unit = static_cast<float>(parameters.real(2));
  const auto is_depth = [](int value) { return value >= 1 && value <= 65535; };
  if (!is_depth(max) || !is_depth(min) || !(double{unit} >= 0.001 && unit <= 10.0F))
    return std::nullopt;
  return DepthRange{static_cast<uint32_t>(max), static_cast<uint32_t>(min), unit};
}

bool DisparityConversion::differs(const std::optional<DepthRange>& range) const {
  return range && (range->max != depth_range.max || range->unit != depth_range.unit);
}

void DisparityConversion::store(const std::optional<DepthRange>& range) {
  if (!differs(range))
    return;
  depth_range = *range;
  params_changed = true;
}

void DisparityConversion::reset() {
  lookup_table.reset();
}

void DisparityConversion::print_filter_params() {
  const D2DParameters& record = d2d_parameters;
  std::cout << "d2dParameters: " << std::endl;
  std::cout << "baseline:      " << record.baseline << "\n";
  std::cout << "bitSize:       " << static_cast<char>(record.bitSize) << "\n";
  std::cout << "dispIntPlace:  " << record.dispIntPlace << "\n";
  std::cout << "dispOffset:    " << record.dispOffset << "\n";
  std::cout << "fx:            " << record.fx << "\n";
  std::cout << "invalidDisp:   " << record.invalidDisp << "\n";
  std::cout << "isDualCamera:  " << static_cast<char>(record.isDualCamera) << "\n";
  std::cout << "minDisparity:  " << record.minDisparity << "\n";
  std::cout << "packMode:      " << static_cast<char>(record.packMode) << "\n";
  std::cout << "unit:          " << record.unit << "\n";
  std::cout << "zpd:           " << record.zpd << "\n";
  std::cout << "zpps:          " << record.zpps << std::endl;
}

} // namespace filter_processor
