#include "gxfilter/input.h"

#include <algorithm>

#include <fmt/format.h>

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
    options.note("without effect: " + words);
  Input input{std::move(*source), {}, PixelDecoder(options.decoding), options.note};
  if (auto failure = input.facts.add(of_recording, input.source->facts()))
    return *failure;
  if (auto failure = add_camera_file(options, input.facts))
    return *failure;
  if (auto failure = input.facts.add("options", *told))
    return *failure;
  return input;
}

Failure settle_size(Input& input, FrameSize frames) {
  const auto remark = input.facts.settle_size(frames, of_recording);
  if (!remark)
    return remark.error();
  if (!remark->empty())
    input.note(*remark);
  return std::nullopt;
}

Result<FrameSize> parse_size_option(const std::string& option, const std::string& text) {
  const auto size = parse_size(text);
  if (!size) {
    return Error{fmt::format("{} {}: not WIDTHxHEIGHT within the limits", option, text),
                 ErrorKind::request};
  }
  return *size;
}

} // namespace gxfilter
