#include <algorithm>
#include <thread>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "gxfilter/command_line.h"
#include "gxfilter/filter_run.h"
#include "gxfilter/input_options.h"
#include "gxfilter/plugin_option.h"
#include "gxfilter/presets.h"
#include "gxfilter/preview.h"
#include "recordings/output_file.h"
#include "recordings/pixel_digest.h"

namespace gxfilter {

using namespace hosting;
using namespace recordings;

namespace {

namespace fs = std::filesystem;

struct RunOptions {
  fs::path plugin;                  ///< empty: the one that belongs to this program
  std::string preset;               ///< empty: none
  fs::path chain;                   ///< applied after the preset; empty: none
  std::vector<std::string> filters; ///< requests, applied after those of the chain file
  Ranges ranges = Ranges::checked;
  InputOptions input;
  RunSettings settings;
  std::string output_format; ///< empty: that of the input's pipe or PNG
  bool preview = false;
  fs::path preview_folder; ///< empty: one that follows from the output
  bool json = false;
};

Result<std::vector<FilterRequest>> gather_requests(const RunOptions& options) {
  std::vector<FilterRequest> requests;
  if (!options.preset.empty()) {
    const auto presets = read_presets(preset_directories());
    if (!presets)
      return presets.error();
    auto preset = find_preset(*presets, options.preset);
    if (!preset)
      return preset.error();
    requests = std::move(preset->chain);
  }
  if (!options.chain.empty()) {
    const auto preset = read_preset(options.chain);
    if (!preset)
      return preset.error();
    requests.insert(requests.end(), preset->chain.begin(), preset->chain.end());
  }
  for (const std::string& text : options.filters) {
    auto request = parse_filter_request(text);
    if (!request)
      return request.error();
    requests.push_back(std::move(*request));
  }
  if (requests.empty())
    return Error{"no filter is given (--filter, --preset or --chain)", ErrorKind::request};
  return requests;
}

Result<Chain> choose_chain(const RunOptions& options) {
  auto requests = gather_requests(options);
  if (!requests)
    return requests.error();
  const auto plugin = load_plugin(options.plugin);
  if (!plugin)
    return plugin.error();
  return make_chain(*plugin, std::move(*requests), options.ranges);
}

/// Beneath the folder of the results, beside a file of results.
Result<fs::path> choose_preview_folder(const RunOptions& options) {
  const fs::path& output = options.settings.output;
  if (!options.preview_folder.empty())
    return options.preview_folder;
  if (!options.preview)
    return fs::path();
  if (output == standard_stream) {
    return Error{"pictures need a folder of their own beside standard output (--preview-dir)",
                 ErrorKind::request};
  }
  return names_one_file(output) ? output.parent_path() / (output.stem().string() + "_previews")
                                : output / "previews";
}

/// What a pipe carries is named by --format; a folder's pictures are PNG unless --out-format says
/// otherwise.
std::string choose_output_format(const RunOptions& options) {
  if (!options.output_format.empty())
    return options.output_format;
  const bool to_pipe = options.settings.output == standard_stream;
  return to_pipe && !options.input.source.format.empty() ? options.input.source.format : "png";
}

/// Results and tables go where they can't mix: texts to standard error where the frames go to
/// standard output.
std::FILE* text_output(const RunOptions& options) {
  return options.settings.output == standard_stream ? stderr : standard_output();
}

void tell_interruption(const RunOptions& options, const RunOutcome& outcome) {
  const fs::path& output = options.settings.output;
  if (names_one_file(output) && output != standard_stream) {
    note(fmt::format("interrupted; {} was not written", output.string()));
    return;
  }
  if (output == standard_stream)
    note(fmt::format("interrupted after {} frames", outcome.frames));
  else
    note(fmt::format("interrupted: {} frames are in {}; --resume goes on behind them",
                     outcome.frames, output.string()));
}

void tell_left_out(const RunOutcome& outcome) {
  for (const std::string& reason : outcome.left_out)
    note("left out: " + reason);
  if (!outcome.left_out.empty())
    note(fmt::format("{} of {} frames were left out", outcome.left_out.size(),
                     outcome.left_out.size() + outcome.frames));
}

nlohmann::json to_json(const RunOptions& options, const RunOutcome& outcome) {
  nlohmann::json facts = nlohmann::json::object();
  for (const FactInForce& fact : outcome.facts)
    facts[fact.key] = {{"value", fact.value}, {"unit", fact.unit}, {"from", fact.origin}};
  return {{"output", options.settings.output.string()},
          {"frames", outcome.frames},
          {"kept", outcome.kept},
          {"digest", outcome.digest.empty() ? nlohmann::json() : nlohmann::json(outcome.digest)},
          {"left_out", outcome.left_out},
          {"remarks", outcome.remarks},
          {"idle_filters", outcome.idle_filters},
          {"interrupted", outcome.interrupted},
          {"error", outcome.failure ? nlohmann::json(outcome.failure->message) : nlohmann::json()},
          {"camera", facts},
          {"filters", to_json(outcome.statistics)}};
}

void print_outcome(const RunOptions& options, const RunOutcome& outcome) {
  for (const std::string& remark : outcome.remarks)
    note(remark);
  tell_left_out(outcome);
  std::FILE* const file = text_output(options);
  if (options.json)
    fmt::print(file, "{}\n", json_text(to_json(options, outcome)));
  else if (!outcome.statistics.empty() && outcome.frames > 0)
    fmt::print(file, "{}", format_table(outcome.statistics));
  if (!options.json && !outcome.digest.empty())
    fmt::print(file, "digest {}\n", outcome.digest);
  std::fflush(file);
  for (const std::string& explanation : outcome.idle_filters)
    note(explanation);
  if (outcome.interrupted && !outcome.failure)
    tell_interruption(options, outcome);
}

Result<ExitStatus> status_of(const RunOutcome& outcome) {
  if (outcome.failure)
    return *outcome.failure;
  if (outcome.interrupted)
    return ExitStatus::interrupted;
  if (outcome.frames == 0)
    return Error{outcome.left_out.empty() ? "there are no frames" : "no frame could be read"};
  return outcome.left_out.empty() ? ExitStatus::ok : ExitStatus::left_out;
}

/// Options that the rest of the command line leaves without a meaning, a word about each.
std::vector<std::string> options_without_effect(const RunOptions& options) {
  const fs::path& output = options.settings.output;
  std::error_code code;
  const auto is_pipe = [&](const fs::path& path) {
    return path == standard_stream || fs::is_fifo(path, code);
  };
  std::vector<std::string> words;
  if (options.settings.crop && options.settings.previews.empty())
    words.emplace_back("--crop: only pictures of --preview are cropped");
  if (!options.output_format.empty() && names_one_file(output) && !is_pipe(output))
    words.push_back("--out-format: " + output.string() + " is named by its ending");
  if (!options.input.source.format.empty() && !is_pipe(output) &&
      std::ranges::none_of(options.input.inputs, is_pipe))
    words.emplace_back("--format: neither input nor output is a pipe");
  return words;
}

/// A file has its name when it is whole: resuming leaves it alone, if it is a recording that can be
/// read to its end.
Result<ExitStatus> keep_result(const RunOptions& options, const FrameSource& source) {
  const fs::path& output = options.settings.output;
  auto result = open_source({output}, {});
  RunOutcome outcome;
  PixelDigest digest;
  while (result) {
    const auto next = (*result)->next();
    const auto image = next && *next ? (*next)->decode() : Error{};
    if (!image)
      break;
    if (options.settings.digest)
      digest.add(*image);
    outcome.kept = ++outcome.frames;
  }
  const bool is_whole = result && outcome.frames > 0 && (*result)->remarks().empty() &&
                        outcome.frames == source.frame_count().value_or(outcome.frames);
  if (!is_whole) {
    return Error{fmt::format("{} is not a whole result; --overwrite replaces it", output.string()),
                 ErrorKind::request};
  }
  note(fmt::format("{} is there already, with {} frames", output.string(), outcome.frames));
  if (options.settings.digest)
    outcome.digest = digest.text();
  if (options.json || options.settings.digest)
    print_outcome(options, outcome);
  return ExitStatus::ok;
}

/// The one file that holds all frames, or nothing.
fs::path origin_of(const FrameSource& source, const InputOptions& input) {
  std::error_code code;
  const bool is_one_file = source.files().empty() && input.inputs.size() == 1 &&
                           fs::is_regular_file(input.inputs.front(), code);
  return is_one_file ? input.inputs.front() : fs::path();
}

Result<ExitStatus> run_command(RunOptions& options) {
  RunSettings& settings = options.settings;
  // The plug-in may print what it likes; results and tables stay apart from it.
  if (auto failure = claim_standard_output())
    return *failure;
  auto chain = choose_chain(options);
  if (!chain)
    return chain.error();
  const auto previews = choose_preview_folder(options);
  if (!previews)
    return previews.error();
  settings.previews = *previews;
  settings.format = choose_output_format(options);
  settings.tell_facts = !options.json;
  if (settings.resume && settings.output == standard_stream)
    return Error{"--resume: standard output keeps nothing to go on behind", ErrorKind::request};
  for (const std::string& words : options_without_effect(options))
    note("without effect: " + words);
  auto input = open_input(options.input);
  if (!input)
    return input.error();
  settings.origin = origin_of(*input->source, options.input);
  if (auto failure = check_output(*input->source, options.input.inputs, settings))
    return *failure;
  std::error_code code;
  if (settings.resume && names_one_file(settings.output) && fs::exists(settings.output, code))
    return keep_result(options, *input->source);
  const RunOutcome outcome = run_filters(std::move(*input), std::move(*chain), settings);
  print_outcome(options, outcome);
  return status_of(outcome);
}

} // namespace

Action add_run_options(CLI::App& command) {
  const auto options = std::make_shared<RunOptions>();
  options->settings.jobs = std::clamp(std::thread::hardware_concurrency(), 1U, 256U);
  add_plugin_option(command, options->plugin);
  add_input_options(command, options->input);
  RunSettings& settings = options->settings;
  command
      .add_option("--out", settings.output,
                  "A directory for pictures, a file whose ending names the format, or -\n"
                  "(standard output)")
      ->type_name("PATH")
      ->required();
  command
      .add_option("--format", options->input.source.format,
                  "Format of what comes from and goes to - (png, pgm, raw, npy, ...)")
      ->type_name("NAME");
  command
      .add_option("--out-format", options->output_format,
                  "Format of the pictures in a directory (png), and of - where it is another than\n"
                  "the input's")
      ->type_name("NAME");
  command
      .add_option(
          "--filter", options->filters,
          "Filter with parameters; those that are not named keep their defaults. Modes may\n"
          "be given by the names that gxfilter describe shows (hole_filling_mode=nearest).\n"
          "Several make a chain. FILTER:@FILE gives a configuration record instead")
      ->type_name(value_kind::filter + std::string("[:KEY=VALUE,...]"))
      ->allow_extra_args(false);
  command
      .add_option(
          "--chain", options->chain,
          "JSON list of {\"filter\": NAME, \"params\": {KEY: VALUE}}, or a preset of your own,\n"
          "{\"description\": TEXT, \"when_not\": TEXT, \"chain\": LIST}; applied before --filter")
      ->type_name("FILE");
  command
      .add_option("--preset", options->preset,
                  "Chain that comes with the program (gxfilter presets), applied before --chain")
      ->type_name(value_kind::preset);
  command.add_flag_callback(
      "--unchecked", [options = options.get()] { options->ranges = Ranges::left_to_the_filter; },
      "Leave the ranges of parameters to the filters, which may take more than they offer");
  command.add_flag("--preview", options->preview,
                   "Write coloured before/after pictures too, NAME_preview.png in OUT/previews");
  command.add_option("--preview-dir", options->preview_folder, "Write them into this directory")
      ->type_name("DIR");
  command
      .add_option_function<std::string>(
          "--crop",
          [options = options.get()](const std::string& text) {
            options->settings.crop = parse_crop(text);
            if (!options->settings.crop)
              throw CLI::ValidationError("--crop", "'" + text + "' is not WIDTHxHEIGHT+X+Y");
          },
          "Part of each frame that those pictures show")
      ->type_name("WxH+X+Y");
  command.add_option("--jobs", settings.jobs, "Threads (as many as there are processors)")
      ->check(CLI::Range(1U, 256U));
  command.add_flag("--overwrite", settings.overwrite, "Replace results that are there");
  command
      .add_flag("--resume", settings.resume,
                "Go on behind results that are there; filters see all frames again")
      ->excludes("--overwrite");
  command.add_flag("--digest", settings.digest,
                   "Tell the SHA-256 of all results' pixels, as sha256sum has it of --out -\n"
                   "--out-format raw, whatever format is written");
  command.add_flag("--skip-bad", settings.skip_bad, "Leave out frames that can't be read");
  command.add_flag("--json", options->json, "Say what was done as JSON");
  return [options] { return run_command(*options); };
}

} // namespace gxfilter
