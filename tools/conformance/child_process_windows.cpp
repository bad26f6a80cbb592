#include <array>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <system_error>

#include <fmt/format.h>
#include <windows.h>

#include "conformance/child_work.h"
#include "hosting/shared_library.h"
#include "recordings/system.h"

namespace conformance {
namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

struct CloseHandleOnce {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOnce>;

struct Pipe {
  Handle from, into;
};

/// One end of it goes to the child.
Pipe make_pipe(bool child_reads) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  HANDLE from = nullptr;
  HANDLE into = nullptr;
  if (CreatePipe(&from, &into, &inherited, 0) == 0)
    fail("a pipe");
  SetHandleInformation(child_reads ? into : from, HANDLE_FLAG_INHERIT, 0);
  return {Handle(from), Handle(into)};
}

/// Whatever is in it ends with its last handle, which is this process's: a child that hangs does
/// not outlive its parent.
Handle make_job() {
  Handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (job == nullptr || SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation,
                                                &limits, sizeof limits) == 0)
    fail("a job for a child process");
  return job;
}

Handle start(const std::string& command, const Pipe& request, const Pipe& answers, HANDLE job) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = request.from.get();
  startup.hStdOutput = answers.into.get();
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  const std::wstring program = hosting::executable_path().wstring();
  std::wstring line =
      L"\"" + program + L"\" " + std::wstring(command.begin(), command.end()) + L" --child";
  PROCESS_INFORMATION child{};
  if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED,
                     nullptr, nullptr, &startup, &child) == 0)
    fail("a child process");
  Handle process(child.hProcess);
  const Handle thread(child.hThread);
  if (AssignProcessToJobObject(job, process.get()) == 0) {
    const DWORD reason = GetLastError();
    TerminateProcess(process.get(), 1);
    SetLastError(reason);
    fail("a job's child process");
  }
  ResumeThread(thread.get());
  return process;
}

/// Reads until the child closes its end; false when it kept silent for too long.
bool receive(HANDLE pipe, LineSplitter& lines, std::chrono::seconds patience) {
  std::array<char, 4096> bytes{};
  auto heard = std::chrono::steady_clock::now();
  for (;;) {
    DWORD waiting = 0;
    if (PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting, nullptr) == 0)
      return true;
    DWORD count = 0;
    if (waiting > 0 && ReadFile(pipe, bytes.data(), DWORD{bytes.size()}, &count, nullptr) != 0) {
      lines.add(bytes.data(), count);
      heard = std::chrono::steady_clock::now();
    } else if (std::chrono::steady_clock::now() - heard > patience) {
      return false;
    } else {
      Sleep(1);
    }
  }
}

std::string describe_end(DWORD status) {
  constexpr DWORD first_exception = 0xC0000000; // codes of the system for errors
  constexpr DWORD aborted = 3;                  // what abort ends with
  if (status >= first_exception)
    return fmt::format("crashed with exception {:#x}", status);
  if (status == aborted)
    return "crashed, or ended the program, with status 3";
  return fmt::format("ended the program with status {}", status);
}

} // namespace

ChildEnd run_in_child(const ChildWork& work, const LineReceiver& on_line,
                      std::chrono::seconds patience) {
  std::fflush(nullptr);
  Pipe request = make_pipe(true);
  Pipe answers = make_pipe(false);
  const Handle job = make_job(); // whose end kills the child, also where `on_line` throws
  const Handle child = start(work.command, request, answers, job.get());
  request.from.reset();
  answers.into.reset();
  const std::string line = work.request + "\n";
  DWORD sent = 0;
  WriteFile(request.into.get(), line.data(), static_cast<DWORD>(line.size()), &sent, nullptr);

  LineSplitter lines(on_line);
  if (!receive(answers.from.get(), lines, patience))
    return {false, true, fmt::format("still at it after {} s", patience.count())};
  WaitForSingleObject(child.get(), INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(child.get(), &status);
  const bool has_thrown = !lines.exception().empty();
  return {lines.complete(), false, has_thrown ? lines.exception() : describe_end(status)};
}

bool children_start_anew() {
  return true;
}

void run_as_child(const ChildRequest& perform) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  std::FILE* const answers = recordings::system::take_standard_output();
  std::FILE* const scratch = recordings::system::scratch_file();
  std::string request;
  if (answers == nullptr || scratch == nullptr || !std::getline(std::cin, request))
    std::_Exit(1);
  const recordings::system::RedirectedOutput redirected(scratch);
  const LineReceiver tell = [answers](const std::string& line) {
    if (std::fputs((line + "\n").c_str(), answers) < 0 || std::fflush(answers) != 0)
      std::_Exit(1); // the parent is gone
  };
  do_and_tell([&](const LineReceiver& told) { perform(request, told); }, tell);
  std::_Exit(0);
}

} // namespace conformance
