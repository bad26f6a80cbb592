#pragma once

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace gxfilter {

/// Standard output goes nowhere as long as this lives.
class SilentOutput {
 public:
  SilentOutput() : saved_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (saved_ >= 0 && nowhere >= 0)
      dup2(nowhere, STDOUT_FILENO);
    if (nowhere >= 0)
      close(nowhere);
  }
  SilentOutput(const SilentOutput&) = delete;
  SilentOutput& operator=(const SilentOutput&) = delete;
  ~SilentOutput() {
    std::fflush(stdout);
    if (saved_ >= 0) {
      dup2(saved_, STDOUT_FILENO);
      close(saved_);
    }
  }

 private:
  int saved_;
};

} // namespace gxfilter
