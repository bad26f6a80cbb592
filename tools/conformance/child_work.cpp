#include "conformance/child_work.h"

#include <algorithm>
#include <exception>
#include <string_view>

namespace conformance {
namespace {

/// Told last, so that a child that ends early by itself is noticed.
constexpr std::string_view farewell = "end";
/// Told last by a child whose work threw; what was thrown follows.
constexpr std::string_view thrown = "threw ";

} // namespace

void do_and_tell(const std::function<void(const LineReceiver& tell)>& work,
                 const LineReceiver& tell) noexcept {
  std::string last_line(farewell);
  try {
    work(tell);
  } catch (const std::exception& exception) {
    last_line = std::string(thrown) + "an exception: " + exception.what();
    std::ranges::replace(last_line, '\n', ' ');
  } catch (...) {
    last_line = std::string(thrown) + "an exception that is no std::exception";
  }
  tell(last_line);
}

void LineSplitter::add(const char* bytes, size_t count) {
  text_.append(bytes, count);
  size_t begin = 0;
  for (size_t end; (end = text_.find('\n', begin)) != std::string::npos; begin = end + 1) {
    const std::string line = text_.substr(begin, end - begin);
    if (line == farewell)
      complete_ = true;
    else if (line.starts_with(thrown))
      exception_ = line;
    else
      on_line_(line);
  }
  text_.erase(0, begin);
}

} // namespace conformance
