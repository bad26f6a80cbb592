// Frames out: a folder of pictures, or one file.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "recordings/camera.h"
#include "recordings/frame_source.h"
#include "recordings/image.h"

namespace recordings {

struct EncodedFrame {
  FrameSize size;
  std::vector<uint8_t> bytes;
};

/// What writes one file, or the files of one folder. Errors of the file system have the system's
/// own words.
class FrameSink {
 public:
  virtual ~FrameSink() = default;

  /// The part of the work that frames don't share. On any threads at a time, beside `write`.
  virtual Result<EncodedFrame> encode(ImageView image) const = 0;
  /// In the order of the frames' numbers, of which some may be left out. One thread at a time.
  virtual Failure write(const FrameInfo& info, const EncodedFrame& frame) = 0;
  /// Once, after the last frame: a file has its name from here on.
  virtual Failure finish() = 0;
};

struct SinkOptions {
  std::string format;           ///< extension without dot: of pictures in a folder, and of "-"
  std::filesystem::path origin; ///< the one file that the frames come from, else empty
  std::string topic;            ///< the topic in it that they come from
  Camera camera;                ///< of what is written
};

/// For the file that the path names, "-" (standard output), or a folder, which is made.
Result<std::unique_ptr<FrameSink>> create_sink(const std::filesystem::path& path,
                                               const SinkOptions& options);

/// Null where `create_sink` would know what to write.
Failure check_sink(const std::filesystem::path& path, const std::string& format);

/// Whether `path` as an output stands for one file, by its ending; else for a folder of pictures.
bool names_one_file(const std::filesystem::path& path);

} // namespace recordings
