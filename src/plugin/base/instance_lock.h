#pragma once

#include <mutex>

namespace filter_processor {

/// Keeps the frames and the updates of one instance apart: frames hold it as they would a recursive
/// mutex, from the moment they read the configuration on; updates go through `update`.
class InstanceLock {
 public:
  void lock() { frames_.lock(); }
  void unlock() { frames_.unlock(); }

  /// Calls `store` while no frame is in work, if `differs()` says that there is something to store.
  /// An update that changes nothing waits for no frame, nor for an update that does: `differs` may
  /// read what only `store` writes.
  template <typename Differs, typename Store>
  void update(Differs differs, Store store) {
    {
      const std::lock_guard reading(configuration_);
      if (!differs())
        return;
    }
    const std::lock_guard no_frame(frames_);
    const std::lock_guard writing(configuration_);
    store();
  }

 private:
  std::recursive_mutex frames_;
  std::mutex configuration_; ///< held for a moment, never while waiting for the other
};

} // namespace filter_processor
