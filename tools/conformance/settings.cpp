#include "conformance/settings.h"

#include <fmt/format.h>

#include "conformance/probes.h"

namespace conformance {

using namespace hosting;
using namespace recordings;

std::vector<std::string> default_values(const std::vector<Parameter>& schema) {
  std::vector<std::string> values;
  values.reserve(schema.size());
  for (const Parameter& parameter : schema)
    values.push_back(parameter.default_value);
  return values;
}

namespace {

struct Override {
  const char* filter;
  const char* label;
  std::vector<std::pair<const char*, std::string>> values;
  bool beside_defaults; // or in place of them, where those fit no frame of the size
};

std::vector<Override> overrides(FrameSize size) {
  return {
      {"DepthResize",
       "the frame's own size",
       {{"dst_width", std::to_string(size.width)}, {"dst_height", std::to_string(size.height)}},
       false},
      {"OpenNIDisparityTransform",
       "a target size of 40x20",
       {{"dst_width", "40"}, {"dst_height", "20"}, {"x_cut", "2"}, {"x_set", "3"}},
       true},
      {"FalsePositiveFilter",
       "all detectors",
       {{"fpEdgeBleedFilterEnable", "1"},
        {"fpTextureSparsityFilterEnable", "1"},
        {"fpPatternAmbiguityFilterEnable", "1"}},
       true},
      {"HoleFillingFilter", "the nearest neighbour", {{"hole_filling_mode", "1"}}, true},
      {"SpatialFastFilter", "a window of 5", {{"radius", "5"}}, true},
  };
}

} // namespace

void set_value(const Filter& filter, std::vector<std::string>& values, const char* name,
               const std::string& value) {
  for (size_t i = 0; i < values.size(); ++i)
    if (filter.schema()[i].name == name)
      values[i] = value;
}

std::vector<Setting> settings_of(const Filter& filter, FrameSize size) {
  std::vector<Setting> settings{{"default parameters", default_values(filter.schema())}};
  for (const Override& override : overrides(size)) {
    if (filter.name() != override.filter)
      continue;
    Setting setting{override.label, settings.front().values};
    for (const auto& [name, value] : override.values)
      set_value(filter, setting.values, name, value);
    if (!override.beside_defaults)
      settings.clear();
    settings.push_back(std::move(setting));
  }
  return settings;
}

std::string update(Filter& filter, const std::vector<std::string>& values) {
  ErrorSlot slot;
  filter.update_config(values, slot);
  return describe(slot.get());
}

Filter make_configured(const Subject& subject, const Setting& setting) {
  Filter filter = subject.make_filter();
  if (const std::string came = update(filter, setting.values); came != no_error)
    throw Unable(fmt::format("{} were refused with {}", setting.label, came));
  return filter;
}

std::vector<Setting> working_settings(const Subject& subject) {
  Filter filter = subject.make_filter();
  auto settings = settings_of(filter);
  std::string reason;
  update(filter, settings.front().values);
  for (const PixelKind& kind : pixel_kinds) {
    const Input input(kind);
    ErrorSlot slot;
    FrameHandle output = filter.process(input.frame(), slot);
    if (output.get() == input.get())
      static_cast<void>(output.release());
    const bool refused =
        output == nullptr && slot &&
        gx_error_get_exception_type(slot.get()) == GX_EXCEPTION_TYPE_INVALID_VALUE &&
        gx_error_get_status(slot.get()) == GX_STATUS_ERROR;
    if (!refused)
      return settings;
    reason = describe(slot.get());
  }
  throw Inapplicable(
      fmt::format("{} fit no frame of the usual size: {}", settings.front().label, reason));
}

FrameHandle process(Filter& filter, const Input& input) {
  ErrorSlot slot;
  FrameHandle output = filter.process(input.frame(), slot);
  if (output == nullptr || output.get() == input.get()) {
    const std::string came = describe(output.release(), input.get(), slot.get());
    throw Unable(fmt::format("a usual frame gave {}", came));
  }
  return output;
}

} // namespace conformance
