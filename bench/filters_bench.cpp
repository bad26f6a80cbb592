// Time of one frame through each filter, at each instruction level, beside a memcpy of the frame's
// pixels. Filters run through the exported functions, so the host's copy of the frame is included.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "filter_processor.h"
#include "gexton_host.h"
#include "scenes.h"
#include "simd/level.h"

namespace {

namespace simd = filter_processor::simd;
using bench::Size;

constexpr Size sizes[] = {{640, 480}, {848, 480}, {1280, 800}};

void set_throughput(benchmark::State& state, Size size) {
  state.SetItemsProcessed(state.iterations() * size.width * size.height);
}

void copy_pixels(benchmark::State& state, Size size) {
  const auto from = bench::noisy_scene(size);
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
  std::vector<const char*> parameters; ///< "W", "H", "2W", "2H" stand for multiples of the size
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  bench::Scene scene = bench::noisy_scene;
};

/// A stereo camera whose disparities have 16 bits, 8 of them a fraction.
D2DParameters stereo_record() {
  D2DParameters record{};
  record.baseline = 50.0F;
  record.fx = 400.0;
  record.bitSize = 16;
  record.unit = 1.0F;
  record.packMode = 2;
  record.dispIntPlace = 8;
  record.isDualCamera = 1;
  return record;
}

/// Null where the scene can't be had.
gx_frame* create_input(const Configuration& configuration, Size size) {
  const auto pixels = configuration.scene(size);
  if (pixels.empty())
    return nullptr;
  auto* profile = gexton_create_stream_profile(GX_FORMAT_Y16, size.width, size.height, nullptr);
  const D2DParameters record = stereo_record();
  gexton_stream_profile_set_disparity_param(profile, &record, nullptr);
  auto* frame = gexton_create_video_frame(GX_FRAME_DEPTH, profile, pixels.data(), nullptr);
  gx_video_frame_set_pixel_type(frame, configuration.pixel_type, nullptr);
  gx_video_frame_set_pixel_available_bit_size(frame, record.bitSize, nullptr);
  gexton_frame_set_metadata(frame, GX_METADATA_DISPARITY_OFFSET, 8, nullptr);
  gx_delete_stream_profile(profile, nullptr);
  return frame;
}

std::string parameter_text(const std::string& parameter, Size size) {
  const std::uint32_t factor = parameter[0] == '2' ? 2 : 1;
  if (parameter.back() == 'W')
    return std::to_string(factor * size.width);
  return parameter.back() == 'H' ? std::to_string(factor * size.height) : parameter;
}

gx_priv_filter_context* create(const Configuration& configuration, Size size) {
  for (std::uint64_t index = 0; index < gx_get_filter_count(nullptr); ++index) {
    if (gx_get_filter_name(static_cast<std::int32_t>(index), nullptr) ==
        std::string(configuration.filter)) {
      auto* context = gx_create_filter(index, nullptr);
      std::vector<std::string> texts;
      for (const char* parameter : configuration.parameters)
        texts.push_back(parameter_text(parameter, size));
      std::vector<const char*> parameters;
      parameters.reserve(texts.size());
      for (const std::string& text : texts)
        parameters.push_back(text.c_str());
      if (!parameters.empty()) {
        context->update_config(context->filter, static_cast<std::int32_t>(parameters.size()),
                               parameters.data(), nullptr);
      }
      return context;
    }
  }
  return nullptr;
}

void filter_frame(benchmark::State& state, const Configuration& configuration, Size size,
                  simd::Level level) {
  simd::use_level(level);
  auto* input = create_input(configuration, size);
  if (input == nullptr) {
    state.SkipWithError("the scene can't be had");
    return;
  }
  auto* context = create(configuration, size);
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
  static const std::vector<const char*> speckle = {"80", "256", "848", "480"};
  static const std::vector<Configuration> all = {
      {"DisparityTransform", "stereo", {"10000", "100", "1"}, GX_PIXEL_DISPARITY},
      {"OpenNIDisparityTransform",
       "resampled",
       {"10000", "100", "1", "W", "H", "1", "0", "0", "0", "0"},
       GX_PIXEL_DISPARITY},
      {"DepthResize", "same", {"W", "H", "1", "0", "0", "0", "0"}},
      {"DepthResize", "double", {"2W", "2H", "2", "0", "0", "0", "0"}},
      {"HardwareD2DCorrectionFilter", "16bit", {}},
      false_positive("off", "0", "0", "0"),
      false_positive("edge_bleed", "1", "0", "0"),
      false_positive("texture_sparsity", "0", "1", "0"),
      false_positive("pattern_ambiguity", "0", "0", "1"),
      false_positive("all", "1", "1", "1"),
      {"HoleFillingFilter", "top", {"0"}},
      {"HoleFillingFilter", "nearest", {"1"}},
      {"HoleFillingFilter", "farthest", {"2"}},
      {"SpatialFastFilter", "3x3", {"3"}},
      {"SpatialFastFilter", "5x5", {"5"}},
      {"TemporalFilter", "default", {"0.1", "0.4"}},
      {"EdgeNoiseRemovalFilter", "rows", {"6", "6", "70", "30", "0", "1280", "800"}},
      {"EdgeNoiseRemovalFilter", "rows_and_columns", {"6", "6", "70", "30", "1", "1280", "800"}},
      {"MgcNoiseRemovalFilter", "rows", {"80", "80", "640", "6", "0", "120", "120", "1280", "800"}},
      {"MgcNoiseRemovalFilter",
       "rows_and_columns",
       {"80", "80", "640", "6", "6", "120", "120", "1280", "800"}},
      {"SpatialModerateFilter", "3x3", {"1", "160", "3"}, GX_PIXEL_DISPARITY},
      {"SpatialModerateFilter", "5x5", {"1", "160", "5"}, GX_PIXEL_DISPARITY},
      {"SpatialModerateFilter", "7x7", {"1", "160", "7"}, GX_PIXEL_DISPARITY},
      {"SpatialModerateFilter", "5x5_threefold", {"3", "160", "5"}, GX_PIXEL_DISPARITY},
      {"SpatialModerateFilter", "5x5_depth", {"1", "160", "5"}},
      {"SpatialModerateFilter", "5x5_large_steps", {"1", "10000", "5"}, GX_PIXEL_DISPARITY},
      {"SpatialAdvancedFilter", "plain", {"1", "0.5", "160", "1"}, GX_PIXEL_DISPARITY},
      {"SpatialAdvancedFilter", "filling", {"1", "0.5", "160", "4"}, GX_PIXEL_DISPARITY},
      {"SpatialAdvancedFilter", "depth", {"1", "0.5", "160", "1"}},
      {"SpatialAdvancedFilter", "depth_fivefold", {"5", "0.5", "160", "1"}},
      {"NoiseRemovalFilter", "noisy", speckle},
      {"NoiseRemovalFilter", "clean", speckle, GX_PIXEL_DEPTH, bench::clean_scene},
      {"NoiseRemovalFilter", "dense_noise", speckle, GX_PIXEL_DEPTH, bench::dense_noise},
      {"NoiseRemovalFilter", "near_noise", speckle, GX_PIXEL_DEPTH, bench::near_noise},
      {"NoiseRemovalFilter", "step_noise", speckle, GX_PIXEL_DEPTH, bench::step_noise},
      {"NoiseRemovalFilter", "one_region", speckle, GX_PIXEL_DEPTH, bench::one_region},
      {"NoiseRemovalFilter", "recorded", speckle, GX_PIXEL_DEPTH, bench::recorded_scene},
      {"NoiseRemovalFilter", "disparity", speckle, GX_PIXEL_DISPARITY},
      {"NoiseRemovalFilter", "disparity_ragged_regions", speckle, GX_PIXEL_DISPARITY,
       bench::ragged_regions},
      {"LutNoiseRemovalFilter", "noisy", {}},
      {"LutNoiseRemovalFilter",
       "disparity_dense_noise",
       {},
       GX_PIXEL_DISPARITY,
       bench::dense_noise},
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
