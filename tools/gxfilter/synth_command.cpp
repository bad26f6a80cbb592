#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "gxfilter/commands.h"
#include "gxfilter/progress.h"
#include "gxfilter/scene_options.h"
#include "recordings/image_file.h"

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
  command.add_option("--out", options->output, "Directory for the recording")
      ->type_name("DIR")
      ->required();
  command.add_flag("--truth", options->truth,
                   "Write into DIR/truth what a camera without noise, holes, occlusion or any\n"
                   "other fault would have seen, for gxfilter score");
  add_scene_options(command, options->scene, options->frames);
  return [options] { return synthesize(*options); };
}

} // namespace gxfilter
