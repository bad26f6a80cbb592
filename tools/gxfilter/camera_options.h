// Options that state one camera fact each.
#pragma once

#include "recordings/camera.h"

namespace CLI {
class App;
}

namespace gxfilter {

/// What is given goes into `facts`.
void add_camera_options(CLI::App& command, recordings::CameraFacts& facts);

} // namespace gxfilter
