#include "filters/depth/OpenNIDisparityTransform.h"

#include <algorithm>
#include <utility>

namespace filter_processor {
namespace {

/// Principal points of the target sizes that cut pixels off; other sizes keep the camera's.
void move_principal_point(gx_camera_intrinsic& intrinsic, FrameSize target) {
  struct Crop {
    FrameSize target;
    float left, top; // target pixels
  };
  constexpr Crop crops[] = {
      {{640, 320}, 0, 40}, {{320, 160}, 0, 20}, {{540, 400}, 50, 0}, {{270, 200}, 25, 0}};
  for (const Crop& crop : crops) {
    if (crop.target == target) {
      intrinsic.cx -= crop.left;
      intrinsic.cy -= crop.top;
    }
  }
}

/// Target pixels that a scaled source covers, cut to whole ones, at most `limit`.
std::uint32_t covered(std::uint32_t source, float scale, std::uint32_t limit) {
  const float pixels = static_cast<float>(source) * scale;
  return pixels < static_cast<float>(limit) ? static_cast<std::uint32_t>(pixels) : limit;
}

/// The target pixel before which a blank border of `border` pixels begins.
std::uint32_t blank_from(std::uint32_t size, std::uint32_t border) {
  return size > border ? size - border : 0;
}

} // namespace

const char* OpenNIDisparityTransform::get_config_schema() {
  return "max_depth, uint32_t, 1, 65535, 1, 10000, value max depth\n"
         "min_depth, uint32_t, 1, 65535, 1, 100, value min depth\n"
         "depth_uint, float, 0.001, 10.0, 0.001, 1.0, value depth uint\n"
         "dst_width, integer, 0, 65535, 1, 0, target width of depth frame\n"
         "dst_height, integer, 0, 65535, 1, 0, target height of depth frame\n"
         "scale, float, 0.01, 50, 0.01, 1, scaling ratio of the target frame to the original "
         "frame\n"
         "x_cut, integer, 0, 65535, 1, 0, the starting coordinate for cropping in the x direction "
         "of the frame\n"
         "y_cut, integer, 0, 65535, 1, 0, the starting coordinate for cropping in the y direction "
         "of the frame of the frame\n"
         "x_set, integer, 0, 65535, 1, 0, the length that needs to be set to 0 in the x direction "
         "of the frame\n"
         "y_set, integer, 0, 65535, 1, 0, the length that needs to be set to 0 in the y direction "
         "of the frame";
}

void OpenNIDisparityTransform::update_filter_config(std::int32_t argc, const char** argv,
                                                    gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(10))
    return;
  // No frame sees a part of the values only, or another target size than it was made for.
  const std::lock_guard guard(lock);
  update_depth_range(parameters);
  const int width = parameters.integer(3, "dst_width", 0, 65535);
  if (!parameters.accepted())
    return;
  dst_width = static_cast<std::uint32_t>(width);
  const int height = parameters.integer(4, "dst_height", 0, 65535);
  if (!parameters.accepted())
    return;
  dst_height = static_cast<std::uint32_t>(height);
  const auto ratio = static_cast<float>(parameters.real(5));
  if (!parameters.in_range("scale", ratio, 0.1F, 50.0F))
    return;
  scale = ratio;
  x_cut = static_cast<std::uint32_t>(parameters.integer(6));
  y_cut = static_cast<std::uint32_t>(parameters.integer(7));
  x_set = static_cast<std::uint32_t>(parameters.integer(8));
  y_set = static_cast<std::uint32_t>(parameters.integer(9));
  resample_enabled = dst_width != 0 && dst_height != 0;
}

gx_frame* OpenNIDisparityTransform::filter_process(gx_frame* frame, gx_error** error) {
  return process(class_name, frame, error);
}

void OpenNIDisparityTransform::fill_table(ProcessingFrame& /*call*/, DisparityTable& table) {
  fill_stereo_table_of_pack_mode_1(d2d_parameters, depth_output(), table);
}

void OpenNIDisparityTransform::convert(ProcessingFrame& call, gx_format format, FrameSize size) {
  if (resample_enabled) {
    convert_resampled(call, format, size);
  } else {
    convert_same_size(call, simd::kernels<DisparityLookupKernels>().whole);
  }
}

void OpenNIDisparityTransform::convert_resampled(ProcessingFrame& call, gx_format format,
                                                 FrameSize size) {
  constexpr FilterError refused{"Frame sampling process error", "filter_process", "frameType"};
  const FrameSize target{dst_width, dst_height};
  if (!fits_a_frame(target))
    return call.fail(refused);
  call.create_output(format, target);
  const std::uint16_t* const codes = call.pixels_of(call.depth());
  std::uint16_t* const depths = call.pixels_of(call.output());
  fit_table(call, call.host(gx_video_frame_get_pixel_available_bit_size, call.depth()));
  if (!call.ok())
    return;
  if (!sample(codes, size, depths))
    return call.fail(refused);
  call.complete_output(resampled_profile(call), depths, target);
  call.host(gx_video_frame_set_pixel_type, call.output(), GX_PIXEL_DEPTH);
  describe_depths(call);
}

bool OpenNIDisparityTransform::sample(const std::uint16_t* codes, FrameSize size,
                                      std::uint16_t* depths) {
  if (size.width == 0 || size.height == 0 || dst_width == 0 || dst_height == 0 ||
      double{scale} < 0.001)
    return false;
  // Stays so in the table until it is built again.
  lookup_table->front() = 0;
  Sampling sampling;
  sampling.source = size;
  sampling.destination = {dst_width, dst_height};
  sampling.left = x_set;
  sampling.right = std::min(covered(size.width, scale, dst_width), blank_from(dst_width, x_set));
  sampling.top = y_set;
  sampling.bottom =
      std::min(covered(size.height, scale, dst_height), blank_from(dst_height, y_set));
  // The walks start at the target's first column and row, blank or not.
  sampling.step = source_step(scale);
  sampling.first_x = (x_cut << 16) + x_set * sampling.step;
  sampling.first_y = (y_cut << 16) + y_set * sampling.step;
  sampler_.run(sampling, codes, depths, lookup_table->data());
  return true;
}

OwnedProfile OpenNIDisparityTransform::resampled_profile(ProcessingFrame& call) const {
  OwnedProfile profile = call.copy_depth_profile();
  gx_camera_intrinsic intrinsic = call.host(gx_video_stream_profile_get_intrinsic, profile.get());
  move_principal_point(intrinsic, {dst_width, dst_height});
  intrinsic.width = static_cast<std::int16_t>(dst_width);
  intrinsic.height = static_cast<std::int16_t>(dst_height);
  call.host(gx_video_stream_profile_set_intrinsic, profile.get(), intrinsic);
  return profile;
}

} // namespace filter_processor
