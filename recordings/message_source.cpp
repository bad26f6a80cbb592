#include "recordings/message_source.h"

#include <deque>

#include <fmt/format.h>

#include "recordings/bag_reader.h"
#include "recordings/mcap_reader.h"
#include "recordings/picture_source.h"
#include "recordings/topic_survey.h"

namespace recordings {
namespace {

/// A message that outlives its reader's next step.
struct KeptMessage {
  const MessageChannel* channel;
  uint64_t log_time;
  std::vector<uint8_t> data;
};

KeptMessage keep(const Message& message) {
  return {message.channel, message.log_time, {message.data.begin(), message.data.end()}};
}

class MessageFrames final : public FrameSource {
 public:
  MessageFrames(std::unique_ptr<MessageReader> reader, const SourceOptions& options)
      : reader_(std::move(reader)), survey_(options.topic) {}

  /// Finds the topic and leaves the reader or the queue at the first message.
  Failure begin() {
    const bool is_file = reader_->stream().size().has_value();
    auto failure = is_file ? survey_file() : survey_pipe();
    auto depth = survey_.depth_topic(reader_->stream().name());
    if (!depth)
      return failure ? failure : Failure(depth.error());
    depth_ = std::move(*depth);
    if (is_file && !failure)
      for (const Topic& topic : survey_.topics())
        if (topic.name == depth_.name)
          count_ = topic.messages;
    if (failure && !is_file)
      failure_ = std::move(failure);
    return is_file ? reader_->rewind() : std::nullopt;
  }

  Result<std::optional<StoredFrame>> next() override {
    auto message = next_message();
    if (!message)
      return message.error();
    return *message ? std::optional(frame(std::move(**message))) : std::nullopt;
  }

  std::optional<uint64_t> frame_count() const override { return count_; }
  CameraFacts facts() const override { return survey_.facts(depth_.name); }
  std::vector<Topic> topics() const override {
    std::vector<Topic> topics = survey_.topics();
    if (!count_) // only a part was looked at
      for (Topic& topic : topics)
        topic.messages = 0;
    return topics;
  }
  std::string topic() const override { return depth_.name; }
  const std::vector<std::string>& remarks() const override { return reader_->remarks(); }
  bool has_losses() const override { return !reader_->remarks().empty(); }

 private:
  Failure survey_file() {
    const auto index = reader_->index();
    if (!index)
      return index.error();
    if (*index)
      survey_.set_index(**index);
    while (!survey_.is_complete()) {
      const auto message = reader_->next();
      if (!message)
        return message.error();
      if (!*message)
        break;
      survey_.see(**message);
    }
    return std::nullopt;
  }

  /// What may be a frame waits in the queue.
  Failure survey_pipe() {
    size_t messages = 0; // since the first frame
    uint64_t bytes = 0;
    while (!(survey_.found_depth() && survey_.found_camera()) && messages < pipe_messages &&
           bytes < pipe_bytes) {
      const auto message = reader_->next();
      if (!message)
        return message.error();
      if (!*message)
        break;
      survey_.see(**message);
      if (!survey_.found_depth())
        continue;
      ++messages;
      if (survey_.may_hold_frames(*(*message)->channel)) {
        bytes += (*message)->data.size();
        queue_.push_back(keep(**message));
      }
    }
    return std::nullopt;
  }

  Result<std::optional<KeptMessage>> next_message() {
    while (!queue_.empty()) {
      KeptMessage message = std::move(queue_.front());
      queue_.pop_front();
      if (depth_.holds(*message.channel))
        return std::optional(std::move(message));
    }
    if (failure_)
      return *failure_;
    while (true) {
      const auto message = reader_->next();
      if (!message)
        return message.error();
      if (!*message)
        return std::optional<KeptMessage>();
      if (depth_.holds(*(*message)->channel))
        return std::optional(keep(**message));
    }
  }

  StoredFrame frame(KeptMessage message) {
    StoredFrame frame;
    frame.info = {index_, numbered_name(index_), std::nullopt};
    frame.place =
        fmt::format("{}, message {} of {}", reader_->stream().name(), index_++, depth_.name);
    const auto depth = parse_depth(depth_.kind, depth_.serialisation, message.data);
    if (depth)
      frame.info.time_ns = stamp_ns(depth->header);
    if (!frame.info.time_ns && message.log_time <= uint64_t{INT64_MAX})
      frame.info.time_ns = static_cast<int64_t>(message.log_time);
    frame.decode = [place = frame.place, topic = depth_,
                    data = std::move(message.data)]() -> Result<Image> {
      const auto parsed = parse_depth(topic.kind, topic.serialisation, data);
      auto image = parsed ? decode_depth(*parsed) : parsed.error();
      if (!image)
        return Error{fmt::format("{}: {}", place, image.error().message), image.error().kind};
      return image;
    };
    return frame;
  }

  std::unique_ptr<MessageReader> reader_;
  TopicSurvey survey_;
  DepthTopic depth_;
  std::optional<uint64_t> count_;
  std::deque<KeptMessage> queue_; ///< read already, of a pipe
  Failure failure_;               ///< what ended a pipe while the queue was filled
  uint64_t index_ = 0;
};

Result<std::unique_ptr<FrameSource>> begin(Result<std::unique_ptr<MessageReader>> reader,
                                           const SourceOptions& options) {
  if (!reader)
    return reader.error();
  auto frames = std::make_unique<MessageFrames>(std::move(*reader), options);
  if (auto failure = frames->begin())
    return *failure;
  return std::unique_ptr<FrameSource>(std::move(frames));
}

} // namespace

Result<std::unique_ptr<FrameSource>> open_mcap_source(std::unique_ptr<ByteStream> stream,
                                                      const SourceOptions& options) {
  return begin(open_mcap(std::move(stream)), options);
}

Result<std::unique_ptr<FrameSource>> open_bag_source(std::unique_ptr<ByteStream> stream,
                                                     const SourceOptions& options) {
  return begin(open_bag(std::move(stream)), options);
}

} // namespace recordings
