// Work that may crash or hang, done in a child process that tells its results line by line.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace conformance {

struct ChildEnd {
  bool complete = false;
  bool timed_out = false;
  std::string description; ///< of an end that came too early: "crashed with signal 11 (...)"
};

using LineReceiver = std::function<void(const std::string& line)>;

/// What a child does: where a child begins as a copy of its parent, `run`. Elsewhere the program is
/// started again, as `gxfilter COMMAND --child`, and is told the same by a line.
struct ChildWork {
  std::function<void(const LineReceiver& tell)> run;
  std::string command;
  std::string request;
};

bool children_start_anew();

/// Does the work in a child process, which has a scratch file as its standard output. Each line
/// that it tells goes to `on_line` at once. A child that tells nothing for `patience` is killed, as
/// it is when `on_line` throws or this process dies. Exceptions of the work end the child. Throws
/// std::system_error where no child can be made.
ChildEnd run_in_child(const ChildWork& work, const LineReceiver& on_line,
                      std::chrono::seconds patience);

using ChildRequest = std::function<void(const std::string& request, const LineReceiver& tell)>;

/// What a program does that was started as a child; ends it. Where no program is, returns at once.
void run_as_child(const ChildRequest& perform);

} // namespace conformance
