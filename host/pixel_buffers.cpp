#include "pixel_buffers.h"

#include "gexton_host.h"
#include "guarded_memory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>
#include <new>
#include <utility>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define GEXTON_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define GEXTON_ADDRESS_SANITIZER
#endif

namespace gexton_sdk {
namespace {

/// A cache line, and the widest vector register.
constexpr std::align_val_t alignment{64};

// The checker finds a use after release only where the memory really is released.
#if defined(GEXTON_ADDRESS_SANITIZER)
constexpr bool recycles = false;
#else
constexpr bool recycles = true;
#endif

uint8_t* allocate(uint32_t size) {
  return static_cast<uint8_t*>(::operator new(size, alignment));
}

void deallocate(uint8_t* bytes) noexcept {
  ::operator delete(bytes, alignment);
}

/// Buffers that wait for reuse, oldest first: at most 64 of them with 256 MiB in total. The oldest
/// make room for a new one, so sizes that went out of use do not stay. [thread-safe]
class IdleBuffers {
 public:
  IdleBuffers() = default;
  IdleBuffers(const IdleBuffers&) = delete;
  IdleBuffers& operator=(const IdleBuffers&) = delete;
  ~IdleBuffers() { clear(); }

  /// Null where no idle buffer has this size. Prefers the newest, which caches may still hold.
  uint8_t* take(uint32_t size) {
    const std::lock_guard lock(mutex_);
    for (size_t i = count_; i-- > 0;)
      if (buffers_[i].size == size)
        return remove(i);
    return nullptr;
  }

  void put(uint8_t* bytes, uint32_t size) {
    if (size > max_bytes) {
      deallocate(bytes);
      return;
    }
    const std::lock_guard lock(mutex_);
    while (count_ == buffers_.size() || total_bytes_ + size > max_bytes)
      deallocate(remove(0));
    buffers_[count_++] = {bytes, size};
    total_bytes_ += size;
  }

  void clear() {
    const std::lock_guard lock(mutex_);
    while (count_ > 0)
      deallocate(remove(count_ - 1));
  }

 private:
  struct Idle {
    uint8_t* bytes;
    uint32_t size;
  };

  static constexpr size_t max_bytes = size_t{256} << 20;

  uint8_t* remove(size_t index) {
    const Idle removed = buffers_[index];
    std::copy(&buffers_[index] + 1, buffers_.data() + count_, &buffers_[index]);
    --count_;
    total_bytes_ -= removed.size;
    return removed.bytes;
  }

  std::mutex mutex_;
  std::array<Idle, 64> buffers_{};
  size_t count_ = 0;
  size_t total_bytes_ = 0;
};

IdleBuffers idle_buffers;

std::atomic<bool> guards_new_buffers{false};

struct Offer {
  uint8_t* bytes = nullptr;
  uint32_t size = 0;
};

thread_local Offer open_offer;

uint8_t* take_or_allocate(uint32_t size) {
  uint8_t* const recycled = recycles ? idle_buffers.take(size) : nullptr;
  return recycled != nullptr ? recycled : allocate(size);
}

} // namespace

PixelBuffer::PixelBuffer(uint32_t size) : PixelBuffer(acquire(size)) {}

PixelBuffer PixelBuffer::acquire(uint32_t size) {
  if (size == 0)
    return {nullptr, 0, Origin::pool};
  if (open_offer.bytes != nullptr && open_offer.size == size)
    return {std::exchange(open_offer, {}).bytes, size, Origin::offered};
  if (guards_new_buffers)
    return {allocate_guarded(size, static_cast<size_t>(alignment)), size, Origin::guarded};
  return {take_or_allocate(size), size, Origin::pool};
}

PixelBuffer PixelBuffer::borrow(const uint8_t* bytes, uint32_t size) noexcept {
  return {const_cast<uint8_t*>(bytes), size, Origin::borrowed};
}

bool PixelBuffer::offer(uint8_t* bytes, uint32_t size) noexcept {
  return std::exchange(open_offer, {bytes, size}).bytes != nullptr;
}

void PixelBuffer::release_with(gexton_release release, void* owner) noexcept {
  bytes_.get_deleter().release = release;
  bytes_.get_deleter().owner = owner;
}

void PixelBuffer::GiveBack::operator()(uint8_t* bytes) const noexcept {
  if (origin == Origin::borrowed) {
    if (release != nullptr)
      release(owner);
  } else if (origin == Origin::offered)
    return;
  else if (origin == Origin::guarded)
    free_guarded(bytes, size, static_cast<size_t>(alignment));
  else if (recycles)
    idle_buffers.put(bytes, size);
  else
    deallocate(bytes);
}

} // namespace gexton_sdk

void gexton_trim_buffers(void) {
  gexton_sdk::idle_buffers.clear();
}

bool gexton_offer_pixels(uint16_t* pixels, uint32_t size) {
  return gexton_sdk::PixelBuffer::offer(reinterpret_cast<uint8_t*>(pixels), size);
}

void gexton_guard_buffers(bool on) {
  gexton_sdk::guards_new_buffers = on && gexton_sdk::can_guard_memory;
}
