#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "gxfilter/commands.h"
#include "gxfilter/progress.h"
#include "gxfilter/score.h"
#include "recordings/camera.h"
#include "recordings/image_file.h"
#include "recordings/recording.h"

namespace gxfilter {

using namespace recordings;

namespace {

namespace fs = std::filesystem;

struct ScoreOptions {
  fs::path result;
  fs::path truth;
  fs::path input;        ///< empty: none
  double depth_unit = 0; ///< the result's, millimetres; 0: as its camera file or the truth's says
  OutlierLimits limits;
  bool json = false;
};

/// Depth frames by name, and what is known of their camera.
struct DepthRecording {
  fs::path path;
  std::map<std::string, fs::path> frames; ///< by file name without extension
  std::optional<Camera> camera;           ///< null where no file tells
  std::optional<FrameSize> raw_size;
};

Failure refuse_codes(const DepthRecording& recording) {
  if (!recording.camera || recording.camera->pixel_type != GX_PIXEL_DISPARITY)
    return std::nullopt;
  return Error{fmt::format("{}: holds disparity codes, which have no error in millimetres; convert "
                           "it first (gxfilter run --filter DisparityTransform, or --pixel-type "
                           "depth in the camera file where they are depth already)",
                           recording.path.string()),
               ErrorKind::request};
}

Result<DepthRecording> open_recording(const fs::path& path) {
  DepthRecording recording{path, {}, {}, {}};
  const auto found = find_frames({path}, "");
  if (!found)
    return found.error();
  for (const fs::path& frame : found->frames)
    recording.frames[frame.stem().string()] = frame;
  const fs::path camera_file = find_camera_file(path);
  if (camera_file.empty())
    return recording;
  const auto facts = read_camera_file(camera_file);
  if (!facts)
    return facts.error();
  // The size matters for the lens alone.
  const auto camera = make_camera(*facts, {1, 1});
  if (!camera)
    return Error{fmt::format("{}: {}", camera_file.string(), camera.error().message)};
  const auto raw_size = raw_frame_size(*facts);
  if (!raw_size)
    return raw_size.error();
  recording.camera = *camera;
  recording.raw_size = *raw_size;
  if (auto failure = refuse_codes(recording))
    return *failure;
  return recording;
}

/// Two single files belong together whatever their names.
Failure pair_frames(const DepthRecording& result, DepthRecording& other) {
  if (result.frames.size() == 1 && other.frames.size() == 1) {
    other.frames = {{result.frames.begin()->first, other.frames.begin()->second}};
    return std::nullopt;
  }
  const auto compare = [](const DepthRecording& has, const DepthRecording& lacks) -> Failure {
    for (const auto& [name, path] : has.frames) {
      if (!lacks.frames.contains(name)) {
        return Error{fmt::format("{} has no frame of the name {} ({} frames; {} has {})",
                                 lacks.path.string(), name, lacks.frames.size(), has.path.string(),
                                 has.frames.size())};
      }
    }
    return std::nullopt;
  };
  if (auto failure = compare(result, other))
    return failure;
  return compare(other, result);
}

/// Frames without a camera file are in the unit of those that they are compared with: filters keep
/// it.
double unit_of(const DepthRecording& recording, double otherwise) {
  return recording.camera ? static_cast<double>(recording.camera->depth_unit) : otherwise;
}

/// The three recordings, frame by frame.
Failure add_frames(const ScoreOptions& options, const DepthRecording& result,
                   const DepthRecording& truth, const DepthRecording* input, Score& score) {
  const double truth_unit = unit_of(truth, 1);
  const double result_unit =
      options.depth_unit > 0 ? options.depth_unit : unit_of(result, truth_unit);
  ProgressBar progress(result.frames.size());
  for (const auto& [name, path] : result.frames) {
    const auto result_image = read_image(path, result.raw_size);
    if (!result_image)
      return result_image.error();
    const auto truth_image = read_image(truth.frames.at(name), truth.raw_size);
    if (!truth_image)
      return truth_image.error();
    const auto input_image =
        input != nullptr ? read_image(input->frames.at(name), input->raw_size) : *truth_image;
    if (!input_image)
      return input_image.error();
    const DepthView input_view{*input_image,
                               input != nullptr ? unit_of(*input, truth_unit) : truth_unit};
    if (auto failure = score.add({*result_image, result_unit}, {*truth_image, truth_unit},
                                 input != nullptr ? &input_view : nullptr))
      return Error{fmt::format("{}: {}", path.string(), failure->message)};
    progress.advance();
  }
  return std::nullopt;
}

double percent(uint64_t part, uint64_t whole) {
  return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

void print_json(const Score& score, size_t frames) {
  using Json = nlohmann::ordered_json;
  const auto of_compared = [&](double value) {
    return score.compared != 0 ? Json(value) : Json(nullptr);
  };
  const Json result{{"frames", frames},
                    {"pixels", score.pixels},
                    {"truth_valid", score.truth_valid},
                    {"compared", score.compared},
                    {"completeness_percent", percent(score.compared, score.truth_valid)},
                    {"rms_error_mm", of_compared(score.root_mean_square_error())},
                    {"median_error_mm", of_compared(score.median_error())},
                    {"outliers_percent", of_compared(percent(score.outliers, score.compared))},
                    {"too_near_percent", of_compared(percent(score.too_near, score.compared))},
                    {"invented_percent", percent(score.invented, score.pixels)},
                    {"lost_percent", percent(score.lost, score.losable)}};
  fmt::print("{}\n", result.dump(2));
}

void print_figures(const ScoreOptions& options, const Score& score, size_t frames) {
  const auto line = [](const char* title, const std::string& figure, const std::string& meaning) {
    fmt::print("{:<14}{:>10}   {}\n", title, figure, meaning);
  };
  const auto share = [](uint64_t part, uint64_t whole) {
    return fmt::format("{:.3f} %", percent(part, whole));
  };
  const auto of_compared = [&](const std::string& figure) {
    return score.compared != 0 ? figure : "-";
  };
  line("frames", fmt::format("{}", frames),
       fmt::format("of {} pixels in all, {} of them compared", score.pixels, score.compared));
  line("completeness", share(score.compared, score.truth_valid),
       "of the truth's valid pixels are valid in the result");
  line("rms error", of_compared(fmt::format("{:.2f} mm", score.root_mean_square_error())),
       "of the compared pixels, which are valid in both");
  line("median error", of_compared(fmt::format("{:.2f} mm", score.median_error())),
       "that half of them do not exceed");
  line("outliers", of_compared(share(score.outliers, score.compared)),
       fmt::format("of them are off by more than {:g} mm and by more than {:g} % of the depth",
                   options.limits.millimetres, options.limits.share * 100));
  line("too near", of_compared(share(score.too_near, score.compared)),
       "of them are such outliers before the truth");
  line("invented", share(score.invented, score.pixels),
       "of all pixels are valid where the truth is not");
  line("lost", share(score.lost, score.losable),
       options.input.empty() ? "of the truth's valid pixels are not valid in the result"
                             : "of the input's pixels that were no outliers are gone");
}

Result<ExitStatus> score_result(const ScoreOptions& options) {
  const auto result = open_recording(options.result);
  if (!result)
    return result.error();
  auto truth = open_recording(options.truth);
  if (!truth)
    return truth.error();
  if (auto failure = pair_frames(*result, *truth))
    return *failure;
  auto input = options.input.empty() ? Result<DepthRecording>(DepthRecording{})
                                     : open_recording(options.input);
  if (!input)
    return input.error();
  if (!options.input.empty()) {
    if (auto failure = pair_frames(*result, *input))
      return *failure;
  }
  Score score(options.limits);
  if (auto failure =
          add_frames(options, *result, *truth, options.input.empty() ? nullptr : &*input, score))
    return *failure;
  if (options.json)
    print_json(score, result->frames.size());
  else
    print_figures(options, score, result->frames.size());
  return ExitStatus::ok;
}

} // namespace

Action add_score_options(CLI::App& command) {
  const auto options = std::make_shared<ScoreOptions>();
  command.footer(
      "Frames are paired by name, two single files whatever their names. Each recording's unit is\n"
      "that of its camera file; without one, that of TRUTH, whose own is 1 mm without one. Of the\n"
      "pixels that are valid in both, the error is the difference in millimetres. An outlier is "
      "off\n"
      "by more than --outlier and by more than --outlier-percent of the true depth.");
  command.add_option("result", options->result, "Depth frames: a file or a directory of them")
      ->type_name("RESULT")
      ->required();
  command
      .add_option("truth", options->truth,
                  "What they should be, such as the truth of gxfilter synth --truth")
      ->type_name("TRUTH")
      ->required();
  command
      .add_option("--input", options->input,
                  "The frames before filtering. Lost pixels are then those that were no outliers\n"
                  "there and are gone in RESULT; without it, those of TRUTH that RESULT lacks")
      ->type_name("INPUT");
  command
      .add_option("--depth-unit", options->depth_unit,
                  "Millimetres per unit of RESULT, whatever a camera file says")
      ->check(CLI::Range(1e-6, 1e6));
  command.add_option("--outlier", options->limits.millimetres, "Least error of an outlier, mm")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 1e6));
  command
      .add_option_function<double>(
          "--outlier-percent",
          [options = options.get()](double percent) { options->limits.share = percent / 100; },
          "Least error of an outlier, percent of the true depth (5)")
      ->check(CLI::Range(0.0, 100.0));
  command.add_flag("--json", options->json, "Print JSON");
  return [options] { return score_result(*options); };
}

} // namespace gxfilter
