#include "gxfilter/interruption.h"

#include <atomic>
#include <csignal>

#include "recordings/output_file.h"

namespace gxfilter {
namespace {

std::atomic<bool> noted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler can't wait for a lock");

constexpr int signals[] = {SIGINT, SIGTERM};

/// Whoever asks twice does not want to wait for the frames under way.
void end_at_once(int signal) {
  recordings::remove_unfinished_files();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void note_signal(int) {
  noted = true;
  for (const int signal : signals)
    if (std::signal(signal, end_at_once) == SIG_IGN)
      std::signal(signal, SIG_IGN);
}

} // namespace

InterruptionGuard::InterruptionGuard() {
  noted = false;
  for (const int signal : signals)
    if (std::signal(signal, note_signal) == SIG_IGN) // as background jobs of scripts have it
      std::signal(signal, SIG_IGN);
}

InterruptionGuard::~InterruptionGuard() {
  for (const int signal : signals)
    if (std::signal(signal, SIG_DFL) == SIG_IGN)
      std::signal(signal, SIG_IGN);
}

bool InterruptionGuard::interrupted() {
  return noted;
}

} // namespace gxfilter
