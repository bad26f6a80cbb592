#pragma once

// The filters in their typical configurations, what else does each one's job, and how fast each one
// is meant to be.

#include <string>
#include <vector>

#include "gexton_sdk.h"
#include "scenes.h"

namespace bench {

inline constexpr Size sizes[] = {{640, 480}, {848, 480}, {1280, 800}};

/// "640x480"
inline std::string text(Size size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

/// The most time that a whole call is meant to take, as a multiple of a memcpy of the frame.
struct Targets {
  double at_1280x800 = 0; ///< 0: none
  double at_848x480 = 0;

  double at(Size size) const {
    if (size.width == 1280)
      return at_1280x800;
    return size.width == 848 ? at_848x480 : 0;
  }
};

struct Configuration {
  std::string filter;
  std::string label;
  std::vector<std::string> parameters; ///< "W", "H", "2W", "2H" stand for multiples of the size
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  Scene scene = noisy_scene;
  Targets targets = {};
  std::string naive = {}; ///< benchmark of the naive scalar form, "" for none
  std::string peer = {};  ///< benchmark of what OpenCV has for the job, "" for nothing
  bool soaked = false;    ///< stands for its filter in the endurance runs

  std::string name() const { return filter + "/" + label; }
};

const std::vector<Configuration>& configurations();

} // namespace bench
