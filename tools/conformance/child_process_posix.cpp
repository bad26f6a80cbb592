#include "conformance/child_work.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <system_error>

#include <fmt/format.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace conformance {
namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void tell_line(int pipe, const std::string& line) {
  const std::string bytes = line + "\n";
  for (size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = write(pipe, bytes.data() + sent, bytes.size() - sent);
    if (count < 0 && errno != EINTR)
      _exit(1); // the parent is gone
    sent += count > 0 ? static_cast<size_t>(count) : 0;
  }
}

/// A child that hangs must not outlive its parent, who may have died before this was asked for.
void die_with(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent)
    _exit(1);
}

void prepare_child() {
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  std::FILE* scratch = std::tmpfile();
  if (scratch == nullptr || dup2(fileno(scratch), STDOUT_FILENO) < 0) {
    std::perror("gxfilter: a scratch file");
    _exit(1);
  }
}

/// Nothing leaves this function: neither an exception, which would run the destructors of the
/// parent's objects a second time, nor a return, as what the parent registered to run at its exit
/// is not the child's to run.
[[noreturn]] void run_child(int pipe, const std::function<void(const LineReceiver& tell)>& work) {
  const auto prepared = [&](const LineReceiver& tell) {
    prepare_child();
    work(tell);
  };
  do_and_tell(prepared, [pipe](const std::string& line) { tell_line(pipe, line); });
  _exit(0);
}

/// Reads until the child closes its end; false when it kept silent for too long.
bool receive(int pipe, LineSplitter& lines, std::chrono::seconds patience) {
  std::array<char, 4096> bytes{};
  for (;;) {
    pollfd waiting{pipe, POLLIN, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(patience.count()) * 1000);
    if (ready == 0)
      return false;
    const ssize_t count = ready > 0 ? read(pipe, bytes.data(), bytes.size()) : -1;
    if (count == 0)
      return true;
    if (count > 0)
      lines.add(bytes.data(), static_cast<size_t>(count));
    else if (errno != EINTR)
      fail("the pipe from a child process");
  }
}

std::string describe_end(int status) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    return fmt::format("crashed with signal {} ({})", signal, strsignal(signal));
  }
  return fmt::format("ended the program with status {}", WEXITSTATUS(status));
}

/// The child and the pipe from it. A child that nobody waited for, because whoever receives its
/// lines threw, is killed and waited for.
class Child {
 public:
  Child(pid_t process, int pipe) : process_(process), pipe_(pipe) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      wait();
    }
    close(pipe_);
  }

  ChildEnd follow(const LineReceiver& on_line, std::chrono::seconds patience) {
    LineSplitter lines(on_line);
    if (!receive(pipe_, lines, patience)) {
      kill(process_, SIGKILL);
      wait();
      return {false, true, fmt::format("still at it after {} s", patience.count())};
    }
    const int status = wait();
    const bool has_thrown = !lines.exception().empty();
    return {lines.complete(), false, has_thrown ? lines.exception() : describe_end(status)};
  }

 private:
  int wait() {
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = 0;
    return status;
  }

  pid_t process_; ///< 0: waited for
  int pipe_;
};

} // namespace

ChildEnd run_in_child(const ChildWork& work, const LineReceiver& on_line,
                      std::chrono::seconds patience) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0)
    fail("a pipe");
  std::fflush(nullptr); // or the child would print what is still buffered once more
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process < 0) {
    close(ends[0]);
    close(ends[1]);
    fail("a child process");
  }
  if (process == 0) {
    close(ends[0]);
    die_with(parent);
    run_child(ends[1], work.run);
  }
  close(ends[1]);
  return Child(process, ends[0]).follow(on_line, patience);
}

bool children_start_anew() {
  return false;
}

void run_as_child(const ChildRequest& /*perform*/) {}

} // namespace conformance
