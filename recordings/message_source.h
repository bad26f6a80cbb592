// The depth of a recording of many topics, as frames.
#pragma once

#include "recordings/frame_source.h"

namespace recordings {

/// The topic that is asked for, else the only one with depth. Files are looked through beforehand:
/// by their index and first messages or, without an index, to their end. Of pipes, what comes until
/// there is a frame and its camera's facts: those have to come within `pipe_messages` and
/// `pipe_bytes` behind the first frame.
Result<std::unique_ptr<FrameSource>> open_mcap_source(std::unique_ptr<ByteStream> stream,
                                                      const SourceOptions& options);
Result<std::unique_ptr<FrameSource>> open_bag_source(std::unique_ptr<ByteStream> stream,
                                                     const SourceOptions& options);

inline constexpr size_t pipe_messages = 1000;
inline constexpr uint64_t pipe_bytes = uint64_t{64} << 20;

} // namespace recordings
