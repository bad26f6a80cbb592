#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "support/camera_frame.h"

namespace golden {

/// FNV-1a with 64 bits, over numbers as bytes from the lowest up, whatever the platform's order and
/// widths.
class Digest {
 public:
  uint64_t value() const { return value_; }

  template <typename Number>
  Digest& add(Number number) {
    uint64_t bits = 0;
    if constexpr (std::is_floating_point_v<Number>) {
      std::conditional_t<std::is_same_v<Number, float>, uint32_t, uint64_t> same{};
      static_assert(sizeof same == sizeof number);
      std::memcpy(&same, &number, sizeof number);
      bits = same;
    } else {
      bits = static_cast<uint64_t>(number);
    }
    return add_bytes(bits, std::is_same_v<Number, uint16_t> ? 2 : 8);
  }
  Digest& add(const std::string& text);

  /// All that can be seen of a frame.
  Digest& add(const test::CameraFrame& frame);

 private:
  Digest& add_bytes(uint64_t bits, int count) {
    for (; count > 0; --count, bits >>= 8)
      value_ = (value_ ^ (bits & 0xff)) * 0x100000001b3U;
    return *this;
  }

  uint64_t value_ = 0xcbf29ce484222325U;
};

} // namespace golden
