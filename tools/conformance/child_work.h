// How a child process and its parent talk: lines, of which the last one says how it went.
#pragma once

#include <string>

#include "conformance/child_process.h"

namespace conformance {

/// Does the work and tells its lines through `tell`, and last of all how it ended. Nothing is
/// thrown.
void do_and_tell(const std::function<void(const LineReceiver& tell)>& work,
                 const LineReceiver& tell) noexcept;

/// Takes whole lines out of what arrives in pieces.
class LineSplitter {
 public:
  explicit LineSplitter(const LineReceiver& on_line) : on_line_(on_line) {}

  void add(const char* bytes, size_t count);
  /// Whether the child has done all its work; one that ended early by itself has not.
  bool complete() const { return complete_; }
  /// What the child said of an exception, or nothing.
  const std::string& exception() const { return exception_; }

 private:
  const LineReceiver& on_line_;
  std::string text_;
  std::string exception_;
  bool complete_ = false;
};

} // namespace conformance
