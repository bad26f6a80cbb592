// Bytes in order, from files, standard input or memory: what readers of streams read from.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recordings/result.h"

namespace recordings {

/// One reader at a time.
class ByteStream {
 public:
  virtual ~ByteStream() = default;

  /// Fills `bytes`; the number that were there, fewer only at the end of the stream. An error has
  /// the system's words and the stream's name.
  virtual Result<size_t> read(std::span<uint8_t> bytes) = 0;
  /// Leaves out `count` bytes; the number that were there.
  virtual Result<uint64_t> skip(uint64_t count) = 0;
  /// Goes on at `position` from the beginning. Only where `size` is known.
  virtual Failure seek(uint64_t position) = 0;
  /// Null for pipes, which can't seek either.
  virtual std::optional<uint64_t> size() const = 0;
  /// Bytes read and left out so far, or where `seek` went.
  virtual uint64_t position() const = 0;
  /// As messages name it.
  virtual const std::string& name() const = 0;
};

/// The path that stands for standard input and standard output.
inline constexpr const char* standard_stream = "-";

/// A regular file, anything else that can be opened and read, or "-".
Result<std::unique_ptr<ByteStream>> open_byte_stream(const std::filesystem::path& path);

/// Reads from memory that outlives the stream.
std::unique_ptr<ByteStream> memory_stream(std::span<const uint8_t> bytes, std::string name);

/// The next `count` bytes, fewer at the end of the stream. Memory grows with what really comes, so
/// that a claimed length alone sets nothing aside.
Result<std::vector<uint8_t>> read_bytes(ByteStream& stream, uint64_t count);

/// The same behind what `bytes` holds already, up to `count` in all.
Failure read_up_to(ByteStream& stream, uint64_t count, std::vector<uint8_t>& bytes);

} // namespace recordings
