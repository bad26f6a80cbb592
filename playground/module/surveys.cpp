// Messages of robots' recordings: which topic holds the depth, its camera, its pictures.
#include "answers.h"
#include "recordings/topic_survey.h"

using namespace recordings;
using namespace playground;

namespace {

struct Survey {
  TopicSurvey topics;
};

} // namespace

/// An empty topic: the only one with depth.
PLAYGROUND_API Survey* survey_make(const char* topic) {
  return guarded([&] { return new Survey{TopicSurvey(topic)}; });
}

/// What the recording's index has: a list of name, type and messages.
PLAYGROUND_API bool survey_set_index(Survey* survey, const char* index) {
  return guarded([&] {
    std::vector<IndexedTopic> topics;
    for (const nlohmann::json& topic : parse(index))
      topics.push_back({topic["name"], topic["type"], topic["messages"].get<uint64_t>()});
    survey->topics.set_index(topics);
    return true;
  });
}

/// Looks at a message; whether more would tell more.
PLAYGROUND_API bool survey_see(Survey* survey, const char* topic, const char* type,
                               const char* encoding, const uint8_t* bytes, uint32_t size) {
  return guarded([&] {
    MessageSchema schema;
    schema.name = type;
    MessageChannel channel;
    channel.schema = &schema;
    channel.topic = topic;
    channel.encoding = encoding;
    Message message;
    message.channel = &channel;
    message.data = bytes_of(bytes, size);
    survey->topics.see(message);
    return !survey->topics.is_complete();
  });
}

/// The topic with the frames, what the recording says of its camera, and all topics; empty with the
/// reason where no topic can be taken.
PLAYGROUND_API const char* survey_outcome(const Survey* survey, const char* file) {
  return guarded([&]() -> const char* {
    std::vector<std::string> names;
    for (const Topic& found : survey->topics.topics())
      if (found.depth)
        names.push_back(found.name);
    const auto topic = survey->topics.depth_topic(file);
    if (!topic) {
      if (topic.error().kind == ErrorKind::request && !names.empty())
        fail_for_topic(topic.error(), names);
      else
        fail(topic.error());
      return nullptr;
    }
    return answer({{"topic", topic->name},
                   {"kind", static_cast<int>(topic->kind)},
                   {"serialisation", static_cast<int>(topic->serialisation)},
                   {"facts", survey->topics.facts(topic->name)},
                   {"depthTopics", names}});
  });
}

/// Whether messages of a channel are frames of the topic that `survey_outcome` told.
PLAYGROUND_API bool channel_holds(const char* type, const char* encoding, int kind,
                                  int serialisation) {
  const auto form = serialisation_of(encoding);
  return static_cast<int>(kind_of_type(type)) == kind && form &&
         static_cast<int>(*form) == serialisation;
}

PLAYGROUND_API void survey_delete(Survey* survey) {
  delete survey;
}

PLAYGROUND_API Image* message_decode(int kind, int serialisation, const uint8_t* bytes,
                                     uint32_t size) {
  return guarded([&]() -> Image* {
    const auto message =
        parse_depth(static_cast<MessageKind>(kind), static_cast<Serialisation>(serialisation),
                    bytes_of(bytes, size));
    if (message)
      return released(decode_depth(*message));
    fail(message.error());
    return nullptr;
  });
}
