// Recordings of many topics: messages, MCAP files and bags, whole, cut off and damaged. What other
// implementations make of them is the matter of interop_test.cpp.
#include <unistd.h>

#include <gtest/gtest.h>

#include "recordings/bag_reader.h"
#include "recordings/byte_reader.h"
#include "recordings/image_file.h"
#include "recordings/mcap_writer.h"
#include "recordings/message_sink.h"
#include "recordings/message_source.h"
#include "recordings/ros_messages.h"
#include "recordings/rvl.h"

namespace recordings {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytes_of(std::string_view text) {
  return {text.begin(), text.end()};
}

/// Frame k of all recordings here.
Image frame(uint16_t k) {
  return {{3, 2}, {0, k, 256, 0x1234, static_cast<uint16_t>(0xfffe - k), 65535}};
}

// ---- codes and messages ----

TEST(Rvl, IsAsWorkedOutByHand) {
  // 2 zeros, then 3 values: differences 9, -1, 25, zigzag 18, 1, 50; 1 zero, no value. In groups of
  // three bits, the lowest first, with 8 where more follow: 2 3 A2 1 A6 1 0.
  const Image image{{3, 2}, {0, 0, 9, 8, 33, 0}};
  const Bytes code{3, 0, 0, 0, 2, 0, 0, 0, 0x61, 0x1a, 0xa2, 0x23, 0, 0, 0, 0};
  EXPECT_EQ(encode_rvl(image), code);
  EXPECT_EQ(*decode_rvl(code), image);
  EXPECT_EQ(*decode_rvl(encode_rvl(frame(1))), frame(1)) << "differences of 16 bits";
  for (size_t i = 0; i < code.size(); ++i)
    EXPECT_FALSE(decode_rvl(std::span(code).first(i))) << i;
  // More values than pixels; runs without end that are empty; a picture of 2^32 pixels.
  EXPECT_FALSE(decode_rvl(Bytes{3, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0x07}));
  EXPECT_FALSE(decode_rvl(Bytes{3, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0x00}));
  EXPECT_FALSE(decode_rvl(Bytes{0xff, 0xff, 0, 0, 0xff, 0xff, 0, 0, 0, 0, 0, 0}));
}

Result<Image> decoded(MessageKind kind, Serialisation serialisation,
                      std::span<const uint8_t> bytes) {
  const auto message = parse_depth(kind, serialisation, bytes);
  return message ? decode_depth(*message) : message.error();
}

TEST(RosMessages, AreReadInBothOrdersWithPaddedRows) {
  using namespace std::string_literals;
  const Bytes big = bytes_of("\0\0\0\0"
                             "\0\0\0\5"
                             "\0\0\0\7"
                             "\0\0\0\2"
                             "c\0\0\0"
                             "\0\0\0\1"
                             "\0\0\0\2"
                             "\0\0\0\7"
                             "mono16\0\1"
                             "\0\0\0\5"
                             "\0\0\0\5"
                             "\x12\x34\xff\xfe\0"s);
  const Bytes ros1 = bytes_of("\1\0\0\0"
                              "\5\0\0\0"
                              "\7\0\0\0"
                              "\1\0\0\0"
                              "c"
                              "\1\0\0\0"
                              "\2\0\0\0"
                              "\5\0\0\0"
                              "16UC1\0"
                              "\5\0\0\0"
                              "\5\0\0\0"
                              "\x34\x12\xfe\xff\0"s);
  const Image expected{{2, 1}, {0x1234, 0xfffe}};
  for (const auto& [serialisation, bytes] :
       {std::pair(Serialisation::cdr, big), std::pair(Serialisation::ros1, ros1)}) {
    const auto message = parse_depth(MessageKind::image, serialisation, bytes);
    ASSERT_TRUE(message) << message.error().message;
    EXPECT_EQ(message->header.frame_id, "c");
    EXPECT_EQ(stamp_ns(message->header), 5'000'000'007);
    EXPECT_EQ(*decode_depth(*message), expected);
    for (size_t i = 0; i < bytes.size(); ++i)
      EXPECT_FALSE(decoded(MessageKind::image, serialisation, std::span(bytes).first(i)));
  }
}

DepthMessage compressed_like(DepthCoding coding, std::string format) {
  DepthMessage message;
  message.coding = coding;
  message.encoding = std::move(format);
  return message;
}

/// A picture as an Image or CompressedImage like `like`.
Bytes message_of(const Image& image, const DepthMessage& like, Serialisation serialisation) {
  return make_depth_message(like, serialisation, image.size, *encode_depth(image, like.coding));
}

TEST(RosMessages, BringMetresToMillimetres) {
  ByteWriter floats;
  for (const float metres : {1.2346F, NAN, -1.0F, 70.0F, 0.0001F, INFINITY})
    floats.number(metres);
  DepthMessage message;
  message.metres = true;
  message.width = 3;
  message.height = 2;
  message.row_bytes = 12;
  message.data = floats.bytes();
  EXPECT_EQ(decode_depth(message)->pixels, (std::vector<uint16_t>{1235, 0, 0, 0, 0, 0}));
  message.row_bytes = 13;
  EXPECT_FALSE(decode_depth(message)) << "the last row is short";
  const Bytes inverse = *encode_depth(Image{{3, 1}, {0, 500, 2000}}, DepthCoding::png);
  message.coding = DepthCoding::png;
  message.scale = 1000;
  message.offset = 100;
  message.data = inverse;
  EXPECT_EQ(decode_depth(message)->pixels, (std::vector<uint16_t>{0, 2500, 526}));
}

TEST(RosMessages, SayWhatIsNoDepth) {
  for (const auto& [format, word] :
       {std::pair("jpeg", "jpeg"), std::pair("bgr8; compressedDepth png", "bgr8"),
        std::pair("16UC1; compressedDepth lzw", "lzw")}) {
    const Bytes bytes =
        message_of(frame(0), compressed_like(DepthCoding::png, format), Serialisation::cdr);
    const auto parsed = parse_depth(MessageKind::compressed_image, Serialisation::cdr, bytes);
    ASSERT_FALSE(parsed) << format;
    EXPECT_NE(parsed.error().message.find(word), std::string::npos);
  }
}

TEST(RosMessages, TellTheCamera) {
  Bytes info = make_camera_info({}, {640, 480}, {500, 510, 320, 240, 640, 480});
  EXPECT_EQ(*parse_camera_info(Serialisation::cdr, info), (CameraFacts{{"width", 640},
                                                                       {"height", 480},
                                                                       {"fx", 500.0},
                                                                       {"fy", 510.0},
                                                                       {"cx", 320.0},
                                                                       {"cy", 240.0}}));
  // Binning by two of the region at (40, 20) with 400 x 300 pixels.
  ByteWriter tail;
  for (const uint32_t value : {2U, 2U, 40U, 20U, 300U, 400U})
    tail.number(value);
  std::ranges::copy(tail.bytes(), info.end() - 25);
  EXPECT_EQ(*parse_camera_info(Serialisation::cdr, info), (CameraFacts{{"width", 200},
                                                                       {"height", 150},
                                                                       {"fx", 250.0},
                                                                       {"fy", 255.0},
                                                                       {"cx", 140.0},
                                                                       {"cy", 110.0}}));
  EXPECT_EQ(parse_camera_info(Serialisation::cdr, make_camera_info({}, {0, 0}, {}))->dump(), "{}");
}

TEST(Compression, KeepsToWhatIsClaimed) {
  Bytes bytes(300'000);
  for (size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<uint8_t>(i * i >> 7);
  for (const Compression compression : {Compression::none, Compression::lz4, Compression::zstd}) {
    SCOPED_TRACE(static_cast<int>(compression));
    const Bytes packed = *compress(compression, bytes);
    EXPECT_EQ(*decompress(compression, packed, bytes.size()), bytes);
    for (const uint64_t lie : {uint64_t{0}, uint64_t{bytes.size() - 1}, uint64_t{bytes.size() + 1},
                               largest_chunk, largest_chunk + 1, UINT64_MAX})
      EXPECT_FALSE(decompress(compression, packed, lie)) << lie;
    const auto cut = std::span(packed).first(packed.size() - 5);
    EXPECT_FALSE(decompress(compression, cut, bytes.size()));
    const Bytes front = decompress_front(compression, cut, bytes.size());
    EXPECT_TRUE(std::equal(front.begin(), front.end(), bytes.begin()));
    EXPECT_GT(front.size(), bytes.size() / 2);
    Bytes twice = packed;
    twice.insert(twice.end(), packed.begin(), packed.end());
    EXPECT_TRUE(decompress(compression, twice, 2 * bytes.size())) << "one frame behind the other";
  }
}

// ---- files ----

/// A file that is gone when the test is.
class Path : public std::filesystem::path {
 public:
  explicit Path(const std::string& name)
      : path(testing::TempDir() + std::to_string(getpid()) + name) {}
  Path(const Path&) = delete;
  Path& operator=(const Path&) = delete;
  ~Path() { std::filesystem::remove(*this); }
};

const MessageSchema image_schema{1, "sensor_msgs/msg/Image", "ros2msg", "# image"};
const MessageSchema compressed_schema{2, "sensor_msgs/msg/CompressedImage", "ros2msg", ""};
const MessageChannel plain_channel{1, &image_schema, "/a/image", "cdr", {{"key", "value"}}};
const MessageChannel rvl_channel{2, &compressed_schema, "/b/image/compressedDepth", "cdr", {}};
const MessageChannel color_channel{3, &compressed_schema, "/color", "cdr", {}};
const DepthMessage rvl_like = compressed_like(DepthCoding::rvl, "16UC1; compressedDepth rvl");
const DepthMessage jpeg_like = compressed_like(DepthCoding::png, "jpeg");

/// Four frames in two chunks, for each of the channels.
Bytes make_mcap(Compression compression, const std::vector<const MessageChannel*>& channels) {
  const Path path("made.mcap");
  auto writer = McapWriter::create(path, "ros2");
  for (uint16_t k = 0; k < 4; ++k) {
    for (const MessageChannel* channel : channels) {
      const DepthMessage like = channel == &plain_channel ? DepthMessage{}
                                : channel == &rvl_channel ? rvl_like
                                                          : jpeg_like;
      const Bytes data = message_of(frame(k), like, Serialisation::cdr);
      EXPECT_FALSE(writer->add({channel, k, k + 10U, k + 20U, data}));
    }
    if (k % 2 == 1)
      EXPECT_FALSE(writer->end_chunk(compression));
  }
  EXPECT_FALSE(writer->finish());
  return *read_file(path);
}

void add_field(ByteWriter& header, std::string_view name, const auto&... values) {
  ByteWriter value;
  (value.number(values), ...);
  header.number(static_cast<uint32_t>(name.size() + value.bytes().size()));
  header.append(bytes_of(name));
  header.append(value.bytes());
}

void add_text_field(ByteWriter& header, const std::string& text) {
  header.text(text);
}

void add_bag_record(ByteWriter& bag, const ByteWriter& header, const Bytes& data) {
  bag.counted(header.bytes());
  bag.counted(data);
}

/// Four frames in two chunks, closed, with the numbers of their messages at the end.
Bytes make_bag() {
  ByteWriter facts, connection, bag, bag_header;
  add_text_field(facts, "type=sensor_msgs/Image");
  add_field(connection, "op=", uint8_t{7});
  add_field(connection, "conn=", uint32_t{5});
  add_text_field(connection, "topic=/a/image");
  const auto begin = [&](uint64_t index_at) {
    bag.bytes() = bytes_of(bag_first_bytes);
    ByteWriter header;
    add_field(header, "op=", uint8_t{3});
    add_field(header, "index_pos=", index_at);
    add_field(header, "conn_count=", uint32_t{1});
    add_field(header, "chunk_count=", uint32_t{1});
    add_bag_record(bag, header, Bytes(20, ' '));
  };
  const auto add_all = [&] {
    for (uint16_t k = 0; k < 4; k += 2) {
      ByteWriter records, header;
      add_bag_record(records, connection, facts.bytes());
      for (const uint16_t i : {k, static_cast<uint16_t>(k + 1)}) {
        ByteWriter message;
        add_field(message, "op=", uint8_t{2});
        add_field(message, "conn=", uint32_t{5});
        add_field(message, "time=", uint32_t{i}, uint32_t{9});
        add_bag_record(records, message, message_of(frame(i), {}, Serialisation::ros1));
      }
      add_field(header, "op=", uint8_t{5});
      add_text_field(header, "compression=none");
      add_field(header, "size=", static_cast<uint32_t>(records.bytes().size()));
      add_bag_record(bag, header, records.bytes());
    }
  };
  begin(0);
  add_all();
  const uint64_t index_at = bag.bytes().size();
  begin(index_at);
  add_all();
  add_bag_record(bag, connection, facts.bytes());
  ByteWriter info, counts;
  add_field(info, "op=", uint8_t{6});
  counts.number(uint32_t{5});
  counts.number(uint32_t{4});
  add_bag_record(bag, info, counts.bytes());
  return bag.bytes();
}

/// Bytes that can only be read in order.
class Pipe final : public ByteStream {
 public:
  explicit Pipe(std::span<const uint8_t> bytes) : stream_(memory_stream(bytes, "pipe")) {}
  Result<size_t> read(std::span<uint8_t> bytes) override { return stream_->read(bytes); }
  Result<uint64_t> skip(uint64_t count) override { return stream_->skip(count); }
  Failure seek(uint64_t) override { return Error{"a pipe"}; }
  std::optional<uint64_t> size() const override { return std::nullopt; }
  uint64_t position() const override { return stream_->position(); }
  const std::string& name() const override { return stream_->name(); }

 private:
  std::unique_ptr<ByteStream> stream_;
};

/// What came of reading a recording.
struct Outcome {
  std::vector<Image> frames;
  std::string error; ///< empty: none
  ErrorKind kind = ErrorKind::input;
  std::vector<std::string> remarks;
  std::optional<uint64_t> count;
};

Outcome read_all(std::unique_ptr<ByteStream> stream, bool is_bag, const std::string& topic = {}) {
  SourceOptions options;
  options.topic = topic;
  const auto source = is_bag ? open_bag_source(std::move(stream), options)
                             : open_mcap_source(std::move(stream), options);
  if (!source)
    return {{}, source.error().message, source.error().kind, {}, {}};
  Outcome outcome;
  outcome.count = (*source)->frame_count();
  while (true) {
    const auto next = (*source)->next();
    if (!next)
      outcome.error = next.error().message;
    if (!next || !*next)
      break;
    if (const auto image = (*next)->decode())
      outcome.frames.push_back(*image);
  }
  outcome.remarks = (*source)->remarks();
  return outcome;
}

Outcome read_memory(const Bytes& bytes, const std::string& topic = {}) {
  return read_all(memory_stream(bytes, "memory"), bytes.size() > 0 && bytes[0] == '#', topic);
}

TEST(MessageFiles, EndWithTheirLastWholeMessageWhereverTheyAreCutOff) {
  const std::vector<Image> frames{frame(0), frame(1), frame(2), frame(3)};
  const auto check = [&](const Outcome& outcome, bool is_whole, size_t at_least) {
    EXPECT_LE(outcome.frames.size(), frames.size());
    EXPECT_TRUE(std::equal(outcome.frames.begin(), outcome.frames.end(), frames.begin()));
    EXPECT_GE(outcome.frames.size(), at_least);
    EXPECT_TRUE(is_whole || outcome.frames.size() == 4 || !outcome.error.empty() ||
                !outcome.remarks.empty());
    EXPECT_TRUE(outcome.error.empty() || outcome.frames.empty()) << outcome.error;
  };
  const Bytes files[]{make_mcap(Compression::none, {&plain_channel, &color_channel}),
                      make_mcap(Compression::lz4, {&rvl_channel}),
                      make_mcap(Compression::zstd, {&plain_channel}), make_bag()};
  for (const Bytes& file : files) {
    SCOPED_TRACE(&file - files);
    const bool is_bag = file[0] == '#';
    const Outcome whole = read_memory(file);
    check(whole, true, 4);
    EXPECT_EQ(whole.count, 4U);
    EXPECT_TRUE(whole.remarks.empty());
    check(read_all(std::make_unique<Pipe>(file), is_bag), true, 4);
    size_t most = 0;
    for (size_t length = 0; length < file.size(); ++length) {
      SCOPED_TRACE(length);
      const auto cut = std::span(file).first(length);
      const Outcome outcome = read_all(memory_stream(cut, "cut"), is_bag);
      check(outcome, false, most);
      check(read_all(std::make_unique<Pipe>(cut), is_bag), false, outcome.frames.size());
      most = outcome.frames.size();
    }
  }
}

TEST(MessageFiles, SurviveDamage) {
  for (const Bytes& file : {make_mcap(Compression::none, {&plain_channel, &color_channel}),
                            make_mcap(Compression::zstd, {&rvl_channel}), make_bag()}) {
    for (size_t i = 0; i < file.size(); ++i) {
      for (const int mask : {0x01, 0x80, 0xff}) {
        Bytes damaged = file;
        damaged[i] = static_cast<uint8_t>(damaged[i] ^ mask);
        const Outcome outcome = read_memory(damaged);
        EXPECT_LE(outcome.frames.size(), 4U);
        for (const Image& image : outcome.frames)
          EXPECT_EQ(image.pixels.size(), image.size.pixel_count());
      }
    }
  }
}

/// Magic, header, then a record of `content`; and another byte less than its length says.
Bytes mcap_with(McapRecord record, const Bytes& content, uint64_t length) {
  ByteWriter writer;
  writer.append(bytes_of(mcap_first_bytes));
  for (const auto byte : {1, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})
    writer.number(static_cast<uint8_t>(byte)); // header: no profile, no library
  writer.number(static_cast<uint8_t>(record));
  writer.number(length);
  writer.append(content);
  return writer.bytes();
}

Bytes chunk_content(uint64_t claimed, uint32_t sum, const char* compression, const Bytes& records) {
  ByteWriter chunk;
  chunk.number(uint64_t{0});
  chunk.number(uint64_t{0});
  chunk.number(claimed);
  chunk.number(sum);
  chunk.text(compression);
  chunk.number(uint64_t{records.size()});
  chunk.append(records);
  return chunk.bytes();
}

TEST(MessageFiles, AreHeldToTheirClaims) {
  const Bytes records{0x0f, 0, 0, 0, 0, 0, 0, 0, 0};
  const Bytes packed = *compress(Compression::zstd, records);
  const Bytes lying_channel{1, 0, 0, 0, 0xff, 0xff, 0xff, 0xff, 'a'};
  const auto chunk = [](const Bytes& content) {
    return mcap_with(McapRecord::chunk, content, content.size());
  };
  const std::pair<Bytes, const char*> cases[]{
      {mcap_with(McapRecord::message, {1}, uint64_t{1} << 40), "beyond the limit"},
      {mcap_with(McapRecord::channel, lying_channel, 9), "damaged channel"},
      {mcap_with(McapRecord::message, {1, 2}, 2), "damaged message"},
      {mcap_with(McapRecord::message, Bytes(22, 9), 22), "channel 2313, which is not there"},
      {chunk(chunk_content(9, 77, "", records)), "checksum of a chunk"},
      {chunk(chunk_content(uint64_t{1} << 40, 0, "zstd", packed)), "beyond the limit"},
      {chunk(chunk_content(8, 0, "zstd", packed)), "more than the 8 bytes"},
      {chunk(chunk_content(10, 0, "zstd", packed)), "holds 9 bytes"},
      {chunk(chunk_content(9, 0, "zstd", records)), "damaged"},
      {chunk(chunk_content(9, 0, "xz", records)), "\"xz\""},
      {chunk(chunk_content(8, 0, "", Bytes(8, 5))), "damaged record in a chunk"},
  };
  for (const auto& [file, words] : cases) {
    const Outcome outcome = read_memory(file);
    EXPECT_NE(outcome.error.find(words), std::string::npos) << words << ": " << outcome.error;
    EXPECT_NE(outcome.error.find("memory, at byte 25"), std::string::npos) << outcome.error;
  }
  Bytes bag = make_bag();
  constexpr std::string_view topic = "topic=/a/image";
  const auto place = std::find_end(bag.begin(), bag.end(), topic.begin(), topic.end()) + 7;
  *place = 'b'; // in the index
  EXPECT_EQ(read_memory(bag).error, "");
  *(std::find_end(bag.begin(), place - 7, topic.begin(), topic.end()) + 7) = 'b';
  EXPECT_NE(read_memory(bag).error.find("two topics, /a/image and /b/image"), std::string::npos);
  Bytes file = make_mcap(Compression::none, {&plain_channel});
  file[21] ^= 0x20; // in the profile, which only the checksum of all data covers
  EXPECT_NE(read_memory(file).remarks.at(0).find("checksum of its data"), std::string::npos);
}

TEST(MessageFiles, ChooseTheTopic) {
  const Bytes two = make_mcap(Compression::none, {&plain_channel, &rvl_channel, &color_channel});
  const Outcome several = read_memory(two);
  EXPECT_EQ(several.kind, ErrorKind::request);
  EXPECT_NE(several.error.find("/a/image, /b/image"), std::string::npos) << several.error;
  for (const char* topic : {"/a/image", "/b/image/compressedDepth"})
    EXPECT_EQ(read_memory(two, topic).frames.size(), 4U);
  EXPECT_NE(read_memory(two, "/color").error.find("\"jpeg\""), std::string::npos);
  EXPECT_NE(read_memory(two, "/c").error.find("no topic /c"), std::string::npos);
  const Outcome none = read_memory(make_mcap(Compression::none, {&color_channel}));
  EXPECT_EQ(none.kind, ErrorKind::input);
  EXPECT_NE(none.error.find("/color"), std::string::npos) << none.error;
}

// ---- writing ----

TEST(McapSink, KeepsTheCodingAndLeavesOutWhatIsLeftOut) {
  const Path origin("origin.mcap");
  const Path result("result.mcap");
  ASSERT_FALSE(write_file(origin, make_mcap(Compression::lz4, {&rvl_channel, &color_channel})));
  SinkOptions options;
  options.origin = origin;
  auto sink = create_mcap_sink(result, options);
  ASSERT_TRUE(sink) << sink.error().message;
  const Image other{{2, 1}, {7, 0}};
  for (const uint64_t index : {0U, 2U})
    ASSERT_FALSE((*sink)->write({index, "", {}}, *(*sink)->encode(other)));
  EXPECT_FALSE(std::filesystem::exists(result)) << "before it is whole";
  ASSERT_FALSE((*sink)->finish());
  const Bytes written = *read_file(result);
  const Outcome outcome = read_memory(written);
  EXPECT_EQ(outcome.frames, (std::vector<Image>{other, other}));
  const std::string text(written.begin(), written.end());
  EXPECT_NE(text.find("lz4"), std::string::npos);
  sink = create_mcap_sink(result, options);
  const auto failure = (*sink)->write({4, "", {}}, *(*sink)->encode(other));
  ASSERT_TRUE(failure);
  EXPECT_NE(failure->message.find("not there any more"), std::string::npos);
}

/// The kinds of an MCAP file's records, in order.
Bytes record_kinds(const Bytes& file) {
  Bytes kinds;
  ByteReader reader{std::span(file).subspan(mcap_first_bytes.size())};
  while (reader.left() > mcap_first_bytes.size()) {
    kinds.push_back(reader.number<uint8_t>());
    reader.take(reader.number<uint64_t>());
  }
  return kinds;
}

TEST(McapSink, KeepsOtherRecordsBetweenTheirChunks) {
  const Path origin("between.mcap");
  const Path result("copied.mcap");
  auto writer = McapWriter::create(origin, "ros2");
  const Bytes metadata{1, 0, 0, 0, 'm', 0, 0, 0, 0};
  for (uint16_t k = 0; k < 2; ++k) {
    const Bytes data = message_of(frame(k), {}, Serialisation::cdr);
    ASSERT_FALSE(writer->add({&plain_channel, k, k, k, data}));
    ASSERT_FALSE(writer->end_chunk(Compression::zstd));
    const auto stream = memory_stream(metadata, "metadata");
    ASSERT_FALSE(writer->copy(McapRecord::metadata, metadata.size(), *stream));
  }
  ASSERT_FALSE(writer->finish());
  SinkOptions options;
  options.origin = origin;
  const auto sink = create_mcap_sink(result, options);
  ASSERT_TRUE(sink) << sink.error().message;
  for (uint16_t k = 0; k < 2; ++k)
    ASSERT_FALSE((*sink)->write({k, "", {}}, *(*sink)->encode(frame(k))));
  ASSERT_FALSE((*sink)->finish());
  EXPECT_EQ(record_kinds(*read_file(result)), record_kinds(*read_file(origin)));
}

TEST(McapSink, WritesMillimetresAndCountsTime) {
  const Path path("new.mcap");
  SinkOptions options;
  options.camera = *make_camera({{"depth_unit", 0.2}}, {3, 1});
  const auto sink = create_mcap_sink(path, options);
  for (const uint64_t index : {0U, 30U})
    ASSERT_FALSE((*sink)->write({index, "", {}}, *(*sink)->encode(Image{{3, 1}, {0, 12, 65535}})));
  ASSERT_FALSE((*sink)->finish());
  const auto source = open_source({path}, {});
  ASSERT_TRUE(source) << source.error().message;
  EXPECT_EQ((*source)->facts()["width"], 3);
  EXPECT_EQ((*source)->next()->value().decode()->pixels, (std::vector<uint16_t>{0, 2, 13107}));
  EXPECT_EQ((*source)->next()->value().info.time_ns, 999'999'990) << "thirty a second";
}

} // namespace
} // namespace recordings
