#include <fmt/format.h>

#include "gxfilter/commands.h"
#include "gxfilter/progress.h"
#include "gxfilter/report.h"
#include "recordings/image_file.h"
#include "recordings/png_image.h"

namespace gxfilter {

using namespace recordings;

namespace {

Failure write_scene_frame(const SynthOptions& options, uint32_t frame) {
  const auto bytes = encode_png(render_scene(options.scene, frame));
  if (!bytes)
    return bytes.error();
  return write_file(options.output / fmt::format("frame_{:04}.png", frame), *bytes);
}

} // namespace

ExitStatus synthesize(const SynthOptions& options) {
  std::error_code code;
  std::filesystem::create_directories(options.output, code);
  if (code) {
    return report(
        {fmt::format("{}: {}", options.output.string(), code.message()), ExitStatus::other});
  }
  const std::string facts = scene_facts(options.scene).dump(2) + "\n";
  if (auto failure = write_file(options.output / "camera.json",
                                {reinterpret_cast<const uint8_t*>(facts.data()), facts.size()}))
    return report(*failure);
  ProgressBar progress(options.frames);
  for (uint32_t frame = 0; frame < options.frames; ++frame) {
    if (auto failure = write_scene_frame(options, frame))
      return report(*failure);
    progress.advance();
  }
  return ExitStatus::ok;
}

} // namespace gxfilter
