#include "filters/noise/SpeckleFilter.h"

#include <iostream>

#include "filters/noise/size_ratios.h"
#include "filters/noise/speckle/speckle_kernels.h"
#include "plugin/base/numbers.h"
#include "plugin/base/parameters.h"
#include "plugin/base/processing_frame.h"
#include "plugin/base/uninitialized.h"

namespace filter_processor {
namespace {

constexpr uint32_t tiles_each_way = 4;

/// The description that no frame has been compared with yet: one of the anchor's size.
FrameInfo no_frame(const SpeckleParams& anchor) {
  FrameInfo info;
  info.width = anchor.width;
  info.height = anchor.height;
  info.fraction_bit_size = anchor.fraction_bit_size;
  return info;
}

/// The code that marks invalid pixels of a disparity frame.
uint32_t invalid_disparity(const D2DParameters& record) {
  if (record.isDualCamera != 0)
    return 0;
  switch (record.packMode) {
  case 4:
    return 0xfffc;
  case 1:
    return 0;
  default:
    return 0x2000;
  }
}

} // namespace

SpeckleFilter::SpeckleFilter(const Kind& kind)
    : kind_(kind), anchor_params(kind.defaults), current_filter_params(kind.defaults),
      last_frame_info(no_frame(kind.defaults)) {
  current_frame_info.fraction_bit_size = 6;
}

void SpeckleFilter::update_filter_config(int32_t argc, const char** argv, gx_error** error) {
  Parameters parameters(kind_.class_name, argc, argv, error);
  const auto sizes = static_cast<int32_t>(limit_count());
  if (!parameters.count_is(sizes + 3))
    return;
  SpeckleParams params;
  for (int32_t i = 0; i < sizes; ++i) {
    params.max_sizes[static_cast<size_t>(i)] =
        static_cast<uint16_t>(parameters.integer(i, kind_.size_key, 1, kind_.largest_size));
  }
  params.min_diff = static_cast<uint16_t>(parameters.integer(sizes, "min_diff", 1, 10000));
  const int width = parameters.integer(sizes + 1, "width", 1, 1280);
  const int height = parameters.integer(sizes + 2, "height", 1, 1024);
  if (!parameters.accepted())
    return;
  params.width = static_cast<uint64_t>(width);
  params.height = static_cast<uint64_t>(height);
  configure(params);
}

void SpeckleFilter::configure(const SpeckleParams& params) {
  lock.update([&] { return params != anchor_params; },
              [&] {
                anchor_params = params;
                config_changed = true;
              });
}

gx_frame* SpeckleFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(kind_.class_name, frame, error);
  FrameInfo info;
  D2DParameters record{};
  if (!read_frame_info(call, ValueScale::of_every_frame, info, record))
    return nullptr;
  const std::lock_guard guard(lock);
  inherit_camera_facts(info, current_frame_info);
  current_frame_info = info;
  take_over(call);
  uint16_t* pixels = call.copy_depth_to_output();
  if (!call.ok())
    return nullptr;
  if (run_kernel(pixels, record) != 0)
    call.fail_kernel(kind_.kernel_error, kind_.class_name);
  return call.deliver();
}

void SpeckleFilter::take_over(ProcessingFrame& call) {
  const bool derived = work_buffer.bytes != nullptr && current_frame_info == last_frame_info;
  if (derived && !config_changed)
    return;
  config_changed = true; // until all is derived: a derivation that failed or threw is repeated
  last_frame_info = current_frame_info;
  updateConfig(call, current_frame_info);
  config_changed = !call.ok();
}

void SpeckleFilter::updateConfig(ProcessingFrame& call, const FrameInfo& info) {
  constexpr FilterError bad_size = invalid_params("frame_info.width||frame_info.height");
  constexpr uint64_t largest_side = 32767; // of what the kernel takes
  const SpeckleParams& anchor = anchor_params;
  SpeckleParams& params = current_filter_params;
  params = anchor;
  if (info.width == 0 || info.height == 0 || info.width > largest_side ||
      info.height > largest_side)
    return call.fail_traced(bad_size);
  const bool anchor_size = info.width == anchor.width && info.height == anchor.height;
  if (!anchor_size && info.depth_flag == GX_PIXEL_DEPTH && info.bxf <= 0)
    return call.fail_traced(invalid_params("frame_info.bxf"));
  if (info.depth_flag != GX_PIXEL_DISPARITY && info.depth_unit <= 0)
    return call.fail_traced(invalid_params("frame_info.depth_unit"));
  make_work_buffer(info);

  const SizeRatios ratios(
      {static_cast<uint32_t>(info.width), static_cast<uint32_t>(info.height)},
      {static_cast<uint32_t>(anchor.width), static_cast<uint32_t>(anchor.height)});
  if (!ratios.usable())
    return call.fail_traced(bad_size);
  if (info.depth_flag != GX_PIXEL_TOF_DEPTH) {
    params.min_diff =
        rescale_fraction_bits(anchor.min_diff, anchor.fraction_bit_size, info.fraction_bit_size);
  }
  params.width = info.width;
  params.height = info.height;
  for (uint16_t& size : params.max_sizes)
    size = low_16_bits(static_cast<float>(size) * ratios.area());
  params.fraction_bit_size = info.fraction_bit_size;
  if (updateDepthDiffLut(info, params.min_diff, depth_diff_lut) != 0)
    call.fail_traced(depth_diff_lut_error);
}

void SpeckleFilter::make_work_buffer(const FrameInfo& info) {
  if (work_buffer.width == info.width && work_buffer.height == info.height)
    return;
  work_buffer = {};
  const auto size = simd::kernels<SpeckleKernels>().work_buffer_size(
      static_cast<uint32_t>(info.width), static_cast<uint32_t>(info.height), !kind_.tiled);
  work_buffer = {info.width, info.height, make_uninitialized<uint8_t>(size)};
}

int32_t SpeckleFilter::run_kernel(uint16_t* pixels, const D2DParameters& record) {
  const SpeckleParams& params = current_filter_params;
  SpeckleTask task{.width = static_cast<uint32_t>(params.width),
                   .height = static_cast<uint32_t>(params.height),
                   .single = !kind_.tiled,
                   .max_size = params.max_sizes[0],
                   .tile_limits = params.max_sizes.data(),
                   .tiles_x = tiles_each_way,
                   .tiles_y = tiles_each_way};
  if (current_frame_info.depth_flag == GX_PIXEL_DISPARITY) {
    task.invalid_value = invalid_disparity(record);
    task.max_diff = params.min_diff;
  } else {
    task.lut = depth_diff_lut.entries.data();
    task.lut_size = DepthDiffLut::size;
    task.depth_shift = depth_diff_lut.shift;
  }
  return simd::kernels<SpeckleKernels>().removeSpeckles(work_buffer.bytes.get(), pixels, task);
}

void SpeckleFilter::reset() {
  work_buffer = {};
  anchor_params = kind_.defaults;
  current_filter_params = kind_.defaults;
  last_frame_info = no_frame(kind_.defaults);
}

void SpeckleFilter::print_params(const char* heading, const SpeckleParams& params) const {
  std::cout << heading << std::endl
            << "width:    " << params.width << "\n"
            << "height:   " << params.height << "\n";
  for (size_t i = 0; i < limit_count(); ++i)
    if (kind_.tiled)
      std::cout << "max_lut_" << i << ": " << params.max_sizes[i] << "\n";
    else
      std::cout << "max_size: " << params.max_sizes[i] << "\n";
  std::cout << "min_diff: " << params.min_diff << std::endl;
}

void SpeckleFilter::print_filter_params() {
  print_params("anchor_params: ", anchor_params);
  print_params("current_filter_params: ", current_filter_params);
  print_frame_info(current_frame_info);
  print_depth_diff_lut(depth_diff_lut);
  std::cout << "depth_shift: " << depth_diff_lut.shift << std::endl; // a character
}

} // namespace filter_processor
