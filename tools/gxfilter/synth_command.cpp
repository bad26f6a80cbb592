#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "gxfilter/commands.h"
#include "gxfilter/number_option.h"
#include "gxfilter/progress.h"
#include "recordings/image_file.h"
#include "recordings/synth.h"

namespace gxfilter {

using namespace recordings;

namespace {

struct SynthOptions {
  std::filesystem::path output;
  uint32_t frames = 30;
  bool truth = false; ///< write the faultless recording too
  SceneSettings scene;
};

/// One recording in a directory of its own, which is made: its frames and the camera's facts.
class RecordingWriter {
 public:
  RecordingWriter(std::filesystem::path directory, const SceneSettings& scene)
      : directory_(std::move(directory)), scene_(scene) {}

  Failure begin() const {
    std::error_code code;
    std::filesystem::create_directories(directory_, code);
    if (code)
      return Error{fmt::format("{}: {}", directory_.string(), code.message()), ErrorKind::system};
    const std::string facts = scene_facts(scene_).dump(2) + "\n";
    return write_file(directory_ / "camera.json",
                      {reinterpret_cast<const uint8_t*>(facts.data()), facts.size()});
  }

  Failure add(uint32_t frame, Image (*render)(const SceneSettings&, uint32_t)) const {
    return write_image(directory_ / fmt::format("frame_{:04}.png", frame), render(scene_, frame));
  }

 private:
  std::filesystem::path directory_;
  const SceneSettings& scene_;
};

Result<ExitStatus> synthesize(const SynthOptions& options) {
  const RecordingWriter scene(options.output, options.scene);
  const RecordingWriter truth(options.output / "truth", options.scene);
  if (auto failure = scene.begin())
    return *failure;
  if (options.truth) {
    if (auto failure = truth.begin())
      return *failure;
  }
  ProgressBar progress(options.frames);
  for (uint32_t frame = 0; frame < options.frames; ++frame) {
    if (auto failure = scene.add(frame, render_scene))
      return *failure;
    if (options.truth) {
      if (auto failure = truth.add(frame, render_truth))
        return *failure;
    }
    progress.advance();
  }
  return ExitStatus::ok;
}

} // namespace

Action add_synth_options(CLI::App& command) {
  const auto options = std::make_shared<SynthOptions>();
  SceneSettings& scene = options->scene;
  command.add_option("--out", options->output, "Directory for the recording")
      ->type_name("DIR")
      ->required();
  command.add_flag("--truth", options->truth,
                   "Write into DIR/truth what a camera without noise, holes, occlusion or any\n"
                   "other fault would have seen, for gxfilter score");
  command
      .add_option_function<std::string>(
          "--size",
          [&scene](const std::string& text) {
            const auto size = parse_size(text);
            if (!size)
              throw CLI::ValidationError("--size", "'" + text + "' is not WIDTHxHEIGHT");
            scene.size = *size;
          },
          "Frame size (640x480)")
      ->type_name("WxH");
  command.add_option("--frames", options->frames, "Number of frames")
      ->capture_default_str()
      ->check(CLI::Range(1U, 1'000'000U));
  command.add_option("--seed", scene.seed, "Seed of everything random")->capture_default_str();
  command
      .add_option_function<std::string>(
          "--pixel-type",
          [&scene](const std::string& type) {
            scene.pixel_type = type == "disparity" ? GX_PIXEL_DISPARITY : GX_PIXEL_DEPTH;
          },
          "What pixels hold (depth)")
      ->check(CLI::IsMember({"depth", "disparity"}));
  command.add_option("--pack-mode", scene.pack_mode, "Encoding of disparity codes, 1 or 2")
      ->capture_default_str()
      ->check(CLI::Range(1U, 2U));
  command.add_option("--depth-unit", scene.depth_unit, "Millimetres per unit of depth")
      ->capture_default_str()
      ->check(real_range(1e-3, 1e3));
  command.add_option("--baseline", scene.baseline, "Baseline, millimetres")
      ->capture_default_str()
      ->check(real_range(1, 1000));
  command.add_option("--noise", scene.noise, "Disparity noise, pixels")
      ->capture_default_str()
      ->check(real_range(0, 100));
  command.add_option("--holes", scene.holes, "Patches without data")
      ->capture_default_str()
      ->check(CLI::Range(0U, 100'000U));
  command.add_option("--speckles", scene.speckles, "False patches")
      ->capture_default_str()
      ->check(CLI::Range(0U, 100'000U));
  command.add_option("--bleed", scene.bleed, "Share of borders that smear")
      ->capture_default_str()
      ->check(real_range(0, 1));
  command.add_option("--streaks", scene.streaks, "Share of borders that run out far at one depth")
      ->capture_default_str()
      ->check(real_range(0, 1));
  command.add_option("--phantoms", scene.phantoms, "Smooth false patches before the scene")
      ->capture_default_str()
      ->check(CLI::Range(0U, 10'000U));
  command.add_option("--inset", scene.inset, "Pixels along each side without data")
      ->capture_default_str()
      ->check(CLI::Range(0U, 65'535U));
  command
      .add_option("--fringe", scene.fringe, "Pixels of false depth along the outline of the rest")
      ->capture_default_str()
      ->check(CLI::Range(0U, 65'535U));
  command.add_option("--corner", scene.corner, "Radius of the fringe's corners, pixels")
      ->capture_default_str()
      ->check(CLI::Range(0U, 65'535U));
  command
      .add_option("--disparity-offset", scene.disparity_offset,
                  "Pixels that the camera takes off every disparity")
      ->capture_default_str()
      ->check(CLI::Range(0U, 1'000U));
  return [options] { return synthesize(*options); };
}

} // namespace gxfilter
