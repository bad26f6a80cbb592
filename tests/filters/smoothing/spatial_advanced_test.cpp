#include <gtest/gtest.h>

#include "filters/smoothing/spatial_advanced_kernels.h"
#include "naive/depth_adaptive.h"
#include "support/sequences.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::PixelGrid;
using filter_processor::SpatialAdvancedKernels;
using namespace test;

/// Makes all but the holes depths of the last bin, as in most frames, from 12, from around 16384 or
/// up to 32767. Nothing but whole images of holes and depths below 16384 is walked over split rows.
void lift_to_last_bin(Pixels& pixels, Random& random) {
  const uint32_t range = std::array{4U, 700U, 16372U, 32756U}[random() % 4];
  const uint32_t lowest = range > 700 || random() % 2 == 0 ? 12U : 16385U - random() % range;
  for (uint16_t& pixel : pixels)
    if (pixel != 0)
      pixel = static_cast<uint16_t>(lowest + pixel % range);
}

TEST(SpatialAdvancedKernels, EveryLevelEqualsTheNaiveForm) {
  Random random(7);
  for (int round = 0; round < 2000; ++round) {
    const bool large = round % 50 == 0; // rows of 1 KiB, which are kept apart, among them
    const int width = static_cast<int>(large ? random() % 2 * 450 + random() % 100 : random() % 70);
    const int height = static_cast<int>(random() % (large ? 300 : 40));
    const uint32_t spread = std::array{4U, 60U, 900U, 65536U}[random() % 4];
    Pixels input =
        random_surfaces(static_cast<size_t>(width) * static_cast<size_t>(height), spread, random);
    const bool plain = random() % 2 == 0;
    if (plain)
      lift_to_last_bin(input, random);
    naive::AdvancedThreshold threshold{
        random() % 2 == 0, static_cast<uint16_t>(random() % spread), {}};
    if (random() % 8 == 0)
      threshold.value = std::array<uint16_t, 5>{0, 1, 32767, 65534, 65535}[random() % 5];
    for (auto& entry : threshold.table)
      entry = static_cast<uint16_t>(random() % (plain ? 100 : 10) == 0 ? 65535 : random() % spread);
    const auto radius = static_cast<uint8_t>(random() % (plain ? 3 : 10));
    const int rounds = threshold.fixed ? 1 : static_cast<int>(1 + random() % 5);
    Pixels expected = input;
    naive::smooth_recursively({expected, width, height}, threshold, rounds, radius);
    for (const simd::Level level : simd::supported_levels()) {
      const auto& kernels = simd::kernels<SpatialAdvancedKernels>(level);
      Pixels pixels = input;
      const PixelGrid grid{pixels.data(), static_cast<uint16_t>(width),
                           static_cast<uint16_t>(height)};
      Pixels work(SpatialAdvancedKernels::work_size(grid.width, grid.height));
      if (threshold.fixed)
        kernels.fixed(grid, threshold.value, radius, work.data());
      else
        kernels.table(grid, threshold.table.data(), radius, rounds, work.data());
      ASSERT_EQ(pixels, expected) << simd::level_name(level) << " " << width << "x" << height
                                  << (threshold.fixed ? " fixed" : " table") << ", radius "
                                  << int{radius};
    }
  }
}

struct Model : SpatialAdvancedModel {
  void configure(Filter& filter, Random& random) {
    const std::vector<std::string> texts = {
        std::to_string(1 + random() % 5), std::to_string(static_cast<float>(1 + random() % 8) / 8),
        std::to_string(1 + random() % (random() % 3 ? 200 : 10000)), std::to_string(random() % 9)};
    update(texts);
    EXPECT_EQ(filter.update_to(texts), "");
  }
};

TEST(SpatialAdvancedFilter, FollowsItsModelThroughUpdatesResetsAndFrames) {
  Random random(10);
  Model model;
  EXPECT_GT(follow(model.name, model, 9000, random), 1200);
}

TEST(SpatialAdvancedFilter, ChecksAlphaInSinglePrecision) {
  Filter filter("SpatialAdvancedFilter");
  for (const char* alpha : {"0.09999999999", "1.00000000001"})
    EXPECT_EQ(filter.update({"5", alpha, "10000", "8"}), "");
  for (const char* alpha : {"0.0999", "1.0001"})
    EXPECT_NE(filter.update({"5", alpha, "10000", "8"}), "");
}

TEST(SpatialAdvancedFilter, ReportsAKernelThatCannotWork) {
  // A description like that of no frame needs no derivation, which would refuse it earlier.
  const FrameFacts facts{0, 0, -1, 1.0, 0.0F, 8};
  EXPECT_EQ(Filter("SpatialAdvancedFilter").outcome(frame_of(facts, {}).make()).error,
            "spatial advanced filter error | SpatialAdvancedFilter::filter_process | "
            "SpatialaDvancedFilter | 0");
}

TEST(SpatialAdvancedFilter, TakesSixteenBitsOfTheSize) {
  // 65536 + 9 pixels in a row count as 9, and 9 rows of them as the whole image.
  const FrameFacts facts{65545, 9, 2, 1.0, 0.0F, 8};
  Random random(3);
  const Pixels pixels = random_surfaces(size_t{65545} * 9, 200, random);
  Filter filter("SpatialAdvancedFilter");
  Pixels corner(pixels.begin(), pixels.begin() + 81);
  naive::smooth_recursively({corner, 9, 9}, {true, 160}, 1, 1);
  Pixels expected = pixels;
  std::copy(corner.begin(), corner.end(), expected.begin());
  EXPECT_EQ(filter.outcome(frame_of(facts, pixels).make()).pixels, expected);
}

} // namespace
