#include "recordings/system.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <windows.h>

namespace recordings::system {

namespace {

/// Whether a [set] that begins with the pattern holds the character; takes the set off the pattern.
/// A bracket without its end stands for itself.
bool take_set(std::string_view& pattern, char wanted) {
  const size_t begin = pattern.size() > 1 && (pattern[1] == '!' || pattern[1] == '^') ? 2 : 1;
  const size_t end = pattern.find(']', begin + 1);
  if (end == std::string_view::npos) {
    pattern.remove_prefix(1);
    return wanted == '[';
  }
  bool found = false;
  for (size_t i = begin; i < end; ++i) {
    const bool range = i + 2 < end && pattern[i + 1] == '-';
    found |= wanted >= pattern[i] && wanted <= pattern[range ? i + 2 : i];
    i += range ? 2U : 0U;
  }
  pattern.remove_prefix(end + 1);
  return found != (begin == 2);
}

bool matches_rest(std::string_view pattern, std::string_view name) {
  while (!pattern.empty()) {
    if (pattern[0] == '*') {
      pattern.remove_prefix(1);
      for (size_t skipped = 0; skipped <= name.size(); ++skipped)
        if (matches_rest(pattern, name.substr(skipped)))
          return true;
      return false;
    }
    if (name.empty())
      return false;
    if (pattern[0] == '[') {
      if (!take_set(pattern, name[0]))
        return false;
    } else {
      const char wanted = pattern[0] == '\\' && pattern.size() > 1 ? pattern[1] : pattern[0];
      if (pattern[0] != '?' && wanted != name[0])
        return false;
      pattern.remove_prefix(pattern[0] == '\\' && pattern.size() > 1 ? 2 : 1);
    }
    name.remove_prefix(1);
  }
  return name.empty();
}

} // namespace

bool matches(const std::string& pattern, const std::string& name) {
  return matches_rest(pattern, name);
}

uint64_t process_number() {
  return static_cast<uint64_t>(_getpid());
}

bool is_terminal(std::FILE* file) {
  return _isatty(_fileno(file)) != 0;
}

std::FILE* open(const std::filesystem::path& path, const char* mode) {
  const std::string_view letters(mode);
  if (letters != "wb")
    return _wfopen(path.c_str(), std::wstring(letters.begin(), letters.end()).c_str());
  // The C library's own can't be removed as long as it is open.
  const HANDLE handle = CreateFileW(path.c_str(), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    const DWORD code = GetLastError();
    errno = code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ? ENOENT : EACCES;
    return nullptr;
  }
  const int file = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_WRONLY | _O_BINARY);
  return _fdopen(file, "wb");
}

void remove_open(const char* name) {
  DeleteFileA(name);
}

void write_error(const char* text) {
  _write(_fileno(stderr), text, static_cast<unsigned>(std::strlen(text)));
}

bool seek(std::FILE* file, uint64_t position) {
  return _fseeki64(file, static_cast<int64_t>(position), SEEK_SET) == 0;
}

std::FILE* scratch_file() {
  // The C library's own lies in the root folder, where few may write.
  struct Free {
    void operator()(char* memory) const { std::free(memory); }
  };
  const std::unique_ptr<char, Free> name(_tempnam(nullptr, "gxfilter"));
  return name != nullptr ? std::fopen(name.get(), "w+bTD")
                         : nullptr; // temporary, deleted at its end
}

void make_binary(std::FILE* stream) {
  _setmode(_fileno(stream), _O_BINARY);
}

std::FILE* take_standard_output() {
  std::fflush(stdout);
  const int own = _dup(_fileno(stdout));
  std::FILE* const file = own >= 0 ? _fdopen(own, "wb") : nullptr;
  if (file == nullptr || _dup2(_fileno(stderr), _fileno(stdout)) != 0)
    return nullptr;
  make_binary(file);
  return file;
}

RedirectedOutput::RedirectedOutput(std::FILE* file) : saved_(_dup(_fileno(stdout))) {
  std::fflush(stdout);
  const int nowhere = file == nullptr ? _open("NUL", _O_WRONLY) : -1;
  const int target = file != nullptr ? _fileno(file) : nowhere;
  if (saved_ >= 0 && target >= 0)
    _dup2(target, _fileno(stdout));
  if (nowhere >= 0)
    _close(nowhere);
}

RedirectedOutput::~RedirectedOutput() {
  std::fflush(stdout);
  if (saved_ >= 0) {
    _dup2(saved_, _fileno(stdout));
    _close(saved_);
  }
}

uint64_t printed_bytes() {
  std::fflush(stdout);
  return static_cast<uint64_t>(_lseeki64(_fileno(stdout), 0, SEEK_END));
}

std::string printed_from(uint64_t position) {
  std::string text(static_cast<size_t>(printed_bytes() - position), '\0');
  _lseeki64(_fileno(stdout), static_cast<int64_t>(position), SEEK_SET);
  const int got = _read(_fileno(stdout), text.data(), static_cast<unsigned>(text.size()));
  text.resize(got > 0 ? static_cast<size_t>(got) : 0);
  _lseeki64(_fileno(stdout), 0, SEEK_END);
  return text;
}

} // namespace recordings::system
