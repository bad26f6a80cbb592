#include <chrono>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "gxfilter/camera_options.h"
#include "gxfilter/commands.h"
#include "gxfilter/idle_filters.h"
#include "gxfilter/output_paths.h"
#include "gxfilter/plugin_option.h"
#include "gxfilter/presets.h"
#include "gxfilter/preview.h"
#include "gxfilter/progress.h"
#include "gxfilter/statistics.h"
#include "recordings/image_file.h"
#include "recordings/png_image.h"
#include "recordings/recording.h"

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
  std::vector<fs::path> inputs;
  std::string match; ///< wildcards that choose among the files of directories
  fs::path output;   ///< directory, made when needed
  bool preview = false;
  std::optional<Rectangle> crop;             ///< what the previews show; null: whole frames
  std::string raw_size;                      ///< "WxH" or empty
  fs::path camera_file;                      ///< empty: the one beside the first input, if any
  CameraFacts facts = CameraFacts::object(); ///< what options say; wins over the file
};

/// The filters in their order, and what was asked of each.
struct Chain {
  std::shared_ptr<const Plugin> plugin;
  std::vector<FilterRequest> requests;
  std::vector<Filter> filters;

  /// "A > B key=value", with what differs from the defaults.
  std::string caption() const {
    std::string text;
    for (size_t i = 0; i < filters.size(); ++i)
      text += (i == 0 ? "" : " > ") + describe_request(requests[i], filters[i].schema());
    return text;
  }
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
    const auto chain = read_preset(options.chain);
    if (!chain)
      return chain.error();
    requests.insert(requests.end(), chain->chain.begin(), chain->chain.end());
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

Result<Chain> make_chain(const RunOptions& options) {
  auto requests = gather_requests(options);
  if (!requests)
    return requests.error();
  const auto plugin = load_plugin(options.plugin);
  if (!plugin)
    return plugin.error();
  Chain chain{*plugin, std::move(*requests), {}};
  for (const FilterRequest& request : chain.requests) {
    auto filter = make_filter(*plugin, request, options.ranges);
    if (!filter)
      return filter.error();
    chain.filters.push_back(std::move(*filter));
  }
  return chain;
}

Result<CameraFacts> gather_facts(const RunOptions& options) {
  const fs::path path =
      options.camera_file.empty() ? find_camera_file(options.inputs.front()) : options.camera_file;
  if (path.empty())
    return options.facts;
  auto facts = read_camera_file(path);
  return facts ? merge_facts(std::move(*facts), options.facts) : facts;
}

/// Takes the frames of a recording through the filters, one after the other.
class Runner {
 public:
  Runner(Chain chain, CameraFacts facts, std::optional<FrameSize> raw_size,
         std::optional<Rectangle> crop)
      : chain_(std::move(chain)), facts_(std::move(facts)), raw_size_(raw_size), crop_(crop),
        painter_(chain_.caption()) {
    for (const Filter& filter : chain_.filters)
      statistics_.emplace_back(filter.name());
  }

  /// Reads, filters and writes one frame. Nothing is written for a frame that fails.
  Failure run(const fs::path& input, const fs::path& output, bool preview) {
    const auto image = read_image(input, raw_size_);
    if (!image)
      return image.error();
    if (auto failure = begin_frame(*image))
      return Error{fmt::format("{}: {}", input.string(), failure->message), failure->kind};
    auto frame = make_frame(*image, index_++, *profile_, camera_);
    if (!frame)
      return frame.error();
    const auto before = view_frame(**frame);
    auto after = before ? filter_frame(std::move(*frame), *before) : before;
    if (!after) {
      return Error{fmt::format("{}: {}", input.string(), after.error().message),
                   after.error().kind};
    }
    return write_results(output, *before, *after, preview);
  }

  const std::vector<FilterStatistics>& statistics() const { return statistics_; }

  /// Of filters that did nothing, why.
  std::vector<std::string> explain_idle_filters() const {
    std::vector<std::string> explanations;
    for (size_t i = 0; i < statistics_.size(); ++i)
      if (statistics_[i].idle())
        explanations.push_back(
            explain_idleness(chain_.plugin, chain_.requests[i], camera_, statistics_[i]));
    return explanations;
  }

 private:
  /// The first frame sets the size and, with it, the camera's defaults and the stream profile that
  /// all frames share.
  Failure begin_frame(const Image& image) {
    if (!profile_) {
      const auto camera = make_camera(facts_, image.size);
      if (!camera)
        return camera.error();
      auto profile = make_profile(image.size, *camera);
      if (!profile)
        return profile.error();
      camera_ = *camera;
      size_ = image.size;
      profile_ = std::move(*profile);
    }
    if (image.size != size_) {
      return Error{fmt::format("{}x{} pixels in a recording of {}x{}", image.size.width,
                               image.size.height, size_.width, size_.height)};
    }
    return check_codes(image, camera_);
  }

  Result<FrameView> filter_frame(gexton::Frame frame, FrameView view) {
    for (size_t i = 0; i < chain_.filters.size(); ++i) {
      Filter& filter = chain_.filters[i];
      gexton::ErrorSlot slot;
      const auto start = std::chrono::steady_clock::now();
      gexton::Frame filtered = filter.process(*frame, slot);
      const std::chrono::duration<double, std::milli> elapsed =
          std::chrono::steady_clock::now() - start;
      if (!filtered || slot) {
        return Error{fmt::format("{} fails: {}\n  it got {}", filter.name(),
                                 slot ? slot.text() : "no frame and no error",
                                 describe_situation(view, chain_.requests[i], filter.schema())),
                     ErrorKind::processing};
      }
      auto result = view_frame(*filtered);
      if (!result)
        return result;
      statistics_[i].add(elapsed.count(), view, *result);
      view = std::move(*result);
      frame = std::move(filtered);
    }
    return view;
  }

  Failure write_results(const fs::path& output, const FrameView& before, const FrameView& after,
                        bool preview) {
    if (auto failure = write_image(output, after.image); failure || !preview)
      return failure;
    const std::string stem = output.stem().string();
    const auto picture =
        encode_png(crop_ ? painter_.paint(cropped(before, *crop_), cropped(after, *crop_), stem)
                         : painter_.paint(before, after, stem));
    if (!picture)
      return picture.error();
    return write_file(output.parent_path() / (stem + "_preview.png"), *picture);
  }

  Chain chain_;
  CameraFacts facts_;
  std::optional<FrameSize> raw_size_;
  std::optional<Rectangle> crop_;
  PreviewPainter painter_;
  std::vector<FilterStatistics> statistics_;
  Camera camera_;
  FrameSize size_;
  gexton::Profile profile_;
  uint64_t index_ = 0;
};

Result<std::optional<FrameSize>> choose_raw_size(const RunOptions& options,
                                                 const CameraFacts& facts) {
  if (options.raw_size.empty())
    return raw_frame_size(facts);
  const auto size = parse_size(options.raw_size);
  if (!size) {
    return Error{fmt::format("--size {}: not WIDTHxHEIGHT within the limits", options.raw_size),
                 ErrorKind::request};
  }
  return size;
}

Result<ExitStatus> run_filters(const RunOptions& options) {
  auto chain = make_chain(options);
  if (!chain)
    return chain.error();
  const auto recording = find_frames(options.inputs, options.match);
  if (!recording)
    return recording.error();
  const auto outputs = output_paths(recording->frames, options.output);
  if (!outputs)
    return outputs.error();
  auto facts = gather_facts(options);
  if (!facts)
    return facts.error();
  const auto raw_size = choose_raw_size(options, *facts);
  if (!raw_size)
    return raw_size.error();
  std::error_code code;
  fs::create_directories(options.output, code);
  if (code)
    return Error{fmt::format("{}: {}", options.output.string(), code.message()), ErrorKind::system};
  if (!recording->ignored.empty()) {
    note(fmt::format("ignored: {}{}", recording->ignored.front().string(),
                     recording->ignored.size() == 1
                         ? ""
                         : fmt::format(" and {} more", recording->ignored.size() - 1)));
  }
  Runner runner(std::move(*chain), std::move(*facts), *raw_size, options.crop);
  Failure failure;
  {
    ProgressBar progress(recording->frames.size());
    for (size_t i = 0; i < recording->frames.size() && !failure; ++i) {
      failure = runner.run(recording->frames[i], (*outputs)[i], options.preview);
      progress.advance();
    }
  }
  fmt::print("{}", format_table(runner.statistics()));
  for (const std::string& explanation : runner.explain_idle_filters())
    note(explanation);
  if (failure)
    return *failure;
  return ExitStatus::ok;
}

} // namespace

Action add_run_options(CLI::App& command) {
  const auto options = std::make_shared<RunOptions>();
  add_plugin_option(command, options->plugin);
  command
      .add_option("inputs", options->inputs,
                  "Pictures (16-bit .png or .pgm, .bin, .raw) or directories of them, in order")
      ->type_name("INPUT")
      ->required();
  command.add_option("--out", options->output, "Directory for the results")
      ->type_name("DIR")
      ->required();
  command
      .add_option(
          "--filter", options->filters,
          "Filter with parameters; those that are not named keep their defaults. Modes may\n"
          "be given by the names that gxfilter describe shows (hole_filling_mode=nearest).\n"
          "Several make a chain. NAME:@FILE gives a configuration record instead")
      ->type_name("NAME[:KEY=VALUE,...]")
      ->allow_extra_args(false);
  command
      .add_option(
          "--chain", options->chain,
          "JSON list of {\"filter\": NAME, \"params\": {KEY: VALUE}}, or a preset of your own\n"
          "({\"description\": TEXT, \"when_not\": TEXT, \"chain\": LIST}); applied before --filter")
      ->type_name("FILE");
  command
      .add_option("--preset", options->preset,
                  "Chain that comes with the program (gxfilter presets), applied before --chain")
      ->type_name("NAME");
  command.add_flag_callback(
      "--unchecked", [options = options.get()] { options->ranges = Ranges::left_to_the_filter; },
      "Leave the ranges of parameters to the filters, which may take more than they offer");
  command.add_option("--match", options->match, "Take only these files of a directory ('*.bin')")
      ->type_name("WILDCARDS");
  command.add_flag("--preview", options->preview,
                   "Write coloured before/after pictures too (STEM_preview.png)");
  command
      .add_option_function<std::string>(
          "--crop",
          [options = options.get()](const std::string& text) {
            options->crop = parse_crop(text);
            if (!options->crop)
              throw CLI::ValidationError("--crop", "'" + text + "' is not WIDTHxHEIGHT+X+Y");
          },
          "Part of each frame that those pictures show")
      ->type_name("WxH+X+Y");
  command.add_option("--size", options->raw_size, "Size of headerless .raw files")
      ->type_name("WxH");
  command
      .add_option("--camera", options->camera_file,
                  "Camera facts (by default camera.json or INPUT.json beside the first input);\n"
                  "the options below win over it")
      ->type_name("FILE");
  add_camera_options(command, options->facts);
  return [options] { return run_filters(*options); };
}

} // namespace gxfilter
