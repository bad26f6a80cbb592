#include "plugin/base/errors.h"

#include <cstdio>
#include <iostream>

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
  // A null text would end std::cout for good.
  const auto shown = [](const char* text) { return text != nullptr ? text : "(null)"; };
  std::cout << "gx_error was raised: \n\tcall: " << shown(gx_error_get_function(error)) << "("
            << shown(gx_error_get_args(error))
            << ")\n\tmessage: " << shown(gx_error_get_message(error))
            << "\n\terror type: " << static_cast<int>(gx_error_get_exception_type(error)) << "\n";
}

} // namespace filter_processor
