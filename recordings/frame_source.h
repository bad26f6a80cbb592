// Frames in: a recording as a row of frames, whatever holds it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "recordings/byte_stream.h"
#include "recordings/camera.h"
#include "recordings/image.h"

namespace recordings {

struct FrameInfo {
  uint64_t index = 0;             ///< number in the recording, from 0
  std::string name;               ///< of no other frame there; fit for a file name
  std::optional<int64_t> time_ns; ///< time stamp, nanoseconds since the recording's epoch
};

/// A frame that was found and is still encoded, so that decoding can happen beside the search for
/// the next.
struct StoredFrame {
  FrameInfo info;
  std::string place; ///< as messages name it: "scene/a.png" or "a.mcap, message 7 of /depth"
  /// Owns all that it needs; called at most once, on any thread, also after the source is gone.
  /// Errors name the place and concern this frame alone.
  std::function<Result<Image>()> decode;
};

/// What a container of messages holds, for those who look into it.
struct Topic {
  std::string name;
  std::string type;      ///< of its messages
  uint64_t messages = 0; ///< 0 where the recording does not say
  bool depth = false;    ///< its frames can be read
};

/// One thread at a time.
class FrameSource {
 public:
  virtual ~FrameSource() = default;

  /// The next frame, null at the end. After an error there are no more frames. What is cut off ends
  /// where its last whole frame ends, with a remark.
  virtual Result<std::optional<StoredFrame>> next() = 0;

  /// The pictures that the frames are, in their order; nothing where one file holds them.
  virtual std::vector<std::filesystem::path> files() const { return {}; }
  /// The file that says which these are; empty where the folder itself does.
  virtual std::filesystem::path list() const { return {}; }
  /// How many frames there are, where that is known beforehand.
  virtual std::optional<uint64_t> frame_count() const { return std::nullopt; }
  /// What the recording itself says about its camera; with width and height where it says them.
  /// Known from the beginning.
  virtual CameraFacts facts() const { return CameraFacts::object(); }
  virtual std::vector<Topic> topics() const { return {}; }
  /// The topic that the frames come from, or nothing.
  virtual std::string topic() const { return {}; }
  /// What a user should know: what was passed over and why. Grows until the end is reached.
  virtual const std::vector<std::string>& remarks() const {
    static const std::vector<std::string> none;
    return none;
  }
  /// Whether some of that is of frames that were there once: what is cut off or damaged.
  virtual bool has_losses() const { return false; }
};

struct SourceOptions {
  std::string match;  ///< wildcards that choose among the files of folders
  std::string topic;  ///< of containers with several; empty: the only depth topic
  std::string format; ///< extension without dot, of what has no name; empty: by content
  std::optional<FrameSize> told_size; ///< of headerless frames
};

/// Pictures and folders of them in order, or one container. The error's kind tells what would help.
Result<std::unique_ptr<FrameSource>> open_source(const std::vector<std::filesystem::path>& inputs,
                                                 const SourceOptions& options);

} // namespace recordings
