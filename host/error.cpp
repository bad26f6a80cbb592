#include "handles.h"
#include "host_call.h"

#include <string>

struct gx_error : gexton_sdk::Counted {
  gx_status status;
  std::string message;
  std::string function;
  std::string args;
  gx_exception_type type;
};

namespace gexton_sdk {
namespace {

/// Stands in where memory for an error is missing too; never freed, so its texts must fit a string
/// without allocation.
gx_error memory_exhausted{{}, GX_STATUS_ERROR, "out of memory", "", "", GX_EXCEPTION_TYPE_UNKNOWN};

const char* text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

gx_error* create_error(gx_status status, const char* message, const char* function,
                       const char* args, gx_exception_type type) noexcept {
  try {
    return Reference<gx_error>::create(status, text_or_empty(message), text_or_empty(function),
                                       text_or_empty(args), type)
        .detach();
  } catch (const std::exception&) {
    return nullptr;
  }
}

} // namespace

void store_error(gx_error** error, const char* function, const Failure& failure) noexcept {
  if (error == nullptr)
    return;
  *error = create_error(GX_STATUS_ERROR, failure.message, function, failure.args, failure.type);
  if (*error == nullptr)
    *error = &memory_exhausted;
}

} // namespace gexton_sdk

using namespace gexton_sdk;

gx_error* gx_create_error(gx_status status, const char* message, const char* function,
                          const char* args, gx_exception_type type) {
  return create_error(status, message, function, args, type);
}

gx_status gx_error_get_status(const gx_error* error) {
  return error != nullptr ? error->status : GX_STATUS_OK;
}

const char* gx_error_get_message(const gx_error* error) {
  return error != nullptr ? error->message.c_str() : "";
}

const char* gx_error_get_function(const gx_error* error) {
  return error != nullptr ? error->function.c_str() : "";
}

const char* gx_error_get_args(const gx_error* error) {
  return error != nullptr ? error->args.c_str() : "";
}

gx_exception_type gx_error_get_exception_type(const gx_error* error) {
  return error != nullptr ? error->type : GX_EXCEPTION_TYPE_UNKNOWN;
}

void gx_delete_error(gx_error* error) {
  if (error != nullptr && error != &memory_exhausted)
    live_handles<gx_error>.release(error);
}
