#include "gxfilter/instruction_levels.h"

#include "simd/level.h"

namespace gxfilter {

namespace simd = filter_processor::simd;

std::string chosen_level() {
  return simd::level_name(simd::active_level());
}

std::vector<std::string> all_levels() {
  std::vector<std::string> names;
  for (const simd::Level level : simd::all_levels)
    names.emplace_back(simd::level_name(level));
  return names;
}

} // namespace gxfilter
