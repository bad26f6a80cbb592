#include <algorithm>
#include <bit>
#include <charconv>
#include <deque>
#include <thread>

#include <fmt/format.h>

#include "recordings/libav.h"
#include "recordings/matroska.h"
#include "recordings/picture_source.h"
#include "recordings/pixel_bytes.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace recordings {
namespace {

// ---- bytes ----

/// libav has a number for errors; the stream's own is kept here.
struct Bytes {
  std::unique_ptr<ByteStream> stream;
  Failure failure;
  std::vector<uint8_t> front; ///< the first bytes, as far as `announced_end` needs them
};

int read_some(void* user, uint8_t* bytes, int count) {
  auto& input = *static_cast<Bytes*>(user);
  constexpr size_t front_bytes = 128;
  const bool at_front = input.stream->position() == 0;
  const auto got = input.stream->read({bytes, static_cast<size_t>(count)});
  if (got && at_front)
    input.front.assign(bytes, bytes + std::min(*got, front_bytes));
  if (got)
    return *got != 0 ? static_cast<int>(*got) : AVERROR_EOF;
  input.failure = got.error();
  return AVERROR(EIO);
}

/// Only of streams that know their size.
int64_t seek(void* user, int64_t offset, int whence) {
  auto& input = *static_cast<Bytes*>(user);
  const auto size = static_cast<int64_t>(*input.stream->size());
  whence &= ~AVSEEK_FORCE;
  if (whence == AVSEEK_SIZE)
    return size;
  if (whence == SEEK_CUR)
    offset += static_cast<int64_t>(input.stream->position());
  else if (whence == SEEK_END)
    offset += size;
  if (offset < 0 || offset > size)
    return AVERROR(EINVAL);
  input.failure = input.stream->seek(static_cast<uint64_t>(offset));
  return input.failure ? AVERROR(EIO) : offset;
}

/// Cuts an element's identity or its size off the front of `bytes`: the first byte's leading zeros
/// count the bytes that follow. The size's mark of length is no part of its value.
std::optional<uint64_t> take_number(std::span<const uint8_t>& bytes, bool with_mark) {
  const auto length = bytes.empty() ? 9U : static_cast<unsigned>(std::countl_zero(bytes[0])) + 1;
  if (length > 8 || bytes.size() < length)
    return std::nullopt;
  uint64_t number = with_mark ? bytes[0] : bytes[0] & (0xffU >> length);
  for (size_t i = 1; i < length; ++i)
    number = number << 8 | bytes[i];
  const bool unknown = !with_mark && number == (uint64_t{1} << (7 * length)) - 1;
  bytes = bytes.subspan(length);
  return unknown ? std::nullopt : std::optional(number);
}

/// Where the recording ends by what its front says, which libav does not hand out: beyond that of
/// the bytes, it is cut off. Null where it was written to a pipe.
std::optional<uint64_t> announced_end(std::span<const uint8_t> front) {
  constexpr uint64_t segment = 0x18538067;
  std::span<const uint8_t> rest = front;
  const auto header = take_number(rest, true);
  const auto header_bytes = header ? take_number(rest, false) : std::nullopt;
  if (!header_bytes || *header_bytes > rest.size())
    return std::nullopt;
  rest = rest.subspan(static_cast<size_t>(*header_bytes));
  if (take_number(rest, true) != segment)
    return std::nullopt;
  const auto size = take_number(rest, false);
  return size ? std::optional(front.size() - rest.size() + *size) : std::nullopt;
}

struct CloseInput {
  void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};

// ---- pictures ----

bool is_lossless_grey_codec(const AVCodecParameters& video) {
  return video.codec_type == AVMEDIA_TYPE_VIDEO &&
         (video.codec_id == AV_CODEC_ID_FFV1 || video.codec_id == AV_CODEC_ID_RAWVIDEO);
}

Result<libav::Codec> open_decoder(const AVCodecParameters& video) {
  if (auto failure = check_size(static_cast<uint64_t>(std::max(video.width, 0)),
                                static_cast<uint64_t>(std::max(video.height, 0))))
    return *failure;
  const AVCodec* kind = avcodec_find_decoder(video.codec_id);
  libav::Codec codec(kind != nullptr ? avcodec_alloc_context3(kind) : nullptr);
  if (codec == nullptr || avcodec_parameters_to_context(codec.get(), &video) < 0)
    return libav::out_of_memory();
  constexpr unsigned most_threads = 4;
  codec->max_pixels = max_pixels;
  // Threads for the slices of a frame; those for several frames would deliver late.
  codec->thread_type = FF_THREAD_SLICE;
  codec->thread_count =
      static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, most_threads));
  // Damaged pictures are errors, never patched up.
  codec->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_EXPLODE;
  if (const int code = avcodec_open2(codec.get(), kind, nullptr); code < 0)
    return Error{libav::error_text(code)};
  return codec;
}

Result<libav::Frame> decode(AVCodecContext& codec, const AVPacket& packet) {
  libav::Frame frame(av_frame_alloc());
  if (frame == nullptr)
    return libav::out_of_memory();
  libav::Flag complained = false;
  codec.opaque = &complained;
  int code = avcodec_send_packet(&codec, &packet);
  if (code >= 0)
    code = avcodec_receive_frame(&codec, frame.get());
  codec.opaque = nullptr;
  if (code < 0)
    return Error{fmt::format("damaged ({})", libav::error_text(code))};
  if (complained || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->decode_error_flags != 0)
    return Error{"damaged"};
  return frame;
}

bool is_grey16(int format) {
  return format == AV_PIX_FMT_GRAY16LE || format == AV_PIX_FMT_GRAY16BE;
}

std::string format_name(int format) {
  const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
  return name != nullptr ? name : "unknown";
}

Result<Image> picture_of(const AVFrame& frame) {
  if (!is_grey16(frame.format))
    return Error{fmt::format("video of pixel format {}; 16-bit grey (gray16le, gray16be) is needed",
                             format_name(frame.format))};
  if (auto failure = check_size(static_cast<uint64_t>(std::max(frame.width, 0)),
                                static_cast<uint64_t>(std::max(frame.height, 0))))
    return *failure;
  Image image{{static_cast<uint32_t>(frame.width), static_cast<uint32_t>(frame.height)}, {}};
  image.pixels.resize(image.size.pixel_count());
  const ByteOrder order = frame.format == AV_PIX_FMT_GRAY16LE ? ByteOrder::little : ByteOrder::big;
  for (size_t y = 0; y < image.size.height; ++y) {
    const uint8_t* row = frame.data[0] + static_cast<ptrdiff_t>(y) * frame.linesize[0];
    copy_from_bytes(std::span(image.pixels).subspan(y * image.size.width, image.size.width),
                    {row, size_t{image.size.width} * sizeof(uint16_t)}, order);
  }
  return image;
}

// ---- tracks ----

class MatroskaSource final : public FrameSource {
 public:
  explicit MatroskaSource(std::unique_ptr<ByteStream> stream)
      : name_(stream->name()), bytes_(std::make_unique<Bytes>()) {
    bytes_->stream = std::move(stream);
  }

  Failure open(const SourceOptions& options) {
    libav::listen();
    const bool seekable = bytes_->stream->size().has_value();
    io_ = libav::make_io(bytes_.get(), read_some, nullptr, seekable ? seek : nullptr);
    AVFormatContext* format = avformat_alloc_context();
    if (io_ == nullptr || format == nullptr) {
      avformat_free_context(format);
      return libav::out_of_memory();
    }
    format->pb = io_.get();
    const int code =
        avformat_open_input(&format, nullptr, av_find_input_format("matroska"), nullptr);
    if (code < 0) // which has freed it
      return about_file(bytes_->failure ? bytes_->failure->message : libav::error_text(code));
    format_.reset(format);
    if (auto failure = find_pixel_formats())
      return failure;
    return options.topic.empty() ? choose_only() : choose(options.topic);
  }

  Result<std::optional<StoredFrame>> next() override {
    while (!ended_) {
      auto packet = next_packet();
      if (!packet)
        return packet.error();
      if (*packet == nullptr)
        break;
      if ((*packet)->stream_index == chosen_)
        return std::optional(make_frame(**packet));
    }
    return std::optional<StoredFrame>();
  }

  std::vector<Topic> topics() const override {
    std::vector<Topic> topics;
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
      const AVCodecParameters& track = *format_->streams[i]->codecpar;
      topics.push_back({fmt::format("{}", i), describe(track), 0, is_depth(track)});
    }
    return topics;
  }
  std::string topic() const override { return fmt::format("{}", chosen_); }
  const std::vector<std::string>& remarks() const override { return remarks_; }
  bool has_losses() const override { return !remarks_.empty(); }

 private:
  Error about_file(const std::string& message) const {
    return {fmt::format("{}: {}", name_, message)};
  }

  static bool is_depth(const AVCodecParameters& track) {
    return is_lossless_grey_codec(track) && is_grey16(track.format);
  }

  /// "video, ffv1, gray16le"
  static std::string describe(const AVCodecParameters& track) {
    const char* kind = av_get_media_type_string(track.codec_type);
    std::string text =
        fmt::format("{}, {}", kind != nullptr ? kind : "data", avcodec_get_name(track.codec_id));
    if (track.codec_type == AVMEDIA_TYPE_VIDEO && track.format != AV_PIX_FMT_NONE)
      text += ", " + format_name(track.format);
    return text;
  }

  /// The container tells no pixel format of FFV1: the first pictures do, which are kept.
  Failure find_pixel_formats() {
    constexpr size_t most_packets = 1000;
    constexpr size_t most_bytes = size_t{256} << 20;
    std::vector<bool> unknown(format_->nb_streams);
    for (unsigned i = 0; i < format_->nb_streams; ++i)
      unknown[i] = is_lossless_grey_codec(*format_->streams[i]->codecpar);
    size_t held_bytes = 0;
    while (std::ranges::find(unknown, true) != unknown.end() && held_.size() < most_packets &&
           held_bytes < most_bytes) {
      auto packet = read_packet();
      if (!packet)
        return packet.error();
      if (*packet == nullptr)
        break;
      const auto index = static_cast<size_t>((*packet)->stream_index);
      if (index < unknown.size() && unknown[index]) {
        AVCodecParameters& track = *format_->streams[index]->codecpar;
        const auto codec = open_decoder(track);
        const auto frame = codec ? decode(**codec, **packet) : codec.error();
        if (frame)
          track.format = (*frame)->format;
        unknown[index] = codec && !frame; // a damaged picture says nothing about the next
      }
      held_bytes += static_cast<size_t>((*packet)->size);
      held_.push_back(std::move(*packet));
    }
    return std::nullopt;
  }

  Failure choose_only() {
    std::vector<std::string> list;
    std::vector<int> depth;
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
      const AVCodecParameters& track = *format_->streams[i]->codecpar;
      list.push_back(fmt::format("{} ({})", i, describe(track)));
      if (is_depth(track))
        depth.push_back(static_cast<int>(i));
    }
    if (depth.size() == 1)
      return use_track(depth.front());
    if (list.empty())
      return about_file("no tracks");
    if (depth.empty())
      return about_file(fmt::format("no video of 16-bit grey (FFV1 or uncompressed); tracks: {}",
                                    fmt::join(list, ", ")));
    Error error = about_file(
        fmt::format("several videos of 16-bit grey; tracks: {} (--topic)", fmt::join(list, ", ")));
    error.kind = ErrorKind::request;
    return error;
  }

  Failure choose(const std::string& topic) {
    unsigned index = 0;
    const char* end = topic.data() + topic.size();
    const auto [after, error] = std::from_chars(topic.data(), end, index);
    if (error != std::errc{} || after != end || index >= format_->nb_streams)
      return Error{fmt::format("{}: no track '{}'; there are {}, counted from 0", name_, topic,
                               format_->nb_streams),
                   ErrorKind::request};
    const AVCodecParameters& track = *format_->streams[index]->codecpar;
    if (!is_depth(track))
      return about_file(fmt::format("track {} is {}; 16-bit grey (gray16le, gray16be) as FFV1 or "
                                    "uncompressed video is needed",
                                    index, describe(track)));
    return use_track(static_cast<int>(index));
  }

  Failure use_track(int index) {
    auto codec = open_decoder(*format_->streams[index]->codecpar);
    if (!codec)
      return about_file(codec.error().message);
    codec_ = std::move(*codec);
    chosen_ = index;
    return std::nullopt;
  }

  /// Null at the end.
  Result<libav::Packet> next_packet() {
    if (held_.empty())
      return read_packet();
    libav::Packet packet = std::move(held_.front());
    held_.pop_front();
    return packet;
  }

  Result<libav::Packet> read_packet() {
    libav::Packet packet(av_packet_alloc());
    if (packet == nullptr)
      return libav::out_of_memory();
    const int code = ended_ ? AVERROR_EOF : av_read_frame(format_.get(), packet.get());
    if (bytes_->failure)
      return *bytes_->failure;
    if (code >= 0 && (packet->flags & AV_PKT_FLAG_CORRUPT) == 0)
      return packet;
    ended_ = true;
    const uint64_t end = bytes_->stream->size().value_or(bytes_->stream->position());
    const auto announced = announced_end(bytes_->front);
    if (announced && *announced > end)
      remarks_.push_back(fmt::format("{}: cut off behind {} of {} bytes", name_, end, *announced));
    else if (code != AVERROR_EOF)
      remarks_.push_back(fmt::format("{}: damaged, the rest is left out", name_));
    return libav::Packet();
  }

  /// Decoding has to keep the order: a picture may build on the one before.
  StoredFrame make_frame(const AVPacket& packet) {
    StoredFrame frame;
    frame.info = {index_, numbered_name(index_), time_of(packet)};
    frame.place = fmt::format("{}, frame {}", name_, index_++);
    const bool stands_alone = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    const auto decoded = decode(*codec_, packet);
    // The decoder fills gaps from earlier pictures and says so once: what builds on that is damaged
    // as well.
    damaged_ = !decoded || (damaged_ && !stands_alone);
    auto image = !decoded   ? Result<Image>(decoded.error())
                 : damaged_ ? Result<Image>(Error{"builds on a damaged frame"})
                            : picture_of(**decoded);
    if (!image)
      image.error().message = fmt::format("{}: {}", frame.place, image.error().message);
    frame.decode = [image = std::move(image)]() mutable { return std::move(image); };
    return frame;
  }

  std::optional<int64_t> time_of(const AVPacket& packet) const {
    constexpr AVRational nanosecond{1, 1'000'000'000};
    if (packet.pts == AV_NOPTS_VALUE)
      return std::nullopt;
    return av_rescale_q(packet.pts, format_->streams[chosen_]->time_base, nanosecond);
  }

  std::string name_;
  std::unique_ptr<Bytes> bytes_; ///< outlives what reads from it
  libav::Io io_;
  std::unique_ptr<AVFormatContext, CloseInput> format_;
  libav::Codec codec_;
  std::deque<libav::Packet> held_; ///< read, and not handed out yet
  std::vector<std::string> remarks_;
  int chosen_ = -1;
  uint64_t index_ = 0;
  bool damaged_ = false; ///< a frame since the last one that stands alone
  bool ended_ = false;
};

} // namespace

Result<std::unique_ptr<FrameSource>> open_matroska(std::unique_ptr<ByteStream> stream,
                                                   const SourceOptions& options) {
  auto source = std::make_unique<MatroskaSource>(std::move(stream));
  if (auto failure = source->open(options))
    return *failure;
  return std::unique_ptr<FrameSource>(std::move(source));
}

} // namespace recordings
