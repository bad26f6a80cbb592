// Depth on disk: readers, camera facts, the generated scene and the order of recordings.
#include <algorithm>

#include <gtest/gtest.h>
#include <png.h>

#include "recordings/camera.h"
#include "recordings/frame_names.h"
#include "recordings/image_file.h"
#include "recordings/pgm_image.h"
#include "recordings/png_image.h"
#include "recordings/raw_image.h"
#include "recordings/recording.h"
#include "recordings/synth.h"
#include "recordings/system.h"

namespace recordings {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytes_of(std::string_view text) {
  return {text.begin(), text.end()};
}

Image sample_image() {
  return {{3, 2}, {0, 1, 256, 0x1234, 0xfffe, 65535}};
}

Bytes with_pixels(Bytes header, bool big_endian) {
  for (const uint16_t pixel : sample_image().pixels) {
    const auto low = static_cast<uint8_t>(pixel & 0xff);
    const auto high = static_cast<uint8_t>(pixel >> 8);
    header.push_back(big_endian ? high : low);
    header.push_back(big_endian ? low : high);
  }
  return header;
}

/// A well-formed file of each format with the same picture in it.
std::vector<std::pair<const char*, Bytes>> files() {
  return {{"a.png", *encode_png(sample_image())},
          {"a.pgm", with_pixels(bytes_of("P5# a comment\n3 2 65535\n"), true)},
          {"a.bin", with_pixels({2, 0, 0, 0, 3, 0, 0, 0}, false)},
          {"a.raw", with_pixels({}, false)}};
}

TEST(Readers, ReadWholeFilesAndSurviveDamagedOnes) {
  for (const auto& [name, file] : files()) {
    SCOPED_TRACE(name);
    const auto decode = [name = name](std::span<const uint8_t> bytes) {
      return decode_image(name, bytes, FrameSize{3, 2});
    };
    const auto whole = decode(file);
    ASSERT_TRUE(whole) << whole.error().message;
    EXPECT_EQ(*whole, sample_image());
    Bytes longer = file;
    longer.push_back(0);
    EXPECT_EQ(bool(decode(longer)), name == std::string("a.png")) << "its end is marked";
    for (size_t i = 0; i < file.size(); ++i) {
      const auto cut = decode(std::span(file).first(i));
      ASSERT_FALSE(cut) << i << " bytes";
      EXPECT_EQ(cut.error().kind, ErrorKind::input);
      EXPECT_FALSE(cut.error().message.empty());
      for (const int mask : {0x01, 0x80, 0xff}) {
        Bytes damaged = file;
        damaged[i] = static_cast<uint8_t>(damaged[i] ^ mask);
        const auto image = decode(damaged);
        EXPECT_TRUE(!image || image->pixels.size() == image->size.pixel_count()) << i;
      }
    }
  }
}

TEST(Readers, RefuseHeadersThatLie) {
  for (const char* header :
       {"P5 65536 1 65535 ", "P5 65535 65535 65535 ", "P5 4294967297 1 65535 ", "P5 0 1 65535 ",
        "P5 99999999999999999999 1 65535 ", "P5 -1 1 65535 ", "P5 1 1 255 x", "P5 1 1 65536 xx",
        "P5 1 1 xx", "P51 1 65535 xx", "P2 1 1 65535 xx", "P5 # endless"})
    EXPECT_FALSE(decode_pgm(bytes_of(header))) << header;
  // 2^31 x 2^31 pixels, whose byte count wraps to the eight bytes there are; and a huge honest one.
  EXPECT_FALSE(decode_bin(Bytes{0, 0, 0, 0x80, 0, 0, 0, 0x80, 1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_FALSE(decode_bin(Bytes{0xff, 0xff, 0, 0, 0xff, 0xff, 0, 0, 1, 2}));
  EXPECT_FALSE(decode_bin(Bytes{0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_FALSE(decode_raw({}, FrameSize{0, 7}));
}

TEST(Readers, ConvertNoOtherKindOfPng) {
  const auto rgb = encode_png(PaletteImage{{2, 2}, {{200, 200, 200}}, std::vector<uint8_t>(4)});
  EXPECT_NE(decode_png(*rgb).error().message.find("16-bit grey"), std::string::npos);
}

TEST(Readers, ChooseByExtensionAndThenByContent) {
  const auto all = files();
  const auto decode = [](const char* path, const Bytes& bytes) {
    return static_cast<bool>(decode_image(path, bytes, std::nullopt));
  };
  EXPECT_TRUE(decode("a.PNG", all[0].second));
  EXPECT_TRUE(decode("a.dat", all[0].second));
  EXPECT_TRUE(decode("a.dat", all[1].second));
  EXPECT_TRUE(decode("a.bin", all[2].second));
  EXPECT_FALSE(decode("a.png", all[1].second));
  EXPECT_FALSE(decode("a.dat", all[2].second));
  EXPECT_FALSE(decode("a.raw", all[3].second)) << "a headerless file without a size";
  EXPECT_EQ(write_image("a.bin", sample_image())->kind, ErrorKind::request) << "no writer";
}

TEST(FrameSizes, ParseStrictly) {
  EXPECT_EQ(parse_size("640x480"), (FrameSize{640, 480}));
  for (const char* text : {"", "640", "640x", "x480", "640x480 ", "0x480", "-1x4", "70000x1",
                           "65535x65535", "640X480", "99999999999x1"})
    EXPECT_FALSE(parse_size(text)) << text;
}

TEST(CameraFactsMerging, LetsOptionsWinFieldByField) {
  const CameraFacts file = {{"fx", 500}, {"depth_unit", 0.125}, {"d2d", {{"fx", 7}, {"unit", 2}}}};
  const CameraFacts options = {{"fx", 600}, {"d2d", {{"unit", 4}}}};
  const auto camera = make_camera(merge_facts(file, options), {640, 480});
  ASSERT_TRUE(camera) << camera.error().message;
  EXPECT_EQ(camera->intrinsic.fx, 600.0F);
  EXPECT_EQ(camera->intrinsic.fy, 600.0F) << "follows fx";
  EXPECT_EQ(camera->depth_unit, 0.125F);
  EXPECT_EQ(double{camera->d2d.fx}, 600.0);
  EXPECT_EQ(float{camera->d2d.unit}, 4.0F);
  EXPECT_FALSE(camera->disparity_offset);
}

TEST(CameraFactsMerging, FillsTheDisparityRecordFromTheOtherFacts) {
  const auto camera = make_camera({{"pixel_type", "disparity"},
                                   {"fx", 321.5},
                                   {"baseline", 40},
                                   {"bit_size", 12},
                                   {"disparity_offset", -3}},
                                  {40000, 10});
  ASSERT_TRUE(camera);
  EXPECT_EQ(camera->pixel_type, GX_PIXEL_DISPARITY);
  EXPECT_EQ(float{camera->d2d.baseline}, 40.0F);
  EXPECT_EQ(double{camera->d2d.fx}, 321.5);
  EXPECT_EQ(camera->d2d.bitSize, 12);
  EXPECT_EQ(camera->disparity_offset, -3);
  EXPECT_GT(camera->intrinsic.width, 0) << "a side that the record can't hold must not wrap";
  EXPECT_FALSE(check_codes(Image{{2, 1}, {0, 4095}}, *camera));
  EXPECT_TRUE(check_codes(Image{{2, 1}, {0, 4096}}, *camera)) << "a code beyond the look-up table";
}

TEST(CameraFactsMerging, NamesTheFactThatIsWrong) {
  const std::pair<CameraFacts, const char*> cases[] = {
      {{{"focal", 3}}, "focal"},
      {{{"fx", "3"}}, "facts are: baseline, bit_size, cx"},
      {{{"fx", true}}, "fx"},
      {{{"fx", 0}}, "fx"},
      {{{"bit_size", 17}}, "bit_size"},
      {{{"bit_size", 12.5}}, "must be a whole number"},
      {{{"pixel_type", "colour"}}, "pixel_type"},
      {{{"depth_unit", -1}}, "depth_unit"},
      {{{"d2d", 5}}, ": d2d must be an object"},
      {{{"d2d", {{"packmode", 5}}}}, "d2d.packmode"},
      {{{"d2d", {{"isDualCamera", 256}}}}, "d2d.isDualCamera"},
      {{{"d2d", {{"invalidDisp", 3e9}}}}, "d2d.invalidDisp"},
  };
  for (const auto& [facts, key] : cases) {
    const auto camera = make_camera(facts, {64, 48});
    ASSERT_FALSE(camera) << facts.dump();
    EXPECT_NE(camera.error().message.find(key), std::string::npos) << camera.error().message;
  }
  EXPECT_EQ(make_camera({{"d2d", {{"isDualCamera", false}}}}, {64, 48})->d2d.isDualCamera, 0);
  EXPECT_FALSE(raw_frame_size({{"width", 64}, {"height", 0}}));
  EXPECT_FALSE(raw_frame_size({{"width", "64"}, {"height", 48}}));
  EXPECT_EQ(**raw_frame_size({{"width", 64}, {"height", 48}}), (FrameSize{64, 48}));
  EXPECT_FALSE(raw_frame_size({{"width", 64}})->has_value());
}

TEST(Recordings, OrderNumbersByValue) {
  const std::vector<std::string> ordered{"b",  "f",   "f1",   "f01x", "f1x",
                                         "f9", "f9a", "f010", "f10",  "f99999999999999999999"};
  auto names = ordered;
  std::ranges::reverse(names);
  std::ranges::sort(names, natural_less);
  EXPECT_EQ(names, ordered);
}

constexpr FrameSize small{97, 61};

TEST(Scene, IsTheSameOnEveryMachine) {
  const SceneSettings settings{
      .size = small, .streaks = 0.3, .phantoms = 2, .inset = 2, .fringe = 2, .corner = 9};
  uint64_t sum = 0xcbf29ce484222325; // FNV-1a
  for (const uint16_t pixel : render_scene(settings, 7).pixels)
    sum = (sum ^ pixel) * 0x100000001b3;
  EXPECT_EQ(sum, 6587342931022281921U);
}

void expect_agreement(uint32_t pack_mode, uint32_t disparity_offset) {
  SCOPED_TRACE(testing::Message() << "pack mode " << pack_mode << ", offset " << disparity_offset);
  const Image depth = render_scene({.size = small, .disparity_offset = disparity_offset}, 0);
  const SceneSettings code_settings{.size = small,
                                    .pixel_type = GX_PIXEL_DISPARITY,
                                    .pack_mode = pack_mode,
                                    .disparity_offset = disparity_offset};
  const Image codes = render_scene(code_settings, 0);
  const auto camera = make_camera(scene_facts(code_settings), code_settings.size);
  ASSERT_TRUE(camera) << camera.error().message;
  const double fb = static_cast<double>(camera->d2d.baseline) * camera->d2d.fx;
  const auto offset = static_cast<double>(camera->disparity_offset.value_or(0));
  const double nothing = offset != 0 ? std::round(fb / offset) : 0; // made of the offset alone
  const double least_code = offset != 0 ? 1 + nothing / (256 * offset) : 0; // in depth
  size_t valid = 0;
  for (size_t i = 0; i < depth.pixels.size(); ++i) {
    if (codes.pixels[i] == 0) {
      ASSERT_NEAR(depth.pixels[i], nothing, least_code) << i;
      continue;
    }
    ++valid;
    const double disparity =
        camera->d2d.packMode == 1 ? 328.375 - codes.pixels[i] / 128.0 : codes.pixels[i] / 256.0;
    const double expected = fb / (disparity + offset);
    const double code_step = 1 / (128.0 * (disparity + offset)); // at most half of it is lost
    EXPECT_NEAR(depth.pixels[i], expected, 1 + expected * code_step) << i;
  }
  EXPECT_GT(valid, depth.pixels.size() / 2);
  EXPECT_LT(valid, depth.pixels.size()) << "the scene has holes";
}

TEST(Scene, AgreesInDepthAndDisparity) {
  for (const uint32_t pack_mode : {1U, 2U})
    for (const uint32_t offset : {0U, 1U})
      expect_agreement(pack_mode, offset);
}

TEST(Scene, HasATruthWithoutFaults) {
  const SceneSettings faulty{.size = {320, 200}, .streaks = 0.2, .phantoms = 3, .inset = 5};
  const SceneSettings clean{.size = {320, 200}, .noise = 0, .holes = 0, .speckles = 0, .bleed = 0};
  const Image truth = render_truth(faulty, 3);
  const Image scene = render_scene(clean, 3);
  EXPECT_EQ(std::ranges::count(truth.pixels, uint16_t{0}), 0) << "nothing is hidden";
  size_t gaps = 0;
  for (size_t i = 0; i < truth.pixels.size(); ++i) {
    gaps += scene.pixels[i] == 0 ? 1U : 0U;
    EXPECT_TRUE(scene.pixels[i] == 0 || scene.pixels[i] == truth.pixels[i]) << i;
  }
  EXPECT_GT(gaps, 0U);
  SceneSettings offset = faulty;
  offset.disparity_offset = 9;
  EXPECT_EQ(render_truth(offset, 3), truth) << "depth beyond the offset too";
}

/// Runs of one value that the frame without faults does not have there.
size_t longest_new_run(const Image& image, const Image& base) {
  size_t longest = 0;
  for (size_t i = 1, run = 1; i < image.pixels.size(); ++i) {
    const uint16_t pixel = image.pixels[i];
    run = pixel == image.pixels[i - 1] && pixel != 0 && pixel != base.pixels[i] ? run + 1 : 1;
    longest = std::max(longest, run);
  }
  return longest;
}

TEST(Scene, GetsTheFaultsThatAreAskedFor) {
  const SceneSettings clean{.size = {320, 200}, .noise = 0, .holes = 0, .speckles = 0, .bleed = 0};
  const Image base = render_scene(clean, 0);
  const auto is_close = [](uint16_t pixel) { return pixel != 0 && pixel < 1001; };
  const auto with = [&clean](auto change) {
    SceneSettings settings = clean;
    change(settings);
    return render_scene(settings, 0);
  };

  // Without the faults above, only the pixels that drop out depend on the seed.
  const Image other = with([](SceneSettings& settings) { settings.seed = 2; });
  int dropped = 0;
  for (size_t i = 0; i < base.pixels.size(); ++i)
    dropped += base.pixels[i] == 0 && other.pixels[i] != 0;
  EXPECT_NEAR(dropped, 0.002 * 320 * 200, 40);

  const Image phantoms = with([](SceneSettings& settings) { settings.phantoms = 3; });
  EXPECT_EQ(std::ranges::count_if(base.pixels, is_close), 0);
  EXPECT_GT(std::ranges::count_if(phantoms.pixels, is_close), 100);
  EXPECT_GT(std::ranges::count(phantoms.pixels, uint16_t{0}),
            std::ranges::count(base.pixels, uint16_t{0}) + 30)
      << "each phantom lies in a gap";

  const Image bled = with([](SceneSettings& settings) { settings.bleed = 1; });
  int between = 0; // of changed pixels: nearer than before, no nearer than the border
  for (size_t i = 8; i < base.pixels.size(); ++i) {
    if (base.pixels[i] != 0 && bled.pixels[i] != 0 && bled.pixels[i] != base.pixels[i]) {
      const auto nearest = *std::min_element(&base.pixels[i - 8], &base.pixels[i],
                                             [](auto a, auto b) { return a - 1U < b - 1U; });
      between += bled.pixels[i] < base.pixels[i] && bled.pixels[i] >= nearest ? 1 : -100;
    }
  }
  EXPECT_GT(between, 20);

  const Image streaked = with([](SceneSettings& settings) { settings.streaks = 1; });
  EXPECT_GE(longest_new_run(streaked, base), 25U);

  const Image outline = with([](SceneSettings& settings) {
    settings.inset = 4;
    settings.fringe = 3;
    settings.corner = 20;
  });
  enum Change { emptied, falsified, kept };
  const std::tuple<size_t, size_t, Change> places[] = {
      {3, 100, emptied},   {160, 196, emptied},   {3, 3, emptied},   {4, 100, falsified},
      {6, 100, falsified}, {160, 194, falsified}, {8, 8, falsified}, {311, 191, falsified},
      {7, 100, kept},      {160, 192, kept},      {18, 18, kept},    {8, 20, kept}};
  for (const auto& [x, y, change] : places) {
    const uint16_t pixel = outline.pixels[y * 320 + x];
    const bool same = pixel == base.pixels[y * 320 + x];
    EXPECT_EQ(pixel == 0 ? emptied : same ? kept : falsified, change) << x << ", " << y;
  }
}

/// As libpng reads the file.
std::vector<uint8_t> decoded_rgb(const Bytes& file) {
  png_image header{};
  header.version = PNG_IMAGE_VERSION;
  EXPECT_NE(png_image_begin_read_from_memory(&header, file.data(), file.size()), 0);
  header.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> samples(PNG_IMAGE_SIZE(header));
  EXPECT_NE(png_image_finish_read(&header, nullptr, samples.data(), 0, nullptr), 0);
  return samples;
}

TEST(Writer, KeepsEveryColour) {
  PaletteImage picture{{64, 16}, {}, {}};
  for (unsigned i = 0; i < 256; ++i)
    picture.palette.push_back({static_cast<uint8_t>(i), 7, static_cast<uint8_t>(255 - i)});
  std::vector<uint8_t> samples;
  for (unsigned i = 0; i < 64 * 16; ++i) {
    picture.indices.push_back(static_cast<uint8_t>(i * 7));
    samples.insert(samples.end(), picture.palette[picture.indices[i]].begin(),
                   picture.palette[picture.indices[i]].end());
  }
  EXPECT_EQ(decoded_rgb(*encode_png(picture)), samples);
}

TEST(System, NamesAreUtf8AndMatchPatternsAsInAShell) {
  for (const char* text : {"plain", "Gef\u00fcllt", "\u6df1\u5ea6.png", "\U0001d11e\u00e4"}) {
    const auto bytes = std::filesystem::path(text).u8string();
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), text);
    EXPECT_EQ(std::filesystem::path(text).string(), text);
  }
  const struct {
    const char* pattern;
    std::vector<std::string> matched, others;
  } cases[] = {{"*.png", {".png", "a.png", "a.png.png"}, {"a.pn", "a.pngx", ""}},
               {"a?c*", {"abc", "a*cd"}, {"ac", "abd"}},
               {"[a-c][!x]", {"aa", "c-"}, {"da", "ax", "a"}},
               {"[]-]", {"]", "-"}, {"[", ""}},
               {"[\\]x]b", {"]b", "xb"}, {"\\]x]b", "b"}},
               {"[a", {"[a"}, {"a"}},
               {"\\*[", {"*["}, {"a["}},
               {"*a*a*a*a*a*a*a*b", {"aaaaaaab"}, {std::string(60, 'a')}},
               {"", {""}, {"a"}},
               {"**", {"", "a"}, {}}};
  for (const auto& [pattern, matched, others] : cases) {
    for (const std::string& name : matched)
      EXPECT_TRUE(system::matches(pattern, name)) << pattern << ' ' << name;
    for (const std::string& name : others)
      EXPECT_FALSE(system::matches(pattern, name)) << pattern << ' ' << name;
  }
}

} // namespace
} // namespace recordings
