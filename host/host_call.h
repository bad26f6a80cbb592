#pragma once

#include "fault_injection.h"
#include "gexton_sdk.h"
#include "handles.h"

#include <exception>
#include <new>
#include <type_traits>

// What the body of every exported function runs through: the barrier that turns exceptions into
// error objects, the fault check and the null check.
namespace gexton_sdk {

/// Why a call fails; thrown inside the library only. The texts are literals.
struct Failure {
  const char* message;
  const char* args;
  gx_exception_type type;
};

inline Failure invalid_argument(const char* parameter) {
  return {"invalid argument", parameter, GX_EXCEPTION_TYPE_INVALID_VALUE};
}

inline Failure injected_fault() {
  return {"injected fault", "gexton", GX_EXCEPTION_TYPE_UNKNOWN};
}

/// The object behind a handle that must not be null.
template <typename T>
T& required(T* handle, const char* parameter) {
  if (handle == nullptr)
    throw invalid_argument(parameter);
  return *handle;
}

/// Stores a new error for a failed call of `function`; does nothing where `error` is null.
void store_error(gx_error** error, const char* function, const Failure& failure) noexcept;

/// Runs the body of the exported function named `function`. A failure becomes an error in the slot
/// and a null, 0 or false result.
template <typename Body>
std::invoke_result_t<Body> host_call(const char* function, gx_error** error, Body body) noexcept {
  try {
    return body();
  } catch (const Failure& failure) {
    store_error(error, function, failure);
  } catch (const std::bad_alloc&) {
    store_error(error, function, {"out of memory", "", GX_EXCEPTION_TYPE_UNKNOWN});
  } catch (const std::exception& exception) {
    store_error(error, function, {exception.what(), "", GX_EXCEPTION_TYPE_UNKNOWN});
  }
  return std::invoke_result_t<Body>();
}

/// host_call for the functions that plug-ins call: these count as calls and may be made to fail.
template <typename Body>
std::invoke_result_t<Body> sdk_call(const char* function, gx_error** error, Body body) noexcept {
  return host_call(function, error, [function, &body] {
    if (fault_due(function))
      throw injected_fault();
    return body();
  });
}

/// The body of a delete function. The reference is given back even when the call is made to fail: a
/// caller has no second way to release it.
template <typename T>
void give_back(const char* function, T* handle, const char* parameter, gx_error** error) noexcept {
  host_call(function, error, [=] {
    const bool faulty = fault_due(function);
    const bool was_alive = handle != nullptr && live_handles<T>.release(handle);
    if (faulty)
      throw injected_fault();
    if (!was_alive)
      throw invalid_argument(parameter);
  });
}

} // namespace gexton_sdk
