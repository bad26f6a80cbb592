// Which of a recording's topics holds depth, found out from its first messages.
#pragma once

#include <map>

#include "recordings/frame_source.h"
#include "recordings/message_reader.h"
#include "recordings/ros_messages.h"

namespace recordings {

/// The topic whose messages are the frames.
struct DepthTopic {
  std::string name;
  MessageKind kind = MessageKind::image;
  Serialisation serialisation = Serialisation::cdr;
  DepthCoding coding = DepthCoding::pixels; ///< of its first message

  /// Frames are counted over the messages of these channels.
  bool holds(const MessageChannel& channel) const;
};

class TopicSurvey {
 public:
  /// `wanted` is the topic that was asked for; empty: the only one with depth.
  explicit TopicSurvey(std::string wanted) : wanted_(std::move(wanted)) {}

  /// Topics and their counts as the recording's index has them. Without it messages are counted.
  void set_index(const std::vector<IndexedTopic>& topics);
  void see(const Message& message);

  /// Nothing more will be found in a recording with this index.
  bool is_complete() const;
  /// A topic that may be taken was found, and its camera's facts or that there are none.
  bool found_depth() const;
  bool found_camera() const;

  /// Among the first messages of its topic was depth, and the topic may be taken.
  bool may_hold_frames(const MessageChannel& channel) const;

  /// An error lists what there is instead.
  Result<DepthTopic> depth_topic(const std::string& file) const;
  /// Of the topic's camera.
  CameraFacts facts(const std::string& topic) const;
  std::vector<Topic> topics() const;

 private:
  struct Entry {
    std::string type;
    uint64_t messages = 0;
    bool seen = false;    ///< enough of its messages were looked at
    unsigned refused = 0; ///< messages that are no depth
    std::optional<DepthTopic> depth;
    std::string no_depth;             ///< why the last message that was looked at is none
    std::optional<CameraFacts> facts; ///< of a camera info
  };

  bool is_asked_for(const std::string& topic) const { return wanted_.empty() || topic == wanted_; }
  void look_at(const Message& message, Entry& entry) const;
  const Entry* camera_info(const std::string& topic) const;
  std::string list_topics() const;

  std::string wanted_;
  bool indexed_ = false;
  std::map<std::string, Entry> topics_;
};

} // namespace recordings
