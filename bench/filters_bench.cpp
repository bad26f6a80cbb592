// Time of one frame through each filter, at each instruction level, beside a memcpy of the frame's
// pixels. Filters run through the exported functions, so the host's copy of the frame is included.

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "filter_processor.h"
#include "gexton_host.h"
#include "simd/level.h"

namespace {

namespace simd = filter_processor::simd;

struct Size {
  std::uint32_t width, height;
};

constexpr Size sizes[] = {{640, 480}, {848, 480}, {1280, 800}};

/// A slanted plane with steps, sensor noise, and one pixel in ten a hole.
std::vector<std::uint16_t> noisy_scene(Size size) {
  std::mt19937 random(1);
  std::vector<std::uint16_t> pixels(std::size_t{size.width} * size.height);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const auto x = i % size.width;
    const auto y = i / size.width;
    const auto surface = 800 + x + 2 * y + 600 * (x * 4 / size.width);
    pixels[i] =
        random() % 10 == 0 ? std::uint16_t{0} : static_cast<std::uint16_t>(surface + random() % 16);
  }
  return pixels;
}

void set_throughput(benchmark::State& state, Size size) {
  state.SetItemsProcessed(state.iterations() * size.width * size.height);
}

void copy_pixels(benchmark::State& state, Size size) {
  const auto from = noisy_scene(size);
  std::vector<std::uint16_t> to(from.size());
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size() * sizeof from[0]);
    benchmark::ClobberMemory();
  }
  set_throughput(state, size);
}

struct Configuration {
  const char* filter;
  const char* label;
  std::vector<const char*> parameters;
};

gx_priv_filter_context* create(const Configuration& configuration) {
  for (std::uint64_t index = 0; index < gx_get_filter_count(nullptr); ++index) {
    if (gx_get_filter_name(static_cast<std::int32_t>(index), nullptr) ==
        std::string(configuration.filter)) {
      auto* context = gx_create_filter(index, nullptr);
      auto parameters = configuration.parameters;
      context->update_config(context->filter, static_cast<std::int32_t>(parameters.size()),
                             parameters.data(), nullptr);
      return context;
    }
  }
  return nullptr;
}

void filter_frame(benchmark::State& state, const Configuration& configuration, Size size,
                  simd::Level level) {
  simd::use_level(level);
  auto* profile = gexton_create_stream_profile(GX_FORMAT_Y16, size.width, size.height, nullptr);
  const auto pixels = noisy_scene(size);
  auto* input = gexton_create_video_frame(GX_FRAME_DEPTH, profile, pixels.data(), nullptr);
  auto* context = create(configuration);
  for (auto _ : state) {
    auto* output = context->process(context->filter, input, nullptr);
    if (output == nullptr) {
      state.SkipWithError("the filter failed");
      break;
    }
    gx_delete_frame(output, nullptr);
  }
  set_throughput(state, size);
  context->destroy(context);
  gx_delete_frame(input, nullptr);
  gx_delete_stream_profile(profile, nullptr);
}

/// FalsePositiveFilter with the detectors whose switches are "1".
Configuration false_positive(const char* label, const char* edge_bleed, const char* texture,
                             const char* pattern) {
  return {"FalsePositiveFilter",
          label,
          {edge_bleed, "0", "1", "0", "0.6", texture, "0", "1", "0", "0.6", "6000", "1000", pattern,
           "0", "1", "0", "0.6", "4000", "3000"}};
}

const std::vector<Configuration>& configurations() {
  static const std::vector<Configuration> all = {
      false_positive("off", "0", "0", "0"),
      false_positive("edge_bleed", "1", "0", "0"),
      false_positive("texture_sparsity", "0", "1", "0"),
      false_positive("pattern_ambiguity", "0", "0", "1"),
      false_positive("all", "1", "1", "1"),
      {"HoleFillingFilter", "top", {"0"}},
      {"HoleFillingFilter", "nearest", {"1"}},
      {"HoleFillingFilter", "farthest", {"2"}},
  };
  return all;
}

void register_all() {
  for (const Size size : sizes) {
    const std::string dimensions =
        "/" + std::to_string(size.width) + "x" + std::to_string(size.height);
    benchmark::RegisterBenchmark(("memcpy" + dimensions).c_str(), copy_pixels, size);
    for (const Configuration& each : configurations()) {
      for (const simd::Level level : simd::supported_levels()) {
        const std::string name = std::string(each.filter) + "/" + each.label + dimensions + "/" +
                                 simd::level_name(level);
        benchmark::RegisterBenchmark(name.c_str(), filter_frame, each, size, level);
      }
    }
  }
}

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  register_all();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
