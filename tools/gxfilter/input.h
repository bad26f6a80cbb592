// A recording with all that is known of its camera, for whoever reads recordings on a user's
// behalf.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "recordings/frame_source.h"
#include "recordings/pixel_decoding.h"

namespace gxfilter {

struct InputOptions {
  std::vector<std::filesystem::path> inputs;
  recordings::SourceOptions source;  ///< all but the size, which follows from the camera's facts
  std::string size;                  ///< "WxH" or empty
  std::filesystem::path camera_file; ///< empty: the one beside the first input, if any
  recordings::CameraFacts facts = recordings::CameraFacts::object(); ///< what options say
  recordings::PixelDecoding decoding; ///< what pixels take before they are depth
  /// Is told what a user should know though it is no error.
  std::function<void(const std::string&)> note = [](const std::string&) {};
};

struct Input {
  std::unique_ptr<recordings::FrameSource> source;
  recordings::KnownFacts facts;     ///< of the recording itself, the camera file and the options
  recordings::PixelDecoder decoder; ///< for every picture of the source
  std::function<void(const std::string&)> note;
};

recordings::Result<Input> open_input(const InputOptions& options);

/// An error where a file or an option says another size than the frames have. Where only the
/// recording itself does, as behind a filter that changed the size of its frames, what it says of
/// its camera is left aside, with a note.
recordings::Failure settle_size(Input& input, recordings::FrameSize frames);

/// "WIDTHxHEIGHT" within the limits; an error that names `option` for anything else.
recordings::Result<recordings::FrameSize> parse_size_option(const std::string& option,
                                                            const std::string& text);

} // namespace gxfilter
