#pragma once

#include "gexton_sdk.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_set>
#include <utility>

// Reference-counted objects behind the opaque handles of the C interface.
namespace gexton_sdk {

/// Base of every object that a handle points to. The creator holds the first reference.
struct Counted {
  std::atomic<uint32_t> references{1};
};

/// Releases of handles that were not alive, of every kind.
inline std::atomic<uint64_t> excess_releases{0};

/// The handles of one kind that are alive. A release looks its handle up here before it touches the
/// object, so a second delete is an error rather than a read of freed memory (as long as no newer
/// object has been given the same address). [thread-safe]
template <typename T>
class LiveHandles {
 public:
  /// Takes over a new object that has one reference.
  T* add(std::unique_ptr<T> object) {
    const std::lock_guard lock(mutex_);
    handles_.insert(object.get());
    return object.release();
  }

  /// Gives one reference back and destroys the object with the last one. False, and counted as an
  /// excess release, where the handle is not alive.
  bool release(T* handle) {
    std::unique_ptr<T> last; // destroyed after the lock: members of the object come back here
    const std::lock_guard lock(mutex_);
    const auto found = handles_.find(handle);
    if (found == handles_.end()) {
      excess_releases.fetch_add(1, std::memory_order_relaxed);
      return false;
    }
    if (handle->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      handles_.erase(found);
      last.reset(handle);
    }
    return true;
  }

  size_t size() {
    const std::lock_guard lock(mutex_);
    return handles_.size();
  }

 private:
  std::mutex mutex_;
  std::unordered_set<T*> handles_;
};

/// Built when the library is loaded and destroyed when it is unloaded, so that the static objects
/// of a program or plug-in that links with it may still give handles back.
template <typename T>
inline LiveHandles<T> live_handles;

/// Owns one reference to an object; may be empty.
template <typename T>
class Reference {
 public:
  Reference() = default;

  /// One more reference to an object that the caller has a reference to.
  static Reference share(T& object) noexcept {
    object.references.fetch_add(1, std::memory_order_relaxed);
    return Reference(&object);
  }

  template <typename... Arguments>
  static Reference create(Arguments&&... arguments) {
    std::unique_ptr<T> object(new T{{}, std::forward<Arguments>(arguments)...});
    return Reference(live_handles<T>.add(std::move(object)));
  }

  Reference(const Reference& other) noexcept
      : Reference(other.handle_ != nullptr ? share(*other.handle_) : Reference()) {}
  Reference(Reference&& other) noexcept : handle_(other.detach()) {}
  Reference& operator=(Reference other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Reference() {
    if (handle_ != nullptr)
      live_handles<T>.release(handle_);
  }

  /// Hands the reference to the caller: how a new reference leaves through the C interface.
  [[nodiscard]] T* detach() noexcept { return std::exchange(handle_, nullptr); }

  T* get() const noexcept { return handle_; }
  T* operator->() const noexcept { return handle_; }
  T& operator*() const noexcept { return *handle_; }

 private:
  explicit Reference(T* handle) noexcept : handle_(handle) {}

  T* handle_ = nullptr;
};

} // namespace gexton_sdk
