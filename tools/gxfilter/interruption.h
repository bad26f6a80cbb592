// Ctrl-C, heard in time to finish what is under way.
#pragma once

namespace gxfilter {

/// While one lives, the first SIGINT or SIGTERM is noted instead of ending the program; the next
/// one ends it. A signal that this process ignores stays ignored. One at a time.
class InterruptionGuard {
 public:
  InterruptionGuard();
  InterruptionGuard(const InterruptionGuard&) = delete;
  InterruptionGuard& operator=(const InterruptionGuard&) = delete;
  ~InterruptionGuard();

  /// On any thread.
  static bool interrupted();
};

} // namespace gxfilter
