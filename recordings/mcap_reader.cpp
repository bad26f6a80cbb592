#include "recordings/mcap_reader.h"

#include <map>

#include <fmt/format.h>
#include <zlib.h>

#include "recordings/chunked_reader.h"
#include "recordings/image.h"

namespace recordings {

uint32_t checksum(std::span<const uint8_t> bytes, uint32_t before) {
  // No bytes may come without an address, which zlib takes for a wish to start anew.
  return bytes.empty() ? before
                       : static_cast<uint32_t>(crc32_z(before, bytes.data(), bytes.size()));
}

const char* compression_name(Compression compression) {
  if (compression == Compression::lz4)
    return "lz4";
  return compression == Compression::zstd ? "zstd" : "";
}

std::optional<Compression> compression_of_name(std::string_view name) {
  if (name.empty())
    return Compression::none;
  if (name == "lz4")
    return Compression::lz4;
  return name == "zstd" ? std::optional(Compression::zstd) : std::nullopt;
}

namespace {

Error damaged(std::string_view what) {
  return {fmt::format("damaged {} record", what)};
}

/// Schemas and channels by number. Their addresses stay.
class Definitions {
 public:
  Failure add_schema(std::span<const uint8_t> content) {
    ByteReader reader(content);
    MessageSchema schema;
    schema.id = reader.number<uint16_t>();
    schema.name = reader.text();
    schema.encoding = reader.text();
    schema.text = reader.text();
    if (reader.failed())
      return damaged("schema");
    if (schema.id == 0)
      return Error{"a schema without number"};
    return add(schemas_, std::move(schema), content.size(), "schema");
  }

  Failure add_channel(std::span<const uint8_t> content) {
    ByteReader reader(content);
    MessageChannel channel;
    channel.id = reader.number<uint16_t>();
    const auto schema = reader.number<uint16_t>();
    channel.topic = reader.text();
    channel.encoding = reader.text();
    for (ByteReader pairs(reader.counted()); pairs.left() > 0;) {
      std::string key = pairs.text();
      channel.metadata.emplace_back(std::move(key), pairs.text());
      if (pairs.failed())
        return damaged("channel");
    }
    if (reader.failed())
      return damaged("channel");
    const auto found = schemas_.find(schema);
    if (schema != 0 && found == schemas_.end())
      return Error{fmt::format("channel {} has schema {}, which is not there", channel.id, schema)};
    channel.schema = schema != 0 ? &found->second : nullptr;
    return add(channels_, std::move(channel), content.size(), "channel");
  }

  const MessageChannel* channel(uint16_t id) const {
    const auto found = channels_.find(id);
    return found != channels_.end() ? &found->second : nullptr;
  }

  std::vector<const MessageSchema*> schemas() const { return addresses(schemas_); }
  std::vector<const MessageChannel*> channels() const { return addresses(channels_); }

 private:
  /// Files repeat their definitions; the same number never means two things.
  template <class Definition>
  Failure add(std::map<uint16_t, Definition>& all, Definition definition, size_t length,
              const char* what) {
    const uint16_t id = definition.id;
    const auto found = all.find(id);
    if (found != all.end() && found->second == definition)
      return std::nullopt;
    if (found != all.end())
      return Error{fmt::format("{} {} is two different ones", what, id)};
    total_ += length;
    if (total_ > largest_definitions)
      return Error{fmt::format("more than {} bytes of schemas and channels", largest_definitions)};
    all.emplace(id, std::move(definition));
    return std::nullopt;
  }

  template <class Definition>
  static std::vector<const Definition*> addresses(const std::map<uint16_t, Definition>& all) {
    std::vector<const Definition*> result;
    result.reserve(all.size());
    for (const auto& [id, definition] : all)
      result.push_back(&definition);
    return result;
  }

  std::map<uint16_t, MessageSchema> schemas_;
  std::map<uint16_t, MessageChannel> channels_;
  uint64_t total_ = 0;
};

struct RecordHead {
  McapRecord record{};
  uint64_t length = 0;
};

RecordHead read_head(ByteReader& reader) {
  const auto record = static_cast<McapRecord>(reader.number<uint8_t>());
  return {record, reader.number<uint64_t>()};
}

class McapReader final : public ChunkedReader {
 public:
  McapReader(std::unique_ptr<ByteStream> stream, OtherRecords others)
      : ChunkedReader(std::move(stream)), others_(std::move(others)) {}

  /// Magic and header.
  Failure begin() override {
    auto front = take(mcap_first_bytes.size() + mcap_record_head);
    if (!front)
      return front.error();
    if (!begins_with(*front, mcap_first_bytes))
      return Error{fmt::format("{}: not an MCAP file", file().name())};
    ByteReader reader(*front);
    reader.take(mcap_first_bytes.size());
    const RecordHead head = read_head(reader);
    if (reader.failed())
      return Error{fmt::format("{}: cut off in its header", file().name())};
    if (head.record != McapRecord::header || head.length > largest_definitions)
      return Error{fmt::format("{}: an MCAP file without header", file().name())};
    auto content = take(head.length);
    if (!content)
      return content.error();
    ByteReader header(*content);
    profile_ = header.text();
    if (content->size() < head.length || header.failed())
      return Error{fmt::format("{}: cut off in its header", file().name())};
    return std::nullopt;
  }

  const std::string& profile() const override { return profile_; }
  std::vector<const MessageSchema*> schemas() const override { return definitions_.schemas(); }
  std::vector<const MessageChannel*> channels() const override { return definitions_.channels(); }

 private:
  Next next_record() override {
    const uint32_t checksum_before = data_checksum_;
    const auto bytes = take(mcap_record_head);
    if (!bytes)
      return bytes.error();
    ByteReader reader(*bytes);
    const RecordHead head = read_head(reader);
    if (reader.failed())
      return cut_off();
    switch (head.record) {
    case McapRecord::schema:
    case McapRecord::channel:
    case McapRecord::message:
    case McapRecord::chunk:
    case McapRecord::data_end:
    case McapRecord::footer:
      return read_record(head, checksum_before);
    default:
      return pass_by(head);
    }
  }

  Next read_record(RecordHead head, uint32_t checksum_before) {
    if (head.length > largest_record) {
      return place_error(
          fmt::format("a record of {} bytes, beyond the limit of {}", head.length, largest_record));
    }
    auto content = take(head.length);
    if (!content)
      return content.error();
    const bool whole = content->size() == head.length;
    if (head.record == McapRecord::chunk)
      return read_chunk(*content, whole);
    if (!whole)
      return cut_off();
    if (head.record == McapRecord::footer)
      return end();
    if (head.record == McapRecord::data_end)
      return end_data(*content, checksum_before);
    record_ = std::move(*content);
    return read_content(head.record, record_);
  }

  /// Records that hold no messages.
  Next pass_by(RecordHead head) {
    if (head.record == McapRecord{})
      return place_error("not a record");
    const bool handed_on =
        others_ && (head.record == McapRecord::attachment || head.record == McapRecord::metadata ||
                    head.record >= McapRecord::first_private);
    const auto size = file().size();
    if (size && head.length > *size - std::min(file().position(), *size))
      return cut_off();
    if (handed_on) {
      saw_all_ = false;
      if (auto failure = others_(head.record, head.length, file()))
        return *failure;
      return std::optional<Message>();
    }
    constexpr uint64_t short_record = 65536;
    if (head.length <= short_record) { // an index, mostly: read on for the checksum
      const auto content = take(head.length);
      if (!content)
        return content.error();
      if (content->size() < head.length)
        return cut_off();
      return std::optional<Message>();
    }
    saw_all_ = false;
    const auto skipped = file().skip(head.length);
    if (!skipped)
      return skipped.error();
    if (*skipped < head.length)
      return cut_off();
    return std::optional<Message>();
  }

  Next read_chunk(const std::vector<uint8_t>& content, bool whole) {
    ByteReader reader(content);
    reader.number<uint64_t>(); // first and last time
    reader.number<uint64_t>();
    const auto size = reader.number<uint64_t>();
    const auto sum = reader.number<uint32_t>();
    const std::string name = reader.text();
    const auto length = reader.number<uint64_t>();
    const auto records = reader.take(std::min<uint64_t>(length, reader.left()));
    if (whole && (reader.failed() || records.size() < length))
      return place_error("damaged chunk");
    if (reader.failed())
      return cut_off();
    const auto compression = compression_of_name(name);
    if (!compression)
      return place_error(
          fmt::format("a chunk with compression \"{}\"; lz4 and zstd are read", name));
    if (auto failure = open_chunk(*compression, records, size, whole))
      return *failure;
    if (whole && sum != 0 && checksum(chunk_bytes()) != sum)
      return place_error("the checksum of a chunk is wrong");
    return std::optional<Message>();
  }

  Next next_in_chunk(ByteReader& left) override {
    const RecordHead head = read_head(left);
    const auto content = left.take(head.length);
    return left.failed() ? std::optional<Message>() : read_content(head.record, content);
  }

  Next read_content(McapRecord record, std::span<const uint8_t> content) {
    if (record == McapRecord::message)
      return read_message(content);
    Failure failure;
    if (record == McapRecord::schema)
      failure = definitions_.add_schema(content);
    else if (record == McapRecord::channel)
      failure = definitions_.add_channel(content);
    if (failure)
      return place_error(failure->message);
    return std::optional<Message>();
  }

  Next read_message(std::span<const uint8_t> content) {
    ByteReader reader(content);
    const auto id = reader.number<uint16_t>();
    Message message;
    message.sequence = reader.number<uint32_t>();
    message.log_time = reader.number<uint64_t>();
    message.publish_time = reader.number<uint64_t>();
    message.data = reader.rest();
    if (reader.failed())
      return place_error(damaged("message").message);
    message.channel = definitions_.channel(id);
    if (message.channel == nullptr)
      return place_error(fmt::format("a message of channel {}, which is not there", id));
    return std::optional(message);
  }

  /// The summary that follows may know channels without messages. What is wrong with it matters to
  /// nobody who reads in order.
  Next end_data(std::span<const uint8_t> content, uint32_t sum) {
    const auto said = ByteReader(content).number<uint32_t>();
    if (said != 0 && saw_all_ && said != sum)
      add_remark("the checksum of its data is wrong");
    while (const auto head = read_summary_head()) {
      const auto record = take(head->length);
      if (!record || record->size() < head->length)
        break;
      if ((head->record == McapRecord::schema && definitions_.add_schema(*record)) ||
          (head->record == McapRecord::channel && definitions_.add_channel(*record)))
        break;
    }
    return end();
  }

  /// Null where the summary ends.
  std::optional<RecordHead> read_summary_head() {
    const auto bytes = take(mcap_record_head);
    if (!bytes)
      return std::nullopt;
    ByteReader reader(*bytes);
    const RecordHead head = read_head(reader);
    const bool more = !reader.failed() && head.record != McapRecord::footer &&
                      head.record != McapRecord{} && head.length <= largest_definitions;
    return more ? std::optional(head) : std::nullopt;
  }

  void forget_counts() override {
    data_checksum_ = 0;
    saw_all_ = true;
  }

  /// The next bytes, fewer at the end, as part of the data's checksum.
  Result<std::vector<uint8_t>> take(uint64_t count) {
    auto bytes = read_bytes(file(), count);
    if (bytes)
      data_checksum_ = checksum(*bytes, data_checksum_);
    return bytes;
  }

  /// The summary; null also where it does not list every channel.
  std::optional<std::vector<IndexedTopic>> read_index() override {
    constexpr uint64_t end_length = mcap_record_head + mcap_footer_length + mcap_first_bytes.size();
    const uint64_t size = *file().size();
    if (size < end_length || file().seek(size - end_length))
      return std::nullopt;
    const auto end = read_bytes(file(), end_length);
    if (!end)
      return std::nullopt;
    ByteReader footer(*end);
    const RecordHead head = read_head(footer);
    const auto start = footer.number<uint64_t>();
    footer.number<uint64_t>(); // of the offsets to the summary's parts
    const size_t before_sum = footer.position();
    const auto sum = footer.number<uint32_t>();
    if (footer.failed() || head.record != McapRecord::footer || start == 0 ||
        start > size - end_length || size - end_length - start > largest_definitions ||
        file().seek(start))
      return std::nullopt;
    const auto summary = read_bytes(file(), size - end_length - start);
    if (!summary)
      return std::nullopt;
    if (sum != 0 && checksum(std::span(*end).first(before_sum), checksum(*summary)) != sum)
      return std::nullopt;
    return indexed_topics(*summary);
  }

  static std::optional<std::vector<IndexedTopic>> indexed_topics(std::span<const uint8_t> summary) {
    Definitions definitions;
    std::optional<std::map<uint16_t, uint64_t>> counts;
    size_t channel_count = 0;
    for (ByteReader reader(summary); reader.left() > 0;) {
      const RecordHead head = read_head(reader);
      ByteReader content(reader.take(head.length));
      Failure failure;
      if (head.record == McapRecord::schema)
        failure = definitions.add_schema(content.rest());
      if (head.record == McapRecord::channel)
        failure = definitions.add_channel(content.rest());
      if (head.record == McapRecord::statistics) {
        content.take(8 + 2); // the numbers of messages and schemas
        channel_count = content.number<uint32_t>();
        content.take(3 * 4 + 2 * 8); // of attachments, metadata and chunks; first and last time
        counts.emplace();
        for (ByteReader pairs(content.counted()); pairs.left() > 0 && !pairs.failed();) {
          const auto id = pairs.number<uint16_t>();
          (*counts)[id] = pairs.number<uint64_t>();
        }
      }
      if (failure || reader.failed() || content.failed())
        return std::nullopt;
    }
    const auto channels = definitions.channels();
    if (!counts || counts->empty() || channels.size() != channel_count)
      return std::nullopt;
    std::vector<IndexedTopic> topics;
    topics.reserve(channels.size());
    for (const MessageChannel* channel : channels)
      topics.push_back({channel->topic, channel->type(), (*counts)[channel->id]});
    return topics;
  }

  OtherRecords others_;
  std::string profile_;
  Definitions definitions_;
  std::vector<uint8_t> record_; ///< outside of chunks
  uint32_t data_checksum_ = 0;
  bool saw_all_ = true; ///< the checksum is of all bytes so far
};

} // namespace

Result<std::unique_ptr<MessageReader>> open_mcap(std::unique_ptr<ByteStream> stream,
                                                 OtherRecords others) {
  auto reader = std::make_unique<McapReader>(std::move(stream), std::move(others));
  if (auto failure = reader->begin())
    return *failure;
  return std::unique_ptr<MessageReader>(std::move(reader));
}

} // namespace recordings
