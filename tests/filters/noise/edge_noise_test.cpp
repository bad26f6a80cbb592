#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "filters/noise/edge_strips_kernels.h"
#include "naive/edge_strips.h"
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

/// Values in the order of the longer schema; the shorter one lacks the first three.
struct Values {
  Int left = 0, right = 0, radius = 0;
  Int margin_x = 6, margin_y = 6, limit_x = 70, limit_y = 30;
  Int vertical = 1;
  Int width = 1280, height = 800;

  friend bool operator==(const Values&, const Values&) = default;
};

constexpr Values mgc_defaults{80, 80, 640, 6, 0, 120, 120, 1, 1280, 800};

Int floor_root(Int square) {
  return static_cast<Int>(std::sqrt(static_cast<long double>(std::max(square, Int{0}))));
}

std::string update(Filter& filter, bool mgc, const Values& v) {
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

/// Either filter as its description reads.
class Model {
 public:
  explicit Model(bool mgc) : mgc_(mgc) { reset(); }

  void configure(Filter& filter, Random& random) {
    const Values values = random() % 4 == 0 ? anchor_ : random_values(mgc_, random);
    EXPECT_EQ(update(filter, mgc_, values), "");
    changed_ = changed_ || !(values == anchor_);
    anchor_ = values;
  }
  void reset() {
    anchor_ = mgc_ ? mgc_defaults : Values{};
    current_ = anchor_;
    changed_ = false;
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

  /// The filtered image, or nothing and the error's text.
  Pixels process(const CameraFrame& input, std::string& error) {
    const auto [width, height] = size_;
    const std::string name = mgc_ ? "MgcNoiseRemovalFilter" : "EdgeNoiseRemovalFilter";
    const bool has_table = !mgc_ || (table_width_ == width && table_height_ == height);
    if (changed_ || current_.width != width || current_.height != height || !has_table) {
      if (!derive(width, height)) {
        error = "invalid params | " + name + "::updateConfig | width||height | 4";
        return {};
      }
    }
    const bool columns = current_.vertical != 0;
    if ((!mgc_ && current_.margin_x > current_.limit_x) ||
        (columns && current_.margin_y > current_.limit_y)) {
      error = (mgc_ ? "mgc" : "edge") + std::string(" noise removal filter error | ") + name +
              "::filter_process | " + name + " | 0";
      return {};
    }
    const auto rows = static_cast<size_t>(height);
    const naive::Runs margins(rows, {current_.margin_x, current_.margin_x});
    return naive::clear_strips(input.pixels, width, height,
                               {mgc_ ? table_ : margins, mgc_, current_.limit_x,
                                columns ? current_.margin_y : 0, current_.limit_y});
  }

 private:
  bool derive(Int width, Int height) {
    if (width == 0 || height == 0)
      return false;
    Values derived = anchor_;
    const float rx = static_cast<float>(width) / static_cast<float>(anchor_.width);
    const float ry = static_cast<float>(height) / static_cast<float>(anchor_.height);
    for (Int* value :
         {&derived.left, &derived.right, &derived.radius, &derived.margin_x, &derived.limit_x})
      *value = static_cast<Int>(static_cast<float>(*value) * rx);
    for (Int* value : {&derived.margin_y, &derived.limit_y})
      *value = static_cast<Int>(static_cast<float>(*value) * ry);
    derived.width = width;
    derived.height = height;
    if (mgc_ && (table_width_ != width || table_height_ != height))
      build_table(derived);
    if (rx < 1e-5 || ry < 1e-5 || rx * ry < 1e-5)
      return false;
    current_ = derived; // ratios of 1 change nothing
    changed_ = false;
    return true;
  }

  void build_table(const Values& values) {
    const auto [w, h] = std::pair(values.width, values.height);
    const Int q = h * h / 4;
    const Int radius = values.radius != 0 ? values.radius : w > h ? w / 2 : h / 2;
    const Int right = values.right != 0 ? values.right : values.left;
    const Int c = floor_root(radius * radius - q);
    table_.clear();
    for (Int y = 0; y < h; ++y) {
      const Int bulge = floor_root((h - y) * y - q + radius * radius) - c;
      const auto run = [&](Int side) {
        return (bulge <= side ? values.margin_x + side - bulge : values.margin_x) & 0xffff;
      };
      table_.push_back({run(values.left), run(right)});
    }
    table_width_ = w;
    table_height_ = h;
  }

  struct Size {
    Int width, height;
  };

  bool mgc_;
  bool changed_ = false;
  Size size_{40, 30};
  Values anchor_, current_;
  Int table_width_ = 0, table_height_ = 0;
  naive::Runs table_;
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
  EXPECT_EQ(update(filter, true, values), "");
  EXPECT_EQ(cleared(), 32);
  values.margin_x = 4;
  EXPECT_EQ(update(filter, true, values), "");
  EXPECT_EQ(cleared(), 32) << "the table stays as long as the size";
  fail_nth_allocation(1);
  EXPECT_EQ(filter.process(taller.get()), nullptr);
  EXPECT_EQ(cleared(), 64);
}

} // namespace
