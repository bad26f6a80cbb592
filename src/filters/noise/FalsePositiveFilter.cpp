#include "filters/noise/FalsePositiveFilter.h"

#include <array>
#include <cstring>
#include <iostream>
#include <limits>
#include <utility>

#include "filters/noise/false_positive/stage.h"
#include "plugin/base/number_text.h"
#include "plugin/base/parameters.h"

namespace filter_processor {
namespace {

constexpr uint64_t blob_size = 1 + sizeof(FalsePositiveConfig);

constexpr const char* schema =
    "fpEdgeBleedFilterEnable, bool, 0, 1, 1, 0, Filter for noise bleeding along object "
    "edges. Set to 1 to enable\n"
    "fpebfROIMinXRatio, float, 0, 1, 0.01, 0.0, Process edge bleed noise only within a "
    "specified ratio of the frame's width (X-direction)\n"
    "fpebfROIMaxXRatio, float, 0, 1, 0.01, 1.0, Process edge bleed noise only within a "
    "specified ratio of the frame's width (X-direction)\n"
    "fpebfROIMinYRatio, float, 0, 1, 0.01, 0.0, Process edge bleed noise only within a "
    "specified ratio of the frame's height (Y-direction)\n"
    "fpebfROIMaxYRatio, float, 0, 1, 0.01, 0.6, Process edge bleed noise only within a "
    "specified ratio of the frame's height (Y-direction)\n"
    "fpTextureSparsityFilterEnable, bool, 0, 1, 1, 0, Filter for noise at low-texture "
    "regions . Set to 1 to enable\n"
    "fptsfROIMinXRatio, float, 0, 1, 0.01, 0.0, Process texture sparsity noise only within a "
    "specified ratio of the frame's width (X-direction)\n"
    "fptsfROIMaxXRatio, float, 0, 1, 0.01, 1.0, Process texture sparsity noise only within a "
    "specified ratio of the frame's width (X-direction)\n"
    "fptsfROIMinYRatio, float, 0, 1, 0.01, 0.0, Process texture sparsity noise only within a "
    "specified ratio of the frame's height (Y-direction)\n"
    "fptsfROIMaxYRatio, float, 0, 1, 0.01, 0.6, Process texture sparsity noise only within a "
    "specified ratio of the frame's height (Y-direction)\n"
    "fptsfMaxNoiseLevel, integer, 1, 65535, 1, 6000, Maximum depth value for texture "
    "sparsity noise\n"
    "fptsfMaxSpeckleSize, integer, 1, 65535, 1, 1000, Maximum size of texture sparsity "
    "noise\n"
    "fpPatternAmbiguityFilterEnable, bool, 0, 1, 1, 0, Filter for the noise at repetitive "
    "pattern regions. Set to 1 to enable\n"
    "fppafROIMinXRatio, float, 0, 1, 0.01, 0.0, Process pattern ambiguity noise only within "
    "a specified ratio of the frame's width (X-direction)\n"
    "fppafROIMaxXRatio, float, 0, 1, 0.01, 1.0, Process pattern ambiguity noise only within "
    "a specified ratio of the frame's width (X-direction)\n"
    "fppafROIMinYRatio, float, 0, 1, 0.01, 0.0, Process pattern ambiguity noise only within "
    "a specified ratio of the frame's height (Y-direction)\n"
    "fppafROIMaxYRatio, float, 0, 1, 0.01, 0.6, Process pattern ambiguity noise only within "
    "a specified ratio of the frame's height (Y-direction)\n"
    "fppafMaxNoiseLevel, integer, 1, 65535, 1, 4000, Maximum depth value for pattern "
    "ambiguity noise\n"
    "fppafMaxSpeckleSize, integer, 1, 65535, 1, 3000, Maximum size of pattern ambiguity noise";

/// Converts a value, refuses it outside its range, and stores it in the record.
void read_parameter(Parameters& parameters, int index, FalsePositiveConfig& config) {
  const ConfigParameter& parameter = config_parameters[index];
  const auto store = [&](auto value) {
    std::memcpy(reinterpret_cast<char*>(&config) + parameter.offset, &value, sizeof value);
  };
  if (parameter.kind == ConfigParameter::Kind::ratio) {
    const float value = read_real_or_throw(parameters.text(index));
    parameters.in_range(parameter.key, value, 0.0F, 1.0F);
    store(value);
    return;
  }
  const int value = read_integer_or_throw(parameters.text(index));
  if (parameter.kind == ConfigParameter::Kind::enable) {
    parameters.in_range(parameter.key, value, 0, 1);
    store(static_cast<uint8_t>(value));
  } else {
    parameters.in_range(parameter.key, value, 1, 65535);
    store(static_cast<uint16_t>(value));
  }
}

/// Copies the fields that hosts set by parameter strings.
void copy_parameters(const FalsePositiveConfig& from, FalsePositiveConfig& to) {
  for (const ConfigParameter& parameter : config_parameters) {
    std::memcpy(reinterpret_cast<char*>(&to) + parameter.offset,
                reinterpret_cast<const char*>(&from) + parameter.offset, parameter.byte_count());
  }
}

void print_params(const char* heading, const FalsePositiveConfig& config) {
  struct Line {
    const char* label;
    unsigned value;
  };
  const Line lines[] = {
      {"fpEdgeBleedFilterEnable:        ", config.edge_bleed.enabled},
      {"fpTextureSparsityFilterEnable:  ", config.texture_sparsity.enabled},
      {"fptsfMaxNoiseLevel:             ", config.texture_sparsity.max_depth},
      {"fptsfMaxSpeckleSize:            ", config.texture_sparsity.max_size},
      {"fpPatternAmbiguityFilterEnable: ", config.pattern_ambiguity.enabled},
      {"fppafMaxNoiseLevel:             ", config.pattern_ambiguity.max_depth},
      {"fppafMaxSpeckleSize:            ", config.pattern_ambiguity.max_size},
  };
  std::cout << heading << std::endl;
  for (const auto& [label, value] : lines)
    std::cout << label << value << "\n";
  std::cout << std::flush;
}

/// A workspace for the record's size that also serves frames of the size of `in_use`.
std::unique_ptr<FalsePositiveWorkspace> make_workspace(const FalsePositiveConfig& config,
                                                       const FalsePositiveConfig& in_use) {
  return make_false_positive_workspace(config.width, config.height, in_use.width, in_use.height);
}

} // namespace

FalsePositiveFilter::FalsePositiveFilter()
    : detection_workspace(make_workspace(anchor_params, anchor_params)) {}

const char* FalsePositiveFilter::get_config_schema() {
  return schema;
}

void FalsePositiveFilter::update_filter_config(int32_t argc, const char** argv, gx_error** error) {
  Parameters parameters(class_name, argc, argv, error);
  if (!parameters.count_is(config_parameter_count))
    return;
  FalsePositiveConfig config;
  for (int index = 0; index < config_parameter_count && parameters.accepted(); ++index)
    read_parameter(parameters, index, config);
  if (!parameters.accepted())
    return;
  const std::lock_guard guard(lock);
  copy_parameters(config, anchor_params);
  params_changed = true;
}

void FalsePositiveFilter::set_filter_config_data(const uint8_t* data, uint64_t size,
                                                 gx_error** error) {
  const auto refuse = [&](const char* message, const char* operation) {
    set_filter_error(error, class_name, {message, operation, "data"});
  };
  constexpr const char* operation = "set_filter_config_data";
  if (data == nullptr)
    return refuse("Filter config data pointer is null", operation);
  if (size != blob_size)
    return refuse("Insufficient data size for filter configuration", operation);

  const std::lock_guard guard(lock);
  const FalsePositiveConfig config = read_config(data + 1);
  if (const char* fault = find_config_fault(config))
    return refuse(fault, "validate_filter_parameters");
  // The current parameters stay in use until the next take-over, which makes a workspace for its
  // own frame: until then a size that no frame can have needs none of its own.
  const bool of_any_frame = size_t{config.width} * config.height <= RunMap::max_pixels;
  std::unique_ptr<FalsePositiveWorkspace> workspace;
  if (of_any_frame || could_allocate_workspace(config.width, config.height))
    workspace =
        make_workspace(of_any_frame ? config : current_filter_params, current_filter_params);
  if (workspace == nullptr)
    return refuse("set FalsePositiveFilter config data failed", operation);
  anchor_params = config;
  detection_workspace = std::move(workspace);
}

gx_frame* FalsePositiveFilter::filter_process(gx_frame* frame, gx_error** error) {
  ProcessingFrame call(class_name, frame, error);
  const FrameSize size = call.read_size();
  if (!call.ok())
    return nullptr;
  const std::lock_guard guard(lock);
  take_over(call, size);
  uint16_t* pixels = call.copy_depth_to_output();
  if (!call.ok())
    return nullptr;
  if (remove_false_positives(pixels, size.width, size.height, current_filter_params,
                             detection_workspace.get()) != 0)
    call.fail_kernel("FP filter error", class_name);
  return call.deliver();
}

void FalsePositiveFilter::take_over(ProcessingFrame& call, FrameSize size) {
  const FrameSize initialized_size{initialized_width, initialized_height};
  if (!initialized || params_changed || size != initialized_size)
    update_all_config_and_initial(call, size);
}

std::optional<FalsePositiveConfig> FalsePositiveFilter::params_for(FrameSize size) const {
  constexpr uint32_t largest = std::numeric_limits<uint16_t>::max(); // of a record
  if (size.width == 0 || size.height == 0 || size.width > largest || size.height > largest)
    return std::nullopt;
  return scale_config(anchor_params, static_cast<uint16_t>(size.width),
                      static_cast<uint16_t>(size.height));
}

void FalsePositiveFilter::update_all_config_and_initial(ProcessingFrame& call, FrameSize size) {
  // Until the take-over has succeeded, no frame may rely on the workspace.
  if (std::exchange(initialized, false))
    detection_workspace.reset(); // first: there might not be memory for two
  const auto config = params_for(size);
  if (!config) {
    call.fail_traced(invalid_params("width||height", "update_all_config_and_initial"));
    return;
  }
  params_changed = false;
  detection_workspace = make_workspace(*config, *config);
  current_filter_params = *config;
  initialized_width = static_cast<uint16_t>(size.width);
  initialized_height = static_cast<uint16_t>(size.height);
  initialized = detection_workspace != nullptr;
}

void FalsePositiveFilter::reset() {
  copy_parameters(FalsePositiveConfig{}, anchor_params);
  params_changed = false;
}

void FalsePositiveFilter::print_filter_params() {
  print_params("anchor_params: ", anchor_params);
  print_params("current_filter_params: ", current_filter_params);
}

} // namespace filter_processor
