#include "gxfilter/input_options.h"

#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "gxfilter/camera_options.h"
#include "gxfilter/decoding_options.h"
#include "gxfilter/report.h"

namespace gxfilter {

using namespace recordings;

namespace {

namespace fs = std::filesystem;

constexpr const char* of_recording = "the recording";

/// What the options say, the size among them.
Result<CameraFacts> facts_of_options(const InputOptions& options) {
  CameraFacts facts = options.facts;
  if (options.size.empty())
    return facts;
  const auto size = parse_size_option("--size", options.size);
  if (!size)
    return size.error();
  facts["width"] = size->width;
  facts["height"] = size->height;
  return facts;
}

/// Options that these inputs leave without a meaning, a word about each.
std::vector<std::string> options_without_effect(const InputOptions& options,
                                                const FrameSource& source) {
  std::error_code code;
  const bool has_folder = std::ranges::any_of(
      options.inputs, [&](const fs::path& input) { return fs::is_directory(input, code); });
  std::vector<std::string> words;
  if (!options.source.match.empty() && !has_folder)
    words.emplace_back("--match: no input is a directory");
  if (!options.source.topic.empty() && source.topic().empty())
    words.emplace_back("--topic: there are none in this input");
  return words;
}

Failure add_camera_file(const InputOptions& options, KnownFacts& known) {
  const fs::path path =
      options.camera_file.empty() ? find_camera_file(options.inputs.front()) : options.camera_file;
  if (path.empty())
    return std::nullopt;
  const auto facts = read_camera_file(path);
  return facts ? known.add(path.string(), *facts) : facts.error();
}

} // namespace

Result<Input> open_input(const InputOptions& options) {
  const auto told = facts_of_options(options);
  if (!told)
    return told.error();
  // The size of headerless frames must be known before the recording is opened, what the recording
  // says about its camera is known after, and all else wins over it.
  KnownFacts outside;
  if (auto failure = add_camera_file(options, outside))
    return *failure;
  if (auto failure = outside.add("options", *told))
    return Error{failure->message, ErrorKind::request};
  const auto size = raw_frame_size(outside.facts());
  if (!size)
    return size.error();
  SourceOptions source_options = options.source;
  source_options.told_size = *size;
  auto source = open_source(options.inputs, source_options);
  if (!source)
    return source.error();
  for (const std::string& words : options_without_effect(options, **source))
    note("without effect: " + words);
  Input input{std::move(*source), {}, PixelDecoder(options.decoding)};
  if (auto failure = input.facts.add(of_recording, input.source->facts()))
    return *failure;
  if (auto failure = add_camera_file(options, input.facts))
    return *failure;
  if (auto failure = input.facts.add("options", *told))
    return *failure;
  return input;
}

Failure settle_size(Input& input, FrameSize frames) {
  auto failure = input.facts.check_size_of(frames);
  const bool by_recording = failure && (input.facts.origin_of("width") == of_recording ||
                                        input.facts.origin_of("height") == of_recording);
  if (!by_recording)
    return failure;
  note(failure->message + "; what it says of its camera is left aside");
  input.facts.forget(of_recording);
  return input.facts.check_size_of(frames);
}

Result<FrameSize> parse_size_option(const std::string& option, const std::string& text) {
  const auto size = parse_size(text);
  if (!size) {
    return Error{fmt::format("{} {}: not WIDTHxHEIGHT within the limits", option, text),
                 ErrorKind::request};
  }
  return *size;
}

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
