#include "gxfilter/interruption.h"

#include <atomic>
#include <csignal>

namespace gxfilter {
namespace {

std::atomic<bool> noted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler can't wait for a lock");

void note_signal(int signal) {
  noted = true;
  std::signal(signal, SIG_DFL);
}

} // namespace

InterruptionGuard::InterruptionGuard() {
  noted = false;
  std::signal(SIGINT, note_signal);
  std::signal(SIGTERM, note_signal);
}

InterruptionGuard::~InterruptionGuard() {
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
}

bool InterruptionGuard::interrupted() {
  return noted;
}

} // namespace gxfilter
