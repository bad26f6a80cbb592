#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "gxfilter/command_line.h"
#include "gxfilter/plugin_option.h"

namespace gxfilter {

using namespace hosting;
using namespace recordings;

namespace {

struct DescribeOptions {
  std::filesystem::path plugin; ///< empty: the one that belongs to this program
  std::string filter;
  bool json = false;
};

struct Column {
  const char* title;
  std::string gexton::Parameter::*field;
};

constexpr Column columns[] = {
    {"name", &gexton::Parameter::name},
    {"type", &gexton::Parameter::type},
    {"min", &gexton::Parameter::min},
    {"max", &gexton::Parameter::max},
    {"step", &gexton::Parameter::step},
    {"default", &gexton::Parameter::default_value},
    {"description", &gexton::Parameter::description},
};

/// "0 top, 1 nearest, 2 farest", or empty.
std::string names_of_values(const gexton::Parameter& parameter) {
  std::string names;
  for (const auto& [name, value] : named_values(parameter))
    names += fmt::format("{}{} {}", names.empty() ? "" : ", ", value, name);
  return names;
}

void print_table(const std::vector<gexton::Parameter>& schema) {
  std::string title_line;
  std::vector<std::string> lines(schema.size());
  for (const Column& column : columns) {
    size_t width = std::string_view(column.title).size();
    for (const gexton::Parameter& parameter : schema)
      width = std::max(width, (parameter.*column.field).size());
    title_line += fmt::format("{:<{}}  ", column.title, width);
    for (size_t i = 0; i < schema.size(); ++i)
      lines[i] += fmt::format("{:<{}}  ", schema[i].*column.field, width);
  }
  fmt::print("{}\n", title_line.substr(0, title_line.find_last_not_of(' ') + 1));
  for (const std::string& line : lines)
    fmt::print("{}\n", line.substr(0, line.find_last_not_of(' ') + 1));
  for (const gexton::Parameter& parameter : schema)
    if (const std::string names = names_of_values(parameter); !names.empty())
      fmt::print("{} may be given by name: {}\n", parameter.name, names);
}

void print_json(const std::string& name, const std::vector<gexton::Parameter>& schema) {
  nlohmann::ordered_json parameters = nlohmann::ordered_json::array();
  for (const gexton::Parameter& parameter : schema) {
    nlohmann::ordered_json entry;
    for (const Column& column : columns)
      entry[column.title] = parameter.*column.field;
    entry["names"] = nlohmann::ordered_json::object();
    for (const auto& [value_name, value] : named_values(parameter))
      entry["names"][value_name] = value;
    parameters.push_back(std::move(entry));
  }
  const nlohmann::ordered_json result{{"filter", name}, {"parameters", std::move(parameters)}};
  fmt::print("{}\n", result.dump(2));
}

Result<ExitStatus> describe_filter(const DescribeOptions& options) {
  const auto plugin = load_plugin(options.plugin);
  if (!plugin)
    return plugin.error();
  const auto filter = Filter::create(*plugin, options.filter);
  if (!filter)
    return filter.error();
  if (options.json)
    print_json(filter->name(), filter->schema());
  else if (filter->schema().empty())
    fmt::print("{} has no parameters\n", filter->name());
  else
    print_table(filter->schema());
  return ExitStatus::ok;
}

} // namespace

Action add_describe_options(CLI::App& command) {
  const auto options = std::make_shared<DescribeOptions>();
  add_plugin_option(command, options->plugin);
  command.add_option("filter", options->filter, "Filter name")
      ->type_name(value_kind::filter)
      ->required();
  command.add_flag("--json", options->json, "Print JSON");
  return [options] { return describe_filter(*options); };
}

} // namespace gxfilter
