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
#include "gxfilter/preview.h"
#include "gxfilter/statistics.h"

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

TEST(Schema, DoubtsWhatIsNoNumberOrOutOfRange) {
  const auto schema =
      gexton::parse_schema("a, float, 0.1, 1, 0.01, 0.5, x\nb, integer, -4, 4, 1, 0, y");
  EXPECT_EQ(doubt_about(schema[0], "0.1"), "");
  EXPECT_EQ(doubt_about(schema[1], "-4"), "");
  EXPECT_NE(doubt_about(schema[0], "1.01"), "");
  EXPECT_NE(doubt_about(schema[1], "-5"), "");
  EXPECT_NE(doubt_about(schema[1], "2x"), "");
  EXPECT_NE(doubt_about(schema[1], ""), "");
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
  const auto chain = parse_chain(R"([{"filter": "A", "params": {"x": 3, "y": "z", "on": true}},
                                     {"filter": "B"}, {"filter": "C", "record": "r"}])");
  ASSERT_TRUE(chain) << chain.error().message;
  ASSERT_EQ(chain->size(), 3U);
  EXPECT_EQ((*chain)[0].values,
            (std::map<std::string, std::string>{{"on", "1"}, {"x", "3"}, {"y", "z"}}));
  EXPECT_EQ((*chain)[2].record, "r");
  for (const char* json :
       {"", "{}", "[3]", "[{}]", R"([{"filter": 3}])", "[", R"([{"filter": "A", "params": [1]}])",
        R"([{"filter": "A", "x": 1}])", R"([{"filter": "A", "params": {"x": null}}])",
        R"([{"filter": "A", "record": "r", "params": {"x": 1}}])"})
    EXPECT_FALSE(parse_chain(json)) << json;
}

std::vector<uint8_t> color_at(const RgbImage& picture, uint32_t x, uint32_t y) {
  const auto* sample = &picture.samples[(size_t{y} * picture.size.width + x) * 3];
  return {sample, sample + 3};
}

TEST(Canvas, DrawsWithinItself) {
  Canvas canvas({10, 8}, {1, 1, 1});
  canvas.fill({8, 6, 9, 9}, {2, 2, 2});
  canvas.frame({6, 2, 2, 1}, {3, 3, 3});
  canvas.text(0, 0, 1, {4, 4, 4}, "L!");
  const RgbImage image = canvas.take();
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
  const RgbImage picture = PreviewPainter("caption").paint(ramp, part, "title");
  // Pixel 300 of the ramp has the value of the whole right panel.
  EXPECT_EQ(color_at(picture, 20 + 300, 100), color_at(picture, 20 + 512 + 24 + 50, 100));
  EXPECT_EQ(color_at(picture, 20 + 512 + 24 + 10, 42 + 10), std::vector<uint8_t>(3)) << "no data";
  std::string ink; // in the columns below the panels
  for (uint32_t x = 0; x < picture.size.width; ++x) {
    bool inked = false;
    for (uint32_t y = 42 + 512 + 5; y < picture.size.height; ++y)
      inked |= color_at(picture, x, y) != color_at(picture, 0, 0);
    ink += inked ? '#' : ' ';
  }
  EXPECT_TRUE(std::regex_match(ink, std::regex(" *#\\S.*?\\S {30,40}\\S.*?\\S {30,40}\\S.*")))
      << ink;
  FrameView codes = ramp;
  codes.pixel_type = GX_PIXEL_DISPARITY;
  const RgbImage both = PreviewPainter("").paint(codes, ramp, "");
  EXPECT_GT(both.size.width, picture.size.width) << "codes and millimetres need a legend each";
  EXPECT_NE(color_at(both, 20 + 512 + 20, 300), color_at(both, 0, 0));
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
    const RgbImage picture = PreviewPainter("caption").paint(before, after, "title");
    EXPECT_EQ(picture.samples.size(), picture.size.pixel_count() * 3);
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
