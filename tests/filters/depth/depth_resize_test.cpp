#include <gtest/gtest.h>

#include "filters/depth/nearest_sampling.h"
#include "naive/depth_resize.h"
#include "support/filter.h"
#include "support/random.h"

namespace {

using namespace test;
namespace simd = filter_processor::simd;

using Resize = naive::DepthResize;

std::string update(Filter& filter, Resize r) {
  std::vector<std::string> texts = {std::to_string(r.dst_width), std::to_string(r.dst_height),
                                    std::to_string(r.scale)};
  for (const int side : {r.left, r.right, r.top, r.bottom})
    texts.push_back(std::to_string(side));
  return filter.update_to(texts);
}

Pixels counted(size_t count) {
  Pixels pixels(count);
  for (size_t i = 0; i < count; ++i)
    pixels[i] = static_cast<uint16_t>(i * 7919 + 1);
  return pixels;
}

TEST(DepthResize, EqualsTheNaiveFormAtEveryLevel) {
  Random random(6);
  const float scales[] = {1, 1, 2, 2, 0.5f, 0.1f, 0.75f, 1.25f, 1.9375f, 3, 7.5f, 50};
  int done = 0;
  while (done < 1000) {
    const uint32_t w = 1 + random() % 150;
    const uint32_t h = 1 + random() % 12;
    Resize r{.scale = scales[random() % std::size(scales)]};
    for (int* side : {&r.left, &r.right, &r.top, &r.bottom})
      *side = random() % 2 == 0 ? 0 : static_cast<int>(random() % 60) - 30;
    if (r.out_width(w) < 1 || r.out_height(h) < 1)
      continue;
    ++done;
    r.dst_width = static_cast<uint32_t>(r.out_width(w));
    r.dst_height = static_cast<uint32_t>(r.out_height(h));
    const Pixels src = counted(size_t{w} * h);
    const Pixels expected = r.resize(src, w, h);
    Filter filter("DepthResize");
    ASSERT_EQ(update(filter, r), "");
    const auto [output, pixels, error, trace, printed, level] =
        filter.outcome(make_frame(w, h, src));
    ASSERT_EQ(pixels, expected) << level << " " << w << "x" << h << " * " << r.scale << " "
                                << r.left << " " << r.right << " " << r.top << " " << r.bottom
                                << error;
    EXPECT_EQ(gx_video_frame_get_width(output.get(), nullptr), r.dst_width);
    EXPECT_EQ(gx_video_frame_get_height(output.get(), nullptr), r.dst_height);
  }
}

/// A filter's host hands out zero pixels, and would hide what is left out.
TEST(NearestSampler, ClearsWhatItDoesNotSample) {
  const Pixels source{1, 2, 3, 4};
  for (const simd::Level level : simd::supported_levels()) {
    simd::use_level(level);
    Pixels to(20, 9);
    filter_processor::NearestSampler().run({.source = {2, 2},
                                            .destination = {4, 5},
                                            .left = 1,
                                            .right = 3,
                                            .top = 1,
                                            .bottom = 3,
                                            .step = 1 << 16},
                                           source.data(), to.data());
    EXPECT_EQ(to, (Pixels{0, 0, 0, 0, 0, 1, 2, 0, 0, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  }
}

TEST(DepthResize, CopiesOneToOneExceptFarFromTheStart) {
  Filter filter("DepthResize");
  ASSERT_EQ(update(filter, {65535, 2}), "");
  const Pixels pixels = counted(size_t{65535} * 2);
  EXPECT_EQ(filter.outcome(make_frame(65535, 2, pixels)).pixels, pixels);
  filter.reset();
  const Pixels frame = counted(size_t{1280} * 720);
  EXPECT_EQ(filter.outcome(make_frame(1280, 720, frame)).pixels, frame);
  EXPECT_EQ(filter.outcome(make_frame(1281, 720, counted(size_t{1281} * 720))).error,
            "incorrect config schema | DepthResize::filter_process | DepthResize | 4");
}

TEST(DepthResize, RefusesAnEmptyOutputAndOneBeyondTheHostsFrames) {
  const std::string expected = "depth resize error | DepthResize::filter_process | DepthResize | 0";
  const Frame input = make_frame(1, 1, {5});
  Filter filter("DepthResize"); // every member 0
  EXPECT_EQ(filter.outcome(input).error, expected);
  ASSERT_EQ(update(filter, {65535, 65535, 1, 65534, 0, 65534, 0}), "");
  EXPECT_EQ(filter.outcome(input).error, expected);
}

} // namespace
