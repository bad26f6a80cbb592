#include <gtest/gtest.h>

#include "filters/smoothing/spatial_advanced_kernels.h"
#include "naive/depth_adaptive.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::PixelGrid;
using filter_processor::SpatialAdvancedKernels;
using namespace test;

// The passes written down pixel by pixel.

struct Image {
  Pixels pixels;
  int width, height;

  uint16_t& at(int y, int x) {
    return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
};

bool valid(uint16_t v) {
  return static_cast<int16_t>(v) > 0;
}

/// |cur - prev|, taken as 16 bits.
uint16_t distance(uint16_t cur, uint16_t prev) {
  const auto d = static_cast<int16_t>(static_cast<uint16_t>(cur - prev));
  return static_cast<uint16_t>(std::abs(int{d}));
}

using Table = std::array<uint16_t, 7>;

/// The threshold of lane `lane` of eight pixels: one for all, or that of the table for the first
/// half of the lanes, spread over the even ones.
struct Threshold {
  bool fixed;
  uint16_t value;
  Table table;

  template <typename PixelOfLane>
  uint16_t of(int lane, PixelOfLane pixel) const {
    if (fixed)
      return value;
    return lane % 2 == 0 ? table[std::min<size_t>(pixel(lane / 2) >> 1, 6)] : uint16_t{0};
  }
};

void naive_row_walk(Image& image, const Threshold& threshold, uint8_t radius, int block, int start,
                    int end, int step) {
  int counter[8] = {};
  uint16_t prev[8];
  for (int i = 0; i < 8; ++i)
    prev[i] = image.at(block + i, start);
  for (int x = start + step; x != end; x += step) {
    uint16_t next[8];
    for (int i = 0; i < 8; ++i) {
      const auto cur = image.at(block + i, x);
      const uint16_t t = static_cast<uint16_t>(
          threshold.of(i, [&](int row) { return image.at(block + row, x); }) + 1);
      const auto d = distance(cur, prev[i]);
      next[i] = cur;
      if (valid(cur) && valid(prev[i]))
        counter[i] = 0;
      if (!valid(cur) && valid(prev[i])) {
        if (++counter[i] < radius)
          next[i] = prev[i];
      } else if (valid(cur) && valid(prev[i]) && d > 0 && d < t) {
        next[i] = static_cast<uint16_t>((cur + prev[i]) >> 1);
      }
    }
    for (int i = 0; i < 8; ++i)
      prev[i] = image.at(block + i, x) = next[i];
  }
}

void naive_rows(Image& image, const Threshold& threshold, uint8_t radius) {
  if (image.width <= 2)
    return;
  for (int block = 0; block + 8 <= image.height; block += 8) {
    naive_row_walk(image, threshold, radius, block, 0, image.width - 1, 1);
    naive_row_walk(image, threshold, radius, block, image.width - 1, -1, -1);
  }
}

void naive_columns(Image& image, const Threshold& threshold) {
  if (image.height < 2)
    return;
  const auto meet = [&](int y, int previous) {
    for (int group = 0; group + 8 <= image.width; group += 8) {
      uint16_t t[8];
      for (int i = 0; i < 8; ++i)
        t[i] = threshold.of(i, [&](int column) { return image.at(y, group + column); });
      for (int i = 0; i < 8; ++i) {
        auto& cur = image.at(y, group + i);
        const auto prev = image.at(previous, group + i);
        const auto d = distance(cur, prev);
        if (valid(cur) && valid(prev) && d > 0 && d < t[i])
          cur = static_cast<uint16_t>((cur + prev) >> 1);
      }
    }
  };
  for (int y = 1; y < image.height; ++y)
    meet(y, y - 1);
  for (int y = image.height - 2; y >= 0; --y)
    meet(y, y + 1);
}

void naive_smooth(Image& image, const Threshold& threshold, int iterations, uint8_t radius) {
  for (int i = 0; i < (threshold.fixed ? 1 : iterations); ++i) {
    naive_rows(image, threshold, radius);
    naive_columns(image, threshold);
  }
}

TEST(SpatialAdvancedKernels, EveryLevelEqualsTheNaiveForm) {
  std::mt19937 random(7);
  for (int round = 0; round < 1500; ++round) {
    const int width = static_cast<int>(random() % (round % 50 == 0 ? 300 : 70));
    const int height = static_cast<int>(random() % (round % 50 == 0 ? 200 : 40));
    const uint32_t spread = std::array{4U, 60U, 900U, 65536U}[random() % 4];
    const Pixels input =
        random_surfaces(static_cast<size_t>(width) * static_cast<size_t>(height), spread, random);
    Threshold threshold{random() % 2 == 0, static_cast<uint16_t>(random() % spread), {}};
    if (random() % 8 == 0)
      threshold.value = std::array<uint16_t, 5>{0, 1, 32767, 65534, 65535}[random() % 5];
    for (auto& entry : threshold.table)
      entry = static_cast<uint16_t>(random() % 10 == 0 ? 65535 : random() % spread);
    const auto radius = static_cast<uint8_t>(random() % 10);
    Image rows{input, width, height};
    naive_rows(rows, threshold, radius);
    Image columns{input, width, height};
    naive_columns(columns, threshold);
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
      ASSERT_EQ(by_rows, rows.pixels) << where << " rows, radius " << int{radius};
      ASSERT_EQ(by_columns, columns.pixels) << where << " columns";
    }
  }
}

struct Params {
  uint8_t magnitude = 1;
  float alpha = 0.5F;
  uint16_t disp_diff = 160, radius = 1;

  bool operator==(const Params&) const = default;
};

struct Model : DepthAdaptiveModel<Params> {
  std::vector<std::string> random_update(std::mt19937& random) {
    const Params params{static_cast<uint8_t>(1 + random() % 5),
                        static_cast<float>(1 + random() % 8) / 8,
                        static_cast<uint16_t>(1 + random() % (random() % 3 ? 200 : 10000)),
                        static_cast<uint16_t>(random() % 9)};
    if (params != anchor) {
      anchor = params;
      changed = true;
    }
    return {std::to_string(params.magnitude), std::to_string(params.alpha),
            std::to_string(params.disp_diff), std::to_string(params.radius)};
  }

  void smooth(Pixels& pixels) const {
    Image image{pixels, static_cast<int>(current_facts.width),
                static_cast<int>(current_facts.height)};
    naive_smooth(image, {current_facts.pixel_type == 2, current.disp_diff, table.entries},
                 current.magnitude, static_cast<uint8_t>(current.radius));
    pixels = image.pixels;
  }
};

TEST(SpatialAdvancedFilter, FollowsItsModelThroughUpdatesResetsAndFrames) {
  for (unsigned seed = 10; seed < 13; ++seed)
    compare_sequences("SpatialAdvancedFilter", Model{}, seed);
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
  const NoLeftovers no_leftovers;
  Filter filter("SpatialAdvancedFilter");
  ErrorSlot error;
  EXPECT_EQ(filter.process(make_frame_of(facts, {}), error), nullptr);
  EXPECT_EQ(error.text(), "spatial advanced filter error | SpatialAdvancedFilter::filter_process | "
                          "SpatialaDvancedFilter | 0");
}

TEST(SpatialAdvancedFilter, TakesSixteenBitsOfTheSize) {
  // 65536 + 9 pixels in a row count as 9, and 9 rows of them as the whole image.
  const FrameFacts facts{65545, 9, 2, 1.0, 0.0F, 8};
  std::mt19937 random(3);
  const Pixels pixels = random_surfaces(size_t{65545} * 9, 200, random);
  Filter filter("SpatialAdvancedFilter");
  ErrorSlot error;
  const Frame output = filter.process(make_frame_of(facts, pixels), error);
  Image corner{Pixels(pixels.begin(), pixels.begin() + 81), 9, 9};
  naive_smooth(corner, {true, 160, {}}, 1, 1);
  Pixels expected = pixels;
  std::copy(corner.pixels.begin(), corner.pixels.end(), expected.begin());
  EXPECT_EQ(pixels_of(output.get()), expected);
}

} // namespace
