// Matroska: video of 16-bit grey, as FFV1 or uncompressed in, as FFV1 out. Both through
// libavformat; builds without it say so.
#pragma once

#include "recordings/formats.h"

namespace recordings {

inline constexpr std::string_view matroska_first_bytes = "\x1A\x45\xDF\xA3";

/// The only video of 16-bit grey, or the track that `options.topic` numbers, from 0. Pixels are
/// never converted: other formats are refused.
Result<std::unique_ptr<FrameSource>> open_matroska(std::unique_ptr<ByteStream> stream,
                                                   const SourceOptions& options);

/// FFV1 of level 3 with checksums; all frames have one size. Time stamps are whole milliseconds
/// from the first frame on, as the container has them, or thirty a second where frames have none.
Result<std::unique_ptr<FrameSink>> create_matroska(const std::filesystem::path& path,
                                                   const SinkOptions& options);

} // namespace recordings
