#include <gtest/gtest.h>

#include <cmath>

#include "filters/depth/nearest_sampling.h"
#include "naive/sampling.h"
#include "support/filter.h"
#include "support/random.h"

namespace {

using namespace test;
namespace simd = filter_processor::simd;

struct Resize {
  uint32_t w = 0, h = 0;
  float scale = 1;
  int left = 0, right = 0, top = 0, bottom = 0;

  int64_t out_w() const { return int64_t((float(w) * scale + float(left)) + float(right)); }
  int64_t out_h() const { return int64_t((float(h) * scale + float(top)) + float(bottom)); }

  std::string update(Filter& filter, int64_t width, int64_t height) const {
    std::vector<std::string> texts = {std::to_string(width), std::to_string(height),
                                      std::to_string(scale)};
    for (const int side : {left, right, top, bottom})
      texts.push_back(std::to_string(side));
    return filter.update_to(texts);
  }
};

Pixels naive_resize(const Resize& r, Pixels src) {
  const auto out_w = static_cast<int>(r.out_w()), out_h = static_cast<int>(r.out_h());
  Pixels dst(naive::place(0, out_h, out_w));
  const auto walk = [&](uint32_t side, int before, int end) {
    const auto start = before < 0 ? uint32_t(std::fabs(float(before) / r.scale)) : 0u;
    return naive::Walk{std::max(before, 0),
                       std::min(end, int(float(side) * r.scale + float(before))), start << 16,
                       static_cast<uint32_t>(65536 / r.scale + 1)};
  };
  naive::sample({src, r.w, r.h}, {dst, out_w, out_h}, walk(r.w, r.left, out_w),
                walk(r.h, r.top, out_h));
  return dst;
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
    Resize r;
    r.w = 1 + random() % 150;
    r.h = 1 + random() % 12;
    r.scale = scales[random() % std::size(scales)];
    for (int* side : {&r.left, &r.right, &r.top, &r.bottom})
      *side = random() % 2 == 0 ? 0 : static_cast<int>(random() % 60) - 30;
    if (r.out_w() < 1 || r.out_h() < 1)
      continue;
    ++done;
    const Pixels src = counted(size_t{r.w} * r.h);
    const Pixels expected = naive_resize(r, src);
    Filter filter("DepthResize");
    ASSERT_EQ(r.update(filter, r.out_w(), r.out_h()), "");
    const auto [output, pixels, error, trace, printed, level] =
        filter.outcome(make_frame(r.w, r.h, src));
    ASSERT_EQ(pixels, expected) << level << " " << r.w << "x" << r.h << " * " << r.scale << " "
                                << r.left << " " << r.right << " " << r.top << " " << r.bottom
                                << error;
    EXPECT_EQ(gx_video_frame_get_width(output.get(), nullptr), r.out_w());
    EXPECT_EQ(gx_video_frame_get_height(output.get(), nullptr), r.out_h());
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
  const Resize wide{65535, 2};
  ASSERT_EQ(wide.update(filter, 65535, 2), "");
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
  const Resize huge{1, 1, 1, 65534, 0, 65534, 0};
  ASSERT_EQ(huge.update(filter, 65535, 65535), "");
  EXPECT_EQ(filter.outcome(input).error, expected);
}

} // namespace
