// NumPy's .npz: a zip of .npy files.
#pragma once

#include "recordings/formats.h"

namespace recordings {

inline constexpr std::string_view npz_first_bytes = "PK\x03\x04";

/// The arrays of the archive that hold depth, in its order; others are passed over with a remark.
/// Only from streams that can seek.
Result<std::unique_ptr<FrameSource>> open_npz(std::unique_ptr<ByteStream> stream,
                                              const SourceOptions& options);

} // namespace recordings
