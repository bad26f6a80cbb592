// The parts of the tools that need no plug-in: schema texts, filter requests, pictures and
// statistics.
#include <array>
#include <atomic>
#include <numeric>
#include <regex>

#include <gtest/gtest.h>

#include "gxfilter/canvas.h"
#include "gxfilter/filter_chain.h"
#include "gxfilter/ordered_pipeline.h"
#include "gxfilter/presets.h"
#include "gxfilter/preview.h"
#include "gxfilter/score.h"
#include "gxfilter/statistics.h"
#include "outcome.h"

namespace gxfilter {
namespace {

using namespace hosting;
using namespace recordings;

TEST(Schema, ReadsIrregularSpacingAndCommasInDescriptions) {
  const auto schema =
      gexton::parse_schema("ex_right, integer,-640, 640, 1, 0, extension on the right, in pixels \n"
                           "\n"
                           "  alpha ,float, 0.1,1,0.01 ,\t0.5,weight\r\n"
                           "short, bool");
  std::string fields;
  for (const auto& [name, type, min, max, step, value, description, line] : schema)
    fields += name + '|' + type + '|' + min + '|' + max + '|' + step + '|' + value + '|' +
              description + '\n';
  EXPECT_EQ(fields, "ex_right|integer|-640|640|1|0|extension on the right, in pixels\n"
                    "alpha|float|0.1|1|0.01|0.5|weight\n"
                    "short|bool|||||\n");
  EXPECT_EQ(schema[0].line, "ex_right, integer,-640, 640, 1, 0, extension on the right, in pixels");
  EXPECT_TRUE(gexton::parse_schema("").empty());
  EXPECT_TRUE(gexton::parse_schema(" \n\n").empty());
}

TEST(Schema, NamesTheValuesThatADescriptionLists) {
  const auto names = [](const std::string& line) {
    std::string text;
    for (const auto& [name, value] : named_values(gexton::parse_schema(line).at(0)))
      text += name + value + " ";
    return text;
  };
  EXPECT_EQ(names("m, integer, 0, 2, 1, 0, GX_MODE_TOP/GX_MODE_NEAR/GX_MODE_FAR2"),
            "top0 near1 far22 ");
  EXPECT_EQ(names("m, integer, 3, 4, 1, 3, a_on / b_on"), "a_on3 b_on4 ");
  EXPECT_EQ(names("m, integer, 0, 1, 1, 0, MODE_A/MODE_A_B"), "a0 a_b1 ");
  EXPECT_EQ(names("m, integer, 0, 1, 1, 0, ROI_/ROI_B"), "roi_0 roi_b1 ") << "none is left empty";
  for (const char* other :
       {"0, 2, 1, 0, A_TOP/A_NEAR", "0, 1, 1, 0, A_TOP/A_NEAR/A_FAR", "0, 2, 1, 0, ",
        "0, 1, 1, 0, on / off switch", "0, 1, 1, 0, X/x", "0, 2, 2, 0, A/B", "-1, 0, 1, 0, A/B",
        "0, 1, 1, 0, 1/2", "a, 1, 1, 0, A/B", "0, 0, 1, 0, A", ", , , , A/B"})
    EXPECT_EQ(names(std::string("m, integer, ") + other), "") << other;
}

TEST(Schema, ChecksTextsAsFiltersReadThem) {
  const auto schema = gexton::parse_schema(
      "real, float, 0.1, 1, 0.01, 0.5, x\nwhole, integer, -4, 2, 1, 0, y\n"
      "free, uint32_t\ntext, string, 0, 1\nmode, integer, 0, 1, 1, 0, M_A/M_B");
  const auto check = [&](const char* name, const char* text, Ranges ranges = Ranges::checked) {
    const auto value = value_text(*find_parameter(schema, name), text, ranges);
    return value ? *value : value.error().message;
  };
  const std::pair<const char*, const char*> kept[] = {
      {"real", "0.1"},   {"real", "1e-1"}, {"real", "+.5"}, {"real", "0.099999999999"},
      {"whole", " +2 "}, {"whole", "-4"},  {"free", "-9"},  {"text", "3abc"},
      {"mode", "1"}};
  for (const auto& [name, text] : kept)
    EXPECT_EQ(check(name, text), text);
  EXPECT_EQ(check("mode", "b"), "1");
  const std::pair<const char*, const char*> refused[] = {
      {"real", ""},       {"real", "nan"},  {"real", "inf"},  {"real", "0x1p-1"}, {"real", "1,5"},
      {"real", "1.01"},   {"real", "1e39"}, {"real", "++1"},  {"real", "+-1"},    {"whole", "2x"},
      {"whole", "1.0"},   {"whole", "1e0"}, {"whole", "0x1"}, {"whole", "-5"},    {"whole", "3"},
      {"free", "inside"}, {"mode", "M_B"},  {"mode", "c"}};
  for (const auto& [name, text] : refused)
    EXPECT_PRED2(test::says, check(name, text), std::string(name) + "=" + text + ": ");
  EXPECT_EQ(check("whole", "3"), "whole=3: out of range; allowed is -4 to 2");
  EXPECT_EQ(check("mode", "c"), "mode=c: not a whole number; allowed is 0 to 1 or a, b");
  EXPECT_EQ(check("whole", "3", Ranges::left_to_the_filter), "3");
  EXPECT_NE(check("whole", "x", Ranges::left_to_the_filter), "x");
}

TEST(FilterRequests, TakeNamesValuesAndRecords) {
  const auto request = parse_filter_request("Some: a = 1 ,b=-2.5");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->name, "Some");
  EXPECT_EQ(request->values, (std::map<std::string, std::string>{{"a", "1"}, {"b", "-2.5"}}));
  EXPECT_TRUE(parse_filter_request("Some:")->values.empty());
  EXPECT_EQ(parse_filter_request("Some:@dir/record.bin")->record, "dir/record.bin");
  for (const char* text : {"", ":a=1", "Some:a", "Some:=1", "Some:a=1,a=2", "Some:a=1,,b=2"}) {
    const auto bad = parse_filter_request(text);
    ASSERT_FALSE(bad) << text;
    EXPECT_EQ(bad.error().kind, ErrorKind::request);
  }
}

TEST(FilterRequests, ComeFromChainFiles) {
  const auto preset =
      parse_preset(R"([{"filter": "A", "params": {"x": 3.0, "y": "z", "on": true, "h": 0.5}},
                                     {"filter": "B"}, {"filter": "C", "record": "r"}])");
  ASSERT_TRUE(preset) << preset.error().message;
  ASSERT_EQ(preset->chain.size(), 3U);
  EXPECT_EQ(preset->chain[0].values, (std::map<std::string, std::string>{
                                         {"h", "0.5"}, {"on", "1"}, {"x", "3"}, {"y", "z"}}));
  EXPECT_EQ(preset->chain[2].record, "r");
  const auto told =
      parse_preset(R"({"description": "d", "when_not": "w", "chain": [{"filter": "A"}]})");
  ASSERT_TRUE(told) << told.error().message;
  EXPECT_EQ(told->description + told->when_not + told->chain.at(0).name, "dwA");
  for (const char* json :
       {"", "{}", "[3]", "[{}]", R"([{"filter": 3}])", "[", R"([{"filter": "A", "params": [1]}])",
        R"([{"filter": "A", "x": 1}])", R"([{"filter": "A", "params": {"x": null}}])",
        R"([{"filter": "A", "record": "r", "params": {"x": 1}}])",
        R"([{"filter": "A", "record": ""}])", R"({"chain": {}})", R"({"chain": [], "x": 1})",
        R"({"chain": [], "when_not": 1})"})
    EXPECT_FALSE(parse_preset(json)) << json;
  EXPECT_PRED2(test::says, parse_preset("[\n{]").error().message, "line 2, column 2");
}

TEST(FilterRequests, AreDescribedByWhatDiffersFromTheDefaults) {
  const auto schema =
      gexton::parse_schema("m, integer, 0, 1, 1, 0, M_A/M_B\nb, float, 0, 1, 1, 0.5, x");
  const auto describe = [&](const char* text) {
    return describe_request(*parse_filter_request(text), schema);
  };
  EXPECT_EQ(describe("F:m=a,b=.50"), "F");
  EXPECT_EQ(describe("F:b=0.25,m=b"), "F m=b, b=0.25");
  EXPECT_EQ(describe("F:@some/record"), "F @record");
}

TEST(Presets, AreFoundByNameOrTellWhereTheyAreNot) {
  EXPECT_PRED2(test::says, read_presets({"/no/such", "/nor/this"}).error().message,
               "/no/such or /nor/this");
  const auto missing = find_preset({{"a", {}}, {"b", {}}}, "c");
  EXPECT_PRED2(test::says, missing.error().message, "a, b");
  EXPECT_EQ(missing.error().kind, ErrorKind::request);
}

TEST(Scores, CountByHand) {
  // Truth in millimetres, the rest in halves of them. The limit is 50 mm, from 1000 mm on 5 %.
  const Image truth{{8, 1}, {1000, 1000, 1000, 1000, 1000, 0, 2000, 0}};
  const Image result{{8, 1}, {2000, 2010, 1880, 0, 0, 700, 4200, 0}};
  const Image input{{8, 1}, {2000, 2000, 0, 2100, 2102, 700, 0, 0}};
  Score with_input({});
  ASSERT_FALSE(with_input.add({result, 0.5}, {truth, 1}, nullptr));
  EXPECT_EQ(with_input.losable, 6U);
  EXPECT_EQ(with_input.lost, 2U);
  Score score({});
  const DepthView given{input, 0.5};
  ASSERT_FALSE(score.add({result, 0.5}, {truth, 1}, &given));
  EXPECT_EQ((std::array{score.pixels, score.truth_valid, score.compared, score.outliers,
                        score.too_near, score.invented, score.losable, score.lost}),
            (std::array<uint64_t, 8>{8, 6, 4, 1, 1, 1, 3, 1}));
  // Errors 0, 5, 60 and 100, which is 5 % of 2000 and not beyond it.
  EXPECT_DOUBLE_EQ(score.root_mean_square_error(), std::sqrt((25 + 3600 + 10000) / 4.0));
  EXPECT_DOUBLE_EQ(score.median_error(), 5);
  EXPECT_EQ(Score({}).median_error(), 0);
  const auto failure = score.add({result, 1}, {{{4, 2}, truth.pixels}, 1}, nullptr);
  ASSERT_TRUE(failure);
  EXPECT_PRED2(test::says, failure->message, "4x2");
}

std::vector<uint8_t> color_at(const PaletteImage& picture, uint32_t x, uint32_t y) {
  const Color color = picture.palette[picture.indices[size_t{y} * picture.size.width + x]];
  return {color.begin(), color.end()};
}

TEST(Canvas, DrawsWithinItself) {
  Canvas canvas({10, 8}, {1, 1, 1});
  canvas.fill({8, 6, 9, 9}, {2, 2, 2});
  canvas.frame({6, 2, 2, 1}, {3, 3, 3});
  canvas.text(0, 0, 1, {4, 4, 4}, "L!");
  const PaletteImage image = canvas.take();
  std::string drawn;
  for (uint32_t y = 0; y < 8; ++y, drawn += '\n')
    for (uint32_t x = 0; x < 10; ++x)
      drawn += " .+#@"[color_at(image, x, y)[0]];
  EXPECT_EQ(drawn, "@.......@.\n"
                   "@....###@.\n"
                   "@....#..@.\n"
                   "@....###@.\n"
                   "@.......@.\n"
                   "@.........\n"
                   "@@@@@...@+\n"
                   "........++\n");
}

/// The first picture of a recording.
PaletteImage preview(const std::string& caption, const FrameView& before, const FrameView& after,
                     const std::string& title) {
  PreviewPainter painter(caption);
  return painter.paint(painter.choose_ranges(before, after), before, after, title);
}

TEST(Preview, SharesOneRangeUnlessThePixelsDiffer) {
  FrameView ramp{{{512, 512}, std::vector<uint16_t>(size_t{512} * 512)}, GX_PIXEL_DEPTH, 2.0F};
  for (size_t i = 0; i < ramp.image.pixels.size(); ++i)
    ramp.image.pixels[i] = static_cast<uint16_t>(1000 + i % 512);
  const auto range = typical_range(ramp);
  ASSERT_TRUE(range);
  EXPECT_NEAR(range->low, 2010, 4);
  EXPECT_NEAR(range->high, 3012, 4);
  FrameView part = ramp;
  std::ranges::fill(part.image.pixels, uint16_t{1300});
  part.image.pixels[10 * 512 + 10] = 0;
  const PaletteImage picture = preview("caption", ramp, part, "title");
  // Pixel 300 of the ramp has the value of the whole right panel.
  EXPECT_EQ(color_at(picture, 20 + 300, 100), color_at(picture, 20 + 512 + 24 + 50, 100));
  EXPECT_EQ(color_at(picture, 20 + 512 + 24 + 10, 42 + 10), std::vector<uint8_t>(3)) << "no data";
  FrameView codes = ramp;
  codes.pixel_type = GX_PIXEL_DISPARITY;
  const PaletteImage both = preview("", codes, ramp, "");
  EXPECT_NE(color_at(both, 20 + 512 + 20, 300), color_at(both, 0, 0)) << "a legend each";
  const PaletteImage longer = preview(std::string(200, 'x'), ramp, part, "title");
  EXPECT_GT(longer.size.height, picture.size.height) << "the caption is wrapped";
  EXPECT_GT(picture.size.height, preview("", ramp, part, "title").size.height);
}

TEST(Preview, ShowsWhatWasRemovedAddedAndMoved) {
  FrameView before{{{512, 512}, std::vector<uint16_t>(size_t{512} * 512, 1000)}, GX_PIXEL_DEPTH, 2};
  FrameView after = before;
  for (size_t x = 0; x < 4; ++x)
    (x % 2 == 0 ? after : before).image.pixels[x] = 0;
  for (size_t i = 512; i < size_t{512} * 21; ++i) // of these, 95 % move by 10 mm
    after.image.pixels[i] = i % 512 < 488 ? 1005 : 1300;
  before.image.pixels[4] = after.image.pixels[4] = 0;
  const auto difference = difference_of(before, after);
  ASSERT_TRUE(difference);
  EXPECT_EQ(difference->removed, 2U);
  EXPECT_EQ(difference->added, 2U);
  EXPECT_EQ(typical_move(before, after), 10);
  const PaletteImage picture = preview("", before, after, "");
  const uint32_t left = 2 * (20 + 512 + 24) - 20 + 100;
  const auto shown = [&](uint32_t x, uint32_t y) { return color_at(picture, left + x, 42 + y); };
  EXPECT_EQ(shown(4, 0), std::vector<uint8_t>(3)) << "no data before and after";
  EXPECT_EQ(shown(0, 0), shown(2, 0));
  EXPECT_EQ(shown(1, 0), shown(3, 0));
  EXPECT_GT(shown(0, 0)[0], shown(0, 0)[2]) << "removed is orange";
  EXPECT_LT(shown(1, 0)[0], shown(1, 0)[2]) << "added is blue";
  EXPECT_EQ(shown(0, 1), std::vector<uint8_t>(3, 255)) << "the typical move is the brightest";
  EXPECT_EQ(shown(500, 1), shown(0, 1));
  EXPECT_LT(shown(0, 30)[0], 80) << "what stayed is dark";
  after.value_scale = 1;
  EXPECT_FALSE(difference_of(before, after));
  after = before;
  after.image.size = {256, 1024};
  EXPECT_FALSE(difference_of(before, after));
}

TEST(Preview, WrapsItsCaption) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(wrapped("one two three", 20, 3), Lines{"one two three"});
  EXPECT_EQ(wrapped("one two three", 7, 3), (Lines{"one two", "three"}));
  EXPECT_EQ(wrapped("one two three", 8, 1), Lines{"one t..."});
  EXPECT_EQ(wrapped("abcdefghij", 4, 9), (Lines{"abcd", "efgh", "ij"}));
  EXPECT_TRUE(wrapped("", 4, 2).empty());
}

TEST(Preview, ShowsAPartOfTheFrame) {
  const auto crop = parse_crop("2x3+4+5");
  ASSERT_TRUE(crop);
  EXPECT_EQ((std::array{crop->width, crop->height, crop->x, crop->y}),
            (std::array{2U, 3U, 4U, 5U}));
  for (const char* text : {"", "2x3", "2x3+4", "2x3+4+", "2x3+4+5x", "2x3-4+5", "0x3+4+5", "+4+5"})
    EXPECT_FALSE(parse_crop(text)) << text;
  const FrameView frame{{{3, 2}, {1, 2, 3, 4, 5, 6}}, GX_PIXEL_DISPARITY, 2.0F};
  const std::pair<Rectangle, Image> cases[] = {
      {{1, 0, 2, 1}, {{2, 1}, {2, 3}}},
      {{2, 1, 2, 1}, {{2, 1}, {5, 6}}}, // moved into the frame
      {{9, 9, 9, 9}, frame.image},
  };
  for (const auto& [part, expected] : cases) {
    const FrameView view = cropped(frame, part);
    EXPECT_EQ(view.image, expected);
    EXPECT_EQ(view.pixel_type, frame.pixel_type);
    EXPECT_EQ(view.value_scale, frame.value_scale);
  }
}

TEST(Preview, TakesFramesOfAnySizeAndWithoutData) {
  const FrameView dot{{{1, 1}, {0}}, GX_PIXEL_DEPTH, 1.0F};
  const FrameView wide{{{700, 2}, std::vector<uint16_t>(1400, 65535)}, GX_PIXEL_DISPARITY, 1.0F};
  for (const auto& [before, after] : {std::pair(dot, wide), std::pair(wide, dot), {dot, dot}}) {
    const PaletteImage picture = preview("caption", before, after, "title");
    EXPECT_EQ(picture.indices.size(), picture.size.pixel_count());
    EXPECT_TRUE(encode_png(picture));
  }
}

TEST(Statistics, CountPerFrame) {
  FilterStatistics statistics("F");
  const std::vector<uint16_t> pixels{0, 5, 5, 5};
  const PixelView before{{2, 1}, std::span(pixels).first(2)};
  const PixelView after{{2, 1}, std::span(pixels).last(2)};
  const PixelView resized{{1, 1}, std::span(pixels).last(1)};
  EXPECT_LT(statistics.changed_pixels(), 0);
  for (int i = 1; i <= 20; ++i)
    EXPECT_EQ(statistics.add(i, before, 1, i == 20 ? resized : after), i == 20 ? 1U : 2U);
  EXPECT_EQ(format_table({statistics}),
            "filter  frames  median ms     p95 ms   changed px  valid before  valid after\n"
            "F           20     10.000     19.000          1.0           1.0          1.9\n"
            "(pixel counts are averages per frame)\n");
  EXPECT_EQ(statistics.changed_pixels(), 1) << "the resized frame can't be compared";
  EXPECT_DOUBLE_EQ(statistics.valid_after(), (19 * 2 + 1) / 20.0);
}

TEST(Statistics, CountsFramesOfAnySize) {
  const std::vector<uint16_t> pixels(100'001, 3); // longer than a lane of 16 bits can count
  EXPECT_EQ(count_valid(pixels), 100'001U);
  EXPECT_EQ(count_valid({}), 0U);
}

/// Items that note where they have been, and count themselves.
struct Numbered {
  Numbered(uint64_t own, std::atomic<int>& count) : number(own), alive(count) { ++alive; }
  Numbered(const Numbered&) = delete;
  Numbered& operator=(const Numbered&) = delete;
  ~Numbered() { --alive; }

  uint64_t number;
  std::atomic<int>& alive;
  std::vector<int> passed;
};

class PipelineThreads : public testing::TestWithParam<unsigned> {
 protected:
  /// Runs `count` items through a stage out of order and one in order. `fails` says of stage and
  /// item whether it does.
  Failure run(uint64_t count, std::function<bool(int, uint64_t)> fails) {
    uint64_t next = 0;
    OrderedPipeline<Numbered> pipeline(
        [&]() -> Result<std::unique_ptr<Numbered>> {
          if (next == count)
            return std::unique_ptr<Numbered>();
          if (fails(0, next))
            return Error{"source " + std::to_string(next)};
          EXPECT_LT(under_way_, 4);
          return std::make_unique<Numbered>(next++, under_way_);
        },
        {{false, [&](Numbered& item) { return pass(1, item, fails); }},
         {true,
          [&](Numbered& item) {
            auto failure = pass(2, item, fails);
            if (!failure)
              finished_.push_back(item.number);
            return failure;
          }}},
        4);
    return pipeline.run(GetParam());
  }

  static Failure pass(int stage, Numbered& item, const std::function<bool(int, uint64_t)>& fails) {
    EXPECT_EQ(static_cast<int>(item.passed.size()), stage - 1);
    item.passed.push_back(stage);
    std::this_thread::sleep_for(std::chrono::microseconds(item.number * 37 % 200));
    if (fails(stage, item.number))
      return Error{std::to_string(stage) + " fails " + std::to_string(item.number)};
    return std::nullopt;
  }

  std::vector<uint64_t> finished_;
  std::atomic<int> under_way_ = 0;
};

TEST_P(PipelineThreads, CompletesWhatComesBeforeTheFirstFailure) {
  std::vector<uint64_t> all(100);
  std::iota(all.begin(), all.end(), 0);
  EXPECT_FALSE(run(100, [](int, uint64_t) { return false; }));
  EXPECT_EQ(finished_, all);
  for (const int stage : {0, 1, 2}) {
    SCOPED_TRACE(stage);
    finished_.clear();
    EXPECT_EQ(under_way_, 0);
    const auto failure = run(100, [stage](int at, uint64_t number) {
      return (at == stage && number == 40) || (at == 1 && number == 42);
    });
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->message, stage == 0   ? "source 40"
                                : stage == 1 ? "1 fails 40"
                                             : "2 fails 40");
    EXPECT_EQ(finished_, std::vector<uint64_t>(all.begin(), all.begin() + 40));
  }
  EXPECT_THROW((void)run(100,
                         [](int at, uint64_t number) {
                           if (at == 1 && number == 7)
                             throw std::bad_alloc();
                           return false;
                         }),
               std::bad_alloc);
}

INSTANTIATE_TEST_SUITE_P(Jobs, PipelineThreads, testing::Values(1, 2, 5));

} // namespace
} // namespace gxfilter
