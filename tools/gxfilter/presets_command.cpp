#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "gxfilter/command_line.h"
#include "gxfilter/presets.h"

namespace gxfilter {

using namespace recordings;

namespace {

struct PresetsOptions {
  std::string name; ///< empty: all
  bool json = false;
};

/// As --filter takes it.
std::string filter_option(const FilterRequest& request) {
  std::string text = request.name;
  if (!request.record.empty())
    return text + ":@" + request.record.string();
  for (const auto& [key, value] : request.values)
    text += fmt::format("{}{}={}", text == request.name ? ":" : ",", key, value);
  return text;
}

nlohmann::ordered_json to_json(const std::string& name, const Preset& preset) {
  nlohmann::ordered_json chain = nlohmann::ordered_json::array();
  for (const FilterRequest& request : preset.chain) {
    nlohmann::ordered_json entry{{"filter", request.name}};
    if (!request.record.empty())
      entry["record"] = request.record.string();
    else
      entry["params"] = request.values;
    chain.push_back(std::move(entry));
  }
  return {{"name", name},
          {"description", preset.description},
          {"when_not", preset.when_not},
          {"chain", std::move(chain)}};
}

void print_list(const std::map<std::string, Preset>& presets) {
  size_t width = 0;
  for (const auto& [name, preset] : presets)
    width = std::max(width, name.size());
  for (const auto& [name, preset] : presets)
    fmt::print("{:<{}}  {}\n", name, width, preset.description);
}

void print_preset(const Preset& preset) {
  fmt::print("{}\nNot for: {}\n", preset.description, preset.when_not);
  for (const FilterRequest& request : preset.chain)
    fmt::print("  --filter {}\n", filter_option(request));
}

Result<ExitStatus> show_presets(const PresetsOptions& options) {
  const auto presets = read_presets(preset_directories());
  if (!presets)
    return presets.error();
  if (options.name.empty()) {
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const auto& [name, preset] : *presets)
      all.push_back(to_json(name, preset));
    if (options.json)
      fmt::print("{}\n", all.dump(2));
    else
      print_list(*presets);
    return ExitStatus::ok;
  }
  const auto preset = find_preset(*presets, options.name);
  if (!preset)
    return preset.error();
  if (options.json)
    fmt::print("{}\n", to_json(options.name, *preset).dump(2));
  else
    print_preset(*preset);
  return ExitStatus::ok;
}

} // namespace

Action add_presets_options(CLI::App& command) {
  const auto options = std::make_shared<PresetsOptions>();
  command.add_option("name", options->name, "Show this preset: its chain, and when not to use it")
      ->type_name(value_kind::preset);
  command.add_flag("--json", options->json, "Print JSON");
  return [options] { return show_presets(*options); };
}

} // namespace gxfilter
