#include "simd/level.h"

#include <array>
#include <atomic>

namespace filter_processor::simd {
namespace {

#if defined(FILTER_PROCESSOR_X86_LEVELS)
bool has_avx2() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
         __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
}

bool has_avx512() {
  return has_avx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq");
}
#else
bool has_avx2() {
  return false;
}
bool has_avx512() {
  return false;
}
#endif

constexpr std::array all_levels{Level::baseline, Level::avx2, Level::avx512};

Level best_level() {
#if defined(FILTER_PROCESSOR_X86_LEVELS)
  __builtin_cpu_init(); // this runs among the static initialisers, maybe before the runtime's own
#endif
  if (has_avx512())
    return Level::avx512;
  return has_avx2() ? Level::avx2 : Level::baseline;
}

/// Set once while the library is loaded, before any filter can exist.
const Level best = best_level();
std::atomic<Level> active{best};

} // namespace

std::span<const Level> supported_levels() {
  return std::span(all_levels).first(static_cast<size_t>(best) + 1);
}

const char* level_name(Level level) {
  constexpr std::array names{"baseline", "avx2", "avx512"};
  return names[static_cast<size_t>(level)];
}

Level active_level() {
  return active.load(std::memory_order_relaxed);
}

void use_level(Level level) {
  active.store(level, std::memory_order_relaxed);
}

} // namespace filter_processor::simd
