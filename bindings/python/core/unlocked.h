// Work without the interpreter's lock.
#pragma once

#include <chrono>
#include <exception>
#include <optional>
#include <thread>

#include <pybind11/pybind11.h>

namespace python {

/// Takes the interpreter's lock by `take`. A thread that the interpreter's end overtakes waits for
/// ever: Python would unwind its stack, and with it Python objects that are no longer anybody's to
/// touch.
template <class Take>
auto lock_interpreter(Take take) {
  try {
    return take();
  } catch (...) {
    for (;;)
      std::this_thread::sleep_for(std::chrono::hours(1));
  }
}

/// Runs `work` while other Python threads run, and returns what it returns.
template <class Work>
auto unlocked(Work work) {
  std::optional<decltype(work())> result;
  std::exception_ptr exception;
  PyThreadState* const state = PyEval_SaveThread();
  try {
    result.emplace(work());
  } catch (...) {
    exception = std::current_exception();
  }
  lock_interpreter([=] { PyEval_RestoreThread(state); });
  if (exception)
    std::rethrow_exception(exception);
  return std::move(*result);
}

} // namespace python
