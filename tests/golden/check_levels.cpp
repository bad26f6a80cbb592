// Every case of the table at every instruction level that this processor has. Without files,
// threads and processes, so that it runs on every platform.

#include <cstdio>

#include "golden/hosted_filter.h"
#include "golden/table.h"
#include "simd/level.h"

int main() {
  namespace simd = filter_processor::simd;
  size_t differing = 0;
  const std::vector<golden::Case> cases = golden::all_cases();
  for (const golden::Case& each : cases) {
    const std::vector<golden::Step> steps = golden::steps_of(each);
    for (const simd::Level level : simd::supported_levels()) {
      simd::use_level(level);
      golden::HostedFilter filter(gexton::Filter::create(each.filter));
      if (golden::expected_digest(each.name()) == golden::digest_of(steps, filter))
        continue;
      ++differing;
      std::printf("differs at %s: %s\n", simd::level_name(level), each.name().c_str());
    }
  }
  const gexton_live_handles alive = gexton_get_live_handles();
  const bool left_over = alive.frames + alive.stream_profiles + alive.errors != 0;
  std::printf("%zu cases at %zu levels: %zu differ%s\n", cases.size(),
              simd::supported_levels().size(), differing, left_over ? "; handles are left" : "");
  return differing == 0 && !left_over ? 0 : 1;
}
