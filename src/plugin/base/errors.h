#pragma once

#include "gexton_sdk.h"

namespace filter_processor {

/// Why a filter refuses something. All texts are constants.
struct FilterError {
  const char* message;
  const char* operation; ///< the class's operation that refuses, such as "filter_process"
  const char* args;      ///< the offending input or parameter
  gx_exception_type type = GX_EXCEPTION_TYPE_INVALID_VALUE;
};

/// What parameters cannot be derived from; `args` names it.
constexpr FilterError invalid_params(const char* args, const char* operation = "updateConfig") {
  return {"invalid params", operation, args};
}

/// Stores a new host error in the slot, which the host then owns. What the slot held before is
/// overwritten, not deleted; a null slot stores nothing. Takes no memory of its own; where the host
/// has none for the error, the slot becomes null.
void set_filter_error(gx_error** error, gx_status status, const char* message, const char* function,
                      const char* args, gx_exception_type type) noexcept;

/// The same for an error of the filter class `filter`.
void set_filter_error(gx_error** error, const char* filter, const FilterError& reason) noexcept;

/// Prints the four lines of the host error trace on standard output; nothing for null.
void print_host_error_trace(const gx_error* error);

} // namespace filter_processor
