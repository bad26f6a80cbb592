#pragma once

#include <cstdint>
#include <memory>

namespace gexton_sdk {

/// The pixels of one frame: exactly `size` bytes, aligned to 64. Buffers come from and go back to a
/// pool of idle ones, so that a steady stream of frames neither allocates nor faults pages in.
class PixelBuffer {
 public:
  /// The bytes have any value. Throws std::bad_alloc.
  explicit PixelBuffer(uint32_t size = 0);

  /// Null where the size is 0.
  uint8_t* data() const noexcept { return bytes_.get(); }
  uint32_t size() const noexcept { return bytes_ ? bytes_.get_deleter().size : 0; }

 private:
  PixelBuffer(uint32_t size, bool guarded);

  struct Recycle {
    uint32_t size;
    bool guarded;
    void operator()(uint8_t* bytes) const noexcept;
  };

  std::unique_ptr<uint8_t[], Recycle> bytes_;
};

} // namespace gexton_sdk
