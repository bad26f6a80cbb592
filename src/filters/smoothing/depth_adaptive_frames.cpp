#include "filters/smoothing/depth_adaptive_frames.h"

namespace filter_processor {
namespace {

/// The name of the first field that no parameters can be derived from; null if all are usable.
const char* invalid_field(const FrameInfo& info) {
  if (info.width < 1 || info.height < 1)
    return "frame_info.width||frame_info.height";
  if (info.depth_flag == GX_PIXEL_UNKNOWN)
    return "frame_info.pixel_type";
  if (info.depth_flag != GX_PIXEL_DISPARITY && info.depth_unit <= 0)
    return "frame_info.depth_unit";
  return nullptr;
}

} // namespace

FrameInfo DepthAdaptiveFrames::describe(ProcessingFrame& call) {
  FrameInfo info; // what the frame does not carry is filled in later, under `lock`
  D2DParameters record{};
  read_frame_info(call, ValueScale::of_frames_with_disparity_record, info, record);
  return info;
}

bool DepthAdaptiveFrames::follow_frame(FrameInfo info) {
  inherit_camera_facts(info, current_frame_info);
  if (info.depth_flag == GX_PIXEL_TOF_DEPTH)
    info.depth_unit = current_frame_info.depth_unit;
  current_frame_info = info;
  if (info == anchor_frame_info && !params_changed)
    return false;
  params_changed = true; // until all is derived: a derivation that failed or threw is repeated
  anchor_frame_info = info;
  return true;
}

void DepthAdaptiveFrames::updateConfig(ProcessingFrame& call, uint16_t& disp_diff) {
  const FrameInfo& info = current_frame_info;
  if (const char* field = invalid_field(info)) {
    call.fail_traced(invalid_params(field));
  } else {
    if (info.depth_flag != GX_PIXEL_TOF_DEPTH && info.fraction_bit_size != reference_fraction_bits)
      disp_diff = rescale_fraction_bits(disp_diff, reference_fraction_bits, info.fraction_bit_size);
    if (updateDepthDiffLut(info, disp_diff, depth_diff_lut) != 0)
      call.fail_traced(depth_diff_lut_error);
  }
  params_changed = !call.ok();
}

void DepthAdaptiveFrames::forget_frame() {
  reference_fraction_bits = no_frame.fraction_bit_size;
  anchor_frame_info = no_frame;
}

} // namespace filter_processor
