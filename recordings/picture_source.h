// Pictures as a recording: files in their order, or one behind the other in a pipe.
#pragma once

#include "recordings/formats.h"
#include "recordings/recording.h"

namespace recordings {

/// Each file is read when its frame is decoded; a missing one is that frame's error.
std::unique_ptr<FrameSource> open_pictures(Recording recording, const SourceOptions& options);

/// Pictures of `format`, which has `length`, until the stream ends. Their names count from
/// "frame_000000".
std::unique_ptr<FrameSource> open_picture_stream(std::unique_ptr<ByteStream> stream,
                                                 const Format& format,
                                                 const SourceOptions& options);

/// The name of a frame that has only a number.
std::string numbered_name(uint64_t index);

} // namespace recordings
