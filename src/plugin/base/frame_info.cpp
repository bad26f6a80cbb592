#include "plugin/base/frame_info.h"

#include <cmath>
#include <cstddef>
#include <iostream>
#include <utility>

#include "plugin/base/numbers.h"

namespace filter_processor {
namespace {

/// Bins of 0.41 to 0.82 m, and 2^13 units wide where a unit is finer than 0.1 mm.
uint8_t bin_shift(double depth_unit) {
  if (depth_unit < 0.1)
    return 13;
  const float octaves = std::floor(std::log2(static_cast<float>(depth_unit / 0.1)));
  return static_cast<uint8_t>(12 - low_16_bits(octaves));
}

void fill_with_multiples(uint16_t difference, DepthDiffLut& lut) {
  for (size_t i = 0; i < lut.entries.size(); ++i)
    lut.entries[i] = static_cast<uint16_t>((i + 1) * difference);
}

void fill_for_camera(const FrameInfo& info, uint16_t difference, DepthDiffLut& lut) {
  const auto disparity =
      static_cast<float>(std::ldexp(static_cast<double>(difference), -int{info.fraction_bit_size}));
  // Depth z changes by z^2 / bxf with each unit of disparity; entry k - 1 stands for z = k x 500
  // mm.
  const float step = disparity * 500.0F * 500.0F / info.bxf;
  for (size_t k = 1; k <= lut.entries.size(); ++k) {
    const float depth_step = step * static_cast<float>(k * k);
    lut.entries[k - 1] = low_16_bits(static_cast<double>(depth_step) / info.depth_unit);
  }
}

} // namespace

bool read_frame_info(ProcessingFrame& call, ValueScale value_scale, FrameInfo& info,
                     D2DParameters& record) {
  FrameInfo read = info;
  D2DParameters read_record = record;
  const gx_pixel_type pixel_type = call.host(gx_video_frame_get_pixel_type, call.depth());
  const bool has_record = pixel_type != GX_PIXEL_TOF_DEPTH;
  const FrameSize size = call.read_size();
  read.depth_flag = pixel_type;
  read.width = size.width;
  read.height = size.height;
  if (value_scale == ValueScale::of_every_frame)
    read.depth_unit = double{call.host(gx_depth_frame_get_value_scale, call.depth())};

  OwnedProfile profile{call.host(gx_frame_get_stream_profile, call.depth())};
  if (has_record) {
    read_record = call.host(gx_disparity_based_stream_profile_get_disparity_param, profile.get());
    if (value_scale == ValueScale::of_frames_with_disparity_record)
      read.depth_unit = double{call.host(gx_depth_frame_get_value_scale, call.depth())};
    const uint8_t bits = call.host(gx_video_frame_get_pixel_available_bit_size, call.depth());
    read.bxf = static_cast<float>(double{read_record.baseline} * read_record.fx);
    read.fraction_bit_size =
        static_cast<uint8_t>(bits - static_cast<uint8_t>(read_record.dispIntPlace));
  }
  call.keep(std::move(profile));
  if (!call.ok())
    return false;
  info = read;
  record = read_record;
  return true;
}

void inherit_camera_facts(FrameInfo& info, const FrameInfo& before) {
  if (info.depth_flag != GX_PIXEL_TOF_DEPTH)
    return;
  info.bxf = before.bxf;
  info.fraction_bit_size = before.fraction_bit_size;
}

uint16_t rescale_fraction_bits(uint16_t difference, uint8_t from_bits, uint8_t to_bits) {
  return low_16_bits(std::ldexp(static_cast<double>(difference), int{to_bits} - int{from_bits}));
}

int updateDepthDiffLut(const FrameInfo& info, uint16_t difference, DepthDiffLut& lut) {
  switch (info.depth_flag) {
  case GX_PIXEL_TOF_DEPTH:
    lut.shift = 9;
    fill_with_multiples(difference, lut);
    return 0;
  case GX_PIXEL_DEPTH:
    if (info.depth_unit <= 0 || info.bxf <= 0)
      return 1;
    lut.shift = bin_shift(info.depth_unit);
    fill_for_camera(info, difference, lut);
    return 0;
  default:
    lut.entries.fill(0);
    return 0;
  }
}

void print_frame_info(const FrameInfo& current_frame_info) {
  const FrameInfo& info = current_frame_info;
  std::cout << "current_frame_info: " << std::endl
            << "width:      " << info.width << "\n"
            << "height:     " << info.height << "\n"
            << "bxf:        " << info.bxf << "\n"
            << "depth_flag: " << info.depth_flag << "\n"
            << "depth_unit: " << info.depth_unit << "\n"
            << "fraction_bit_size: " << info.fraction_bit_size << std::endl;
}

void print_depth_diff_lut(const DepthDiffLut& depth_diff_lut) {
  std::cout << "depth_diff_lut: " << std::endl;
  for (const uint16_t entry : depth_diff_lut.entries)
    std::cout << entry << " ";
  std::cout << std::endl;
}

} // namespace filter_processor
