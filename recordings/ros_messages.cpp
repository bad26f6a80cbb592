#include "recordings/ros_messages.h"

#include <array>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "recordings/byte_reader.h"
#include "recordings/png_image.h"
#include "recordings/rvl.h"

namespace recordings {
namespace {

constexpr int64_t second_ns = 1'000'000'000;

/// CDR begins with four bytes that name the form; offsets count from behind them.
constexpr size_t cdr_front = 4;

Result<ByteReader> open_message(Serialisation serialisation, std::span<const uint8_t> message) {
  if (serialisation == Serialisation::ros1)
    return ByteReader(message);
  if (message.size() < cdr_front)
    return Error{"truncated message"};
  if (message[0] != 0 || message[1] > 1)
    return Error{fmt::format("a CDR message of form {:02x}{:02x}; 0000 and 0001 are read",
                             message[0], message[1])};
  const ByteOrder order = message[1] == 0 ? ByteOrder::big : ByteOrder::little;
  return ByteReader(message.subspan(cdr_front), order, Alignment::natural);
}

class MessageWriter : public ByteWriter {
 public:
  explicit MessageWriter(Serialisation serialisation)
      : ByteWriter(serialisation == Serialisation::cdr ? Alignment::natural : Alignment::packed),
        serialisation_(serialisation) {}

  /// CDR counts and writes the NUL at the end.
  void string(const std::string& value) {
    text(serialisation_ == Serialisation::cdr ? std::string_view(value.c_str(), value.size() + 1)
                                              : std::string_view(value));
  }

  void header(const MessageHeader& header) {
    if (serialisation_ == Serialisation::ros1)
      number(header.sequence);
    number(static_cast<uint32_t>(header.seconds));
    number(header.nanoseconds);
    string(header.frame_id);
  }

  std::vector<uint8_t> message() {
    if (serialisation_ == Serialisation::cdr) {
      constexpr std::array<uint8_t, cdr_front> little_endian{0, 1, 0, 0};
      bytes().insert(bytes().begin(), little_endian.begin(), little_endian.end());
    }
    return std::move(bytes());
  }

 private:
  Serialisation serialisation_;
};

std::string read_string(ByteReader& reader) {
  std::string text = reader.text();
  if (!text.empty() && text.back() == '\0')
    text.pop_back();
  return text;
}

MessageHeader read_header(ByteReader& reader, Serialisation serialisation) {
  MessageHeader header;
  if (serialisation == Serialisation::ros1) {
    header.sequence = reader.number<uint32_t>();
    header.seconds = reader.number<uint32_t>();
  } else {
    header.seconds = reader.number<int32_t>();
  }
  header.nanoseconds = reader.number<uint32_t>();
  header.frame_id = read_string(reader);
  return header;
}

/// Whether the pixels are depth: null where they are not.
std::optional<bool> is_metres(std::string_view encoding) {
  if (encoding == "16UC1" || encoding == "mono16")
    return false;
  return encoding == "32FC1" ? std::optional(true) : std::nullopt;
}

Failure read_image(ByteReader& reader, DepthMessage& message) {
  message.height = reader.number<uint32_t>();
  message.width = reader.number<uint32_t>();
  message.encoding = read_string(reader);
  message.order = reader.number<uint8_t>() != 0 ? ByteOrder::big : ByteOrder::little;
  message.row_bytes = reader.number<uint32_t>();
  message.data = reader.counted();
  if (reader.failed())
    return Error{"truncated image message"};
  const auto metres = is_metres(message.encoding);
  if (!metres)
    return Error{fmt::format("an image of encoding \"{}\"; 16UC1, mono16 and 32FC1 are depth",
                             message.encoding)};
  message.metres = *metres;
  return std::nullopt;
}

/// "16UC1; compressedDepth", with the picture's form at the end: none is PNG.
Failure read_compressed_image(ByteReader& reader, DepthMessage& message) {
  message.encoding = read_string(reader);
  const auto data = reader.counted();
  if (reader.failed())
    return Error{"truncated image message"};
  constexpr std::string_view transport = "; compressedDepth";
  const std::string_view format = message.encoding;
  const size_t end = format.find(transport);
  const auto metres = is_metres(format.substr(0, end));
  const std::string_view form =
      end == std::string_view::npos ? "" : format.substr(end + transport.size());
  if (end == std::string_view::npos || !metres ||
      !(form.empty() || form == " png" || form == " rvl"))
    return Error{fmt::format(
        "a compressed image of format \"{}\"; 16UC1 and 32FC1 as compressedDepth png or rvl are "
        "depth",
        message.encoding)};
  ByteReader settings(data);
  settings.number<int32_t>(); // kind, of which there is one
  message.scale = settings.number<float>();
  message.offset = settings.number<float>();
  message.data = settings.rest();
  if (settings.failed())
    return Error{"truncated image message"};
  message.metres = *metres;
  message.coding = form == " rvl" ? DepthCoding::rvl : DepthCoding::png;
  return std::nullopt;
}

uint16_t millimetres(float metres) {
  const float rounded = std::round(metres * 1000);
  return rounded >= 1 && rounded <= 65535 ? static_cast<uint16_t>(rounded) : uint16_t{0};
}

Result<Image> decode_pixels(const DepthMessage& message) {
  const FrameSize size{message.width, message.height};
  if (auto failure = check_size(size.width, size.height))
    return *failure;
  const uint64_t bytes_per_pixel = message.metres ? 4 : 2;
  const uint64_t used = size.width * bytes_per_pixel;
  // The last row may end with its pixels.
  if (message.row_bytes < used ||
      message.data.size() < uint64_t{message.row_bytes} * (size.height - 1) + used) {
    return Error{fmt::format("{} bytes of pixels, {} a row, where {}x{} needs {} a row",
                             message.data.size(), message.row_bytes, size.width, size.height,
                             used)};
  }
  if (!message.metres && message.row_bytes == used)
    return image_of_bytes(size, message.data.first(static_cast<size_t>(used * size.height)),
                          message.order);
  Image image{size, {}};
  image.pixels.reserve(static_cast<size_t>(size.pixel_count()));
  for (uint32_t y = 0; y < size.height; ++y) {
    ByteReader row(message.data.subspan(size_t{y} * message.row_bytes), message.order);
    for (uint32_t x = 0; x < size.width; ++x)
      image.pixels.push_back(message.metres ? millimetres(row.number<float>())
                                            : row.number<uint16_t>());
  }
  return image;
}

/// A whole CameraInfo as far as it says something of the picture's geometry.
struct Projection {
  double width, height; ///< of the whole sensor
  std::array<double, 9> camera;
  std::array<double, 12> projection;
  double binning_x, binning_y;
  double x_offset, y_offset, roi_width, roi_height; ///< all zero: the whole sensor
};

template <size_t count>
void read_numbers(ByteReader& reader, std::array<double, count>& numbers) {
  for (double& number : numbers)
    number = reader.number<double>();
}

Result<Projection> read_projection(ByteReader& reader) {
  Projection result{};
  result.height = reader.number<uint32_t>();
  result.width = reader.number<uint32_t>();
  read_string(reader); // the distortion's model
  for (auto count = reader.number<uint32_t>(); count > 0 && !reader.failed(); --count)
    reader.number<double>(); // its coefficients
  std::array<double, 9> rectification{};
  read_numbers(reader, result.camera);
  read_numbers(reader, rectification);
  read_numbers(reader, result.projection);
  result.binning_x = std::max(reader.number<uint32_t>(), 1U);
  result.binning_y = std::max(reader.number<uint32_t>(), 1U);
  result.x_offset = reader.number<uint32_t>();
  result.y_offset = reader.number<uint32_t>();
  result.roi_height = reader.number<uint32_t>();
  result.roi_width = reader.number<uint32_t>();
  if (reader.failed())
    return Error{"truncated camera info"};
  if (result.roi_width == 0 || result.roi_height == 0) {
    result.roi_width = result.width;
    result.roi_height = result.height;
  }
  return result;
}

} // namespace

MessageKind kind_of_type(std::string_view type) {
  constexpr std::string_view package = "sensor_msgs/";
  if (!type.starts_with(package))
    return MessageKind::other;
  type.remove_prefix(package.size());
  if (type.starts_with("msg/"))
    type.remove_prefix(4);
  if (type == "Image")
    return MessageKind::image;
  if (type == "CompressedImage")
    return MessageKind::compressed_image;
  return type == "CameraInfo" ? MessageKind::camera_info : MessageKind::other;
}

std::optional<Serialisation> serialisation_of(std::string_view encoding) {
  if (encoding == "ros1")
    return Serialisation::ros1;
  return encoding == "cdr" ? std::optional(Serialisation::cdr) : std::nullopt;
}

std::optional<int64_t> stamp_ns(const MessageHeader& header) {
  const int64_t time = header.seconds * second_ns + header.nanoseconds;
  return time != 0 ? std::optional(time) : std::nullopt;
}

MessageHeader stamped_header(int64_t time_ns, std::string frame_id) {
  return {0, time_ns / second_ns, static_cast<uint32_t>(time_ns % second_ns), std::move(frame_id)};
}

Result<DepthMessage> parse_depth(MessageKind kind, Serialisation serialisation,
                                 std::span<const uint8_t> bytes) {
  auto reader = open_message(serialisation, bytes);
  if (!reader)
    return reader.error();
  DepthMessage message;
  message.header = read_header(*reader, serialisation);
  const Failure failure = kind == MessageKind::image ? read_image(*reader, message)
                                                     : read_compressed_image(*reader, message);
  if (failure)
    return *failure;
  return message;
}

Result<Image> decode_depth(const DepthMessage& message) {
  if (message.coding == DepthCoding::pixels)
    return decode_pixels(message);
  auto image =
      message.coding == DepthCoding::png ? decode_png(message.data) : decode_rvl(message.data);
  if (image && message.metres) {
    for (uint16_t& pixel : image->pixels) {
      const float depth = message.scale / (static_cast<float>(pixel) - message.offset);
      pixel = pixel == 0 ? uint16_t{0} : millimetres(depth);
    }
  }
  return image;
}

Result<std::vector<uint8_t>> encode_depth(ImageView image, DepthCoding coding) {
  switch (coding) {
  case DepthCoding::png:
    return encode_png(image);
  case DepthCoding::rvl:
    return encode_rvl(image);
  case DepthCoding::pixels:
    break;
  }
  std::vector<uint8_t> bytes;
  append_pixels(bytes, image, ByteOrder::little);
  return bytes;
}

std::vector<uint8_t> make_depth_message(const DepthMessage& like, Serialisation serialisation,
                                        FrameSize size, std::span<const uint8_t> encoded) {
  MessageWriter writer(serialisation);
  writer.bytes().reserve(encoded.size() + like.header.frame_id.size() + 128);
  writer.header(like.header);
  if (like.coding == DepthCoding::pixels) {
    writer.number(size.height);
    writer.number(size.width);
    writer.string("16UC1");
    writer.number(uint8_t{0}); // little-endian
    writer.number(size.width * 2);
    writer.counted(encoded);
    return writer.message();
  }
  const bool is_rvl = like.coding == DepthCoding::rvl;
  const bool fits = !like.metres && like.encoding.ends_with(" rvl") == is_rvl;
  writer.string(fits ? like.encoding
                     : fmt::format("16UC1; compressedDepth {}", is_rvl ? "rvl" : "png"));
  constexpr std::array<uint8_t, 12> settings{}; // which only "32FC1" needs
  writer.number(static_cast<uint32_t>(settings.size() + encoded.size()));
  writer.append(settings);
  writer.append(encoded);
  return writer.message();
}

Result<CameraFacts> parse_camera_info(Serialisation serialisation,
                                      std::span<const uint8_t> message) {
  auto reader = open_message(serialisation, message);
  if (!reader)
    return reader.error();
  read_header(*reader, serialisation);
  const auto info = read_projection(*reader);
  if (!info)
    return info.error();
  CameraFacts facts = CameraFacts::object();
  const double width = std::floor(info->roi_width / info->binning_x);
  const double height = std::floor(info->roi_height / info->binning_y);
  if (!check_size(static_cast<uint64_t>(width), static_cast<uint64_t>(height))) {
    facts["width"] = static_cast<uint32_t>(width);
    facts["height"] = static_cast<uint32_t>(height);
  }
  const double fx = info->camera[0] / info->binning_x;
  const double fy = info->camera[4] / info->binning_y;
  const double cx = (info->camera[2] - info->x_offset) / info->binning_x;
  const double cy = (info->camera[5] - info->y_offset) / info->binning_y;
  const auto is_length = [](double value) { return value >= 1e-2 && value < 1e6; }; // NaN is none
  const auto is_place = [](double value) { return std::abs(value) < 1e6; };
  if (is_length(fx) && is_length(fy) && is_place(cx) && is_place(cy))
    facts.update({{"fx", fx}, {"fy", fy}, {"cx", cx}, {"cy", cy}});
  // In a stereo pair the second camera's projection has -fx * baseline (in metres) here.
  const double baseline = std::abs(info->projection[3] / info->projection[0]) * 1000;
  if (is_length(baseline))
    facts["baseline"] = baseline;
  return facts;
}

std::vector<uint8_t> make_camera_info(const MessageHeader& header, FrameSize size,
                                      const gx_camera_intrinsic& intrinsic) {
  const auto [fx, fy, cx, cy] = std::array<double, 4>{double{intrinsic.fx}, double{intrinsic.fy},
                                                      double{intrinsic.cx}, double{intrinsic.cy}};
  MessageWriter writer(Serialisation::cdr);
  writer.header(header);
  writer.number(size.height);
  writer.number(size.width);
  writer.string("plumb_bob");
  writer.number(uint32_t{5});
  for (const double value :
       {0.0, 0.0, 0.0, 0.0, 0.0,                                     // distortion
        fx,  0.0, cx,  0.0, fy,  cy,  0.0, 0.0, 1.0,                 // camera
        1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0,                 // rectification
        fx,  0.0, cx,  0.0, 0.0, fy,  cy,  0.0, 0.0, 0.0, 1.0, 0.0}) // projection
    writer.number(value);
  for (int i = 0; i < 6; ++i) // binning, region of interest
    writer.number(uint32_t{0});
  writer.number(uint8_t{0});
  return writer.message();
}

} // namespace recordings
