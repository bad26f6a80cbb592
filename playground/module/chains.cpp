// The filters, chains of them, and a filter's work on a frame.
#include <algorithm>
#include <memory>

#include <fmt/format.h>

#include "answers.h"
#include "gxfilter/filter_chain.h"
#include "recordings/host_frame.h"

using namespace recordings;
using namespace playground;
using gxfilter::FilterRequest;
using gxfilter::Ranges;

namespace {

/// Of one filter's work; the fields' order is known to the page.
struct Work {
  gx_frame* frame; ///< null: it failed
  uint32_t valid;  ///< pixels other than 0
  int32_t changed; ///< pixels whose value differs; -1 where the size does
  float milliseconds;
};

constexpr std::pair<const char*, const char*> presets[] = {
#include "presets.inc"
};

const std::shared_ptr<const hosting::Plugin>& plugin() {
  static const auto linked = *hosting::Plugin::load({});
  return linked;
}

nlohmann::json describe(const gexton::Parameter& parameter) {
  auto choices = nlohmann::json::array();
  for (const auto& [name, value] : gexton::named_values(parameter))
    choices.push_back({{"name", name}, {"value", value}});
  return {{"name", parameter.name},
          {"type", parameter.type},
          {"min", parameter.min},
          {"max", parameter.max},
          {"step", parameter.step},
          {"default", parameter.default_value},
          {"description", parameter.description},
          {"line", parameter.line},
          {"choices", choices}};
}

nlohmann::json describe(const gxfilter::Preset& preset) {
  auto chain = nlohmann::json::array();
  for (const FilterRequest& request : preset.chain)
    chain.push_back({{"filter", request.name}, {"params", request.values}});
  return {{"description", preset.description}, {"whenNot", preset.when_not}, {"chain", chain}};
}

/// Null, or what is wrong with a chain that has not been tried yet.
Failure check_chain(const gxfilter::Preset& preset) {
  for (const FilterRequest& request : preset.chain) {
    const auto filter = gxfilter::make_filter(plugin(), request, Ranges::left_to_the_filter);
    if (!filter)
      return filter.error();
  }
  return std::nullopt;
}

/// What is no number, or is outside the range that the schema shows: gxfilter refuses that too.
/// Null where every value is fine.
bool refuses_value(const FilterRequest& request, const std::vector<gexton::Parameter>& schema,
                   Ranges ranges) {
  for (const auto& [key, given] : request.values) {
    const gexton::Parameter* parameter = gexton::find_parameter(schema, key);
    if (parameter == nullptr)
      continue;
    const auto value = gxfilter::value_text(*parameter, given, ranges);
    if (!value) {
      fail(value.error(), key, gxfilter::allowed_values(*parameter));
      return true;
    }
  }
  return false;
}

FilterRequest request_of(const char* name, const char* values) {
  FilterRequest request;
  request.name = name;
  const nlohmann::json given = parse(values);
  for (const auto& [key, value] : given.items())
    request.values[key] = value.get<std::string>();
  return request;
}

/// The plug-in's own word on the values comes before the schema's.
bool configure(hosting::Filter& filter, const FilterRequest& request) {
  if (refuses_value(request, filter.schema(), Ranges::left_to_the_filter))
    return false;
  const auto values =
      gxfilter::complete_values(request, filter.schema(), Ranges::left_to_the_filter);
  if (!values) {
    fail(values.error());
    return false;
  }
  if (filter.schema().empty()) {
    filter.reset();
    return true;
  }
  gexton::ErrorSlot slot;
  filter.update_config(*values, slot);
  if (!slot)
    return !refuses_value(request, filter.schema(), Ranges::checked);
  const std::string parameter = gx_error_get_args(slot.get());
  const gexton::Parameter* refused = gexton::find_parameter(filter.schema(), parameter);
  fail({slot.text(), ErrorKind::request}, refused != nullptr ? parameter : "",
       refused != nullptr ? gxfilter::allowed_values(*refused) : "");
  return false;
}

uint32_t count_valid(std::span<const uint16_t> pixels) {
  uint32_t count = 0;
  for (const uint16_t pixel : pixels)
    count += pixel != 0 ? 1U : 0U;
  return count;
}

int32_t count_changed(const PixelView& before, const PixelView& after) {
  if (before.size != after.size)
    return -1;
  int32_t count = 0;
  for (size_t i = 0; i < before.pixels.size(); ++i)
    count += before.pixels[i] != after.pixels[i] ? 1 : 0;
  return count;
}

} // namespace

/// The filters with their schemas, and the presets.
PLAYGROUND_API const char* catalogue() {
  return guarded([]() -> const char* {
    auto filters = nlohmann::json::array();
    const auto names = plugin()->filter_names();
    if (!names) {
      fail(names.error());
      return nullptr;
    }
    for (const std::string& name : *names) {
      const auto filter = hosting::Filter::create(plugin(), name);
      if (!filter) {
        fail(filter.error());
        return nullptr;
      }
      auto parameters = nlohmann::json::array();
      for (const gexton::Parameter& parameter : filter->schema())
        parameters.push_back(describe(parameter));
      filters.push_back({{"name", name}, {"parameters", parameters}});
    }
    auto known = nlohmann::json::array();
    for (const auto& [name, text] : presets) {
      auto preset = describe(*gxfilter::parse_preset(text));
      preset["name"] = name;
      known.push_back(preset);
    }
    return answer({{"filters", filters}, {"presets", known}, {"commit", plugin()->commit()}});
  });
}

/// A chain's or a preset's JSON, as `gxfilter run --chain` reads it.
PLAYGROUND_API const char* chain_read(const char* json) {
  return guarded([&]() -> const char* {
    const auto preset = gxfilter::parse_preset(json);
    const Failure failure = preset ? check_chain(*preset) : Failure(preset.error());
    if (failure) {
      fail(*failure);
      return nullptr;
    }
    return answer(describe(*preset));
  });
}

/// A value for every parameter of the filter's schema, in its order, as the plug-in takes them.
PLAYGROUND_API const char* filter_values(const char* name, const char* values) {
  return guarded([&]() -> const char* {
    const FilterRequest request = request_of(name, values);
    const auto filter = hosting::Filter::create(plugin(), request.name);
    if (!filter) {
      fail(filter.error());
      return nullptr;
    }
    const auto complete = gxfilter::complete_values(request, filter->schema(), Ranges::checked);
    if (!complete) {
      fail(complete.error());
      return nullptr;
    }
    return answer(*complete);
  });
}

/// A filter that is ready for its first frame; null where it or the schema refuses a value.
PLAYGROUND_API hosting::Filter* filter_make(const char* name, const char* values) {
  return guarded([&]() -> hosting::Filter* {
    const FilterRequest request = request_of(name, values);
    auto filter = hosting::Filter::create(plugin(), request.name);
    if (!filter) {
      fail(filter.error());
      return nullptr;
    }
    return configure(*filter, request) ? new hosting::Filter(std::move(*filter)) : nullptr;
  });
}

PLAYGROUND_API void filter_delete(hosting::Filter* filter) {
  delete filter;
}

PLAYGROUND_API uint32_t frame_valid(const gx_frame* frame) {
  return guarded([&]() -> uint32_t {
    const auto view = look_at(*frame);
    return view ? count_valid(view->pixels) : 0;
  });
}

/// The filtered frame, a new one, and what was done; until the next call. The input stays as it is.
PLAYGROUND_API const Work* filter_process(hosting::Filter* filter, gx_frame* frame) {
  return guarded([&]() -> const Work* {
    static Work work;
    gexton::ErrorSlot slot;
    const double start = emscripten_get_now();
    gexton::Frame filtered = filter->process(*frame, slot);
    const double end = emscripten_get_now();
    if (!filtered || slot) {
      fail({slot ? slot.text() : "no frame and no error", ErrorKind::processing});
      return nullptr;
    }
    const auto before = look_at(*frame);
    const auto after = look_at(*filtered);
    if (!before || !after) {
      fail(before ? after.error() : before.error());
      return nullptr;
    }
    work = {nullptr, count_valid(after->pixels), count_changed(*before, *after),
            static_cast<float>(end - start)};
    work.frame = filtered.release();
    return &work;
  });
}
