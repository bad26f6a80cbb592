#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "gxfilter/commands.h"
#include "gxfilter/input_options.h"
#include "gxfilter/number_option.h"
#include "gxfilter/score.h"

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

/// Depth frames and what is known of their unit.
struct DepthRecording {
  fs::path path;
  Input input;
  std::optional<double> unit; ///< millimetres; null where nobody tells
};

Result<DepthRecording> open_recording(const fs::path& path) {
  InputOptions options;
  options.inputs = {path};
  options.note = note;
  auto input = open_input(options);
  if (!input)
    return input.error();
  // The size matters for the lens alone.
  const auto camera = make_camera(input->facts.facts(), {1, 1});
  if (!camera)
    return camera.error();
  if (camera->pixel_type == GX_PIXEL_DISPARITY) {
    return Error{fmt::format("{}: holds disparity codes, which have no error in millimetres; "
                             "convert it first (gxfilter run --filter DisparityTransform)",
                             path.string()),
                 ErrorKind::request};
  }
  std::optional<double> unit;
  if (input->facts.facts().contains("depth_unit"))
    unit = static_cast<double>(camera->depth_unit);
  return DepthRecording{path, std::move(*input), unit};
}

struct NamedImage {
  std::string name;
  std::string place; ///< as messages name it
  Image image;
};

/// Null at the end.
Result<std::optional<NamedImage>> next_image(DepthRecording& recording) {
  auto stored = recording.input.source->next();
  if (!stored)
    return stored.error();
  if (!*stored)
    return std::optional<NamedImage>();
  auto image = (*stored)->decode();
  if (!image)
    return image.error();
  return std::optional(NamedImage{(*stored)->info.name, (*stored)->place, std::move(*image)});
}

/// Pictures in folders belong together by their names. Single files, and frames within one file, do
/// by their order.
bool pairs_by_name(const DepthRecording& left, const DepthRecording& right) {
  return left.input.source->files().size() > 1 && right.input.source->files().size() > 1;
}

/// The frame of `other` that belongs to `frame`, which may be null at the end.
Result<std::optional<NamedImage>> partner_of(const std::optional<NamedImage>& frame,
                                             const DepthRecording& result, DepthRecording& other) {
  auto partner = next_image(other);
  if (!partner)
    return partner;
  const auto lacks = [](const DepthRecording& has, const NamedImage& which,
                        const DepthRecording& missing) {
    return Error{fmt::format("{} has no frame for {} of {}", missing.path.string(), which.name,
                             has.path.string())};
  };
  if (frame && !*partner)
    return lacks(result, *frame, other);
  if (!frame && *partner)
    return lacks(other, **partner, result);
  if (frame && pairs_by_name(result, other) && frame->name != (*partner)->name) {
    return Error{fmt::format("{} has {} where {} has {}: frames are paired by name",
                             result.path.string(), frame->name, other.path.string(),
                             (*partner)->name)};
  }
  return partner;
}

/// The recordings frame by frame; `input` may be null. How many frames they have.
Result<size_t> add_frames(const ScoreOptions& options, DepthRecording& result,
                          DepthRecording& truth, DepthRecording* input, Score& score) {
  // Without a word about it, frames are in the unit of those that they are compared with: filters
  // keep it.
  const double truth_unit = truth.unit.value_or(1);
  const double result_unit =
      options.depth_unit > 0 ? options.depth_unit : result.unit.value_or(truth_unit);
  const double input_unit = input != nullptr ? input->unit.value_or(truth_unit) : 0;
  for (size_t frames = 0;; ++frames) {
    const auto measured = next_image(result);
    if (!measured)
      return measured.error();
    const auto expected = partner_of(*measured, result, truth);
    if (!expected)
      return expected.error();
    const auto given = input != nullptr ? partner_of(*measured, result, *input)
                                        : Result(std::optional<NamedImage>());
    if (!given)
      return given.error();
    if (!*measured)
      return frames;
    std::optional<DepthView> given_view;
    if (*given)
      given_view.emplace(DepthView{(*given)->image, input_unit});
    if (auto failure =
            score.add({(*measured)->image, result_unit}, {(*expected)->image, truth_unit},
                      given_view ? &*given_view : nullptr))
      return Error{fmt::format("{}: {}", (*measured)->place, failure->message)};
  }
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
  auto result = open_recording(options.result);
  if (!result)
    return result.error();
  auto truth = open_recording(options.truth);
  if (!truth)
    return truth.error();
  std::optional<DepthRecording> input;
  if (!options.input.empty()) {
    auto opened = open_recording(options.input);
    if (!opened)
      return opened.error();
    input = std::move(*opened);
  }
  Score score(options.limits);
  const auto frames = add_frames(options, *result, *truth, input ? &*input : nullptr, score);
  if (!frames)
    return frames.error();
  if (*frames == 0)
    return Error{fmt::format("{}: there are no frames", options.result.string())};
  if (options.json)
    print_json(score, *frames);
  else
    print_figures(options, score, *frames);
  return ExitStatus::ok;
}

} // namespace

Action add_score_options(CLI::App& command) {
  const auto options = std::make_shared<ScoreOptions>();
  command.add_option("result", options->result, "Depth frames: a folder of pictures or a file")
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
      ->check(real_range(1e-6, 1e6));
  command.add_option("--outlier", options->limits.millimetres, "Least error of an outlier, mm")
      ->capture_default_str()
      ->check(real_range(0, 1e6));
  command
      .add_option_function<double>(
          "--outlier-percent",
          [options = options.get()](double percent) { options->limits.share = percent / 100; },
          "Least error of an outlier, percent of the true depth (5)")
      ->check(real_range(0, 100));
  command.add_flag("--json", options->json, "Print JSON");
  return [options] { return score_result(*options); };
}

} // namespace gxfilter
