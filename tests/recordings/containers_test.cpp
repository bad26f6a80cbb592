// Containers: damaged and lying files, lists of pictures, and what sensors' pixels take.
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <libdeflate.h>
#include <unistd.h>

#include "recordings/frame_names.h"
#include "recordings/frame_sink.h"
#include "recordings/frame_source.h"
#include "recordings/image_file.h"
#include "recordings/npy_array.h"
#include "recordings/npz_archive.h"
#include "recordings/pixel_decoding.h"
#include "recordings/tum_folder.h"

namespace recordings {
namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<uint8_t>;

/// A folder that goes with its test.
class Folder {
 public:
  Folder() { fs::create_directories(path); }
  ~Folder() { fs::remove_all(path); }

  void write(const std::string& name, const std::string& text) const {
    std::ofstream(path / name) << text;
  }

  const fs::path path = fs::path(testing::TempDir()) / ("containers_" + std::to_string(getpid()));
};

struct Read {
  std::vector<FrameInfo> infos;
  std::vector<Image> images;
  size_t bad = 0;
  std::string error;
  std::vector<std::string> remarks;
  bool has_losses = false;
};

Read read_all(Result<std::unique_ptr<FrameSource>> source) {
  Read read;
  while (source) {
    auto frame = (*source)->next();
    if (!frame)
      read.error = frame.error().message;
    if (!frame || !*frame)
      break;
    const auto image = (*frame)->decode();
    read.bad += image ? 0U : 1U;
    read.infos.push_back((*frame)->info);
    if (image)
      read.images.push_back(*image);
  }
  if (source) {
    read.remarks = (*source)->remarks();
    read.has_losses = (*source)->has_losses();
  } else {
    read.error = source.error().message;
  }
  return read;
}

Bytes npy_file(const std::string& dictionary, size_t pixel_bytes) {
  Bytes file(npy_first_bytes.begin(), npy_first_bytes.end());
  for (const size_t byte : {size_t{1}, size_t{0}, dictionary.size() % 256, dictionary.size() / 256})
    file.push_back(static_cast<uint8_t>(byte));
  file.insert(file.end(), dictionary.begin(), dictionary.end());
  for (size_t i = 0; i < pixel_bytes; ++i)
    file.push_back(static_cast<uint8_t>(i));
  return file;
}

TEST(Npy, IsReadUpToItsLastWholeFrame) {
  const Bytes file =
      npy_file("{'descr': '<u2', 'fortran_order': False, 'shape': (3, 2, 3), }\n", 36);
  const size_t header = file.size() - 36;
  for (size_t length = 0; length <= file.size(); ++length) {
    const auto bytes = std::span(file).first(length);
    const Read read = read_all(open_npy(memory_stream(bytes, "a.npy"), {}));
    EXPECT_EQ(read.error.empty(), length >= header) << length << read.error;
    EXPECT_EQ(read.images.size(), length < header ? 0 : (length - header) / 12) << length;
    EXPECT_EQ(read.remarks.size(), length >= header && length < file.size()) << length;
    EXPECT_EQ(read.has_losses, !read.remarks.empty()) << length;
  }
}

TEST(Npy, RefusesHeadersThatLieOrAreNotUnderstood) {
  const auto read = [](const std::string& dictionary, size_t pixel_bytes) {
    const Bytes file = npy_file(dictionary, pixel_bytes);
    return read_all(open_npy(memory_stream(file, "a.npy"), {}));
  };
  for (const char* dictionary :
       {"", "{", "{}", "{'descr': '<u2', 'fortran_order': False}",
        "{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3)",
        "{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3)} x",
        "{'descr': '<u2', 'fortran_order': False, 'shape': (2 3)}",
        "{'descr': '<u2', 'fortran_order': False, 'shape': (,2, 3)}",
        "{'descr': '<u2', 'fortran_order': False, 'shape': (2, -3)}",
        "{'descr': '<u2', 'fortran_order': 0, 'shape': (2, 3)}",
        "{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3), 'more': 'x'}",
        "{'descr': '<u2', 'descr': '<u2', 'fortran_order': False, 'shape': (2, 3)}",
        "{'descr': '<u2' 'fortran_order': False 'shape': (2, 3)}",
        "{'descr': '<u2', 'fortran_order': False, 'shape': (65536, 1)}",
        "{'descr': '<u2', 'fortran_order': False, 'shape': (65535, 65535)}",
        "{'descr': '<u2', 'fortran_order': False, 'shape': (99999999999999999999, 2, 3)}"})
    EXPECT_NE(read(dictionary, 12).error, "") << dictionary;
  // Sizes within the limits that the file can't hold cost no memory and no time.
  const Read vast = read("{'descr': '<u2', 'fortran_order': False, "
                         "'shape': (18446744073709551615, 16384, 16384)}",
                         12);
  EXPECT_EQ(vast.error, "");
  EXPECT_EQ(vast.images.size(), 0U);
  const Read none = read("{\"descr\": '>u2','fortran_order':True,'shape':(0,0,0),}", 0);
  EXPECT_EQ(none.error, "");
  EXPECT_TRUE(none.remarks.empty());
}

TEST(Npy, HoldsFramesOfOneSize) {
  const Folder folder;
  const fs::path path = folder.path / "a.npy";
  const Image images[] = {{{3, 2}, {1, 2, 3, 4, 5, 65535}}, {{2, 3}, {1, 2, 3, 4, 5, 6}}};
  {
    const auto sink = create_sink(path, {});
    ASSERT_TRUE(sink) << sink.error().message;
    EXPECT_FALSE((*sink)->write({}, *(*sink)->encode(images[0])));
    const Failure failure = (*sink)->write({1, "b", {}}, *(*sink)->encode(images[1]));
    ASSERT_TRUE(failure);
    EXPECT_NE(failure->message.find("2x3 pixels after frames of 3x2"), std::string::npos);
    EXPECT_FALSE((*sink)->finish());
  }
  const Read read = read_all(open_source({path}, {}));
  ASSERT_EQ(read.images.size(), 1U) << read.error;
  EXPECT_EQ(read.images[0], images[0]);
  ASSERT_FALSE(write_file(folder.path / "b.npy", *read_file(path)));
  EXPECT_EQ(read_all(open_source({folder.path}, {})).images.size(), 2U) << "a folder of arrays";
}

TEST(Npz, SurvivesDamage) {
  // An archive with one stored member of one pixel, as zip writes it.
  const Bytes array = npy_file("{'descr': '<u2', 'fortran_order': False, 'shape': (1, 1)}", 2);
  const auto number = [](size_t value, size_t bytes) {
    std::string text;
    for (; bytes > 0; --bytes, value >>= 8)
      text.push_back(static_cast<char>(value & 0xff));
    return text;
  };
  const size_t checksum = libdeflate_crc32(0, array.data(), array.size());
  const std::string about = number(checksum, 4) + number(array.size(), 4) +
                            number(array.size(), 4) + number(5, 2) + number(0, 2);
  const std::string front = "PK\3\4" + number(20, 2) + number(0, 8) + about + "d.npy";
  const std::string list =
      "PK\1\2" + number(20, 2) + number(20, 2) + number(0, 8) + about + number(0, 14) + "d.npy";
  std::string archive = front + std::string(array.begin(), array.end());
  const size_t list_at = archive.size();
  archive += list + "PK\5\6" + number(0, 4) + number(1, 2) + number(1, 2) + number(list.size(), 4) +
             number(list_at, 4) + number(0, 2);
  const Bytes file(archive.begin(), archive.end());
  const auto read = [](std::span<const uint8_t> bytes) {
    return read_all(open_npz(memory_stream(bytes, "a.npz"), {}));
  };
  const Read whole = read(file);
  ASSERT_EQ(whole.images.size(), 1U) << whole.error << whole.bad;
  EXPECT_EQ(whole.infos[0].name, "d");
  for (size_t i = 0; i < file.size(); ++i) {
    EXPECT_NE(read(std::span(file).first(i)).error, "") << i;
    Bytes damaged = file;
    damaged[i] ^= 0x41;
    const Read outcome = read(damaged);
    EXPECT_TRUE(outcome.images.empty() || outcome.images == whole.images) << i;
  }
}

TEST(TumFolders, ReadTheirListInItsOrder) {
  const Folder folder;
  const Image image{{1, 1}, {7}};
  fs::create_directories(folder.path / "depth");
  for (const char* name : {"depth/2.5.png", "depth/10.png", "10.png"})
    ASSERT_FALSE(write_image(folder.path / name, image));
  folder.write("depth.txt",
               "# depth maps\n\n1305031102.160407 depth/2.5.png\r\n"
               "\t1305031101.9999999999 depth/10.png\n7 depth/missing.png\n0.5 10.png");
  auto source = open_source({folder.path}, {});
  ASSERT_TRUE(source) << source.error().message;
  EXPECT_EQ((*source)->facts(), CameraFacts({{"depth_unit", 0.2}}));
  EXPECT_EQ((*source)->frame_count(), 4U);
  const Read read = read_all(std::move(source));
  ASSERT_EQ(read.infos.size(), 4U);
  EXPECT_EQ(read.bad, 1U) << "one is missing";
  const std::pair<const char*, int64_t> expected[] = {{"2.5", 1305031102160407000},
                                                      {"10", 1305031101999999999},
                                                      {"missing", 7000000000},
                                                      {"10_2", 500000000}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(read.infos[i].name, expected[i].first);
    EXPECT_EQ(read.infos[i].time_ns, expected[i].second);
  }
}

TEST(TumFolders, RefuseListsThatLeadElsewhere) {
  for (const char* list :
       {"1 ../a.png", "1 /etc/a.png", "1 a/../../a.png", "1 ..", "1", "x a.png", "1 a.png b",
        "-1 a.png", "1e9 a.png", "1. .. a", ".5 a.png", "9999999999 a.png", "1.2.3 a.png"}) {
    const auto entries = parse_tum_list(std::string("\xef\xbb\xbf# list\n1 a..png\n") + list);
    ASSERT_FALSE(entries) << list;
    EXPECT_NE(entries.error().message.find("line 3"), std::string::npos) << list;
  }
}

TEST(FrameNames, AreUniqueAndFitForFiles) {
  FrameNames names;
  const std::pair<const char*, const char*> cases[] = {
      {"a", "a"},    {"a", "a_2"},   {"a_2", "a_2_2"},  {"a", "a_3"}, {"", "_"},
      {"..", "_.."}, {"x/y", "x_y"}, {"x\ny", "x_y_2"}, {".", "_."},  {"x\\y", "x_y_3"}};
  for (const auto& [name, expected] : cases)
    EXPECT_EQ(names.make(name), expected);
}

TEST(PixelDecoding, TakesItsStepsInOrder) {
  struct Case {
    PixelDecoding decoding;
    uint16_t pixel, expected;
  };
  const Case cases[] = {{{}, 0x1234, 0x1234},
                        {{.swap_bytes = true}, 0x1234, 0x3412},
                        {{.rotate_bits = 3}, 0x000d, 0xa001},
                        {{.shift_bits = 3}, 0xffff, 0x1fff},
                        {{.shift_bits = -3}, 0xffff, 0xfff8},
                        {{.invalid = 65535}, 65535, 0},
                        {{.swap_bytes = true, .rotate_bits = 4, .shift_bits = 4}, 0x1234, 0x0234},
                        {{.shift_bits = 4, .invalid = 0xfff, .factor = 2}, 0xffff, 0},
                        {{.factor = 0.5}, 3, 2},
                        {{.factor = 0.5}, 1, 1},
                        {{.factor = 0.1}, 4, 0},
                        {{.factor = 0.2}, 5000, 1000},
                        {{.factor = 2}, 32768, 65535},
                        {{.factor = 1e308}, 65535, 65535},
                        {{.factor = 1e308}, 0, 0}};
  for (const auto& [decoding, pixel, expected] : cases) {
    Image image{{1, 1}, {pixel}};
    ASSERT_FALSE(check_decoding(decoding));
    PixelDecoder(decoding).apply(image);
    EXPECT_EQ(image.pixels[0], expected) << &decoding - &cases[0].decoding;
  }
  for (const PixelDecoding& decoding :
       {PixelDecoding{.rotate_bits = 16}, PixelDecoding{.rotate_bits = -1},
        PixelDecoding{.shift_bits = 16}, PixelDecoding{.shift_bits = -16},
        PixelDecoding{.factor = 0}, PixelDecoding{.factor = NAN},
        PixelDecoding{.factor = INFINITY}})
    EXPECT_TRUE(check_decoding(decoding));
}

} // namespace
} // namespace recordings
