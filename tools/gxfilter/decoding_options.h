// Options for what a sensor's pixels take before they are depth.
#pragma once

#include "recordings/pixel_decoding.h"

namespace CLI {
class App;
}

namespace gxfilter {

/// What is given goes into `decoding`, each number within its range.
void add_decoding_options(CLI::App& command, recordings::PixelDecoding& decoding);

} // namespace gxfilter
