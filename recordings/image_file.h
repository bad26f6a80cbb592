// Pictures in files: which reader a file needs, and whole-file input and output.
#pragma once

#include <filesystem>
#include <span>

#include "recordings/image.h"

namespace recordings {

/// Whether a file of this name is taken from a directory: .png, .pgm, .raw or .bin in any case.
bool has_image_extension(const std::filesystem::path& path);

/// Decodes by extension, files of other names by their first bytes. `raw_size` is what headerless
/// files need and others ignore.
Result<Image> decode_image(const std::filesystem::path& path, std::span<const uint8_t> bytes,
                           std::optional<FrameSize> raw_size);

/// Errors name the file. Files beyond the largest possible picture are refused unread.
Result<std::vector<uint8_t>> read_file(const std::filesystem::path& path);
Result<Image> read_image(const std::filesystem::path& path, std::optional<FrameSize> raw_size);

/// Replaces the file; a failure is of kind `system` and names the file.
Failure write_file(const std::filesystem::path& path, std::span<const uint8_t> bytes);

} // namespace recordings
