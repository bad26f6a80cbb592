// How the module answers the page: structured answers as JSON text, objects as their addresses, and
// 0 or an empty text where something failed, which `playground_error` explains then. The page gives
// every object back by the function that its maker names.
#pragma once

#include <cstdint>
#include <exception>
#include <new>
#include <span>
#include <string>

#include <emscripten.h>
#include <nlohmann/json.hpp>

#include "recordings/result.h"

#define PLAYGROUND_API extern "C" EMSCRIPTEN_KEEPALIVE

namespace playground {

/// A text that stays until the next answer.
const char* answer(const nlohmann::json& value);

/// Remembers what went wrong: its words, its kind and, where that is known, the parameter.
void fail(const recordings::Error& error, const std::string& parameter = {},
          const std::string& allowed = {});
/// Several topics hold depth: which are there to choose from.
void fail_for_topic(const recordings::Error& error, const std::vector<std::string>& topics);
/// Memory has run out.
void fail_for_memory();
void fail_unexpectedly(const std::exception& exception);

/// What `work` gives, or nothing where it ends in an exception, which must not reach the page.
template <class Work>
auto guarded(Work work) -> decltype(work()) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    fail_for_memory();
  } catch (const std::exception& exception) {
    fail_unexpectedly(exception);
  }
  return {};
}

/// The value on its own, with the error told.
template <class T>
T* released(recordings::Result<T> result) {
  if (result)
    return new T(std::move(*result));
  fail(result.error());
  return nullptr;
}

inline nlohmann::json parse(const char* json) {
  return nlohmann::json::parse(json);
}

inline std::span<const uint8_t> bytes_of(const uint8_t* bytes, uint32_t size) {
  return {bytes, size};
}

} // namespace playground
