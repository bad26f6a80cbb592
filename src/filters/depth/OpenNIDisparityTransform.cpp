#include "filters/depth/OpenNIDisparityTransform.h"

#include <algorithm>
#include <utility>

namespace filter_processor {
namespace {

/// Principal points of the target sizes that cut pixels off; other sizes keep the camera's.
void move_principal_point(gx_camera_intrinsic& intrinsic, FrameSize target) {
  struct Crop {
    FrameSize target;
    float left, top; ///< target pixels
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
uint32_t covered(uint32_t source, float scale, uint32_t limit) {
  const float pixels = static_cast<float>(source) * scale;
  return pixels < static_cast<float>(limit) ? static_cast<uint32_t>(pixels) : limit;
}

/// The target pixel before which a blank border of `border` pixels begins.
uint32_t blank_from(uint32_t size, uint32_t border) {
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

void OpenNIDisparityTransform::update_filter_config(int32_t argc, const char** argv,
                                                    gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(10))
    return;
  const auto range = read_depth_range(parameters);
  const int width = parameters.integer(3, "dst_width", 0, 65535);
  const bool has_width = parameters.accepted();
  const int height = parameters.integer(4, "dst_height", 0, 65535);
  const bool has_height = parameters.accepted();
  const auto ratio = static_cast<float>(parameters.real(5));
  const bool has_all = parameters.in_range("scale", ratio, 0.1F, 50.0F);
  const auto pixels = [&](int32_t index) {
    return static_cast<uint32_t>(parameters.integer(index));
  };
  // What stands before a refused value is stored. All at once: no frame sees a part of the values,
  // or another target size than it was made for.
  const auto next_resampling = [&] {
    Resampling next = resampling_;
    if (has_width)
      next.dst_width = static_cast<uint32_t>(width);
    if (has_height)
      next.dst_height = static_cast<uint32_t>(height);
    if (has_all) {
      next.scale = ratio;
      next.x_cut = pixels(6);
      next.y_cut = pixels(7);
      next.x_set = pixels(8);
      next.y_set = pixels(9);
      next.resample_enabled = next.dst_width != 0 && next.dst_height != 0;
    }
    return next;
  };
  lock.update([&] { return next_resampling() != resampling_ || differs(range); },
              [&] {
                resampling_ = next_resampling();
                store(range);
              });
}

gx_frame* OpenNIDisparityTransform::filter_process(gx_frame* frame, gx_error** error) {
  return process(class_name, frame, error);
}

void OpenNIDisparityTransform::fill_table(ProcessingFrame& /*call*/, DisparityTable& table) {
  fill_stereo_table_of_pack_mode_1(d2d_parameters, depth_output(), table);
}

void OpenNIDisparityTransform::convert(ProcessingFrame& call, gx_format format, FrameSize size) {
  if (resampling_.resample_enabled)
    convert_resampled(call, format, size);
  else
    convert_same_size(call, simd::kernels<DisparityLookupKernels>().whole);
}

void OpenNIDisparityTransform::convert_resampled(ProcessingFrame& call, gx_format format,
                                                 FrameSize size) {
  constexpr FilterError refused{"Frame sampling process error", "filter_process", "frameType"};
  const Resampling to = resampling_; // hosts may update from within the functions called here
  const FrameSize target = to.target();
  if (!fits_a_frame(target))
    return call.fail(refused);
  call.create_output(format, target);
  const uint16_t* const codes = call.pixels_of(call.depth());
  uint16_t* const depths = call.pixels_of(call.output());
  fit_table(call, call.host(gx_video_frame_get_pixel_available_bit_size, call.depth()));
  if (!call.ok())
    return;
  if (!sample(to, codes, size, depths))
    return call.fail(refused);
  call.complete_output(resampled_profile(call, target), depths, target);
  call.host(gx_video_frame_set_pixel_type, call.output(), GX_PIXEL_DEPTH);
  describe_depths(call);
}

bool OpenNIDisparityTransform::sample(const Resampling& to, const uint16_t* codes, FrameSize size,
                                      uint16_t* depths) {
  const FrameSize target = to.target();
  if (size.width == 0 || size.height == 0 || target.width == 0 || target.height == 0)
    return false;
  // Stays so in the table until it is built again.
  lookup_table->front() = 0;
  Sampling sampling;
  sampling.source = size;
  sampling.destination = target;
  sampling.left = to.x_set;
  sampling.right =
      std::min(covered(size.width, to.scale, target.width), blank_from(target.width, to.x_set));
  sampling.top = to.y_set;
  sampling.bottom =
      std::min(covered(size.height, to.scale, target.height), blank_from(target.height, to.y_set));
  // The walks start at the target's first column and row, blank or not.
  sampling.step = source_step(to.scale);
  sampling.first_x = (to.x_cut << 16) + to.x_set * sampling.step;
  sampling.first_y = (to.y_cut << 16) + to.y_set * sampling.step;
  sampler_.run(sampling, codes, depths, lookup_table->data());
  return true;
}

OwnedProfile OpenNIDisparityTransform::resampled_profile(ProcessingFrame& call, FrameSize target) {
  OwnedProfile profile = call.copy_depth_profile();
  gx_camera_intrinsic intrinsic = call.host(gx_video_stream_profile_get_intrinsic, profile.get());
  move_principal_point(intrinsic, target);
  intrinsic.width = static_cast<int16_t>(target.width);
  intrinsic.height = static_cast<int16_t>(target.height);
  call.host(gx_video_stream_profile_set_intrinsic, profile.get(), intrinsic);
  return profile;
}

} // namespace filter_processor
