#include "recordings/picture_sink.h"

#include <fmt/format.h>

#include "recordings/image_file.h"
#include "recordings/output_file.h"

namespace recordings {
namespace {

class PictureSink : public FrameSink {
 public:
  explicit PictureSink(const Format& format) : format_(&format) {}

  Result<EncodedFrame> encode(ImageView image) const override {
    auto bytes = format_->write(image);
    if (!bytes)
      return bytes.error();
    return EncodedFrame{image.size, std::move(*bytes)};
  }

 protected:
  const Format* format_;
};

class PictureFolder final : public PictureSink {
 public:
  PictureFolder(std::filesystem::path folder, const Format& format)
      : PictureSink(format), folder_(std::move(folder)) {}

  Failure write(const FrameInfo& info, const EncodedFrame& frame) override {
    return write_file(picture_path(folder_, info.name, *format_), frame.bytes);
  }

  Failure finish() override { return std::nullopt; }

 private:
  std::filesystem::path folder_;
};

class PictureFile final : public PictureSink {
 public:
  PictureFile(std::filesystem::path path, const Format& format)
      : PictureSink(format), path_(std::move(path)) {}

  Failure write(const FrameInfo&, const EncodedFrame& frame) override {
    if (frame_) {
      return Error{fmt::format("{} holds one frame; several need a folder", path_.string()),
                   ErrorKind::request};
    }
    frame_ = frame;
    return std::nullopt;
  }

  Failure finish() override { return frame_ ? write_file(path_, frame_->bytes) : std::nullopt; }

 private:
  std::filesystem::path path_;
  std::optional<EncodedFrame> frame_; ///< until it is known that there is no other
};

class PictureStreamSink final : public PictureSink {
 public:
  PictureStreamSink(OutputFile file, const Format& format)
      : PictureSink(format), file_(std::move(file)) {}

  Failure write(const FrameInfo&, const EncodedFrame& frame) override {
    return file_.write(frame.bytes);
  }

  Failure finish() override { return file_.commit(); }

 private:
  OutputFile file_;
};

} // namespace

Result<std::unique_ptr<FrameSink>> create_picture_folder(const std::filesystem::path& folder,
                                                         const Format& format) {
  std::error_code code;
  std::filesystem::create_directories(folder, code);
  if (code)
    return system_error(folder.string(), code);
  return std::unique_ptr<FrameSink>(std::make_unique<PictureFolder>(folder, format));
}

Result<std::unique_ptr<FrameSink>> create_picture_file(const std::filesystem::path& path,
                                                       const Format& format) {
  return std::unique_ptr<FrameSink>(std::make_unique<PictureFile>(path, format));
}

Result<std::unique_ptr<FrameSink>> create_picture_stream(const Format& format) {
  auto file = OutputFile::create(standard_stream);
  if (!file)
    return file.error();
  return std::unique_ptr<FrameSink>(std::make_unique<PictureStreamSink>(std::move(*file), format));
}

std::filesystem::path picture_path(const std::filesystem::path& folder, const std::string& name,
                                   const Format& format) {
  return folder / (name + format.extension);
}

} // namespace recordings
