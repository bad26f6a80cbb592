#include "gxfilter/input_options.h"

#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "gxfilter/camera_options.h"
#include "gxfilter/decoding_options.h"
#include "gxfilter/report.h"

namespace gxfilter {

using namespace recordings;

std::string format_facts(const std::vector<FactInForce>& facts) {
  std::vector<std::pair<std::string, std::string>> lines;
  for (const FactInForce& fact : facts) {
    const std::string value = fact.value.is_string() ? fact.value.get<std::string>()
                              : fact.value.is_object()
                                  ? fmt::format("of {} fields", fact.value.size())
                                  : fact.value.dump();
    const std::string text =
        fmt::format("{} {}{}{}", fact.key, value, fact.unit.empty() ? "" : " ", fact.unit);
    const auto line = std::ranges::find(lines, fact.origin, &decltype(lines)::value_type::first);
    if (line == lines.end())
      lines.emplace_back(fact.origin, text);
    else
      line->second += ", " + text;
  }
  std::string result;
  for (const auto& [origin, text] : lines)
    result += fmt::format("\n  {}: {}", origin, text);
  return result;
}

void add_input_options(CLI::App& command, InputOptions& options) {
  options.note = note;
  command
      .add_option("inputs", options.inputs,
                  "Pictures or directories of them in order, one recording, or - (standard input)")
      ->type_name("INPUT")
      ->required();
  command
      .add_option("--match", options.source.match, "Take only these files of a directory ('*.bin')")
      ->type_name("WILDCARDS");
  command
      .add_option("--topic", options.source.topic,
                  "Where the depth is in a recording of several topics or streams")
      ->type_name("NAME");
  command.add_option("--size", options.size, "Size of headerless frames")->type_name("WxH");
  command
      .add_option("--camera", options.camera_file,
                  "Camera facts, JSON or a ROS camera_info YAML (by default camera.json or\n"
                  "INPUT.json beside the first input); the options below win over it")
      ->type_name("FILE");
  add_decoding_options(command, options.decoding);
  add_camera_options(command, options.facts);
}

} // namespace gxfilter
