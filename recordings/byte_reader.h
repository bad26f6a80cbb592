// Cursors over bytes that others wrote and over those that are written for them: numbers, texts and
// runs of bytes, as the containers and messages of robots have them.
#pragma once

#include <algorithm>
#include <bit>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "recordings/pixel_bytes.h"

namespace recordings {

/// Words that quote bytes of a file, as part of a line: control characters become blanks, none of
/// which is at the end.
inline std::string one_line(std::string_view words) {
  std::string line(words);
  std::ranges::replace_if(
      line, [](unsigned char c) { return c < ' ' || c == 127; }, ' ');
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

/// Numbers one behind the other, or each at a multiple of its own size from the first byte on.
enum class Alignment { packed, natural };

/// Never reads beyond its bytes: what is not there reads as zero or as nothing, and `failed` says
/// so from then on. Readers go straight through and ask once.
class ByteReader {
 public:
  explicit ByteReader(std::span<const uint8_t> bytes, ByteOrder order = ByteOrder::little,
                      Alignment alignment = Alignment::packed)
      : bytes_(bytes), order_(order), alignment_(alignment) {}

  template <class T>
  T number() {
    if (alignment_ == Alignment::natural)
      take((sizeof(T) - position_ % sizeof(T)) % sizeof(T));
    const auto bytes = take(sizeof(T));
    uint64_t value = 0;
    for (size_t i = 0; i < bytes.size(); ++i)
      value = value << 8 | bytes[order_ == ByteOrder::big ? i : bytes.size() - 1 - i];
    if constexpr (std::is_same_v<T, double>)
      return std::bit_cast<double>(value);
    else if constexpr (std::is_same_v<T, float>)
      return std::bit_cast<float>(static_cast<uint32_t>(value));
    else
      return static_cast<T>(value);
  }

  /// The next `count` bytes or, where there are fewer, none.
  std::span<const uint8_t> take(uint64_t count) {
    if (failed_ || count > left()) {
      failed_ = true;
      return {};
    }
    const auto taken = bytes_.subspan(position_, static_cast<size_t>(count));
    position_ += taken.size();
    return taken;
  }

  /// Bytes with their number, of 32 bits, in front.
  std::span<const uint8_t> counted() { return take(number<uint32_t>()); }

  /// The same as text.
  std::string text() {
    const auto bytes = counted();
    return {bytes.begin(), bytes.end()};
  }

  std::span<const uint8_t> rest() { return take(failed_ ? 0 : left()); }

  size_t position() const { return position_; }
  size_t left() const { return bytes_.size() - position_; }
  bool failed() const { return failed_; }

 private:
  std::span<const uint8_t> bytes_;
  ByteOrder order_;
  Alignment alignment_;
  size_t position_ = 0;
  bool failed_ = false;
};

/// Little-endian.
class ByteWriter {
 public:
  explicit ByteWriter(Alignment alignment = Alignment::packed) : alignment_(alignment) {}

  template <class T>
  void number(T value) {
    while (alignment_ == Alignment::natural && bytes_.size() % sizeof(T) != 0)
      bytes_.push_back(0);
    uint64_t bits = 0;
    if constexpr (std::is_same_v<T, double>)
      bits = std::bit_cast<uint64_t>(value);
    else if constexpr (std::is_same_v<T, float>)
      bits = std::bit_cast<uint32_t>(value);
    else
      bits = static_cast<uint64_t>(value);
    for (size_t i = 0; i < sizeof(T); ++i)
      bytes_.push_back(static_cast<uint8_t>(bits >> 8 * i));
  }

  void append(std::span<const uint8_t> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  }

  /// With their number, of 32 bits, in front.
  void counted(std::span<const uint8_t> bytes) {
    number(static_cast<uint32_t>(bytes.size()));
    append(bytes);
  }

  void text(std::string_view text) {
    counted({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  }

  const std::vector<uint8_t>& bytes() const { return bytes_; }
  std::vector<uint8_t>& bytes() { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  Alignment alignment_;
};

} // namespace recordings
