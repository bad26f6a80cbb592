// Whole calls through the exported functions, the host's copy of the frame included.

#include <algorithm>

#include "filter_call.h"
#include "measure.h"
#include "simd/level.h"

namespace bench {
namespace {

namespace simd = filter_processor::simd;

void filter_frame(benchmark::State& state, const Configuration& configuration, Size size,
                  simd::Level level) {
  const Pixels& scene = cached(configuration.scene, size);
  if (scene.empty())
    return state.SkipWithError("the scene can't be had");
  simd::use_level(level);
  const Frame input = make_frame(size, scene.data(), configuration.pixel_type);
  FilterCall filter(configuration, size);
  bool ok = filter.run(input.get()); // the first frame derives what later ones use
  for (auto _ : state)
    ok = filter.run(input.get()) && ok;
  if (!ok)
    state.SkipWithError("the filter failed");
  set_throughput(state, size);
}

} // namespace

std::string filter_without_configuration() {
  for (uint64_t i = 0; i < gx_get_filter_count(nullptr); ++i) {
    std::string name = gx_get_filter_name(static_cast<int32_t>(i), nullptr);
    const auto is_for_it = [&](const Configuration& each) { return each.filter == name; };
    if (std::ranges::none_of(configurations(), is_for_it))
      return name;
  }
  return "";
}

void register_filters() {
  for (const Size size : sizes) {
    for (const Configuration& each : configurations()) {
      for (const simd::Level level : simd::supported_levels()) {
        const std::string name =
            "filters/" + each.name() + "/" + text(size) + "/" + simd::level_name(level);
        benchmark::RegisterBenchmark(name.c_str(), filter_frame, each, size, level);
      }
    }
  }
}

} // namespace bench
