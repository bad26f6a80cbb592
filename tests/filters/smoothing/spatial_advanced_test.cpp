#include <gtest/gtest.h>

#include "filters/smoothing/spatial_advanced_kernels.h"
#include "naive/depth_adaptive.h"
#include "support/sequences.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::PixelGrid;
using filter_processor::SpatialAdvancedKernels;
using namespace test;

TEST(SpatialAdvancedKernels, EveryLevelEqualsTheNaiveForm) {
  Random random(7);
  for (int round = 0; round < 1500; ++round) {
    const int width = static_cast<int>(random() % (round % 50 == 0 ? 300 : 70));
    const int height = static_cast<int>(random() % (round % 50 == 0 ? 200 : 40));
    const uint32_t spread = std::array{4U, 60U, 900U, 65536U}[random() % 4];
    const Pixels input =
        random_surfaces(static_cast<size_t>(width) * static_cast<size_t>(height), spread, random);
    naive::AdvancedThreshold threshold{
        random() % 2 == 0, static_cast<uint16_t>(random() % spread), {}};
    if (random() % 8 == 0)
      threshold.value = std::array<uint16_t, 5>{0, 1, 32767, 65534, 65535}[random() % 5];
    for (auto& entry : threshold.table)
      entry = static_cast<uint16_t>(random() % 10 == 0 ? 65535 : random() % spread);
    const auto radius = static_cast<uint8_t>(random() % 10);
    Pixels rows = input;
    naive::walk_rows({rows, width, height}, threshold, radius);
    Pixels columns = input;
    naive::walk_columns({columns, width, height}, threshold);
    for (const simd::Level level : simd::supported_levels()) {
      const auto& kernels = simd::kernels<SpatialAdvancedKernels>(level);
      Pixels by_rows = input;
      Pixels by_columns = input;
      Pixels strip(static_cast<size_t>(width) * SpatialAdvancedKernels::strip_rows);
      const auto grid = [&](Pixels& pixels) {
        return PixelGrid{pixels.data(), static_cast<uint16_t>(width),
                         static_cast<uint16_t>(height)};
      };
      if (threshold.fixed) {
        kernels.rows_fixed(grid(by_rows), threshold.value, radius, strip.data());
        kernels.columns_fixed(grid(by_columns), threshold.value);
      } else {
        kernels.rows_table(grid(by_rows), threshold.table.data(), radius, strip.data());
        kernels.columns_table(grid(by_columns), threshold.table.data());
      }
      const auto where = ::testing::Message() << simd::level_name(level) << " " << width << "x"
                                              << height << (threshold.fixed ? " fixed" : " table");
      ASSERT_EQ(by_rows, rows) << where << " rows, radius " << int{radius};
      ASSERT_EQ(by_columns, columns) << where << " columns";
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
