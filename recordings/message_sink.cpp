#include "recordings/message_sink.h"

#include <array>
#include <cmath>

#include <fmt/format.h>

#include "recordings/bag_reader.h"
#include "recordings/mcap_reader.h"
#include "recordings/mcap_writer.h"
#include "recordings/ros_definitions.h"
#include "recordings/topic_survey.h"

namespace recordings {
namespace {

/// Chunks of what comes without any. Small enough to look things up in, large enough to compress.
constexpr size_t own_chunk_size = size_t{4} << 20;

/// Takes the place of the depth in a recording that there is.
class ReplacingSink final : public FrameSink {
 public:
  ReplacingSink(McapWriter writer, DepthTopic depth)
      : writer_(std::move(writer)), depth_(std::move(depth)) {}

  /// A reader that hands all that is no message over to this sink.
  Failure open_origin(const std::filesystem::path& path, bool is_bag) {
    auto stream = open_byte_stream(path);
    if (!stream)
      return stream.error();
    // Such a record stands behind the chunk whose messages came before it.
    auto copy = [this](McapRecord record, uint64_t length, ByteStream& from) {
      auto failure = writer_.end_chunk(chunk_.compression);
      return failure ? failure : writer_.copy(record, length, from);
    };
    auto reader =
        is_bag ? open_bag(std::move(*stream)) : open_mcap(std::move(*stream), std::move(copy));
    if (!reader)
      return reader.error();
    origin_ = std::move(*reader);
    return std::nullopt;
  }

  Result<EncodedFrame> encode(ImageView image) const override {
    auto bytes = encode_depth(image, depth_.coding);
    if (!bytes)
      return bytes.error();
    return EncodedFrame{image.size, std::move(*bytes)};
  }

  Failure write(const FrameInfo& info, const EncodedFrame& frame) override {
    auto message = copy_until(info.index);
    if (!message)
      return message.error();
    if (!*message)
      return Error{fmt::format("{}: message {} of {} is not there any more",
                               origin_->stream().name(), info.index, depth_.name)};
    auto like = parse_depth(depth_.kind, depth_.serialisation, (*message)->data);
    if (!like)
      return Error{fmt::format("{}: {}", origin_->stream().name(), like.error().message)};
    like->coding = depth_.coding;
    const auto data = make_depth_message(*like, depth_.serialisation, frame.size, frame.bytes);
    (*message)->data = data;
    return add(**message);
  }

  Failure finish() override {
    const auto rest = copy_until(std::nullopt);
    if (!rest)
      return rest.error();
    for (const MessageSchema* schema : origin_->schemas())
      writer_.declare(*schema);
    for (const MessageChannel* channel : origin_->channels())
      writer_.declare(*channel);
    if (auto failure = writer_.end_chunk(chunk_.compression))
      return failure;
    return writer_.finish();
  }

 private:
  /// Copies what comes before the depth message of this number, and returns that. Depth in between
  /// is left out. Null at the end.
  Result<std::optional<Message>> copy_until(std::optional<uint64_t> index) {
    while (true) {
      auto message = origin_->next();
      if (!message || !*message)
        return message;
      const bool is_depth = depth_.holds(*(*message)->channel);
      if (is_depth && next_index_++ == index)
        return message;
      if (is_depth)
        continue;
      if (auto failure = add(**message))
        return *failure;
    }
  }

  /// Chunks end where those of the origin end.
  Failure add(const Message& message) {
    const MessageChunk chunk = origin_->chunk();
    const bool full = chunk_.number == 0 && writer_.chunk_size() > own_chunk_size;
    if (chunk != chunk_ || full)
      if (auto failure = writer_.end_chunk(chunk_.compression))
        return failure;
    chunk_ = chunk;
    return writer_.add(message);
  }

  McapWriter writer_;
  DepthTopic depth_;
  std::unique_ptr<MessageReader> origin_;
  MessageChunk chunk_;
  uint64_t next_index_ = 0;
};

/// A recording of depth and its camera alone.
class NewRecording final : public FrameSink {
 public:
  NewRecording(McapWriter writer, Camera camera) : writer_(std::move(writer)), camera_(camera) {}

  Result<EncodedFrame> encode(ImageView image) const override {
    const bool is_depth = camera_.pixel_type != GX_PIXEL_DISPARITY;
    const bool has_other_unit = is_depth && camera_.depth_unit != 1;
    auto bytes = encode_depth(has_other_unit ? in_millimetres(image) : image, DepthCoding::pixels);
    if (!bytes)
      return bytes.error();
    return EncodedFrame{image.size, std::move(*bytes)};
  }

  Failure write(const FrameInfo& info, const EncodedFrame& frame) override {
    constexpr uint64_t between_frames = 33'333'333; // nanoseconds, where no time is known
    const auto time = info.time_ns && *info.time_ns >= 0 ? static_cast<uint64_t>(*info.time_ns)
                                                         : info.index * between_frames;
    DepthMessage like;
    like.header = stamped_header(static_cast<int64_t>(time), "depth");
    const auto facts = make_camera_info(like.header, frame.size, camera_.intrinsic);
    if (auto failure = add(camera_channel_, info.index, time, facts))
      return failure;
    const auto picture = make_depth_message(like, Serialisation::cdr, frame.size, frame.bytes);
    return add(depth_channel_, info.index, time, picture);
  }

  Failure finish() override {
    writer_.declare(depth_channel_);
    writer_.declare(camera_channel_);
    if (auto failure = writer_.end_chunk(Compression::zstd))
      return failure;
    return writer_.finish();
  }

 private:
  Image in_millimetres(ImageView image) const {
    Image result{image.size, {image.pixels.begin(), image.pixels.end()}};
    for (uint16_t& pixel : result.pixels) {
      const float depth = std::round(static_cast<float>(pixel) * camera_.depth_unit);
      pixel = depth <= 65535 ? static_cast<uint16_t>(depth) : uint16_t{0};
    }
    return result;
  }

  Failure add(const MessageChannel& channel, uint64_t index, uint64_t time,
              std::span<const uint8_t> data) {
    if (auto failure = writer_.add({&channel, static_cast<uint32_t>(index), time, time, data}))
      return failure;
    return writer_.chunk_size() > own_chunk_size ? writer_.end_chunk(Compression::zstd)
                                                 : std::nullopt;
  }

  McapWriter writer_;
  Camera camera_;
  MessageSchema image_schema_{1, "sensor_msgs/msg/Image", "ros2msg", image_definition};
  MessageSchema camera_schema_{2, "sensor_msgs/msg/CameraInfo", "ros2msg", camera_info_definition};
  MessageChannel depth_channel_{1, &image_schema_, new_depth_topic, "cdr", {}};
  MessageChannel camera_channel_{2, &camera_schema_, new_camera_topic, "cdr", {}};
};

/// What the origin is like, as far as a sink must know.
struct Origin {
  DepthTopic depth;
  std::string profile;
  bool is_bag = false;
};

/// Null where the frames come from no recording of messages: from a folder, or a pipe, which can't
/// be read a second time.
Result<std::optional<Origin>> look_at_origin(const SinkOptions& options) {
  std::error_code code;
  const bool is_no_file = std::filesystem::exists(options.origin, code) &&
                          !std::filesystem::is_regular_file(options.origin, code);
  if (options.origin.empty() || options.origin == standard_stream || is_no_file)
    return std::optional<Origin>();
  auto stream = open_byte_stream(options.origin);
  if (!stream)
    return stream.error();
  std::array<uint8_t, 16> front{};
  const auto count = (*stream)->read(front);
  if (!count)
    return count.error();
  const auto begin = std::span(front).first(*count);
  Origin origin;
  origin.is_bag = begins_with(begin, bag_first_bytes);
  if (!(*stream)->size() || !(origin.is_bag || begins_with(begin, mcap_first_bytes)))
    return std::optional<Origin>();
  if (auto failure = (*stream)->seek(0))
    return *failure;
  auto reader = origin.is_bag ? open_bag(std::move(*stream)) : open_mcap(std::move(*stream));
  if (!reader)
    return reader.error();
  TopicSurvey survey(options.topic);
  while (!survey.found_depth()) {
    const auto message = (*reader)->next();
    if (!message)
      return message.error();
    if (!*message)
      break;
    survey.see(**message);
  }
  auto depth = survey.depth_topic(options.origin.string());
  if (!depth)
    return depth.error();
  origin.depth = std::move(*depth);
  origin.profile = (*reader)->profile();
  return std::optional(std::move(origin));
}

} // namespace

Result<std::unique_ptr<FrameSink>> create_mcap_sink(const std::filesystem::path& path,
                                                    const SinkOptions& options) {
  auto origin = look_at_origin(options);
  if (!origin)
    return origin.error();
  auto writer = McapWriter::create(path, *origin ? (*origin)->profile : "ros2");
  if (!writer)
    return writer.error();
  if (!*origin)
    return std::unique_ptr<FrameSink>(
        std::make_unique<NewRecording>(std::move(*writer), options.camera));
  auto sink = std::make_unique<ReplacingSink>(std::move(*writer), std::move((*origin)->depth));
  if (auto failure = sink->open_origin(options.origin, (*origin)->is_bag))
    return *failure;
  return std::unique_ptr<FrameSink>(std::move(sink));
}

} // namespace recordings
