// The compressions that chunks of recordings come in.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "recordings/result.h"

namespace recordings {

/// lz4 and zstd are their frame formats, several of which may follow each other.
enum class Compression { none, lz4, zstd, bz2 };

/// Of what a chunk may claim to be, compressed or not.
inline constexpr uint64_t largest_chunk = uint64_t{1} << 30;

/// Exactly `size` bytes, which is at most `largest_chunk`; fewer or more are an error. Memory grows
/// with what really comes.
Result<std::vector<uint8_t>> decompress(Compression compression, std::span<const uint8_t> bytes,
                                        uint64_t size);

/// The front, at most `size` bytes, of what was cut off while it was written: as far as it goes.
std::vector<uint8_t> decompress_front(Compression compression, std::span<const uint8_t> bytes,
                                      uint64_t size);

/// Fast rather than small: depth is noisy, and recordings are written while someone waits. Not bz2.
Result<std::vector<uint8_t>> compress(Compression compression, std::span<const uint8_t> bytes);

} // namespace recordings
