#include "gxfilter/report.h"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

namespace gxfilter {

using namespace recordings;

namespace {

ExitStatus exit_status(ErrorKind kind) {
  switch (kind) {
  case ErrorKind::input:
  case ErrorKind::size_needed:
    return ExitStatus::input;
  case ErrorKind::request:
  case ErrorKind::mixed_formats:
    return ExitStatus::usage;
  case ErrorKind::system:
    return ExitStatus::other;
  case ErrorKind::processing:
    return ExitStatus::processing;
  case ErrorKind::contract:
    return ExitStatus::nonconforming;
  }
  return ExitStatus::other;
}

/// Without what would steer a terminal: texts may quote names of files and what is in them.
std::string printable(std::string text) {
  const auto steers = [](unsigned char c) { return (c < ' ' && c != '\n') || c == 127; };
  std::ranges::replace_if(text, steers, ' ');
  return text;
}

/// The options that mend such an error, or nothing.
std::string advice(const Error& error) {
  if (error.kind == ErrorKind::size_needed)
    return " (--size WxH, or width and height in the camera file)";
  if (error.kind == ErrorKind::mixed_formats)
    return fmt::format("; choose the recording with --match, such as --match '{}'", error.example);
  return {};
}

} // namespace

ExitStatus report(const Error& error) {
  std::fflush(stdout);
  fmt::print(stderr, "gxfilter: error: {}{}\n", printable(error.message), advice(error));
  return exit_status(error.kind);
}

void note(const std::string& text) {
  fmt::print(stderr, "gxfilter: note: {}\n", printable(text));
}

} // namespace gxfilter
