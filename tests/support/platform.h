#pragma once

// What some platforms can't do, or only slowly.

#include <gtest/gtest.h>

#include <cstdlib>

#if defined(__EMSCRIPTEN__)
#define REQUIRE_THREADS() GTEST_SKIP() << "this build makes no threads"
#else
#define REQUIRE_THREADS() static_cast<void>(0)
#endif

namespace test {

/// Whether something runs the tests that takes several times as long as a processor would.
inline bool is_emulated() {
#if defined(__EMSCRIPTEN__)
  return true; // and no environment
#else
  return std::getenv("FILTER_PROCESSOR_EMULATED") != nullptr;
#endif
}

} // namespace test
