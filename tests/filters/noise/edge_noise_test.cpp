#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "filters/noise/edge_strips_kernels.h"
#include "naive/edge_strips_filters.h"
#include "support/allocation_faults.h"
#include "support/sequences.h"

namespace {

namespace simd = filter_processor::simd;
using Int = int64_t;
using namespace test;

/// A valid area with holes and a ragged outline.
Pixels random_image(Int width, Int height, Random& random) {
  const auto below = [&](Int n) { return static_cast<Int>(random() % static_cast<unsigned>(n)); };
  Pixels pixels;
  const Int border = 1 + below(2 + width / 2);
  const Int tenths_valid = std::array{10, 7, 1}[random() % 3];
  const Int first_row = below(1 + height / 3);
  const Int last_row = height - below(1 + height / 3);
  for (Int y = 0; y < height; ++y) {
    const Int first = below(8) == 0 ? width : below(border);
    const Int last = width - below(border);
    for (Int x = 0; x < width; ++x) {
      const bool valid = x >= first && x < last && y >= first_row && y < last_row;
      const auto value = static_cast<uint16_t>(65535 - below(2) * below(65535));
      pixels.push_back(valid && below(10) < tenths_valid ? value : uint16_t{0});
    }
  }
  return pixels;
}

TEST(EdgeStripsKernels, ReportWhatTheyCannotWorkOn) {
  const auto& kernels = simd::kernels<filter_processor::EdgeStripsKernels>();
  uint16_t pixel = 1;
  int32_t columns[2];
  const uint16_t table[2] = {1, 1};
  EXPECT_EQ(kernels.rows({nullptr, 1, 1}, 1, 1), -1);
  EXPECT_EQ(kernels.rows_and_columns({nullptr, 1, 1}, 1, 1, 1, 1, columns), -1);
  EXPECT_EQ(kernels.chamfered_rows_and_columns({nullptr, 1, 1}, 1, 1, 1, table, columns), -1);
  EXPECT_EQ(kernels.chamfered_rows_and_columns({&pixel, 1, 1}, 1, 1, 1, nullptr, columns), -3);
  EXPECT_EQ(pixel, 1);
}

using Values = naive::StripValues;

std::string update_to(Filter& filter, bool mgc, const Values& v) {
  std::vector<Int> values = {v.margin_x, v.margin_y, v.limit_x, v.limit_y, v.width, v.height};
  if (mgc)
    values.insert(values.begin(), {v.left, v.right, v.radius});
  else
    values.insert(values.begin() + 4, v.vertical);
  return filter.update_to_numbers(values);
}

/// Values of a size like the frames', or of the largest, so that small frames are too small.
Values random_values(bool mgc, Random& random) {
  const auto up_to = [&](Int n) {
    return static_cast<Int>(random() % static_cast<unsigned>(n + 1));
  };
  Values values = {.width = 1 + up_to(99), .height = 1 + up_to(49)};
  values.limit_x = 1 + up_to(up_to(3) == 0 ? 639 : values.width / 2);
  values.limit_y = 1 + up_to(up_to(3) == 0 ? 399 : values.height / 2);
  values.margin_x = up_to(std::min(values.limit_x + 1, Int{640}));
  values.margin_y = up_to(std::min(values.limit_y + 1, Int{400}));
  values.vertical = mgc ? 1 : up_to(1);
  if (mgc) {
    values.left = up_to(values.width / 4);
    values.right = up_to(1) * up_to(values.width / 4);
    values.radius = up_to(2) * up_to(320);
  }
  if (up_to(3) == 0) {
    values.width = 1280;
    values.height = 1024;
  }
  return values;
}

class Model : public naive::EdgeStripsFilter {
 public:
  explicit Model(bool mgc) : EdgeStripsFilter(mgc), mgc_(mgc) {}

  void configure(Filter& filter, Random& random) {
    const Values values = random() % 4 == 0 ? anchor_ : random_values(mgc_, random);
    EXPECT_EQ(update_to(filter, mgc_, values), "");
    store(values);
  }
  /// As large as before, as the anchor says, or of any size.
  CameraFrame frame(Random& random) {
    const auto below = [&](Int n) { return static_cast<Int>(random() % static_cast<unsigned>(n)); };
    if (below(3) == 0)
      size_ = below(2) == 0 && anchor_.width < 1280 ? Size{anchor_.width, anchor_.height}
              : below(5) == 0                       ? Size{below(2), below(2)}
                                                    : Size{below(100), below(100)};
    if (below(200) == 0)
      size_ = {3, 70000}; // more rows than 16 bits count
    return {.width = static_cast<uint32_t>(size_.width),
            .height = static_cast<uint32_t>(size_.height),
            .pixels = random_image(size_.width, size_.height, random)};
  }

 private:
  struct Size {
    Int width, height;
  };

  bool mgc_;
  Size size_{40, 30};
};

TEST(EdgeNoiseFilters, FollowTheirDescriptionThroughAnySequence) {
  Random random(13);
  for (const bool mgc : {false, true}) {
    Model model(mgc);
    EXPECT_GT(follow(mgc ? "MgcNoiseRemovalFilter" : "EdgeNoiseRemovalFilter", model, 8000, random),
              2000);
  }
}

TEST(MgcNoiseRemovalFilter, GivesItsTableUpEvenWhereThereIsNoMemoryForAnother) {
  REQUIRE_ALLOCATION_FAULTS();
  Filter filter("MgcNoiseRemovalFilter");
  const Frame whole = make_frame(64, 8, Pixels(size_t{64} * 8, 500));
  const Frame taller = make_frame(64, 4000, Pixels(size_t{64} * 4000, 500));
  const auto cleared = [&] {
    const Pixels pixels = filter.outcome(whole).pixels;
    return std::count(pixels.begin(), pixels.end(), 0);
  };
  Values values{
      .margin_x = 2, .margin_y = 0, .limit_x = 20, .limit_y = 4, .width = 64, .height = 8};
  EXPECT_EQ(update_to(filter, true, values), "");
  EXPECT_EQ(cleared(), 32);
  values.margin_x = 4;
  EXPECT_EQ(update_to(filter, true, values), "");
  EXPECT_EQ(cleared(), 32) << "the table stays as long as the size";
  fail_nth_allocation(1);
  EXPECT_EQ(filter.process(taller.get()), nullptr);
  EXPECT_EQ(cleared(), 64);
}

} // namespace
