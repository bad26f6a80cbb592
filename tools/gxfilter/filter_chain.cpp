#include "gxfilter/filter_chain.h"

#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "recordings/image_file.h"
#include "recordings/json_text.h"

namespace gxfilter {

using namespace hosting;
using namespace recordings;

namespace {

Error usage_error(std::string message) {
  return {std::move(message), ErrorKind::request};
}

/// As one writes it on the command line. Programs write whole numbers as 3.0 too.
std::string parameter_text(const nlohmann::json& value) {
  constexpr double exact = 9007199254740992; // float64 has all whole numbers up to here
  if (value.is_string())
    return value.get<std::string>();
  if (value.is_boolean())
    return value.get<bool>() ? "1" : "0";
  const double number = value.get<double>();
  if (value.is_number_float() && std::abs(number) <= exact && number == std::trunc(number))
    return fmt::format("{}", static_cast<int64_t>(number));
  return value.dump();
}

Result<FilterRequest> parse_chain_entry(const nlohmann::json& entry) {
  if (!entry.is_object() || !entry.contains("filter") || !entry["filter"].is_string())
    return usage_error("each entry of a chain needs \"filter\" with a name");
  FilterRequest request;
  for (const auto& [key, value] : entry.items()) {
    if (key == "filter") {
      request.name = value.get<std::string>();
    } else if (key == "record" && value.is_string() && !value.get<std::string>().empty()) {
      request.record = value.get<std::string>();
    } else if (key == "params" && value.is_object()) {
      for (const auto& [name, parameter] : value.items()) {
        if (parameter.is_structured() || parameter.is_null())
          return usage_error(fmt::format("parameter '{}' needs a plain value", name));
        request.values[name] = parameter_text(parameter);
      }
    } else {
      return usage_error(fmt::format("unexpected '{}' in an entry of a chain", key));
    }
  }
  if (!request.record.empty() && !request.values.empty())
    return usage_error(fmt::format("{}: parameters and a record exclude each other", request.name));
  return request;
}

Result<Preset> with_chain(Preset preset, const nlohmann::json& chain) {
  for (const auto& entry : chain) {
    auto request = parse_chain_entry(entry);
    if (!request)
      return request.error();
    preset.chain.push_back(std::move(*request));
  }
  return preset;
}

/// The lines that help to mend a rejection: the rejected parameter's; where the filter names none,
/// those of the parameters that the user named; failing that, all.
std::string helpful_lines(const FilterRequest& request,
                          const std::vector<gexton::Parameter>& schema,
                          const std::string& rejected) {
  std::string lines;
  const bool rejected_known = find_parameter(schema, rejected) != nullptr;
  for (const gexton::Parameter& parameter : schema) {
    const bool helps = rejected_known
                           ? parameter.name == rejected
                           : request.values.empty() || request.values.contains(parameter.name);
    if (helps)
      lines += "\n  " + parameter.line;
  }
  return lines;
}

} // namespace

Result<FilterRequest> parse_filter_request(const std::string& text) {
  FilterRequest request;
  const size_t colon = text.find(':');
  request.name = gexton::trim(text.substr(0, colon));
  if (request.name.empty())
    return usage_error(fmt::format("no filter name in '{}'", text));
  std::string_view rest = colon == std::string::npos
                              ? std::string_view()
                              : gexton::trim(std::string_view(text).substr(colon + 1));
  if (rest.starts_with('@')) {
    request.record = rest.substr(1);
    return request;
  }
  while (!rest.empty()) {
    const size_t comma = rest.find(',');
    const std::string_view pair = rest.substr(0, comma);
    rest.remove_prefix(comma == std::string_view::npos ? rest.size() : comma + 1);
    const size_t equals = pair.find('=');
    const std::string key(gexton::trim(pair.substr(0, equals)));
    if (equals == std::string_view::npos || key.empty())
      return usage_error(fmt::format("'{}' in '{}' is not key=value", pair, text));
    if (!request.values.emplace(key, gexton::trim(pair.substr(equals + 1))).second)
      return usage_error(fmt::format("'{}' is given twice in '{}'", key, text));
  }
  return request;
}

Result<Preset> parse_preset(std::string_view json) {
  const auto parsed = parse_json({reinterpret_cast<const uint8_t*>(json.data()), json.size()});
  if (!parsed)
    return usage_error(parsed.error().message);
  const nlohmann::json& document = *parsed;
  Preset preset;
  if (document.is_array())
    return with_chain(std::move(preset), document);
  if (!document.is_object())
    return usage_error("neither a JSON list of filters nor a preset");
  if (!document.contains("chain") || !document["chain"].is_array())
    return usage_error("a preset needs \"chain\" with a list of filters");
  for (const auto& [key, value] : document.items())
    if (key == "description" && value.is_string())
      preset.description = value.get<std::string>();
    else if (key == "when_not" && value.is_string())
      preset.when_not = value.get<std::string>();
    else if (key != "chain")
      return usage_error(fmt::format("unexpected '{}' in a preset", key));
  return with_chain(std::move(preset), document["chain"]);
}

Result<Preset> read_preset(const std::filesystem::path& path) {
  const auto bytes = read_file(path);
  if (!bytes)
    return usage_error(bytes.error().message);
  auto preset = parse_preset({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
  if (!preset)
    return usage_error(fmt::format("{}: {}", path.string(), preset.error().message));
  return preset;
}

Result<std::vector<std::string>> complete_values(const FilterRequest& request,
                                                 const std::vector<gexton::Parameter>& schema,
                                                 Ranges ranges) {
  for (const auto& [key, value] : request.values) {
    if (find_parameter(schema, key) == nullptr) {
      return usage_error(fmt::format(
          "{} has no parameter '{}'; {}{}", request.name, key,
          schema.empty() ? "it has none at all" : "it has:", helpful_lines({}, schema, "")));
    }
  }
  std::vector<std::string> values;
  for (const gexton::Parameter& parameter : schema) {
    const auto given = request.values.find(parameter.name);
    if (given == request.values.end()) {
      values.push_back(parameter.default_value);
      continue;
    }
    auto value = value_text(parameter, given->second, ranges);
    if (!value) {
      return usage_error(
          fmt::format("{}: {}\n  {}", request.name, value.error().message, parameter.line));
    }
    values.push_back(std::move(*value));
  }
  return values;
}

std::string describe_request(const FilterRequest& request,
                             const std::vector<gexton::Parameter>& schema) {
  if (!request.record.empty())
    return fmt::format("{} @{}", request.name, request.record.filename().string());
  std::string text = request.name;
  for (const gexton::Parameter& parameter : schema) {
    const auto given = request.values.find(parameter.name);
    if (given == request.values.end() ||
        same_value(parameter, given->second, parameter.default_value))
      continue;
    text += fmt::format("{} {}={}", text == request.name ? "" : ",", parameter.name, given->second);
  }
  return text;
}

Failure read_record(FilterRequest& request) {
  if (request.record.empty())
    return std::nullopt;
  auto bytes = read_file(request.record);
  if (!bytes)
    return usage_error(bytes.error().message);
  request.record_bytes = std::move(*bytes);
  return std::nullopt;
}

Failure configure(Filter& filter, const FilterRequest& request, Ranges ranges) {
  gexton::ErrorSlot slot;
  if (request.record_bytes) {
    filter.set_config_data(*request.record_bytes, slot);
  } else if (!request.record.empty()) {
    FilterRequest with_bytes = request;
    if (auto failure = read_record(with_bytes))
      return failure;
    filter.set_config_data(*with_bytes.record_bytes, slot);
  } else {
    const auto values = complete_values(request, filter.schema(), ranges);
    if (!values)
      return values.error();
    if (filter.schema().empty())
      filter.reset();
    else
      filter.update_config(*values, slot);
  }
  if (!slot)
    return std::nullopt;
  return usage_error(
      fmt::format("{} rejects its configuration: {}{}", filter.name(), slot.text(),
                  helpful_lines(request, filter.schema(), gx_error_get_args(slot.get()))));
}

Result<Filter> make_filter(const std::shared_ptr<const Plugin>& plugin,
                           const FilterRequest& request, Ranges ranges) {
  auto filter = Filter::create(plugin, request.name);
  if (filter) {
    if (auto failure = configure(*filter, request, ranges))
      return *failure;
  }
  return filter;
}

std::string Chain::caption() const {
  std::string text;
  for (size_t i = 0; i < filters.size(); ++i)
    text += (i == 0 ? "" : " > ") + describe_request(requests[i], filters[i].schema());
  return text;
}

Result<Chain> make_chain(const std::shared_ptr<const Plugin>& plugin,
                         std::vector<FilterRequest> requests, Ranges ranges) {
  Chain chain{plugin, std::move(requests), {}};
  for (const FilterRequest& request : chain.requests) {
    auto filter = make_filter(plugin, request, ranges);
    if (!filter)
      return filter.error();
    chain.filters.push_back(std::move(*filter));
  }
  return chain;
}

} // namespace gxfilter
