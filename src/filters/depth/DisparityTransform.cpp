#include "filters/depth/DisparityTransform.h"

namespace filter_processor {
namespace {

void fail_for_pack_mode(ProcessingFrame& call, const char* operation) {
  call.fail_traced({"Unsupported disparity data pack type error", operation, operation});
}

} // namespace

const char* DisparityTransform::get_config_schema() {
  return "max_depth, uint32_t, 1, 65535, 1, 10000, value max depth\n"
         "min_depth, uint32_t, 1, 65535, 1, 100, value min depth\n"
         "depth_uint, float, 0.001, 10.0, 0.001, 1.0, value depth uint";
}

void DisparityTransform::update_filter_config(int32_t argc, const char** argv, gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(3))
    return;
  const auto range = read_depth_range(parameters);
  lock.update([&] { return differs(range); }, [&] { store(range); });
}

gx_frame* DisparityTransform::filter_process(gx_frame* frame, gx_error** error) {
  return process(class_name, frame, error);
}

void DisparityTransform::convert(ProcessingFrame& call, gx_format format, FrameSize /*size*/) {
  const auto& kernels = simd::kernels<DisparityLookupKernels>();
  convert_same_size(call, format == GX_FORMAT_Y12_SHIFTED ? kernels.shifted : kernels.whole);
}

void DisparityTransform::fill_table(ProcessingFrame& call, DisparityTable& table) {
  if (d2d_parameters.isDualCamera != 0)
    stereo_camera_init_lookup_table(call, table);
  else
    mono_camera_init_lookup_table(call, table);
}

void DisparityTransform::stereo_camera_init_lookup_table(ProcessingFrame& call,
                                                         DisparityTable& table) {
  DepthOutput output = depth_output(); // first: hosts may update from within their functions
  const gx_format format = call.host(gx_stream_profile_get_format, cached_profile.get());
  if (!call.ok())
    return;
  output.shifted_codes = format == GX_FORMAT_Y12_SHIFTED;
  if (!fill_stereo_table(d2d_parameters, output, table))
    fail_for_pack_mode(call, "stereo_camera_init_lookup_table");
}

void DisparityTransform::mono_camera_init_lookup_table(ProcessingFrame& call,
                                                       DisparityTable& table) {
  if (!fill_mono_table(d2d_parameters, depth_output(), table))
    fail_for_pack_mode(call, "mono_camera_init_lookup_table");
}

} // namespace filter_processor
