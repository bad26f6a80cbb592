#include <gtest/gtest.h>

#include "filters/smoothing/spatial_moderate_kernels.h"
#include "naive/depth_adaptive.h"
#include "support/sequences.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::SmoothingWindow;
using filter_processor::SpatialModerateKernels;
using namespace test;

TEST(SpatialModerateKernels, EveryLevelEqualsTheNaiveForm) {
  struct Size {
    uint32_t width, height;
  };
  std::vector<Size> sizes = {{0, 0}, {0, 3}, {3, 0}, {1, 1}, {70, 2}, {300, 256}};
  for (uint32_t width = 2; width < 90; width += width < 50 ? 1 : 7)
    sizes.push_back({width, 2 + width % 9});
  Random random(11);
  for (const Size size : sizes) {
    for (const uint32_t reach : {0U, 1U, 2U, 3U, 4U, 9U, 127U}) {
      if (size.width > 100 && reach != 127)
        continue;
      for (const int spread : {3, 60, 900, 5000, 65536}) {
        const Pixels input = random_surfaces(size_t{size.width} * size.height,
                                             static_cast<uint32_t>(spread), random);
        naive::ModerateThresholds thresholds{
            random() % 2 == 0, static_cast<uint16_t>(spread), {}, 0};
        if (random() % 8 == 0)
          thresholds.value = random() % 2 == 0 ? 0 : 65535;
        for (auto& entry : thresholds.table)
          entry = static_cast<uint16_t>(random() % (static_cast<unsigned>(spread) + 1));
        thresholds.shift = std::array{9U, 13U, 3U, 15U, 16U, 137U, 0U}[random() % 7];
        const uint32_t iterations = random() % 4;
        Pixels expected = input;
        naive::smooth_windows({expected, size.width, size.height}, static_cast<int>(reach),
                              static_cast<int>(iterations), thresholds);
        for (const simd::Level level : simd::supported_levels()) {
          Pixels output = input;
          Pixels buffers(size_t{size.width} * SpatialModerateKernels::row_buffers);
          const SmoothingWindow window{output.data(), size.width, size.height,
                                       reach,         iterations, buffers.data()};
          const auto& kernels = simd::kernels<SpatialModerateKernels>(level);
          if (thresholds.fixed)
            kernels.fixed(window, thresholds.value);
          else
            kernels.table(window, thresholds.table.data(), thresholds.shift);
          ASSERT_EQ(output, expected)
              << simd::level_name(level) << " " << size.width << "x" << size.height << " reach "
              << reach << " spread " << spread << (thresholds.fixed ? " fixed" : " table");
        }
      }
    }
  }
}

/// The kernels divide in single precision for windows up to 7 x 7. One low and some high pixels in
/// a 7 x 7 window of holes: their mean is just below a whole number.
TEST(SpatialModerateKernels, MeansAreCutAtEveryCount) {
  constexpr size_t width = 7 + 7;
  for (int count = 1; count <= 49; ++count) {
    for (const int high : {2, 3, 255, 4096, 65535}) {
      Pixels input(width * 7, 0);
      for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
        const size_t place = (i + 24) % 49; // the centre of the first window comes first
        input[place / 7 * width + place % 7] = static_cast<uint16_t>(high);
      }
      input[3 * width + 3] = static_cast<uint16_t>(high - 1);
      const int mean = (count * high - 1) / count;
      for (const simd::Level level : simd::supported_levels()) {
        for (const uint16_t threshold : {uint16_t{2}, uint16_t{65535}}) {
          Pixels output = input;
          Pixels buffers(width * SpatialModerateKernels::row_buffers);
          simd::kernels<SpatialModerateKernels>(level).fixed(
              {output.data(), width, 7, 3, 1, buffers.data()}, threshold);
          ASSERT_EQ(output[3 * width + 3], mean) << count << " x " << high;
        }
      }
    }
  }
}

struct Model : SpatialModerateModel {
  void configure(Filter& filter, Random& random) {
    const std::vector<std::string> texts = {
        std::to_string(1 + random() % 3),
        std::to_string(1 + random() % (random() % 3 == 0 ? 10000 : 200)),
        std::to_string(one_of(random, {0, 1, 2, 3, 4, 5, 6, 7, 7, 5, -1, -249, -65531}))};
    update(texts);
    EXPECT_EQ(filter.update_to(texts), "");
  }
};

TEST(SpatialModerateFilter, FollowsItsModelThroughUpdatesResetsAndFrames) {
  Random random(1);
  Model model;
  EXPECT_GT(follow(model.name, model, 9000, random), 1200);
}

} // namespace
