#include "simd/level.h"

#include <atomic>

#include "simd/level_detection.h"

namespace filter_processor::simd {
namespace {

Level best_level() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init(); // this runs among the static initialisers, maybe before the runtime's own
#endif
  Level best = all_levels[0];
  for (const Level level : all_levels) {
    if (!processor_has(level))
      break; // a level is for processors that have all levels before it
    best = level;
  }
  return best;
}

/// Set once while the library is loaded, before any filter can exist.
const Level best = best_level();
std::atomic<Level> active{best};

} // namespace

std::span<const Level> supported_levels() {
  return std::span(all_levels).first(static_cast<size_t>(best) + 1);
}

const char* level_name(Level level) {
  return level_names[static_cast<size_t>(level)];
}

Level active_level() {
  return active.load(std::memory_order_relaxed);
}

void use_level(Level level) {
  active.store(level, std::memory_order_relaxed);
}

} // namespace filter_processor::simd
