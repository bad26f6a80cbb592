#include "filters/smoothing/TemporalFilter.h"

#include <iostream>
#include <new>

#include "filters/smoothing/temporal_kernels.h"
#include "plugin/base/parameters.h"

namespace filter_processor {
namespace {

/// Hosts see this text; the standard library's own differs from one library to the next.
class BadAllocation final : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

} // namespace

const char* TemporalFilter::get_config_schema() {
  return "diff_scale, float, 0.1, 1, 0.01, 0.1, difference scale for neighbour frame\n"
         "weight, float, 0.1, 1, 0.01, 0.4, weight for the current frame value";
}

void TemporalFilter::update_filter_config(int32_t argc, const char** argv, gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(2))
    return;
  const float new_diff_scale = parameters.real(0, "diff_scale", 0.1F, 1.0F);
  if (!parameters.accepted())
    return;
  diff_scale = new_diff_scale;
  const float new_weight = parameters.real(1, "weight", 0.1F, 1.0F);
  if (parameters.accepted())
    weight = new_weight;
}

gx_frame* TemporalFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  const FrameSize size = call.read_size();
  if (!call.ok())
    return nullptr;
  prepare_history(size);
  uint16_t* pixels = call.copy_depth_to_output();
  if (!call.ok())
    return nullptr;

  simd::kernels<TemporalKernels>().blend(pixels, history.data(), history.size(), diff_scale,
                                         weight);
  return call.deliver();
}

void TemporalFilter::prepare_history(FrameSize size) {
  if (!history.empty() && width == size.width && height == size.height)
    return;
  discard_history(); // before the new one is made, so that memory never holds both
  try {
    history.resize(size_t{size.width} * size.height);
  } catch (const std::bad_alloc&) {
    throw BadAllocation();
  }
  width = size.width;
  height = size.height;
}

void TemporalFilter::discard_history() {
  history = std::vector<uint16_t>(); // gives its memory back
}

void TemporalFilter::reset() {
  discard_history();
  diff_scale = default_diff_scale;
  weight = default_weight;
}

void TemporalFilter::print_filter_params() {
  std::cout << "diff_scale: " << diff_scale << std::endl << "weight:     " << weight << std::endl;
}

} // namespace filter_processor
