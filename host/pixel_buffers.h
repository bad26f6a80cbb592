#pragma once

#include "gexton_host.h"

#include <cstdint>
#include <memory>

namespace gexton_sdk {

/// The pixels of one frame: exactly `size` bytes. Those of its own are aligned to 64; they come
/// from and go back to a pool of idle ones, so that a steady stream of frames neither allocates nor
/// faults pages in.
class PixelBuffer {
 public:
  /// The bytes have any value. Throws std::bad_alloc.
  explicit PixelBuffer(uint32_t size = 0);

  /// Bytes that someone else owns and that nobody writes to, at an address that is not null.
  static PixelBuffer borrow(const uint8_t* bytes, uint32_t size) noexcept;

  /// Gives borrowed bytes back this way, from here on.
  void release_with(gexton_release release, void* owner) noexcept;

  /// The next buffer of exactly `size` bytes that this thread makes is this memory, once; its user
  /// may write to it. Null takes the offer back. Returns whether the last offer was still open.
  static bool offer(uint8_t* bytes, uint32_t size) noexcept;

  /// Null where the size is 0, but for borrowed bytes.
  uint8_t* data() const noexcept { return bytes_.get(); }
  uint32_t size() const noexcept { return bytes_ ? bytes_.get_deleter().size : 0; }
  bool is_borrowed() const noexcept {
    return bytes_ && bytes_.get_deleter().origin == Origin::borrowed;
  }

 private:
  enum class Origin { pool, guarded, borrowed, offered };

  struct GiveBack {
    uint32_t size;
    Origin origin;
    gexton_release release; ///< of borrowed bytes; null: they outlive the frame
    void* owner;
    void operator()(uint8_t* bytes) const noexcept;
  };

  PixelBuffer(uint8_t* bytes, uint32_t size, Origin origin) noexcept
      : bytes_(bytes, GiveBack{size, origin, nullptr, nullptr}) {}
  static PixelBuffer acquire(uint32_t size);

  std::unique_ptr<uint8_t[], GiveBack> bytes_;
};

} // namespace gexton_sdk
