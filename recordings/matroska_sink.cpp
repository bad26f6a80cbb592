#include <algorithm>
#include <cerrno>
#include <mutex>

#include <fmt/format.h>

#include "recordings/libav.h"
#include "recordings/matroska.h"
#include "recordings/output_file.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace recordings {
namespace {

constexpr AVRational millisecond{1, 1000};
constexpr AVRational default_rate{30, 1};

Error failed(const char* what, int code) {
  const bool is_of_system = code < 0 && code > -4096; // others are four letters
  return {fmt::format("{}: {}", what, libav::error_text(code)),
          ErrorKind::system,
          {},
          is_of_system ? AVUNERROR(code) : 0};
}

Result<libav::Codec> open_encoder(FrameSize size) {
  // libavcodec loses the pixels of smaller frames without a word.
  constexpr uint32_t least_side = 3;
  if (size.width < least_side || size.height < least_side) {
    return Error{fmt::format("{}x{} pixels; FFV1 takes {} a side and more", size.width, size.height,
                             least_side),
                 ErrorKind::request};
  }
  const AVCodec* kind = avcodec_find_encoder(AV_CODEC_ID_FFV1);
  if (kind == nullptr)
    return Error{"this build of libavcodec writes no FFV1", ErrorKind::request};
  libav::Codec codec(avcodec_alloc_context3(kind));
  if (codec == nullptr)
    return libav::out_of_memory();
  codec->width = static_cast<int>(size.width);
  codec->height = static_cast<int>(size.height);
  codec->pix_fmt = AV_PIX_FMT_GRAY16;
  codec->time_base = millisecond;
  codec->level = 3;
  codec->gop_size = 1; // each frame stands alone, so that threads can share the work
  codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
  codec->thread_count = 1;
  av_opt_set_int(codec->priv_data, "slicecrc", 1, 0);
  if (const int code = avcodec_open2(codec.get(), kind, nullptr); code < 0)
    return failed("FFV1", code);
  return codec;
}

/// Encoders that threads share. What comes out does not depend on which one was used before for
/// what.
class Encoders {
 public:
  Result<libav::Codec> take(FrameSize size) {
    {
      const std::lock_guard lock(mutex_);
      const auto found = std::ranges::find_if(free_, [size](const libav::Codec& codec) {
        return codec->width == static_cast<int>(size.width) &&
               codec->height == static_cast<int>(size.height);
      });
      if (found != free_.end()) {
        libav::Codec codec = std::move(*found);
        free_.erase(found);
        return codec;
      }
    }
    return open_encoder(size);
  }

  void give_back(libav::Codec codec) {
    const std::lock_guard lock(mutex_);
    free_.push_back(std::move(codec));
  }

 private:
  std::mutex mutex_;
  std::vector<libav::Codec> free_;
};

Result<std::vector<uint8_t>> encode_with(AVCodecContext& codec, ImageView image) {
  const libav::Frame frame(av_frame_alloc());
  const libav::Packet packet(av_packet_alloc());
  if (frame == nullptr || packet == nullptr)
    return libav::out_of_memory();
  frame->format = codec.pix_fmt;
  frame->width = codec.width;
  frame->height = codec.height;
  if (av_frame_get_buffer(frame.get(), 0) < 0)
    return libav::out_of_memory();
  for (size_t y = 0; y < image.size.height; ++y) {
    const auto row = std::span(image.pixels).subspan(y * image.size.width, image.size.width);
    std::ranges::copy(std::as_bytes(row), reinterpret_cast<std::byte*>(frame->data[0]) +
                                              static_cast<ptrdiff_t>(y) * frame->linesize[0]);
  }
  int code = avcodec_send_frame(&codec, frame.get());
  if (code >= 0)
    code = avcodec_receive_packet(&codec, packet.get());
  if (code < 0)
    return failed("FFV1", code);
  return std::vector<uint8_t>(packet->data, packet->data + packet->size);
}

// ---- bytes ----

/// libav has a number for errors; the file's own is kept here.
struct Bytes {
  OutputFile file;
  uint64_t position = 0;
  Failure failure;
};

int write_all(void* user, uint8_t* bytes, int count) {
  auto& output = *static_cast<Bytes*>(user);
  const std::span<const uint8_t> all(bytes, static_cast<size_t>(count));
  const auto behind =
      static_cast<size_t>(std::min<uint64_t>(output.file.size() - output.position, all.size()));
  if (behind != 0)
    output.failure = output.file.rewrite(output.position, all.first(behind));
  if (!output.failure)
    output.failure = output.file.write(all.subspan(behind));
  output.position += all.size();
  return output.failure ? AVERROR(EIO) : count;
}

int64_t seek(void* user, int64_t offset, int whence) {
  auto& output = *static_cast<Bytes*>(user);
  const auto size = static_cast<int64_t>(output.file.size());
  whence &= ~AVSEEK_FORCE;
  if (whence == AVSEEK_SIZE)
    return size;
  if (whence != SEEK_SET || offset < 0 || offset > size)
    return AVERROR(EINVAL);
  output.position = static_cast<uint64_t>(offset);
  return offset;
}

struct FreeFormat {
  void operator()(AVFormatContext* format) const { avformat_free_context(format); }
};

class MatroskaSink final : public FrameSink {
 public:
  MatroskaSink(OutputFile file, std::string name, bool seekable)
      : name_(std::move(name)), bytes_(std::make_unique<Bytes>(Bytes{std::move(file), 0, {}})),
        io_(libav::make_io(bytes_.get(), nullptr, write_all, seekable ? seek : nullptr)) {}

  Result<EncodedFrame> encode(ImageView image) const override {
    auto encoder = encoders_.take(image.size);
    if (!encoder)
      return encoder.error();
    auto bytes = encode_with(**encoder, image);
    if (!bytes) // and the encoder is of no use any more
      return bytes.error();
    encoders_.give_back(std::move(*encoder));
    return EncodedFrame{image.size, std::move(*bytes)};
  }

  Failure write(const FrameInfo& info, const EncodedFrame& frame) override {
    if (format_ == nullptr)
      if (auto failure = begin(info, frame.size))
        return failure;
    if (frame.size != size_) {
      return Error{fmt::format("{}: {}x{} pixels after frames of {}x{}; all frames of a .mkv file "
                               "have one size",
                               info.name, frame.size.width, frame.size.height, size_.width,
                               size_.height),
                   ErrorKind::request};
    }
    const libav::Packet packet(av_packet_alloc());
    if (packet == nullptr || av_new_packet(packet.get(), static_cast<int>(frame.bytes.size())) < 0)
      return libav::out_of_memory();
    std::ranges::copy(frame.bytes, packet->data);
    packet->pts = packet->dts = last_time_ = std::max(last_time_, time_of(info));
    packet->flags |= AV_PKT_FLAG_KEY;
    ++written_;
    return outcome(av_write_frame(format_.get(), packet.get()));
  }

  Failure finish() override {
    if (format_ == nullptr)
      return Error{fmt::format("{}: a .mkv file needs a frame", name_), ErrorKind::request};
    if (auto failure = outcome(av_write_trailer(format_.get())))
      return failure;
    return bytes_->file.commit();
  }

 private:
  Failure outcome(int code) const {
    if (bytes_->failure)
      return bytes_->failure;
    return code < 0 ? Failure(failed(name_.c_str(), code)) : std::nullopt;
  }

  /// The header, which takes the size of the frames and what their decoder has to know.
  Failure begin(const FrameInfo& first, FrameSize size) {
    AVFormatContext* format = nullptr;
    if (avformat_alloc_output_context2(&format, nullptr, "matroska", nullptr) < 0)
      return libav::out_of_memory();
    format_.reset(format);
    AVStream* track = avformat_new_stream(format, nullptr);
    auto encoder = encoders_.take(size);
    if (!encoder)
      return encoder.error();
    if (io_ == nullptr || track == nullptr ||
        avcodec_parameters_from_context(track->codecpar, encoder->get()) < 0)
      return libav::out_of_memory();
    encoders_.give_back(std::move(*encoder));
    track->time_base = millisecond;
    if (!first.time_ns)
      track->avg_frame_rate = default_rate;
    format->pb = io_.get();
    format->flags |=
        AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_BITEXACT; // the same file from the same frames
    size_ = size;
    first_time_ns_ = first.time_ns;
    return outcome(avformat_write_header(format, nullptr));
  }

  /// Milliseconds since the first frame, rounded.
  int64_t time_of(const FrameInfo& info) const {
    if (first_time_ns_ && info.time_ns) {
      int64_t since = 0;
      if (!__builtin_sub_overflow(*info.time_ns, *first_time_ns_, &since))
        return av_rescale_q(since, {1, 1'000'000'000}, millisecond);
    }
    return av_rescale_q(static_cast<int64_t>(written_), av_inv_q(default_rate), millisecond);
  }

  std::string name_;
  std::unique_ptr<Bytes> bytes_;
  libav::Io io_;
  std::unique_ptr<AVFormatContext, FreeFormat> format_;
  mutable Encoders encoders_;
  FrameSize size_;
  std::optional<int64_t> first_time_ns_;
  int64_t last_time_ = 0;
  uint64_t written_ = 0;
};

} // namespace

Result<std::unique_ptr<FrameSink>> create_matroska(const std::filesystem::path& path,
                                                   const SinkOptions&) {
  libav::listen();
  auto file = OutputFile::create(path);
  if (!file)
    return file.error();
  return std::unique_ptr<FrameSink>(
      std::make_unique<MatroskaSink>(std::move(*file), path.string(), path != standard_stream));
}

} // namespace recordings
