#include "recordings/bag_reader.h"

#include <deque>
#include <map>

#include <fmt/format.h>

#include "recordings/chunked_reader.h"
#include "recordings/image.h"

namespace recordings {
namespace {

enum class BagRecord : uint8_t {
  message = 0x02,
  bag_header = 0x03,
  index = 0x04,
  chunk = 0x05,
  chunk_info = 0x06,
  connection = 0x07,
};

/// A row of "name=value", each with its length in front.
class Fields {
 public:
  static std::optional<Fields> parse(std::span<const uint8_t> bytes) {
    Fields fields;
    for (ByteReader reader(bytes); reader.left() > 0;) {
      const std::string field = reader.text();
      const size_t name_length = field.find('=');
      if (reader.failed() || name_length == std::string::npos)
        return std::nullopt;
      fields.values_.try_emplace(field.substr(0, name_length), field.substr(name_length + 1));
    }
    return fields;
  }

  /// Null where it is missing or of another length.
  template <class T>
  std::optional<T> number(const char* name) const {
    const auto found = values_.find(name);
    if (found == values_.end() || found->second.size() != sizeof(T))
      return std::nullopt;
    const auto* bytes = reinterpret_cast<const uint8_t*>(found->second.data());
    return ByteReader({bytes, sizeof(T)}).number<T>();
  }

  /// Empty where it is missing.
  std::string text(const char* name) const {
    const auto found = values_.find(name);
    return found != values_.end() ? found->second : std::string();
  }

  const std::map<std::string, std::string>& all() const { return values_; }

 private:
  std::map<std::string, std::string> values_;
};

struct Record {
  BagRecord kind{};
  Fields fields;
  uint64_t length = 0; ///< of the data
};

/// The bag's connections. Their addresses stay.
class Connections {
 public:
  Failure add(const Fields& fields, std::span<const uint8_t> data) {
    const auto number = fields.number<uint32_t>("conn");
    const auto facts = Fields::parse(data);
    if (!number || !facts)
      return Error{"a damaged connection"};
    if (const Counted* known = find(*number)) { // repeated at the end
      if (known->channel.topic == fields.text("topic"))
        return std::nullopt;
      return Error{fmt::format("connection {} is of two topics, {} and {}", *number,
                               known->channel.topic, fields.text("topic"))};
    }
    total_ += data.size();
    if (total_ > largest_definitions || channels_.size() == most_connections)
      return Error{fmt::format("more than {} connections or {} bytes of them", most_connections,
                               largest_definitions)};
    MessageChannel channel{
        next_id(channels_.size()), schema(*facts), fields.text("topic"), "ros1", {}};
    for (const auto& [name, value] : facts->all())
      if (name != "topic" && name != "type" && name != "message_definition")
        channel.metadata.emplace_back(name, value);
    channels_.push_back({std::move(channel), 0});
    by_number_.emplace(*number, &channels_.back());
    return std::nullopt;
  }

  struct Counted {
    MessageChannel channel;
    uint32_t messages = 0; ///< read so far
  };

  Counted* find(uint32_t number) const {
    const auto found = by_number_.find(number);
    return found != by_number_.end() ? found->second : nullptr;
  }

  void begin_again() {
    for (Counted& counted : channels_)
      counted.messages = 0;
  }

  std::vector<const MessageSchema*> schemas() const {
    std::vector<const MessageSchema*> result;
    result.reserve(schemas_.size());
    for (const MessageSchema& schema : schemas_)
      result.push_back(&schema);
    return result;
  }

  std::vector<const MessageChannel*> channels() const {
    std::vector<const MessageChannel*> result;
    result.reserve(channels_.size());
    for (const Counted& counted : channels_)
      result.push_back(&counted.channel);
    return result;
  }

 private:
  static constexpr size_t most_connections = 65535; ///< as many as have a number of 16 bits

  static uint16_t next_id(size_t count) { return static_cast<uint16_t>(count + 1); }

  /// Connections of one type share it.
  const MessageSchema* schema(const Fields& facts) {
    const MessageSchema wanted{next_id(schemas_.size()), facts.text("type"), "ros1msg",
                               facts.text("message_definition")};
    const auto [known, is_new] = by_text_.try_emplace({wanted.name, wanted.text}, nullptr);
    if (is_new) {
      schemas_.push_back(wanted);
      known->second = &schemas_.back();
    }
    return known->second;
  }

  std::deque<MessageSchema> schemas_;
  std::map<std::pair<std::string, std::string>, const MessageSchema*> by_text_;
  std::deque<Counted> channels_;
  std::map<uint32_t, Counted*> by_number_;
  uint64_t total_ = 0;
};

class BagReader final : public ChunkedReader {
 public:
  explicit BagReader(std::unique_ptr<ByteStream> stream) : ChunkedReader(std::move(stream)) {}

  Failure begin() override {
    const auto front = read_bytes(file(), bag_first_bytes.size());
    if (!front)
      return front.error();
    if (begins_with(*front, bag_first_bytes))
      return std::nullopt;
    if (begins_with(*front, "#ROSBAG V"))
      return Error{fmt::format("{}: a bag of another version; 2.0 is read", file().name())};
    return Error{fmt::format("{}: not a bag", file().name())};
  }

  const std::string& profile() const override { return profile_; }
  std::vector<const MessageSchema*> schemas() const override { return connections_.schemas(); }
  std::vector<const MessageChannel*> channels() const override { return connections_.channels(); }

 private:
  /// Null, also for what is no record, where the file ends.
  Result<std::optional<Record>> read_record_head() {
    const auto before = read_bytes(file(), 4);
    if (!before)
      return before.error();
    at_end_ = before->empty();
    const uint64_t header_length = ByteReader(*before).number<uint32_t>();
    if (before->size() < 4)
      return std::optional<Record>();
    if (header_length > longest_header)
      return place_error(fmt::format("a record's header of {} bytes", header_length));
    const auto bytes = read_bytes(file(), header_length + 4);
    if (!bytes)
      return bytes.error();
    if (bytes->size() < header_length + 4)
      return std::optional<Record>();
    ByteReader reader(*bytes);
    auto fields = Fields::parse(reader.take(header_length));
    const auto kind = fields ? fields->number<uint8_t>("op") : std::nullopt;
    if (!kind)
      return place_error("a damaged record's header");
    return std::optional(
        Record{static_cast<BagRecord>(*kind), std::move(*fields), reader.number<uint32_t>()});
  }

  Next next_record() override {
    auto record = read_record_head();
    if (!record)
      return record.error();
    if (!*record)
      return end_of_file();
    const bool wanted = (*record)->kind == BagRecord::chunk ||
                        (*record)->kind == BagRecord::connection ||
                        (*record)->kind == BagRecord::message;
    if ((*record)->kind == BagRecord::bag_header)
      index_at_ = (*record)->fields.number<uint64_t>("index_pos").value_or(0);
    if (!wanted) {
      const auto skipped = file().skip((*record)->length);
      if (!skipped)
        return skipped.error();
      return *skipped == (*record)->length ? std::optional<Message>() : end_of_file();
    }
    if ((*record)->length > largest_record)
      return place_error(fmt::format("a record of {} bytes, beyond the limit of {}",
                                     (*record)->length, largest_record));
    auto data = read_bytes(file(), (*record)->length);
    if (!data)
      return data.error();
    const bool whole = data->size() == (*record)->length;
    if ((*record)->kind == BagRecord::chunk)
      return read_chunk((*record)->fields, *data, whole);
    if (!whole)
      return end_of_file();
    record_ = std::move(*data);
    return read_content(**record, record_);
  }

  Next read_chunk(const Fields& fields, const std::vector<uint8_t>& data, bool whole) {
    const std::string name = fields.text("compression");
    const auto size = fields.number<uint32_t>("size");
    const auto compression = name == "none"  ? std::optional(Compression::none)
                             : name == "bz2" ? std::optional(Compression::bz2)
                             : name == "lz4" ? std::optional(Compression::lz4)
                                             : std::nullopt;
    if (!compression)
      return place_error(
          fmt::format("a chunk with compression \"{}\"; none, bz2 and lz4 are read", name));
    if (!size)
      return place_error("a chunk without size");
    if (*size == 0 && data.empty() && *compression != Compression::none)
      return end_of_file(); // lengths are filled in when a chunk is done
    if (auto failure = open_chunk(*compression, data, *size, whole))
      return *failure;
    return std::optional<Message>();
  }

  Next next_in_chunk(ByteReader& left) override {
    const auto header = left.counted();
    const auto data = left.counted();
    if (left.failed())
      return std::optional<Message>();
    auto fields = Fields::parse(header);
    const auto kind = fields ? fields->number<uint8_t>("op") : std::nullopt;
    if (!kind)
      return place_error("damaged record in a chunk");
    return read_content({static_cast<BagRecord>(*kind), std::move(*fields), data.size()}, data);
  }

  Next read_content(const Record& record, std::span<const uint8_t> data) {
    if (record.kind == BagRecord::message)
      return read_message(record.fields, data);
    if (record.kind != BagRecord::connection)
      return std::optional<Message>();
    // What is wrong with the index matters to nobody who reads in order.
    const bool in_index = index_at_ != 0 && file().position() > index_at_;
    auto failure = connections_.add(record.fields, data);
    if (failure && !in_index)
      return place_error(failure->message);
    return std::optional<Message>();
  }

  Next read_message(const Fields& fields, std::span<const uint8_t> data) {
    const auto number = fields.number<uint32_t>("conn");
    const auto time = fields.number<uint64_t>("time");
    if (!number || !time)
      return place_error("a damaged message");
    Connections::Counted* connection = connections_.find(*number);
    if (connection == nullptr)
      return place_error(fmt::format("a message of connection {}, which is not there", *number));
    Message message;
    message.channel = &connection->channel;
    message.sequence = connection->messages++;
    message.log_time = (*time & 0xffffffff) * 1'000'000'000 + (*time >> 32); // seconds come first
    message.publish_time = message.log_time;
    message.data = data;
    return std::optional(message);
  }

  /// A closed bag ends behind its index.
  Next end_of_file() {
    const bool closed = at_end_ && index_at_ != 0 && file().position() >= index_at_;
    return closed ? end() : cut_off();
  }

  void forget_counts() override { connections_.begin_again(); }

  std::optional<std::vector<IndexedTopic>> read_index() override {
    if (file().seek(bag_first_bytes.size()))
      return std::nullopt;
    const auto header = read_record_head();
    if (!header || !*header || (*header)->kind != BagRecord::bag_header)
      return std::nullopt;
    const Fields& fields = (*header)->fields;
    const auto position = fields.number<uint64_t>("index_pos").value_or(0);
    const auto connection_count = fields.number<uint32_t>("conn_count");
    const auto chunk_count = fields.number<uint32_t>("chunk_count");
    if (position == 0 || position > *file().size() || !connection_count || !chunk_count ||
        file().seek(position))
      return std::nullopt;
    BagIndex index;
    for (uint64_t left = uint64_t{*connection_count} + *chunk_count; left > 0; --left)
      if (!read_index_record(index))
        return std::nullopt;
    std::vector<IndexedTopic> topics;
    topics.reserve(index.counts.size());
    for (const auto& [channel, count] : index.counts)
      topics.push_back({channel->topic, channel->type(), count});
    return topics;
  }

  /// The connections and, for each chunk, how many messages of each it holds.
  struct BagIndex {
    Connections connections;
    std::map<const MessageChannel*, uint64_t> counts;
  };

  bool read_index_record(BagIndex& index) {
    const auto record = read_record_head();
    if (!record || !*record || (*record)->length > largest_definitions)
      return false;
    const auto data = read_bytes(file(), (*record)->length);
    if (!data || data->size() < (*record)->length)
      return false;
    if ((*record)->kind == BagRecord::connection)
      return !index.connections.add((*record)->fields, *data);
    ByteReader pairs(*data);
    while ((*record)->kind == BagRecord::chunk_info && pairs.left() > 0) {
      const auto* connection = index.connections.find(pairs.number<uint32_t>());
      if (connection == nullptr)
        return false;
      index.counts[&connection->channel] += pairs.number<uint32_t>();
    }
    return (*record)->kind == BagRecord::chunk_info && !pairs.failed();
  }

  static constexpr uint64_t longest_header = uint64_t{1} << 20;

  std::string profile_ = "ros1";
  Connections connections_;
  bool at_end_ = false;         ///< the file ended between two records
  uint64_t index_at_ = 0;       ///< 0: the bag was not closed
  std::vector<uint8_t> record_; ///< outside of chunks
};

} // namespace

Result<std::unique_ptr<MessageReader>> open_bag(std::unique_ptr<ByteStream> stream) {
  auto reader = std::make_unique<BagReader>(std::move(stream));
  if (auto failure = reader->begin())
    return *failure;
  return std::unique_ptr<MessageReader>(std::move(reader));
}

} // namespace recordings
