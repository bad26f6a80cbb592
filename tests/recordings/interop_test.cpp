// Recordings that other implementations made, in the folder of the environment variable RECORDINGS:
// read, and written again with changed depth for check_mcap.mjs to look at.
#include <cstdlib>

#include <gtest/gtest.h>

#include "recordings/frame_sink.h"
#include "recordings/frame_source.h"

namespace recordings {
namespace {

namespace fs = std::filesystem;

/// As in scene.mjs.
Image expected_frame(uint64_t k) {
  Image image{{7, 5}, {}};
  for (uint64_t y = 0; y < 5; ++y)
    for (uint64_t x = 0; x < 7; ++x)
      image.pixels.push_back(
          (x + y + k) % 5 == 0 ? uint16_t{0} : static_cast<uint16_t>(x * 37 + y * 101 + k * 10009));
  return image;
}

/// Without its last column, each pixel one more.
Image changed(const Image& image) {
  Image result{{image.size.width - 1, image.size.height}, {}};
  for (size_t i = 0; i < image.pixels.size(); ++i)
    if (i % image.size.width + 1 != image.size.width)
      result.pixels.push_back(static_cast<uint16_t>(image.pixels[i] + 1));
  return result;
}

void read_and_write(const fs::path& path, FrameSink& sink) {
  const auto opened = open_source({path}, {});
  ASSERT_TRUE(opened) << opened.error().message;
  FrameSource& source = **opened;
  EXPECT_EQ(source.frame_count(), 9U);
  EXPECT_EQ(source.topic(), "/camera/depth/image_raw");
  EXPECT_EQ(source.facts(), (CameraFacts{{"width", 7},
                                         {"height", 5},
                                         {"fx", 400.0},
                                         {"fy", 410.0},
                                         {"cx", 3.5},
                                         {"cy", 2.5},
                                         {"baseline", 75.0},
                                         {"depth_unit", 1}}));
  for (const Topic& topic : source.topics())
    EXPECT_EQ(topic.messages, topic.name == "/silent" ? 0U : 9U) << topic.name;
  for (uint64_t k = 0; k < 9; ++k) {
    const auto frame = source.next();
    ASSERT_TRUE(frame && *frame);
    EXPECT_EQ((*frame)->info.time_ns, int64_t(1000 + k) * 1'000'000'000 + int64_t(k) * 1000);
    const auto image = (*frame)->decode();
    ASSERT_TRUE(image) << image.error().message;
    EXPECT_EQ(*image, expected_frame(k));
    if (k != 3) // is left out
      ASSERT_FALSE(sink.write((*frame)->info, *sink.encode(changed(*image))));
  }
  EXPECT_FALSE(source.next()->has_value());
  EXPECT_TRUE(source.remarks().empty());
  const auto failure = sink.finish();
  EXPECT_FALSE(failure) << failure->message;
}

TEST(Interop, RecordingsOfOthersComeThrough) {
  const fs::path folder = std::getenv("RECORDINGS");
  fs::create_directories(folder / "results");
  int recordings = 0;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const fs::path& path = entry.path();
    if (path.extension() != ".mcap" && path.extension() != ".bag")
      continue;
    SCOPED_TRACE(path);
    SinkOptions options;
    options.origin = path;
    options.topic = "/camera/depth/image_raw";
    const auto sink =
        create_sink(folder / "results" / path.filename().replace_extension(".mcap"), options);
    ASSERT_TRUE(sink) << sink.error().message;
    read_and_write(path, **sink);
    ++recordings;
  }
  EXPECT_EQ(recordings, 10);
}

TEST(Interop, FramesFromElsewhereBecomeARecording) {
  SinkOptions options;
  options.camera = *make_camera({{"fx", 400}}, {7, 5});
  const auto sink =
      create_sink(fs::path(std::getenv("RECORDINGS")) / "results" / "new.mcap", options);
  ASSERT_TRUE(sink) << sink.error().message;
  for (uint64_t k = 0; k < 9; ++k) {
    const FrameInfo info{k, "", int64_t(1000 + k) * 1'000'000'000 + int64_t(k) * 1000};
    ASSERT_FALSE((*sink)->write(info, *(*sink)->encode(expected_frame(k))));
  }
  EXPECT_FALSE((*sink)->finish());
}

} // namespace
} // namespace recordings
