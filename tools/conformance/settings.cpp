#include "conformance/settings.h"

#include <fmt/format.h>

#include "conformance/our_filters.h"
#include "conformance/probes.h"

namespace conformance {

using namespace hosting;
using namespace recordings;

std::vector<std::string> default_values(const std::vector<gexton::Parameter>& schema) {
  std::vector<std::string> values;
  values.reserve(schema.size());
  for (const gexton::Parameter& parameter : schema)
    values.push_back(parameter.default_value);
  return values;
}

void set_value(const Filter& filter, std::vector<std::string>& values, const char* name,
               const std::string& value) {
  for (size_t i = 0; i < values.size(); ++i)
    if (filter.schema()[i].name == name)
      values[i] = value;
}

std::vector<Setting> settings_of(const Filter& filter, FrameSize size) {
  std::vector<Setting> settings{{"default parameters", default_values(filter.schema())}};
  for (const SpecialSetting& special : special_settings(filter.name(), size)) {
    Setting setting{special.label, settings.front().values};
    for (const auto& [name, value] : special.values)
      set_value(filter, setting.values, name, value);
    if (!special.beside_defaults)
      settings.clear();
    settings.push_back(std::move(setting));
  }
  return settings;
}

std::string update(Filter& filter, const std::vector<std::string>& values) {
  gexton::ErrorSlot slot;
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
    gexton::ErrorSlot slot;
    const Output output = try_frame(filter, input.frame(), slot);
    const bool refused =
        output.frame == nullptr && slot &&
        gx_error_get_exception_type(slot.get()) == GX_EXCEPTION_TYPE_INVALID_VALUE &&
        gx_error_get_status(slot.get()) == GX_STATUS_ERROR;
    if (!refused)
      return settings;
    reason = describe(slot.get());
  }
  throw Inapplicable(
      fmt::format("{} fit no frame of the usual size: {}", settings.front().label, reason));
}

std::string pixels_of(const Output& output) {
  return output.frame != nullptr ? FrameState(*output.frame).pixels() : std::string();
}

gexton::Frame process(Filter& filter, const Input& input) {
  gexton::ErrorSlot slot;
  Output output = try_frame(filter, input.frame(), slot);
  if (output.frame == nullptr)
    throw Unable(fmt::format("a usual frame gave {}", describe(output, slot.get())));
  return std::move(output.frame);
}

} // namespace conformance
