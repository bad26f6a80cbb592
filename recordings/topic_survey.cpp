#include "recordings/topic_survey.h"

#include <algorithm>

#include <fmt/format.h>

namespace recordings {
namespace {

bool may_be_depth(const std::string& type) {
  const MessageKind kind = kind_of_type(type);
  return kind == MessageKind::image || kind == MessageKind::compressed_image;
}

std::string parent(const std::string& topic) {
  return topic.substr(0, std::min(topic.rfind('/'), topic.size()));
}

} // namespace

bool DepthTopic::holds(const MessageChannel& channel) const {
  return channel.topic == name && kind_of_type(channel.type()) == kind &&
         serialisation_of(channel.encoding) == serialisation;
}

void TopicSurvey::set_index(const std::vector<IndexedTopic>& topics) {
  indexed_ = true;
  for (const IndexedTopic& topic : topics) {
    Entry& entry = topics_[topic.name];
    if (entry.type.empty())
      entry.type = topic.type;
    entry.messages += topic.messages;
  }
}

void TopicSurvey::see(const Message& message) {
  Entry& entry = topics_[message.channel->topic];
  if (!indexed_)
    ++entry.messages;
  if (entry.seen)
    return;
  entry.type = message.channel->type();
  look_at(message, entry);
  // A damaged message says nothing about those behind it.
  constexpr unsigned most_refused = 16;
  entry.seen = entry.depth || entry.no_depth.empty() || ++entry.refused == most_refused;
}

void TopicSurvey::look_at(const Message& message, Entry& entry) const {
  const MessageKind kind = kind_of_type(entry.type);
  const auto serialisation = serialisation_of(message.channel->encoding);
  if (kind == MessageKind::other)
    return;
  if (!serialisation) {
    entry.no_depth =
        fmt::format("encoded as \"{}\"; ros1 and cdr are read", message.channel->encoding);
    return;
  }
  if (kind == MessageKind::camera_info) {
    const auto facts = parse_camera_info(*serialisation, message.data);
    entry.facts = facts ? *facts : CameraFacts::object();
    return;
  }
  const auto depth = parse_depth(kind, *serialisation, message.data);
  entry.no_depth.clear();
  if (depth)
    entry.depth = {message.channel->topic, kind, *serialisation, depth->coding};
  else
    entry.no_depth = depth.error().message;
}

bool TopicSurvey::is_complete() const {
  const auto is_settled = [this](const auto& item) {
    const auto& [name, entry] = item;
    const bool matters = entry.messages > 0 && may_be_depth(entry.type) && is_asked_for(name);
    return !matters || entry.seen;
  };
  return indexed_ && std::ranges::all_of(topics_, is_settled) && found_camera();
}

bool TopicSurvey::found_depth() const {
  return std::ranges::any_of(
      topics_, [this](const auto& item) { return item.second.depth && is_asked_for(item.first); });
}

bool TopicSurvey::may_hold_frames(const MessageChannel& channel) const {
  const auto found = topics_.find(channel.topic);
  return found != topics_.end() && found->second.depth && found->second.depth->holds(channel) &&
         is_asked_for(channel.topic);
}

bool TopicSurvey::found_camera() const {
  return std::ranges::all_of(topics_, [this](const auto& item) {
    const auto& [name, entry] = item;
    if (!entry.depth || !is_asked_for(name))
      return true;
    const Entry* info = camera_info(name);
    // Without an index one that has not come yet may still come.
    return info != nullptr ? info->seen || info->messages == 0 : indexed_;
  });
}

Result<DepthTopic> TopicSurvey::depth_topic(const std::string& file) const {
  if (!wanted_.empty()) {
    const auto found = topics_.find(wanted_);
    if (found == topics_.end())
      return Error{
          fmt::format("{}: no topic {} (--topic); there are:{}", file, wanted_, list_topics()),
          ErrorKind::request};
    if (found->second.depth)
      return *found->second.depth;
    return Error{fmt::format("{}: topic {} holds no depth (--topic); there are:{}", file, wanted_,
                             list_topics()),
                 ErrorKind::request};
  }
  std::vector<std::string> names;
  for (const auto& [name, entry] : topics_)
    if (entry.depth)
      names.push_back(name);
  if (names.size() == 1)
    return *topics_.at(names.front()).depth;
  if (names.empty())
    return Error{fmt::format("{}: no topic holds depth{}{}", file,
                             topics_.empty() ? "" : "; there are:", list_topics())};
  return Error{
      fmt::format("{}: several topics hold depth (--topic): {}", file, fmt::join(names, ", ")),
      ErrorKind::request};
}

CameraFacts TopicSurvey::facts(const std::string& topic) const {
  const Entry* info = camera_info(topic);
  CameraFacts facts = info != nullptr && info->facts ? *info->facts : CameraFacts::object();
  facts["depth_unit"] = 1; // 16UC1 is millimetres by convention, and 32FC1 becomes so
  return facts;
}

std::vector<Topic> TopicSurvey::topics() const {
  std::vector<Topic> result;
  result.reserve(topics_.size());
  for (const auto& [name, entry] : topics_)
    result.push_back({name, entry.type, entry.messages, entry.depth.has_value()});
  return result;
}

/// Beside the image's topic, which a transport's name may follow; else below it.
const TopicSurvey::Entry* TopicSurvey::camera_info(const std::string& topic) const {
  const std::string image = topic.ends_with("/compressedDepth") ? parent(topic) : topic;
  for (const std::string& prefix : {parent(image), image}) {
    const auto found = topics_.find(prefix + "/camera_info");
    if (found != topics_.end() && kind_of_type(found->second.type) == MessageKind::camera_info)
      return &found->second;
  }
  return nullptr;
}

/// A line for each.
std::string TopicSurvey::list_topics() const {
  std::string list;
  for (const auto& [name, entry] : topics_) {
    list += fmt::format("\n  {} ({})", name, entry.type.empty() ? "of no known type" : entry.type);
    if (!entry.no_depth.empty())
      list += ": " + entry.no_depth;
  }
  return list;
}

} // namespace recordings
