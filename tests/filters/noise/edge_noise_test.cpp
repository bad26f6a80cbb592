#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "filters/noise/edge_strips_kernels.h"
#include "naive/edge_strips.h"
#include "support/allocation_faults.h"
#include "support/filter.h"

namespace {

namespace simd = filter_processor::simd;
using Int = int64_t;
using namespace test;

/// A valid area with holes and a ragged outline.
Pixels random_image(Int width, Int height, std::mt19937& random) {
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

/// Either filter as its description reads.
class Model {
 public:
  explicit Model(bool mgc) : mgc_(mgc) { reset(); }

  void update(const Values& values) {
    changed_ = changed_ || !(values == anchor_);
    anchor_ = values;
  }
  void reset() {
    anchor_ = mgc_ ? mgc_defaults : Values{};
    current_ = anchor_;
    changed_ = false;
  }

  /// The filtered image, or nothing and the error's text.
  Pixels process(const Pixels& input, Int width, Int height, std::string& error) {
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
    error = "";
    return naive::clear_strips(input, width, height,
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

  bool mgc_;
  bool changed_ = false;
  Values anchor_, current_;
  Int table_width_ = 0, table_height_ = 0;
  naive::Runs table_;
};

std::string update(Filter& filter, bool mgc, const Values& v) {
  std::vector<Int> values = {v.margin_x, v.margin_y, v.limit_x, v.limit_y, v.width, v.height};
  if (mgc)
    values.insert(values.begin(), {v.left, v.right, v.radius});
  else
    values.insert(values.begin() + 4, v.vertical);
  std::vector<std::string> texts;
  texts.reserve(values.size());
  for (const Int value : values)
    texts.push_back(std::to_string(value));
  return filter.update_to(texts);
}

/// Values of a size like the frames', or of the largest, so that small frames are too small.
Values random_values(bool mgc, std::mt19937& random) {
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

class EdgeNoiseFilters : public ::testing::TestWithParam<bool> {
 protected:
  static bool mgc() { return GetParam(); }
  static std::string name() { return mgc() ? "MgcNoiseRemovalFilter" : "EdgeNoiseRemovalFilter"; }
  static Values defaults() { return mgc() ? mgc_defaults : Values{}; }
};

INSTANTIATE_TEST_SUITE_P(All, EdgeNoiseFilters, ::testing::Bool(),
                         [](const auto& test) { return std::string(test.param ? "Mgc" : "Edge"); });

TEST_P(EdgeNoiseFilters, FollowTheirDescriptionThroughAnySequence) {
  std::mt19937 random(mgc() ? 13 : 5);
  const auto chance = [&](unsigned n) { return random() % n == 0; };
  Filter filter(name());
  Model model(mgc());
  Int width = 40;
  Int height = 30;
  Values values = defaults();
  int processed = 0;
  for (int step = 0; step < 8000; ++step) {
    if (chance(4)) {
      values = chance(4) ? values : random_values(mgc(), random);
      ASSERT_EQ(update(filter, mgc(), values), "");
      model.update(values);
    }
    if (chance(9)) {
      filter.reset();
      model.reset();
    }
    if (chance(3)) {
      const bool as_anchor = chance(2) && values.width < 1280;
      const unsigned most = chance(5) ? 2 : 100;
      width = as_anchor ? values.width : static_cast<Int>(random() % most);
      height = as_anchor ? values.height : static_cast<Int>(random() % most);
    }
    if (step % 200 == 0) { // more rows than 16 bits count
      width = 3;
      height = 70000;
    }
    const Pixels input = random_image(width, height, random);
    std::string expected_error;
    const Pixels expected = model.process(input, width, height, expected_error);
    const Frame frame =
        make_frame(static_cast<uint32_t>(width), static_cast<uint32_t>(height), input);
    const Outcome outcome = filter.outcome(frame);
    ASSERT_EQ(outcome.error, expected_error) << step;
    const bool derivation_failed = expected_error.find("updateConfig") != std::string::npos;
    ASSERT_EQ(outcome.printed, derivation_failed ? outcome.trace : "");
    ASSERT_EQ(outcome.pixels, expected)
        << step << ": " << width << "x" << height << " " << outcome.level;
    processed += !expected.empty() && expected != input;
  }
  EXPECT_GT(processed, 2000);
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
