#include "answers.h"

using namespace recordings;

namespace playground {
namespace {

std::string last_answer;
nlohmann::json last_error;

const char* name_of(ErrorKind kind) {
  switch (kind) {
  case ErrorKind::size_needed:
    return "size_needed";
  case ErrorKind::request:
    return "request";
  case ErrorKind::processing:
    return "processing";
  default:
    return "input";
  }
}

} // namespace

const char* answer(const nlohmann::json& value) {
  last_answer = value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return last_answer.c_str();
}

void fail(const Error& error, const std::string& parameter, const std::string& allowed) {
  last_error = {{"kind", name_of(error.kind)},
                {"message", error.message},
                {"parameter", parameter},
                {"allowed", allowed}};
}

void fail_for_topic(const Error& error, const std::vector<std::string>& topics) {
  last_error = {{"kind", "topic_needed"}, {"message", error.message}, {"choices", topics}};
}

void fail_for_memory() {
  last_error = {{"kind", "memory"}, {"message", "memory has run out"}};
}

void fail_unexpectedly(const std::exception& exception) {
  fail({exception.what()});
}

} // namespace playground

/// Of the last function that failed: kind, message, parameter and what is allowed there.
PLAYGROUND_API const char* playground_error() {
  return playground::answer(playground::last_error);
}
