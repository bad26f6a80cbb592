// A progress bar on standard output.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>

namespace gxfilter {

/// Draws nothing unless standard output is a terminal, and then at most some twenty times a second.
/// The bar's line is wiped at the end. Without a total it counts.
class ProgressBar {
 public:
  explicit ProgressBar(std::optional<uint64_t> total);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  /// On any thread.
  void advance();

 private:
  std::optional<uint64_t> total_;
  uint64_t done_ = 0;
  std::mutex mutex_;
  bool terminal_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point last_drawn_;
};

} // namespace gxfilter
