// Recordings of many topics on arbitrary input: files, pipes, single messages, codes, compressions,
// and the writer that lets everything through. The first byte chooses.
#include <filesystem>

#include <unistd.h>

#include "fuzz/fuzzing.h"
#include "recordings/bag_reader.h"
#include "recordings/byte_reader.h"
#include "recordings/image_file.h"
#include "recordings/mcap.h"
#include "recordings/message_sink.h"
#include "recordings/message_source.h"
#include "recordings/ros_messages.h"
#include "recordings/rvl.h"

namespace recordings {
namespace {

using fuzzing::Input;
using fuzzing::require;
using Bytes = std::vector<uint8_t>;

void check_error(const Error& error) {
  require(!error.message.empty() && error.message.back() != '\n', "an error says what is wrong");
}

void check_image(const Result<Image>& image) {
  if (!image)
    return check_error(image.error());
  require(!check_size(image->size.width, image->size.height), "a picture is within the limits");
  require(image->pixels.size() == image->size.pixel_count(), "a picture has all its pixels");
}

/// Hides its size, as pipes do.
class Pipe final : public ByteStream {
 public:
  explicit Pipe(std::span<const uint8_t> bytes) : stream_(memory_stream(bytes, "pipe")) {}
  Result<size_t> read(std::span<uint8_t> bytes) override { return stream_->read(bytes); }
  Result<uint64_t> skip(uint64_t count) override { return stream_->skip(count); }
  Failure seek(uint64_t) override { std::abort(); }
  std::optional<uint64_t> size() const override { return std::nullopt; }
  uint64_t position() const override { return stream_->position(); }
  const std::string& name() const override { return stream_->name(); }

 private:
  std::unique_ptr<ByteStream> stream_;
};

/// All frames; the number of them, null where the recording is refused or ends with an error.
std::optional<uint64_t> read_frames(std::unique_ptr<ByteStream> stream, bool is_bag) {
  const auto source =
      is_bag ? open_bag_source(std::move(stream), {}) : open_mcap_source(std::move(stream), {});
  if (!source) {
    check_error(source.error());
    return std::nullopt;
  }
  require(bool(make_camera((*source)->facts(), {640, 480})), "a camera's facts make sense");
  for (uint64_t count = 0;; ++count) {
    const auto frame = (*source)->next();
    if (!frame)
      check_error(frame.error());
    if (!frame || !*frame)
      return frame ? std::optional(count) : std::nullopt;
    require((*frame)->info.index == count, "frames are counted");
    check_image((*frame)->decode());
  }
}

/// What is let through a sink is as much as before.
void rewrite(std::span<const uint8_t> bytes, uint64_t frames) {
  static const std::string folder = std::filesystem::temp_directory_path().string();
  static const std::filesystem::path origin = folder + "/fuzz" + std::to_string(getpid());
  static const std::filesystem::path result = origin.string() + ".mcap";
  require(!write_file(origin, bytes), "a file is written");
  SinkOptions options;
  options.origin = origin;
  const auto sink = create_mcap_sink(result, options);
  require(bool(sink), "what was read once is an origin");
  const Image image{{2, 1}, {7, 0}};
  const auto encoded = (*sink)->encode(image);
  uint64_t written = 0;
  Failure failure;
  for (uint64_t index = 0; index < frames && !failure; index += 2, written += !failure)
    failure = (*sink)->write({index, "", {}}, *encoded);
  if (!failure)
    failure = (*sink)->finish();
  if (failure)
    return check_error(*failure);
  const auto stream = open_source({result}, {});
  require(bool(stream) || written == 0, "what was written is read");
  uint64_t again = 0;
  while (stream) {
    const auto frame = (*stream)->next();
    require(bool(frame), "what was written has no damage");
    if (!*frame)
      break;
    require(*(*frame)->decode() == image, "what was written is read");
    ++again;
  }
  require(again == written, "each frame is written once");
  require(!stream || (*stream)->remarks().empty(), "what was written is whole");
}

void read_recording(std::span<const uint8_t> bytes, bool is_bag) {
  const auto frames = read_frames(memory_stream(bytes, "file"), is_bag);
  (void)read_frames(std::make_unique<Pipe>(bytes), is_bag);
  if (frames && begins_with(bytes, is_bag ? bag_first_bytes : mcap_first_bytes))
    rewrite(bytes, *frames);
}

/// The input as the records of a chunk.
void read_chunk(Input& input) {
  const auto compression = input.pick(Compression::none, Compression::lz4, Compression::zstd);
  const Bytes records = *compress(compression, input.take_all());
  ByteWriter chunk;
  chunk.bytes().resize(8 + 8); // first and last time
  chunk.number(uint64_t{decompress_front(compression, records, largest_chunk).size()});
  chunk.number(uint32_t{0});
  chunk.text(compression_name(compression));
  chunk.number(uint64_t{records.size()});
  chunk.append(records);
  ByteWriter file;
  for (const char c : mcap_first_bytes)
    file.number(static_cast<uint8_t>(c));
  file.number(uint8_t{1});
  file.number(uint64_t{8});
  file.number(uint64_t{0}); // two empty texts
  file.number(uint8_t{6});
  file.number(uint64_t{chunk.bytes().size()});
  file.append(chunk.bytes());
  read_recording(file.bytes(), false);
}

void read_message(Input& input) {
  const auto kind = input.pick(MessageKind::image, MessageKind::compressed_image);
  const auto serialisation = input.pick(Serialisation::ros1, Serialisation::cdr);
  const auto bytes = input.take_all();
  if (const auto facts = parse_camera_info(serialisation, bytes))
    require(bool(make_camera(*facts, {640, 480})), "a camera's facts make sense");
  const auto message = parse_depth(kind, serialisation, bytes);
  if (!message)
    return check_error(message.error());
  const auto image = decode_depth(*message);
  check_image(image);
  if (!image)
    return;
  const Bytes again = make_depth_message(*message, serialisation, image->size,
                                         *encode_depth(*image, message->coding));
  const auto parsed = parse_depth(kind, serialisation, again);
  const auto decoded = parsed ? decode_depth(*parsed) : parsed.error();
  require(decoded && *decoded == *image, "a message keeps its picture");
}

void read_rvl(Input& input) {
  const auto image = decode_rvl(input.take_all());
  check_image(image);
  if (image)
    require(*decode_rvl(encode_rvl(*image)) == *image, "RVL keeps a picture");
}

void read_compressed(Input& input) {
  const auto compression = input.pick(Compression::lz4, Compression::zstd, Compression::bz2);
  const uint64_t size = input.number<uint32_t>() >> input.below(32);
  const auto bytes = input.take_all();
  const Bytes front = decompress_front(compression, bytes, size);
  require(front.size() <= size, "no more than is asked for");
  const auto whole = decompress(compression, bytes, size);
  require(!whole || *whole == front, "all of it is its front");
  if (compression != Compression::bz2)
    require(*decompress(compression, *compress(compression, bytes), bytes.size()) ==
                Bytes(bytes.begin(), bytes.end()),
            "compressed bytes come back");
}

void read(Input& input) {
  switch (input.below(6)) {
  case 0:
    return read_recording(input.take_all(), false);
  case 1:
    return read_recording(input.take_all(), true);
  case 2:
    return read_chunk(input);
  case 3:
    return read_message(input);
  case 4:
    return read_rvl(input);
  default:
    return read_compressed(input);
  }
}

} // namespace
} // namespace recordings

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzing::Input input({data, size});
  recordings::read(input);
  return 0;
}
