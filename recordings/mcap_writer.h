// MCAP, written in order, with the index that viewers look things up in.
#pragma once

#include <map>
#include <set>

#include "recordings/mcap.h"
#include "recordings/output_file.h"

namespace recordings {

/// One chunk and the index are kept in memory. Errors are of kind `system`, but for those of
/// others' streams.
class McapWriter {
 public:
  /// Standard output is fine: nothing that was written is changed.
  static Result<McapWriter> create(const std::filesystem::path& path, const std::string& profile);

  /// Into the chunk. The message's channel and its schema go in front of it once.
  Failure add(const Message& message);
  /// Those that no message has brought along.
  void declare(const MessageSchema& schema);
  void declare(const MessageChannel& channel);
  /// An attachment, a metadata record or a private one of `length` bytes, as it stands in `stream`.
  Failure copy(McapRecord record, uint64_t length, ByteStream& stream);

  /// Bytes of the chunk that has not been written yet.
  size_t chunk_size() const { return chunk_.bytes().size(); }
  /// Writes it, if there is any. bz2, which MCAP has not, becomes zstd.
  Failure end_chunk(Compression compression);

  /// The last chunk is ended. The file has its name from here on.
  Failure finish();

 private:
  /// The first and the last of some times.
  struct TimeSpan {
    uint64_t first = UINT64_MAX;
    uint64_t last = 0;

    void add(uint64_t time);
    uint64_t begin() const { return first <= last ? first : 0; }
  };

  /// For one channel, where its messages lie in the chunk.
  using MessageIndex = std::vector<std::pair<uint64_t, uint64_t>>;

  explicit McapWriter(OutputFile file) : file_(std::move(file)) {}

  Failure write(std::span<const uint8_t> bytes);
  Failure write_record(McapRecord record, std::span<const uint8_t> content);
  Failure copy_metadata(uint64_t length, ByteStream& stream);
  Failure copy_attachment(uint64_t length, ByteStream& stream);
  Failure copy_rest(std::span<const uint8_t> front, uint64_t length, ByteStream& stream);
  Failure write_message_indexes(ByteWriter& chunk_index);
  std::vector<uint8_t> statistics() const;
  Failure write_summary();

  OutputFile file_;
  uint32_t data_checksum_ = 0; ///< of all that was written

  ByteWriter chunk_;
  TimeSpan chunk_times_;
  std::map<uint16_t, MessageIndex> chunk_messages_;

  std::set<uint16_t> declared_schemas_;
  std::set<uint16_t> declared_channels_;
  std::map<McapRecord, ByteWriter> summary_; ///< whole records, in the order in which they come
  uint64_t message_count_ = 0;
  uint32_t attachment_count_ = 0;
  uint32_t metadata_count_ = 0;
  uint32_t chunk_count_ = 0;
  TimeSpan times_;
  std::map<uint16_t, uint64_t> channel_messages_;
};

} // namespace recordings
