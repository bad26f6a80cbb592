// gxfilter, the command-line host: loads the filter plug-in and takes depth recordings through it.
#include <cstdio>
#include <exception>

#include "gxfilter/program.h"

using gxfilter::ExitStatus;

int main(int argc, char** argv) {
  try {
    return static_cast<int>(gxfilter::run_program(argc, argv));
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "gxfilter: error: %s\n", exception.what());
  } catch (...) {
    std::fputs("gxfilter: error: unknown\n", stderr);
  }
  return static_cast<int>(ExitStatus::other);
}
