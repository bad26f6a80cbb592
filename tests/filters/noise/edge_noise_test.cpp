#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "filters/noise/EdgeNoiseRemovalFilter.h"
#include "filters/noise/MgcNoiseRemovalFilter.h"
#include "filters/noise/edge_strips_kernels.h"
#include "support/host_objects.h"

namespace {

namespace simd = filter_processor::simd;
using filter_processor::EdgeStripsKernels;
using Int = std::int64_t;
using test::ErrorSlot;
using test::Filter;
using test::Frame;
using test::Pixels;

/// The lengths of a row's left and right strips.
using Runs = std::vector<std::array<Int, 2>>;

struct Strips {
  Runs runs;
  bool runs_end_at_limit;
  Int limit_x, margin_y, limit_y;
};

// The strips written down pixel by pixel, each from the image as it was.

void naive_row(const Pixels& input, Pixels& output, Int width, Int y, const Strips& strips) {
  const auto row = static_cast<std::size_t>(y * width);
  Int first = -1;
  Int last = 0;
  for (Int x = width - 1; x >= 0; --x)
    first = input[row + static_cast<std::size_t>(x)] > 0 ? x : first;
  for (Int x = 0; x < width; ++x)
    last = input[row + static_cast<std::size_t>(x)] > 0 ? x : last;
  auto [left, right] = strips.runs[static_cast<std::size_t>(y)];
  if (strips.runs_end_at_limit) {
    left = std::min(left, strips.limit_x - first);
    right = std::min(right, last - (width - strips.limit_x));
  }
  for (Int x = 0; x < width; ++x) {
    if ((first != -1 && first < strips.limit_x && x >= first && x < first + left) ||
        (last > width - strips.limit_x && x <= last && x > last - right))
      output[row + static_cast<std::size_t>(x)] = 0;
  }
}

void naive_column(const Pixels& input, Pixels& output, Int width, Int height, Int x,
                  const Strips& strips) {
  const auto at = [&](Int y) { return static_cast<std::size_t>(y * width + x); };
  Int top = -1;
  Int bottom = -1;
  for (Int y = 0; y < height; ++y) {
    if (input[at(y)] > 0) {
      bottom = y;
      top = top == -1 ? y : top;
    }
  }
  for (Int r = top; top != -1 && r < std::min(top + strips.margin_y, height); ++r)
    if (r < strips.limit_y)
      output[at(r)] = 0;
  for (Int r = bottom; bottom != -1 && r > std::max(bottom - strips.margin_y, Int{-1}); --r)
    if (r > height - strips.limit_y)
      output[at(r)] = 0;
}

Pixels naive_strips(const Pixels& input, Int width, Int height, const Strips& strips) {
  Pixels output = input;
  for (Int y = 0; y < height; ++y)
    naive_row(input, output, width, y, strips);
  for (Int x = 0; x < width; ++x)
    naive_column(input, output, width, height, x, strips);
  return output;
}

/// A valid area with holes and a ragged outline: what is left of an image behind masks.
Pixels random_image(Int width, Int height, std::mt19937& random) {
  const auto below = [&](Int n) { return static_cast<Int>(random() % static_cast<unsigned>(n)); };
  Pixels pixels;
  const Int border = 1 + below(2 + width / 2);
  const unsigned holes = std::array{0U, 3U, 9U}[random() % 3];
  const Int first_row = below(1 + height / 3);
  const Int last_row = height - below(1 + height / 3);
  for (Int y = 0; y < height; ++y) {
    const Int first = below(8) == 0 ? width : below(border);
    const Int last = width - below(border);
    for (Int x = 0; x < width; ++x) {
      const bool valid = x >= first && x < last && y >= first_row && y < last_row;
      const auto value = static_cast<std::uint16_t>(below(20) == 0 ? 65535 : 1 + below(5000));
      pixels.push_back(valid && random() % 10 >= holes ? value : std::uint16_t{0});
    }
  }
  return pixels;
}

TEST(EdgeStripsKernels, EveryLevelEqualsTheNaiveForm) {
  std::mt19937 random(6);
  const auto below = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); };
  for (int round = 0; round < 1500; ++round) {
    const std::uint32_t width = 1 + below(round % 4 == 0 ? 150 : 40);
    const std::uint32_t height = 1 + below(30);
    const std::uint32_t limit_x = below(width + 12);
    const std::uint32_t limit_y = below(height + 12);
    const std::uint32_t margin_x = below(limit_x + 1);
    const std::uint32_t margin_y = below(limit_y + 1);
    const Pixels input = random_image(width, height, random);
    std::vector<std::uint16_t> table(std::size_t{2} * height);
    Strips chamfered{Runs(height), true, limit_x, margin_y, limit_y};
    for (std::size_t y = 0; y < height; ++y) {
      table[2 * y] = static_cast<std::uint16_t>(below(10) == 0 ? 65535 : below(width + 5));
      table[2 * y + 1] = static_cast<std::uint16_t>(below(width + 5));
      chamfered.runs[y] = {table[2 * y], table[2 * y + 1]};
    }
    Strips both{Runs(height, {margin_x, margin_x}), false, limit_x, margin_y, limit_y};
    Strips rows = both;
    rows.margin_y = 0;

    for (const simd::Level level : simd::supported_levels()) {
      const auto& kernels = simd::kernels<EdgeStripsKernels>(level);
      std::vector<std::uint32_t> columns(std::size_t{2} * width, 77);
      const auto expect = [&](const Strips& strips, const char* name, const auto& kernel) {
        Pixels output = input;
        EXPECT_EQ(kernel({output.data(), width, height}), 0);
        ASSERT_EQ(output, naive_strips(input, width, height, strips))
            << name << " " << simd::level_name(level) << " " << width << "x" << height << " limits "
            << limit_x << "," << limit_y << " margins " << margin_x << "," << margin_y;
      };
      using Image = filter_processor::EdgeStripsImage;
      expect(rows, "rows",
             [&](const Image& image) { return kernels.rows(image, margin_x, limit_x); });
      expect(both, "rows and columns", [&](const Image& image) {
        return kernels.rows_and_columns(image, margin_x, margin_y, limit_x, limit_y,
                                        columns.data());
      });
      expect(chamfered, "chamfered", [&](const Image& image) {
        return kernels.chamfered_rows_and_columns(image, margin_y, limit_x, limit_y, table.data(),
                                                  columns.data());
      });
    }
  }
}

TEST(EdgeStripsKernels, ReportWhatTheyCannotWorkOn) {
  const auto& kernels = simd::kernels<EdgeStripsKernels>();
  Pixels pixels = {1};
  std::uint32_t columns[2];
  const std::uint16_t table[2] = {1, 1};
  EXPECT_EQ(kernels.rows({nullptr, 1, 1}, 1, 1), -1);
  EXPECT_EQ(kernels.rows({pixels.data(), 1, 1}, 2, 1), -2);
  EXPECT_EQ(kernels.rows_and_columns({nullptr, 1, 1}, 1, 1, 1, 1, columns), -1);
  EXPECT_EQ(kernels.rows_and_columns({pixels.data(), 1, 1}, 2, 1, 1, 1, columns), -2);
  EXPECT_EQ(kernels.rows_and_columns({pixels.data(), 1, 1}, 1, 2, 1, 1, columns), -2);
  EXPECT_EQ(kernels.chamfered_rows_and_columns({nullptr, 1, 1}, 1, 1, 1, table, columns), -1);
  EXPECT_EQ(kernels.chamfered_rows_and_columns({pixels.data(), 1, 1}, 2, 1, 1, table, columns), -2);
  EXPECT_EQ(kernels.chamfered_rows_and_columns({pixels.data(), 1, 1}, 1, 1, 1, nullptr, columns),
            -3);
  EXPECT_EQ(pixels, Pixels{1});
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
  Int root = 0;
  while ((root + 1) * (root + 1) <= square)
    ++root;
  return root;
}

/// Either filter as its description reads, for lengths that fit 16 bits.
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
    const auto rows = static_cast<std::size_t>(height);
    const Runs margins(rows, {current_.margin_x, current_.margin_x});
    error = "";
    return naive_strips(input, width, height,
                        {mgc_ ? table_ : margins, mgc_, current_.limit_x,
                         columns ? current_.margin_y : 0, current_.limit_y});
  }

 private:
  bool derive(Int width, Int height) {
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
        return bulge <= side ? values.margin_x + side - bulge : values.margin_x;
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
  Runs table_;
};

std::string update(Filter& filter, bool mgc, const Values& v) {
  std::vector<Int> values = {v.margin_x, v.margin_y, v.limit_x, v.limit_y, v.width, v.height};
  if (mgc)
    values.insert(values.begin(), {v.left, v.right, v.radius});
  else
    values.insert(values.begin() + 4, v.vertical);
  std::vector<std::string> texts;
  std::vector<const char*> pointers;
  for (const Int value : values)
    texts.push_back(std::to_string(value));
  for (const std::string& text : texts)
    pointers.push_back(text.c_str());
  return filter.update(pointers);
}

/// Values near enough to the frame sizes below for every rule to matter.
Values random_values(bool mgc, std::mt19937& random) {
  const auto up_to = [&](Int n) {
    return static_cast<Int>(random() % static_cast<unsigned>(n + 1));
  };
  constexpr Int sizes[][2] = {{40, 30}, {64, 48}, {33, 17}, {1280, 1024}};
  const auto [width, height] = sizes[random() % std::size(sizes)];
  Values values{.margin_x = up_to(width / 5),
                .margin_y = up_to(height / 5),
                .limit_x = 1 + up_to(width / 2 - 1),
                .limit_y = 1 + up_to(std::min(height, Int{399})),
                .vertical = up_to(1),
                .width = width,
                .height = height};
  if (mgc) {
    values.left = up_to(width / 4);
    values.right = up_to(1) * up_to(width / 4);
    values.radius = up_to(2) * up_to(std::min(width, Int{320}));
    values.vertical = 1;
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
  Filter filter(name());
  Model model(mgc());
  constexpr std::array<std::uint32_t, 2> sizes[] = {{40, 30}, {64, 48},  {33, 17}, {1, 1},
                                                    {7, 40},  {120, 75}, {1, 9}};
  std::array<std::uint32_t, 2> size = sizes[0];
  Values values = defaults();
  int processed = 0;
  int failed = 0;
  for (int step = 0; step < 3000; ++step) {
    if (random() % 4 == 0) {
      values = random() % 4 == 0 ? values : random_values(mgc(), random);
      ASSERT_EQ(update(filter, mgc(), values), "");
      model.update(values);
    }
    if (random() % 9 == 0) {
      filter.reset();
      model.reset();
    }
    if (random() % 3 == 0)
      size = sizes[random() % std::size(sizes)];
    const auto [width, height] = size;
    const Pixels input = random_image(width, height, random);
    std::string expected_error;
    const Pixels expected = model.process(input, width, height, expected_error);
    ErrorSlot error;
    testing::internal::CaptureStdout();
    const Frame output = filter.process(test::make_frame(width, height, input), error);
    const std::string printed = testing::internal::GetCapturedStdout();
    ASSERT_EQ(error.text(), expected_error) << step;
    const bool derivation_failed = expected_error.find("updateConfig") != std::string::npos;
    EXPECT_EQ(printed, derivation_failed ? error.trace() : "");
    ASSERT_EQ(output == nullptr, !expected_error.empty());
    if (output != nullptr) {
      ASSERT_EQ(test::pixels_of(output.get()), expected) << step;
    }
    ++(output != nullptr ? processed : failed);
  }
  EXPECT_GT(processed, 500);
  EXPECT_GT(failed, 50);
}

TEST_P(EdgeNoiseFilters, RefuseEmptyFramesAndRecover) {
  Filter filter(name());
  ErrorSlot error;
  for (const auto& [width, height] : {std::pair{0U, 3U}, {3U, 0U}}) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(filter.process(test::make_frame(width, height, {}), error), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), error.trace());
    EXPECT_EQ(error.text(), "invalid params | " + name() + "::updateConfig | width||height | 4");
  }
  EXPECT_NE(filter.process(test::make_frame(40, 30, Pixels(1200, 5)), error), nullptr);
}

TEST_P(EdgeNoiseFilters, RefuseValuesOutOfRangeAndKeepTheirOwn) {
  struct Limit {
    const char* key;
    Int Values::*value;
    Int min, max;
  };
  std::vector<Limit> limits = {
      {"margin_x_th", &Values::margin_x, 0, 640}, {"margin_y_th", &Values::margin_y, 0, 400},
      {"limit_x_th", &Values::limit_x, 1, 640},   {"limit_y_th", &Values::limit_y, 1, 400},
      {"width", &Values::width, 1, 1280},         {"height", &Values::height, 1, 1024}};
  if (mgc())
    limits.insert(limits.begin(), {{"max_width_left", &Values::left, 0, 640},
                                   {"max_width_right", &Values::right, 0, 640},
                                   {"max_radius", &Values::radius, 0, 640}});
  else
    limits.insert(limits.begin() + 4, {"enable_vertical_direction", &Values::vertical, 0, 1});
  const std::string function = " | " + name() + "::update_filter_config | ";
  Filter filter(name());
  Values all_wrong;
  // Backwards, so that each key in turn is the first that is wrong.
  for (auto limit = limits.rbegin(); limit != limits.rend(); ++limit) {
    for (const Int wrong : {limit->min - 1, limit->max + 1}) {
      all_wrong.*limit->value = wrong;
      EXPECT_EQ(update(filter, mgc(), all_wrong),
                "params out of range" + function + limit->key + " | 4");
    }
  }
  for (const std::size_t count : {limits.size() - 1, limits.size() + 1})
    EXPECT_EQ(filter.update(std::vector<const char*>(count, "1")),
              "the number of params error" + function + "argc | 4");

  const Pixels input(160 * 100, 9);
  ErrorSlot error;
  std::string none;
  EXPECT_EQ(test::pixels_of(filter.process(test::make_frame(160, 100, input), error).get()),
            Model(mgc()).process(input, 160, 100, none));
  for (const Int Limit::*bound : {&Limit::min, &Limit::max}) {
    Values accepted;
    for (const Limit& limit : limits)
      accepted.*limit.value = limit.*bound;
    EXPECT_EQ(update(filter, mgc(), accepted), "");
  }
}

/// A frame of one row value each: row y is valid from `first` to `last` alone.
Frame frame_of_rows(std::uint32_t width, std::uint32_t height, std::size_t first,
                    std::size_t last) {
  Pixels pixels(std::size_t{width} * height);
  for (std::size_t y = 0; y < height; ++y)
    std::fill(&pixels[y * width + first], &pixels[y * width + last] + 1, std::uint16_t{500});
  return test::make_frame(width, height, pixels);
}

/// How many pixels of a row's strips are gone: {left, right}.
std::pair<std::size_t, std::size_t> cleared(Filter& filter, const Frame& input, std::size_t width,
                                            std::size_t y) {
  ErrorSlot error;
  const Pixels before = test::pixels_of(input.get());
  const Pixels after = test::pixels_of(filter.process(input, error).get());
  const auto row = [&](const Pixels& pixels) {
    return pixels.begin() + static_cast<Int>(y * width);
  };
  const auto count = [&](std::size_t from, std::size_t to) {
    std::size_t gone = 0;
    for (std::size_t x = from; x < to; ++x)
      gone += row(after)[static_cast<Int>(x)] != row(before)[static_cast<Int>(x)];
    return gone;
  };
  return {count(0, width / 2), count(width / 2, width)};
}

using Cleared = std::pair<std::size_t, std::size_t>;

TEST(EdgeNoiseRemovalFilter, ClearsTheWholeMarginWithinTheLimit) {
  Filter filter("EdgeNoiseRemovalFilter");
  // The right limit is one column nearer to the border.
  EXPECT_EQ(cleared(filter, frame_of_rows(1280, 800, 69, 1211), 1280, 400), Cleared(6, 6));
  EXPECT_EQ(cleared(filter, frame_of_rows(1280, 800, 70, 1210), 1280, 400), Cleared(0, 0));
  EXPECT_EQ(cleared(filter, frame_of_rows(640, 400, 34, 606), 640, 200), Cleared(3, 3));
  EXPECT_EQ(cleared(filter, frame_of_rows(640, 400, 35, 605), 640, 200), Cleared(0, 0));
}

TEST(EdgeNoiseRemovalFilter, ClearsColumnsRowByRowUpToTheLimit) {
  Filter filter("EdgeNoiseRemovalFilter");
  ASSERT_EQ(filter.update({"0", "3", "1", "4", "1", "1", "12"}), "");
  ErrorSlot error;
  const auto processed = [&](const Pixels& pixels) {
    const auto rows = static_cast<std::uint32_t>(pixels.size());
    return test::pixels_of(filter.process(test::make_frame(1, rows, pixels), error).get());
  };
  EXPECT_EQ(processed({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0}),
            (Pixels{0, 0, 0, 0, 4, 5, 6, 7, 8, 0, 0, 0}));
  EXPECT_EQ(processed({0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0}),
            (Pixels{0, 0, 0, 0, 3, 4, 5, 6, 7, 0, 0, 0}));
  // More rows than 16 bits count; 70000 / 12 of the thresholds.
  Pixels tall(70000, 0);
  tall[23332] = tall[40000] = tall[69999] = 7;
  Pixels expected = tall;
  expected[23332] = expected[69999] = 0;
  EXPECT_EQ(processed(tall), expected);
}

TEST(MgcNoiseRemovalFilter, FollowsTheArcUpToTheLimit) {
  Filter filter("MgcNoiseRemovalFilter");
  const Frame whole = frame_of_rows(1280, 800, 0, 1279);
  EXPECT_EQ(cleared(filter, whole, 1280, 0), Cleared(86, 86));
  EXPECT_EQ(cleared(filter, whole, 1280, 400), Cleared(6, 6));
  // sqrt(799 - 160000 + 409600) = 500.39: one pixel of arc
  EXPECT_EQ(cleared(filter, whole, 1280, 1), Cleared(85, 85));
  EXPECT_EQ(cleared(filter, frame_of_rows(1280, 800, 50, 1229), 1280, 0), Cleared(70, 69));
  EXPECT_EQ(cleared(filter, frame_of_rows(1280, 800, 117, 1163), 1280, 400), Cleared(3, 3));
}

TEST(MgcNoiseRemovalFilter, KeepsItsTableUntilTheSizeChanges) {
  Filter filter("MgcNoiseRemovalFilter");
  const Frame whole = frame_of_rows(1280, 800, 0, 1279);
  const auto top_row = [&] { return cleared(filter, whole, 1280, 0); };
  ASSERT_EQ(filter.update({"40", "20", "0", "1", "0", "120", "120", "1280", "800"}), "");
  EXPECT_EQ(top_row(), Cleared(41, 21));
  ASSERT_EQ(filter.update({"50", "0", "640", "2", "0", "45", "120", "1280", "800"}), "");
  EXPECT_EQ(top_row(), Cleared(41, 21)) << "the table followed the parameters";
  filter.reset();
  EXPECT_EQ(top_row(), Cleared(41, 21)) << "the table followed the reset";
  ASSERT_EQ(filter.update({"50", "0", "640", "2", "0", "45", "120", "1280", "800"}), "");
  // Even a frame too small for lengths to be scaled replaces it.
  ErrorSlot error;
  EXPECT_EQ(filter.process(test::make_frame(1, 1, {1}), error), nullptr);
  EXPECT_EQ(top_row(), Cleared(45, 44)) << "52 pixels on both sides, within the limit of 45";
}

TEST(EdgeNoiseRemovalFilter, PrintsBothParameterSets) {
  filter_processor::EdgeNoiseRemovalFilter filter;
  std::array<const char*, 7> values = {"1", "2", "30", "40", "0", "640", "400"};
  filter.update_filter_config(7, values.data(), nullptr);
  testing::internal::CaptureStdout();
  filter.print_filter_params();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), R"(anchor_params: 
width:            640
height:           400
enable_direction: 0
limit_x_th:       30
limit_y_th:       40
margin_x_th:      1
margin_y_th:      2
current_filter_params: 
width:            1280
height:           800
enable_direction: 1
limit_x_th:       70
limit_y_th:       30
margin_x_th:      6
margin_y_th:      6
)");
}

TEST(MgcNoiseRemovalFilter, PrintsBothParameterSets) {
  filter_processor::MgcNoiseRemovalFilter filter;
  std::array<const char*, 9> values = {"1", "2", "3", "4", "5", "6", "7", "640", "400"};
  filter.update_filter_config(9, values.data(), nullptr);
  testing::internal::CaptureStdout();
  filter.print_filter_params();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), R"(anchor_params: 
width:            640
height:           400
max_width_left:   1
max_width_right:  2
max_radius:       3
limit_x_th:       6
limit_y_th:       7
margin_x_th:      4
margin_y_th:      5
current_filter_params: 
width:            1280
height:           800
max_width_left:   80
max_width_right:  80
max_radius:       640
limit_x_th:       120
limit_y_th:       120
margin_x_th:      6
margin_y_th:      0
)");
}

} // namespace
