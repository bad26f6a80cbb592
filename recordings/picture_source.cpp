#include "recordings/picture_source.h"

#include <utility>

#include <fmt/format.h>

#include "recordings/image_file.h"

namespace recordings {
namespace {

class PictureFiles final : public FrameSource {
 public:
  PictureFiles(Recording recording, const SourceOptions& options)
      : recording_(std::move(recording)), told_size_(options.told_size) {
    const size_t ignored = recording_.ignored.size();
    if (ignored > 0)
      remarks_.push_back(fmt::format("ignored: {}{}", recording_.ignored.front().string(),
                                     ignored == 1 ? "" : fmt::format(" and {} more", ignored - 1)));
  }

  Result<std::optional<StoredFrame>> next() override {
    if (index_ == recording_.frames.size())
      return std::optional<StoredFrame>();
    const std::filesystem::path& path = recording_.frames[index_];
    StoredFrame frame;
    frame.info = {index_++, path.stem().string(), std::nullopt};
    frame.place = path.string();
    frame.decode = [path, size = told_size_] { return read_image(path, size); };
    return std::optional(std::move(frame));
  }

  std::vector<std::filesystem::path> files() const override { return recording_.frames; }
  std::optional<uint64_t> frame_count() const override { return recording_.frames.size(); }
  const std::vector<std::string>& remarks() const override { return remarks_; }

 private:
  Recording recording_;
  std::optional<FrameSize> told_size_;
  std::vector<std::string> remarks_;
  uint64_t index_ = 0;
};

class PictureStreamSource final : public FrameSource {
 public:
  PictureStreamSource(std::unique_ptr<ByteStream> stream, const Format& format,
                      const SourceOptions& options)
      : stream_(std::move(stream)), format_(&format), told_size_(options.told_size) {}

  Result<std::optional<StoredFrame>> next() override {
    auto bytes = next_picture();
    if (!bytes)
      return bytes.error();
    if (bytes->empty())
      return std::optional<StoredFrame>();
    StoredFrame frame;
    frame.info = {index_, numbered_name(index_), std::nullopt};
    frame.place = fmt::format("{}, frame {}", stream_->name(), index_++);
    frame.decode = [place = frame.place, bytes = std::move(*bytes), read = format_->read,
                    size = told_size_]() -> Result<Image> {
      auto image = read(bytes, size);
      if (!image)
        return Error{fmt::format("{}: {}", place, image.error().message), image.error().kind};
      return image;
    };
    return std::optional(std::move(frame));
  }

  const std::vector<std::string>& remarks() const override { return remarks_; }
  bool has_losses() const override { return !remarks_.empty(); }

 private:
  /// Empty at the end of the stream.
  Result<std::vector<uint8_t>> next_picture() {
    size_t wanted = first_look;
    while (true) {
      if (auto failure = read_up_to(*stream_, wanted, ahead_))
        return *failure;
      if (ahead_.empty())
        return std::vector<uint8_t>();
      const auto length = format_->length(ahead_, told_size_);
      if (!length)
        return Error{fmt::format("{}: {}", stream_->name(), length.error().message),
                     length.error().kind};
      if (*length && **length > largest_picture)
        return Error{fmt::format("{}: too large to be a depth image", stream_->name())};
      if (*length && **length <= ahead_.size())
        return take(static_cast<size_t>(**length));
      if (ahead_.size() < wanted)
        return cut_off();
      wanted = *length ? static_cast<size_t>(**length) : ahead_.size() * 2;
      if (wanted > largest_picture)
        return Error{fmt::format("{}: too large to be a depth image", stream_->name())};
    }
  }

  std::vector<uint8_t> take(size_t length) {
    if (length == ahead_.size())
      return std::exchange(ahead_, {});
    const auto end = ahead_.begin() + static_cast<ptrdiff_t>(length);
    std::vector<uint8_t> picture(ahead_.begin(), end);
    ahead_.erase(ahead_.begin(), end);
    return picture;
  }

  std::vector<uint8_t> cut_off() {
    if (!ahead_.empty())
      remarks_.push_back(fmt::format("{}: cut off in frame {}, whose {} bytes are left out",
                                     stream_->name(), index_, ahead_.size()));
    ahead_.clear();
    return {};
  }

  static constexpr size_t first_look = 64;
  static constexpr uint64_t largest_picture = max_pixels * 2 + (uint64_t{1} << 20);

  std::unique_ptr<ByteStream> stream_;
  const Format* format_;
  std::optional<FrameSize> told_size_;
  std::vector<uint8_t> ahead_; ///< read and not taken yet
  std::vector<std::string> remarks_;
  uint64_t index_ = 0;
};

} // namespace

std::unique_ptr<FrameSource> open_pictures(Recording recording, const SourceOptions& options) {
  return std::make_unique<PictureFiles>(std::move(recording), options);
}

std::unique_ptr<FrameSource> open_picture_stream(std::unique_ptr<ByteStream> stream,
                                                 const Format& format,
                                                 const SourceOptions& options) {
  return std::make_unique<PictureStreamSource>(std::move(stream), format, options);
}

std::string numbered_name(uint64_t index) {
  return fmt::format("frame_{:06}", index);
}

} // namespace recordings
