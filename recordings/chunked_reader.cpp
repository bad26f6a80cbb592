#include "recordings/chunked_reader.h"

#include <fmt/format.h>

namespace recordings {

Result<std::optional<Message>> ChunkedReader::next() {
  while (!ended_) {
    if (chunk_left_ && chunk_left_->left() == 0) {
      chunk_left_.reset();
      ended_ = !chunk_whole_;
      continue;
    }
    if (!chunk_left_)
      record_at_ = stream_->position();
    auto message = chunk_left_ ? next_in_chunk(*chunk_left_) : next_record();
    const bool ends_within = chunk_left_ && chunk_left_->failed();
    if (!message || ends_within)
      ended_ = true;
    if (message && ends_within && chunk_whole_)
      return place_error("damaged record in a chunk");
    if (!message || *message)
      return message;
  }
  return std::optional<Message>();
}

Result<std::optional<std::vector<IndexedTopic>>> ChunkedReader::index() {
  if (!stream_->size())
    return std::optional<std::vector<IndexedTopic>>();
  auto topics = read_index();
  if (auto failure = rewind())
    return *failure;
  return topics;
}

Failure ChunkedReader::rewind() {
  if (auto failure = stream_->seek(0))
    return failure;
  ended_ = false;
  chunk_left_.reset();
  chunk_ = {};
  remarks_.clear();
  forget_counts();
  return begin();
}

Failure ChunkedReader::open_chunk(Compression compression, std::span<const uint8_t> packed,
                                  uint64_t size, bool whole) {
  if (!whole) {
    chunk_bytes_ = decompress_front(compression, packed, size);
    add_remark(fmt::format("cut off in a chunk at byte {}; read as far as it goes", record_at_));
  } else if (auto bytes = decompress(compression, packed, size)) {
    chunk_bytes_ = std::move(*bytes);
  } else {
    return place_error("a chunk: " + bytes.error().message);
  }
  chunk_ = {chunk_.number + 1, compression};
  chunk_whole_ = whole;
  chunk_left_.emplace(chunk_bytes_);
  return std::nullopt;
}

ChunkedReader::Next ChunkedReader::end() {
  ended_ = true;
  return std::optional<Message>();
}

ChunkedReader::Next ChunkedReader::cut_off() {
  add_remark(fmt::format("cut off at byte {}", record_at_));
  return end();
}

void ChunkedReader::add_remark(const std::string& remark) {
  remarks_.push_back(fmt::format("{}: {}", stream_->name(), remark));
}

Error ChunkedReader::place_error(std::string_view message) const {
  return {fmt::format("{}, at byte {}: {}", stream_->name(), record_at_, message)};
}

} // namespace recordings
