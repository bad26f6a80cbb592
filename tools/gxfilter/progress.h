// A progress bar on standard output.
#pragma once

#include <chrono>
#include <cstddef>

namespace gxfilter {

/// Draws nothing unless standard output is a terminal, and then at most some twenty times a second.
/// The bar's line is wiped at the end.
class ProgressBar {
 public:
  explicit ProgressBar(size_t total);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  void advance();

 private:
  size_t total_;
  size_t done_ = 0;
  bool terminal_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point last_drawn_;
};

} // namespace gxfilter
