#include "plugin/base/errors.h"

#include <cstdio>

namespace filter_processor {

void set_filter_error(gx_error** error, gx_status status, const char* message, const char* function,
                      const char* args, gx_exception_type type) noexcept {
  if (error == nullptr)
    return;
  // A host that finds no memory for an error may throw, and errors are reported where nothing is
  // left to catch it.
  try {
    *error = gx_create_error(status, message, function, args, type);
  } catch (...) {
    *error = nullptr;
  }
}

void set_filter_error(gx_error** error, const char* filter, const FilterError& reason) noexcept {
  // On the stack, as memory may be what is missing; no text has more than 60 characters.
  char function[96];
  std::snprintf(function, sizeof function, "%s::%s", filter, reason.operation);
  set_filter_error(error, GX_STATUS_ERROR, reason.message, function, reason.args, reason.type);
}

void print_host_error_trace(const gx_error* error) {
  if (error == nullptr)
    return;
  std::printf("gx_error was raised: \n\tcall: %s(%s)\n", gx_error_get_function(error),
              gx_error_get_args(error));
  std::printf("\tmessage: %s\n", gx_error_get_message(error));
  std::printf("\terror type: %d\n", static_cast<int>(gx_error_get_exception_type(error)));
}

} // namespace filter_processor
