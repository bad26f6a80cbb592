#pragma once

#include "simd/level_list.h"

namespace filter_processor::simd {

/// Whether this processor, and the system that runs on it, have what the level is compiled for.
/// [thread-safe, also while the library is loaded]
bool processor_has(Level level);

} // namespace filter_processor::simd
