// NumPy's .npy: an array of unsigned 16-bit numbers, height x width or frames x height x width.
#pragma once

#include "recordings/formats.h"
#include "recordings/pixel_bytes.h"

namespace recordings {

inline constexpr std::string_view npy_first_bytes = "\x93NUMPY";

struct NpyHeader {
  uint64_t frames = 1;
  FrameSize size;
  bool one_picture = false; ///< an array of two dimensions
  ByteOrder order = ByteOrder::little;
  bool by_columns = false; ///< Fortran's order, of one frame
};

/// Leaves the stream at the first frame. Errors don't name the stream.
Result<NpyHeader> read_npy_header(ByteStream& stream);

/// The next frame as it is stored, null where no whole one is left.
Result<std::optional<Image>> read_npy_frame(ByteStream& stream, const NpyHeader& header);

/// The frame as it was meant.
Image decode_npy_frame(Image stored, const NpyHeader& header);

/// Of folders of arrays with one frame each.
Result<Image> decode_npy(std::span<const uint8_t> bytes);

Result<std::unique_ptr<FrameSource>> open_npy(std::unique_ptr<ByteStream> stream,
                                              const SourceOptions& options);

/// Always frames x height x width, little-endian; all frames have one size.
Result<std::unique_ptr<FrameSink>> create_npy(const std::filesystem::path& path,
                                              const SinkOptions& options);

} // namespace recordings
