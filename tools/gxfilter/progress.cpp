#include "gxfilter/progress.h"

#include <cstdio>

#include <fmt/format.h>

#include "recordings/system.h"

namespace gxfilter {

ProgressBar::ProgressBar(std::optional<uint64_t> total)
    : total_(total), terminal_(recordings::system::is_terminal(stdout)),
      start_(std::chrono::steady_clock::now()) {}

ProgressBar::~ProgressBar() {
  if (terminal_) {
    std::fputs("\r\x1b[K", stdout);
    std::fflush(stdout);
  }
}

void ProgressBar::advance() {
  const std::scoped_lock lock(mutex_);
  ++done_;
  const auto now = std::chrono::steady_clock::now();
  if (!terminal_ || (done_ != total_ && now - last_drawn_ < std::chrono::milliseconds(50)))
    return;
  last_drawn_ = now;
  if (!total_) {
    fmt::print("\r{} frames\x1b[K", done_);
    std::fflush(stdout);
    return;
  }
  constexpr size_t width = 40;
  const size_t filled = static_cast<size_t>(width * done_ / *total_);
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  const double left = elapsed / static_cast<double>(done_) * static_cast<double>(*total_ - done_);
  fmt::print("\r[{:#<{}}{:.<{}}] {}/{}  {:.0f} s left\x1b[K", "", filled, "", width - filled, done_,
             *total_, left);
  std::fflush(stdout);
}

} // namespace gxfilter
