#include "recordings/system.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <windows.h>

namespace recordings::system {

namespace {

/// The character that a pattern begins with, which a backslash may precede; takes it off.
char take_character(std::string_view& pattern) {
  const size_t escape = pattern[0] == '\\' && pattern.size() > 1 ? 1 : 0;
  const char character = pattern[escape];
  pattern.remove_prefix(escape + 1);
  return character;
}

/// Whether a [set] that begins with the pattern holds the character; takes the set off the pattern.
/// A bracket without its end stands for itself.
bool take_set(std::string_view& pattern, char wanted) {
  std::string_view rest = pattern.substr(1);
  const bool negated = rest.starts_with('!') || rest.starts_with('^');
  if (negated)
    rest.remove_prefix(1);
  bool found = false;
  for (bool is_first = true; !rest.empty() && (is_first || rest[0] != ']'); is_first = false) {
    const char low = take_character(rest);
    const bool is_range = rest.size() > 1 && rest[0] == '-' && rest[1] != ']';
    if (is_range)
      rest.remove_prefix(1);
    const char high = is_range ? take_character(rest) : low;
    found |= wanted >= low && wanted <= high;
  }
  if (rest.empty()) {
    pattern.remove_prefix(1);
    return wanted == '[';
  }
  pattern = rest.substr(1);
  return found != negated;
}

/// Whether one character fits what the pattern begins with, which is no star; takes that off.
bool take_one(std::string_view& pattern, char character) {
  if (pattern[0] == '[')
    return take_set(pattern, character);
  if (pattern[0] == '?') {
    pattern.remove_prefix(1);
    return true;
  }
  return take_character(pattern) == character;
}

} // namespace

bool matches(const std::string& wanted, const std::string& given) {
  std::string_view pattern = wanted;
  std::string_view name = given;
  // Only the last star can take more: what those before it took was the least that was needed.
  bool has_star = false;
  std::string_view behind_star;
  std::string_view left_to_star;
  while (!name.empty()) {
    if (pattern.starts_with('*')) {
      has_star = true;
      pattern.remove_prefix(1);
      behind_star = pattern;
      left_to_star = name;
      continue;
    }
    const bool fits = !pattern.empty() && take_one(pattern, name[0]);
    if (!fits && !has_star)
      return false;
    if (!fits) {
      left_to_star.remove_prefix(1);
      pattern = behind_star;
      name = left_to_star;
    } else {
      name.remove_prefix(1);
    }
  }
  return pattern.find_first_not_of('*') == std::string_view::npos;
}

uint64_t process_number() {
  return static_cast<uint64_t>(_getpid());
}

bool is_terminal(std::FILE* file) {
  return _isatty(_fileno(file)) != 0;
}

namespace {

/// As the C library words what can keep a file from being made.
int error_number(DWORD code) {
  switch (code) {
  case ERROR_FILE_NOT_FOUND:
  case ERROR_PATH_NOT_FOUND:
    return ENOENT;
  case ERROR_DISK_FULL:
  case ERROR_HANDLE_DISK_FULL:
    return ENOSPC;
  case ERROR_INVALID_NAME:
  case ERROR_BAD_PATHNAME:
  case ERROR_DIRECTORY:
    return EINVAL;
  case ERROR_FILENAME_EXCED_RANGE:
    return ENAMETOOLONG;
  default:
    return EACCES;
  }
}

} // namespace

std::FILE* open(const std::filesystem::path& path, const char* mode) {
  const std::string_view letters(mode);
  if (letters != "wb")
    return _wfopen(path.c_str(), std::wstring(letters.begin(), letters.end()).c_str());
  // The C library's own can't be removed as long as it is open.
  const HANDLE handle = CreateFileW(path.c_str(), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    errno = error_number(GetLastError());
    return nullptr;
  }
  const int file = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_WRONLY | _O_BINARY);
  if (file < 0)
    CloseHandle(handle);
  return file < 0 ? nullptr : _fdopen(file, "wb");
}

void remove_open(const char* name) {
  DeleteFileA(name);
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
