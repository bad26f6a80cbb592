#include "gxfilter/interruption.h"

#include <atomic>
#include <csignal>

namespace gxfilter {
namespace {

std::atomic<bool> noted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler can't wait for a lock");

constexpr int signals[] = {SIGINT, SIGTERM};

void note_signal(int signal) {
  noted = true;
  std::signal(signal, SIG_DFL);
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
