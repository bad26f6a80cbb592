// The messages of ROS 1 and ROS 2 that carry depth and the camera's facts, in both serialisations.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "recordings/camera.h"
#include "recordings/pixel_bytes.h"

namespace recordings {

enum class MessageKind { image, compressed_image, camera_info, other };
enum class Serialisation { ros1, cdr };

/// By a type's name as ROS 1 ("sensor_msgs/Image") or ROS 2 ("sensor_msgs/msg/Image") has it.
MessageKind kind_of_type(std::string_view type);

/// By a channel's message encoding, "ros1" or "cdr"; null for others.
std::optional<Serialisation> serialisation_of(std::string_view encoding);

/// What a message has to say of itself.
struct MessageHeader {
  uint32_t sequence = 0; ///< of ROS 1 alone
  int64_t seconds = 0;
  uint32_t nanoseconds = 0;
  std::string frame_id;
};

/// The stamp, null where it is zero.
std::optional<int64_t> stamp_ns(const MessageHeader& header);
/// `time_ns` from zero on.
MessageHeader stamped_header(int64_t time_ns, std::string frame_id);

enum class DepthCoding { pixels, png, rvl };

/// An Image or CompressedImage whose pixels are depth, and still coded.
struct DepthMessage {
  MessageHeader header;
  DepthCoding coding = DepthCoding::pixels;
  std::string encoding; ///< of an Image; the format of a CompressedImage
  /// "32FC1": metres or, compressed, `scale / (value - offset)` metres.
  bool metres = false;
  float scale = 0;
  float offset = 0;
  // Of plain pixels:
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t row_bytes = 0; ///< may exceed those of the pixels
  ByteOrder order = ByteOrder::little;
  std::span<const uint8_t> data; ///< within the message
};

/// An error says what it is that is not depth, or how it is damaged.
Result<DepthMessage> parse_depth(MessageKind kind, Serialisation serialisation,
                                 std::span<const uint8_t> message);

/// In millimetres as they stand; of metres, rounded, with 0 for what is no number or does not fit.
Result<Image> decode_depth(const DepthMessage& message);

/// The part of a message that `make_depth_message` takes: it depends on the picture alone.
Result<std::vector<uint8_t>> encode_depth(ImageView image, DepthCoding coding);

/// An Image ("16UC1", little-endian) for plain pixels, else a CompressedImage. Header and, where it
/// fits, format are those of `like`.
std::vector<uint8_t> make_depth_message(const DepthMessage& like, Serialisation serialisation,
                                        FrameSize size, std::span<const uint8_t> encoded);

/// width, height, fx, fy, cx, cy and, where the projection holds it, baseline (millimetres), of the
/// pictures as binning and region of interest make them. What is zero or makes no sense is left
/// out.
Result<CameraFacts> parse_camera_info(Serialisation serialisation,
                                      std::span<const uint8_t> message);

/// CDR. Without lens distortion and baseline: depth is seen from its own camera.
std::vector<uint8_t> make_camera_info(const MessageHeader& header, FrameSize size,
                                      const gx_camera_intrinsic& intrinsic);

} // namespace recordings
