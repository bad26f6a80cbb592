// Options that tell which scene to generate.
#pragma once

#include <string>
#include <vector>

#include "recordings/synth.h"

namespace CLI {
class App;
}

namespace gxfilter {

/// One of them, for those who ask for it in another way than a command line does.
struct SceneOption {
  enum class Kind { size, whole, real, word };
  std::string name; ///< without dashes
  std::string description;
  std::string default_value;
  Kind kind;
  double min = 0;                 ///< of numbers
  double max = 0;                 ///< of numbers
  std::vector<std::string> words; ///< to choose from
};

/// Adds options that set `scene` and `frames`, and tells which.
std::vector<SceneOption> add_scene_options(CLI::App& command, recordings::SceneSettings& scene,
                                           uint32_t& frames);

} // namespace gxfilter
