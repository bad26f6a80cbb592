// ROS 1 bags (version 2.0), read in order.
#pragma once

#include <string_view>

#include "recordings/message_reader.h"

namespace recordings {

inline constexpr std::string_view bag_first_bytes = "#ROSBAG V2.0\n";

/// Channels are the bag's connections; a channel's messages are numbered, as the bag does not do
/// it. A bag that was not closed is read to its last whole message.
Result<std::unique_ptr<MessageReader>> open_bag(std::unique_ptr<ByteStream> stream);

} // namespace recordings
