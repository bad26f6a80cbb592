#include "recordings/system.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <unistd.h>

namespace recordings::system {

uint64_t process_number() {
  return static_cast<uint64_t>(getpid());
}

bool is_terminal(std::FILE* file) {
  return isatty(fileno(file)) == 1;
}

std::FILE* open(const std::filesystem::path& path, const char* mode) {
  return std::fopen(path.c_str(), mode);
}

void remove_open(const char* name) {
  unlink(name);
}

bool seek(std::FILE* file, uint64_t position) {
  return fseeko(file, static_cast<off_t>(position), SEEK_SET) == 0;
}

std::FILE* scratch_file() {
  return std::tmpfile();
}

void make_binary(std::FILE* /*stream*/) {}

std::FILE* take_standard_output() {
  std::fflush(stdout);
  const int own = dup(STDOUT_FILENO);
  std::FILE* const file = own >= 0 ? fdopen(own, "wb") : nullptr;
  return file != nullptr && dup2(STDERR_FILENO, STDOUT_FILENO) >= 0 ? file : nullptr;
}

bool matches(const std::string& pattern, const std::string& name) {
  return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

RedirectedOutput::RedirectedOutput(std::FILE* file) : saved_(dup(STDOUT_FILENO)) {
  std::fflush(stdout);
  const int nowhere = file == nullptr ? ::open("/dev/null", O_WRONLY | O_CLOEXEC) : -1;
  const int target = file != nullptr ? fileno(file) : nowhere;
  if (saved_ >= 0 && target >= 0)
    dup2(target, STDOUT_FILENO);
  if (nowhere >= 0)
    close(nowhere);
}

RedirectedOutput::~RedirectedOutput() {
  std::fflush(stdout);
  if (saved_ >= 0) {
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
}

uint64_t printed_bytes() {
  std::fflush(stdout);
  return static_cast<uint64_t>(lseek(STDOUT_FILENO, 0, SEEK_END));
}

std::string printed_from(uint64_t position) {
  std::string text(static_cast<size_t>(printed_bytes() - position), '\0');
  const ssize_t got = pread(STDOUT_FILENO, text.data(), text.size(), static_cast<off_t>(position));
  text.resize(got > 0 ? static_cast<size_t>(got) : 0);
  return text;
}

} // namespace recordings::system
