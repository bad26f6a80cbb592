#include "child_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <system_error>

#include <fmt/format.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace gxfilter {
namespace {

// Told last, so that a child that ends early by itself is noticed.
constexpr const char* farewell = "end";

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void tell_line(int pipe, const std::string& line) {
  const std::string bytes = line + "\n";
  for (size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = write(pipe, bytes.data() + sent, bytes.size() - sent);
    if (count < 0 && errno != EINTR) {
      _exit(1); // the parent is gone
    }
    sent += count > 0 ? static_cast<size_t>(count) : 0;
  }
}

[[noreturn]] void run_child(int pipe, const std::function<void(const LineReceiver& tell)>& work) {
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  std::FILE* scratch = std::tmpfile();
  if (scratch == nullptr || dup2(fileno(scratch), STDOUT_FILENO) < 0) {
    std::perror("gxfilter: a scratch file");
    _exit(1);
  }
  work([pipe](const std::string& line) { tell_line(pipe, line); });
  tell_line(pipe, farewell);
  _exit(0); // what the parent registered to run at its exit is not the child's to run
}

// Takes whole lines out of what arrives in pieces.
class LineSplitter {
 public:
  explicit LineSplitter(const LineReceiver& on_line) : on_line_(on_line) {}

  void add(const char* bytes, size_t count) {
    text_.append(bytes, count);
    size_t begin = 0;
    for (size_t end; (end = text_.find('\n', begin)) != std::string::npos; begin = end + 1) {
      const std::string line = text_.substr(begin, end - begin);
      if (line == farewell) {
        complete_ = true;
      } else {
        on_line_(line);
      }
    }
    text_.erase(0, begin);
  }
  [[nodiscard]] bool complete() const { return complete_; }

 private:
  const LineReceiver& on_line_;
  std::string text_;
  bool complete_ = false;
};

// Reads until the child closes its end; false when it kept silent for too long.
bool receive(int pipe, LineSplitter& lines, std::chrono::seconds patience) {
  std::array<char, 4096> bytes{};
  for (;;) {
    pollfd waiting{pipe, POLLIN, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(patience.count()) * 1000);
    if (ready == 0) {
      return false;
    }
    const ssize_t count = ready > 0 ? read(pipe, bytes.data(), bytes.size()) : -1;
    if (count == 0) {
      return true;
    }
    if (count > 0) {
      lines.add(bytes.data(), static_cast<size_t>(count));
    } else if (errno != EINTR) {
      fail("the pipe from a child process");
    }
  }
}

std::string describe_end(int status) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    return fmt::format("crashed with signal {} ({})", signal, strsignal(signal));
  }
  return fmt::format("ended the program with status {}", WEXITSTATUS(status));
}

ChildEnd follow_child(pid_t child, int pipe, const LineReceiver& on_line,
                      std::chrono::seconds patience) {
  LineSplitter lines(on_line);
  const bool in_time = receive(pipe, lines, patience);
  if (!in_time) {
    kill(child, SIGKILL);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!in_time) {
    return {false, true, fmt::format("still at it after {} s", patience.count())};
  }
  return {lines.complete(), false, describe_end(status)};
}

} // namespace

ChildEnd run_in_child(const std::function<void(const LineReceiver& tell)>& work,
                      const LineReceiver& on_line, std::chrono::seconds patience) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    fail("a pipe");
  }
  std::fflush(nullptr); // or the child would print what is still buffered once more
  const pid_t child = fork();
  if (child < 0) {
    close(ends[0]);
    close(ends[1]);
    fail("a child process");
  }
  if (child == 0) {
    close(ends[0]);
    run_child(ends[1], work);
  }
  close(ends[1]);
  ChildEnd end = follow_child(child, ends[0], on_line, patience);
  close(ends[0]);
  return end;
}

} // namespace gxfilter
