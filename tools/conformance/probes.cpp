#include "conformance/probes.h"

#include <vector>

#include <fmt/format.h>

namespace conformance {

using namespace hosting;

namespace {

std::string text_or_null(const char* text) {
  return text != nullptr ? text : "(null)";
}

} // namespace

// ---- errors ----

std::string describe_error(const std::string& message, const std::string& function,
                           const std::string& args, gx_exception_type type, gx_status status) {
  std::string text = fmt::format("the error \"{}\" in {}({}), type {}", message, function, args,
                                 static_cast<int>(type));
  if (status != GX_STATUS_ERROR)
    text += fmt::format(", status {}", static_cast<int>(status));
  return text;
}

std::string describe(const gx_error* error) {
  if (error == nullptr)
    return no_error;
  return describe_error(message_of(error), text_or_null(gx_error_get_function(error)),
                        text_or_null(gx_error_get_args(error)), gx_error_get_exception_type(error),
                        gx_error_get_status(error));
}

std::string message_of(const gx_error* error) {
  return error != nullptr ? text_or_null(gx_error_get_message(error)) : "";
}

gx_error* MarkedSlot::mark() {
  static char place = 0;
  return reinterpret_cast<gx_error*>(&place);
}

MarkedSlot::~MarkedSlot() {
  if (error_ != mark() && error_ != nullptr)
    gx_delete_error(error_);
}

std::string MarkedSlot::state() const {
  if (error_ == mark())
    return "untouched";
  return error_ == nullptr ? "overwritten with null" : "overwritten with " + describe(error_);
}

// ---- live handles ----

std::string left_over_since(const gexton::LiveHandles& then) {
  const std::string found = then.left_over();
  return found.empty() ? nothing_left : found;
}

// ---- what a filter gives ----

Output take_output(gexton::Frame given, const gx_frame& input) {
  const bool is_input = given.get() == &input;
  if (is_input)
    static_cast<void>(given.release());
  return {std::move(given), is_input};
}

Output try_frame(Filter& filter, gx_frame& input, gexton::ErrorSlot& slot) {
  return take_output(filter.process(input, slot), input);
}

std::string describe(const Output& output, const gx_error* error) {
  const char* text = output.is_input           ? "the input itself"
                     : output.frame != nullptr ? "a new frame"
                                               : "no frame";
  return fmt::format("{} and {}", text, describe(error));
}

} // namespace conformance
