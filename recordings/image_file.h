// Pictures in files, whole at a time.
#pragma once

#include <filesystem>
#include <span>

#include "recordings/image.h"

namespace recordings {

/// Decodes by extension, files of other names by their first bytes. `told_size` is what headerless
/// files need and others ignore.
Result<Image> decode_image(const std::filesystem::path& path, std::span<const uint8_t> bytes,
                           std::optional<FrameSize> told_size);

/// Errors name the file. Files beyond the largest possible picture are refused unread.
Result<std::vector<uint8_t>> read_file(const std::filesystem::path& path);
Result<Image> read_image(const std::filesystem::path& path, std::optional<FrameSize> told_size);

/// Replaces the file, which is whole or as before at any time; a failure is of kind `system` and
/// names the file.
Failure write_file(const std::filesystem::path& path, std::span<const uint8_t> bytes);
/// The same in the format that the extension names; an error of kind `request` where that is none.
Failure write_image(const std::filesystem::path& path, ImageView image);

} // namespace recordings
