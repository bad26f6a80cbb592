// Recordings of many topics: messages one after the other, whatever container holds them.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "recordings/byte_stream.h"
#include "recordings/compression.h"

namespace recordings {

/// What the messages of a type look like, as text that programs read.
struct MessageSchema {
  uint16_t id = 0; ///< never 0
  std::string name;
  std::string encoding; ///< "ros2msg", "ros1msg" ...
  std::string text;

  bool operator==(const MessageSchema&) const = default;
};

/// One of those who write to a topic.
struct MessageChannel {
  uint16_t id = 0;
  const MessageSchema* schema = nullptr; ///< null: none
  std::string topic;
  std::string encoding;                                      ///< "cdr", "ros1" ...
  std::vector<std::pair<std::string, std::string>> metadata; ///< in no order that matters

  std::string type() const { return schema != nullptr ? schema->name : std::string(); }
  bool operator==(const MessageChannel& other) const {
    return id == other.id && schema == other.schema && topic == other.topic &&
           encoding == other.encoding && std::ranges::is_permutation(metadata, other.metadata);
  }
};

struct Message {
  const MessageChannel* channel = nullptr; ///< lives as long as the reader
  uint32_t sequence = 0;
  uint64_t log_time = 0; ///< nanoseconds
  uint64_t publish_time = 0;
  std::span<const uint8_t> data; ///< until the next message is asked for
};

/// A topic as the index of a recording has it.
struct IndexedTopic {
  std::string name;
  std::string type;
  uint64_t messages = 0;
};

/// Where messages lie that come after each other.
struct MessageChunk {
  uint64_t number = 0; ///< from 1; 0: in none
  Compression compression = Compression::none;

  bool operator==(const MessageChunk&) const = default;
};

/// Reads in the order of the file, with no more than one chunk in memory. A file that was cut off
/// ends with its last whole message and a remark; one that is damaged, with an error that names the
/// place. One thread at a time.
class MessageReader {
 public:
  MessageReader() = default;
  MessageReader(const MessageReader&) = delete;
  MessageReader& operator=(const MessageReader&) = delete;
  virtual ~MessageReader() = default;

  /// Null at the end.
  virtual Result<std::optional<Message>> next() = 0;
  /// Where the last message lay.
  virtual MessageChunk chunk() const = 0;

  /// What the recording's index says; null where there is none, and for pipes. Reading goes on from
  /// the beginning.
  virtual Result<std::optional<std::vector<IndexedTopic>>> index() = 0;
  /// From the beginning again. Not for pipes.
  virtual Failure rewind() = 0;

  /// Which kind of system wrote the messages: "ros1", "ros2" or another word.
  virtual const std::string& profile() const = 0;
  /// Those that have been seen, in the order of their numbers.
  virtual std::vector<const MessageSchema*> schemas() const = 0;
  virtual std::vector<const MessageChannel*> channels() const = 0;
  /// Of what is cut off or damaged.
  virtual const std::vector<std::string>& remarks() const = 0;
  virtual const ByteStream& stream() const = 0;
};

/// What readers hold to: larger records, and more bytes of schemas and channels, are errors.
inline constexpr uint64_t largest_record = largest_chunk;
inline constexpr uint64_t largest_definitions = uint64_t{64} << 20;

} // namespace recordings
