#include "recordings/mcap_writer.h"

#include <algorithm>

#include <fmt/format.h>

namespace recordings {
namespace {

void append_record(ByteWriter& writer, McapRecord record, std::span<const uint8_t> content) {
  writer.number(static_cast<uint8_t>(record));
  writer.number(uint64_t{content.size()});
  writer.append(content);
}

std::vector<uint8_t> schema_content(const MessageSchema& schema) {
  ByteWriter content;
  content.number(schema.id);
  content.text(schema.name);
  content.text(schema.encoding);
  content.text(schema.text);
  return std::move(content.bytes());
}

std::vector<uint8_t> channel_content(const MessageChannel& channel) {
  ByteWriter pairs;
  for (const auto& [key, value] : channel.metadata) {
    pairs.text(key);
    pairs.text(value);
  }
  ByteWriter content;
  content.number(channel.id);
  content.number(channel.schema != nullptr ? channel.schema->id : uint16_t{0});
  content.text(channel.topic);
  content.text(channel.encoding);
  content.counted(pairs.bytes());
  return std::move(content.bytes());
}

std::span<const uint8_t> magic() {
  return {reinterpret_cast<const uint8_t*>(mcap_first_bytes.data()), mcap_first_bytes.size()};
}

Error ended_early(const ByteStream& stream) {
  return {fmt::format("{}: ends in the middle of a record", stream.name())};
}

} // namespace

void McapWriter::TimeSpan::add(uint64_t time) {
  first = std::min(first, time);
  last = std::max(last, time);
}

Result<McapWriter> McapWriter::create(const std::filesystem::path& path,
                                      const std::string& profile) {
  auto file = OutputFile::create(path);
  if (!file)
    return file.error();
  McapWriter writer(std::move(*file));
  ByteWriter header;
  header.text(profile);
  header.text("FilterProcessor recordings");
  if (auto failure = writer.write(magic()))
    return *failure;
  if (auto failure = writer.write_record(McapRecord::header, header.bytes()))
    return *failure;
  return writer;
}

Failure McapWriter::add(const Message& message) {
  declare(*message.channel);
  const uint64_t offset = chunk_.bytes().size();
  constexpr uint64_t before_data = 2 + 4 + 8 + 8;
  chunk_.number(static_cast<uint8_t>(McapRecord::message));
  chunk_.number(before_data + message.data.size());
  chunk_.number(message.channel->id);
  chunk_.number(message.sequence);
  chunk_.number(message.log_time);
  chunk_.number(message.publish_time);
  chunk_.append(message.data);
  chunk_messages_[message.channel->id].emplace_back(message.log_time, offset);
  chunk_times_.add(message.log_time);
  times_.add(message.log_time);
  ++channel_messages_[message.channel->id];
  ++message_count_;
  // What comes through is at most as long as a chunk that was read, and a picture longer.
  constexpr uint64_t too_much = 2 * largest_chunk;
  if (chunk_.bytes().size() > too_much)
    return Error{"a chunk grows beyond the limit", ErrorKind::system};
  return std::nullopt;
}

void McapWriter::declare(const MessageSchema& schema) {
  if (!declared_schemas_.insert(schema.id).second)
    return;
  const auto content = schema_content(schema);
  append_record(chunk_, McapRecord::schema, content);
  append_record(summary_[McapRecord::schema], McapRecord::schema, content);
}

void McapWriter::declare(const MessageChannel& channel) {
  if (channel.schema != nullptr)
    declare(*channel.schema);
  if (!declared_channels_.insert(channel.id).second)
    return;
  const auto content = channel_content(channel);
  append_record(chunk_, McapRecord::channel, content);
  append_record(summary_[McapRecord::channel], McapRecord::channel, content);
}

Failure McapWriter::end_chunk(Compression compression) {
  if (chunk_.bytes().empty())
    return std::nullopt;
  if (compression == Compression::bz2)
    compression = Compression::zstd;
  const auto records = compress(compression, chunk_.bytes());
  if (!records)
    return records.error();
  const uint64_t position = file_.size();
  ByteWriter head;
  head.number(chunk_times_.begin());
  head.number(chunk_times_.last);
  head.number(uint64_t{chunk_.bytes().size()});
  head.number(checksum(chunk_.bytes()));
  head.text(compression_name(compression));
  head.number(uint64_t{records->size()});
  const uint64_t length = head.bytes().size() + records->size();
  ByteWriter front;
  front.number(static_cast<uint8_t>(McapRecord::chunk));
  front.number(length);
  front.append(head.bytes());
  if (auto failure = write(front.bytes()))
    return failure;
  if (auto failure = write(*records))
    return failure;

  ByteWriter index;
  index.number(chunk_times_.begin());
  index.number(chunk_times_.last);
  index.number(position);
  index.number(file_.size() - position);
  if (auto failure = write_message_indexes(index))
    return failure;
  index.text(compression_name(compression));
  index.number(uint64_t{records->size()});
  index.number(uint64_t{chunk_.bytes().size()});
  append_record(summary_[McapRecord::chunk_index], McapRecord::chunk_index, index.bytes());
  ++chunk_count_;
  chunk_.bytes().clear();
  chunk_times_ = {};
  chunk_messages_.clear();
  return std::nullopt;
}

/// Behind the chunk, one for each channel; where they lie goes into the chunk's index.
Failure McapWriter::write_message_indexes(ByteWriter& chunk_index) {
  const uint64_t begin = file_.size();
  ByteWriter places;
  for (const auto& [channel, messages] : chunk_messages_) {
    places.number(channel);
    places.number(file_.size());
    ByteWriter entries;
    for (const auto& [time, offset] : messages) {
      entries.number(time);
      entries.number(offset);
    }
    ByteWriter content;
    content.number(channel);
    content.counted(entries.bytes());
    if (auto failure = write_record(McapRecord::message_index, content.bytes()))
      return failure;
  }
  chunk_index.counted(places.bytes());
  chunk_index.number(file_.size() - begin);
  return std::nullopt;
}

Failure McapWriter::copy(McapRecord record, uint64_t length, ByteStream& stream) {
  ByteWriter head;
  head.number(static_cast<uint8_t>(record));
  head.number(length);
  if (auto failure = write(head.bytes()))
    return failure;
  if (record == McapRecord::attachment)
    return copy_attachment(length, stream);
  return record == McapRecord::metadata ? copy_metadata(length, stream)
                                        : copy_rest({}, length, stream);
}

Failure McapWriter::copy_metadata(uint64_t length, ByteStream& stream) {
  const uint64_t position = file_.size() - mcap_record_head;
  const auto front = read_bytes(stream, std::min(length, largest_definitions));
  if (!front)
    return front.error();
  ByteWriter index;
  index.number(position);
  index.number(mcap_record_head + length);
  index.text(ByteReader(*front).text());
  append_record(summary_[McapRecord::metadata_index], McapRecord::metadata_index, index.bytes());
  ++metadata_count_;
  return copy_rest(*front, length, stream);
}

Failure McapWriter::copy_attachment(uint64_t length, ByteStream& stream) {
  constexpr uint64_t longest_names = uint64_t{1} << 20;
  const uint64_t position = file_.size() - mcap_record_head;
  const auto front = read_bytes(stream, std::min(length, longest_names));
  if (!front)
    return front.error();
  ByteReader reader(*front);
  const auto log_time = reader.number<uint64_t>();
  const auto create_time = reader.number<uint64_t>();
  const std::string name = reader.text();
  const std::string media_type = reader.text();
  const auto data_size = reader.number<uint64_t>();
  if (reader.failed())
    return Error{fmt::format("{}: a damaged attachment", stream.name())};
  ByteWriter index;
  index.number(position);
  index.number(mcap_record_head + length);
  index.number(log_time);
  index.number(create_time);
  index.number(data_size);
  index.text(name);
  index.text(media_type);
  append_record(summary_[McapRecord::attachment_index], McapRecord::attachment_index,
                index.bytes());
  ++attachment_count_;
  return copy_rest(*front, length, stream);
}

/// `front` is the beginning of what is to be copied.
Failure McapWriter::copy_rest(std::span<const uint8_t> front, uint64_t length, ByteStream& stream) {
  if (auto failure = write(front))
    return failure;
  constexpr uint64_t step = uint64_t{1} << 20;
  for (uint64_t left = length - front.size(); left > 0;) {
    const auto bytes = read_bytes(stream, std::min(left, step));
    if (!bytes)
      return bytes.error();
    if (bytes->empty())
      return ended_early(stream);
    if (auto failure = write(*bytes))
      return failure;
    left -= bytes->size();
  }
  return std::nullopt;
}

std::vector<uint8_t> McapWriter::statistics() const {
  ByteWriter counts;
  for (const auto& [channel, count] : channel_messages_) {
    counts.number(channel);
    counts.number(count);
  }
  ByteWriter content;
  content.number(message_count_);
  content.number(static_cast<uint16_t>(declared_schemas_.size()));
  content.number(static_cast<uint32_t>(declared_channels_.size()));
  content.number(attachment_count_);
  content.number(metadata_count_);
  content.number(chunk_count_);
  content.number(times_.begin());
  content.number(times_.last);
  content.counted(counts.bytes());
  return std::move(content.bytes());
}

Failure McapWriter::write_summary() {
  const uint64_t begin = file_.size();
  append_record(summary_[McapRecord::statistics], McapRecord::statistics, statistics());
  ByteWriter summary;
  ByteWriter offsets;
  for (const auto& [record, records] : summary_) {
    ByteWriter group;
    group.number(static_cast<uint8_t>(record));
    group.number(begin + summary.bytes().size());
    group.number(uint64_t{records.bytes().size()});
    append_record(offsets, McapRecord::summary_offset, group.bytes());
    summary.append(records.bytes());
  }
  const uint64_t offsets_begin = begin + summary.bytes().size();
  summary.append(offsets.bytes());
  summary.number(static_cast<uint8_t>(McapRecord::footer));
  summary.number(uint64_t{mcap_footer_length});
  summary.number(begin);
  summary.number(offsets_begin);
  summary.number(checksum(summary.bytes()));
  summary.append(magic());
  return write(summary.bytes());
}

Failure McapWriter::finish() {
  if (auto failure = end_chunk(Compression::none))
    return failure;
  ByteWriter data_end;
  data_end.number(data_checksum_);
  if (auto failure = write_record(McapRecord::data_end, data_end.bytes()))
    return failure;
  if (auto failure = write_summary())
    return failure;
  return file_.commit();
}

Failure McapWriter::write(std::span<const uint8_t> bytes) {
  data_checksum_ = checksum(bytes, data_checksum_);
  return file_.write(bytes);
}

Failure McapWriter::write_record(McapRecord record, std::span<const uint8_t> content) {
  ByteWriter whole;
  append_record(whole, record, content);
  return write(whole.bytes());
}

} // namespace recordings
