// What readers of messages in chunks share, whatever their records look like.
#pragma once

#include "recordings/byte_reader.h"
#include "recordings/message_reader.h"

namespace recordings {

/// Walks over the records of a file and of its chunks. A format says how one record is read.
class ChunkedReader : public MessageReader {
 public:
  /// Reads what stands before the first record; once before all else.
  virtual Failure begin() = 0;

  Result<std::optional<Message>> next() final;
  MessageChunk chunk() const final { return chunk_left_ ? chunk_ : MessageChunk{}; }
  Result<std::optional<std::vector<IndexedTopic>>> index() final;
  Failure rewind() final;
  const std::vector<std::string>& remarks() const final { return remarks_; }
  const ByteStream& stream() const final { return *stream_; }

 protected:
  using Next = Result<std::optional<Message>>;

  explicit ChunkedReader(std::unique_ptr<ByteStream> stream) : stream_(std::move(stream)) {}

  /// The next record of the file itself; null where it is no message.
  virtual Next next_record() = 0;
  /// The next record of the chunk, of which bytes are left; null where it is no message, and where
  /// a chunk that is not whole ends within it: then `left` has failed.
  virtual Next next_in_chunk(ByteReader& left) = 0;
  /// Null where it is missing or damaged. Of files alone.
  virtual std::optional<std::vector<IndexedTopic>> read_index() = 0;
  /// What was counted of the messages so far.
  virtual void forget_counts() = 0;

  /// Records are read from it until they end. Of one that is cut off, as many as are there.
  Failure open_chunk(Compression compression, std::span<const uint8_t> packed, uint64_t size,
                     bool whole);
  std::span<const uint8_t> chunk_bytes() const { return chunk_bytes_; }

  Next end();
  Next cut_off();
  void add_remark(const std::string& remark);
  /// Names the file and where the record begins that is being read.
  Error place_error(std::string_view message) const;

  ByteStream& file() { return *stream_; }

 private:
  std::unique_ptr<ByteStream> stream_;
  std::vector<std::string> remarks_;
  bool ended_ = false;
  uint64_t record_at_ = 0; ///< where the record of the file begins that is being read
  MessageChunk chunk_;     ///< the last one
  bool chunk_whole_ = true;
  std::vector<uint8_t> chunk_bytes_;
  std::optional<ByteReader> chunk_left_; ///< of its bytes; null outside of chunks
};

} // namespace recordings
