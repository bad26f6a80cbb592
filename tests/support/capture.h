#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace test {

/// An empty file without a name, where possible in memory: one on disk for each capture would take
/// most of these tests' time.
inline int open_scratch_file() {
#if defined(__linux__)
  return memfd_create("capture", 0);
#elif defined(_WIN32)
  char* const name = _tempnam(nullptr, "capture");
  const int file = _open(name, _O_RDWR | _O_CREAT | _O_BINARY | _O_TEMPORARY, 0600);
  std::free(name);
  return file;
#else
  std::string name = testing::TempDir() + "capture_XXXXXX";
  return mkstemp(name.data()); // and keeps its name, by which Emscripten copies descriptors
#endif
}

/// Takes what is printed on a stream while it lives.
class Capture {
 public:
  explicit Capture(FILE* stream)
      : stream_(stream), saved_(dup(fileno(stream))), file_(take_scratch_file()) {
    std::fflush(stream_);
    dup2(file_, fileno(stream_));
  }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  ~Capture() {
    restore();
    idle_files().push_back(file_);
  }

  std::string text() {
    restore();
    std::string text(static_cast<size_t>(lseek(file_, 0, SEEK_END)), '\0');
    lseek(file_, 0, SEEK_SET);
    const auto size = static_cast<unsigned>(text.size());
    EXPECT_EQ(static_cast<size_t>(read(file_, text.data(), size)), text.size());
    return text;
  }

 private:
  /// Files are used again, as making one takes long on some systems.
  static std::vector<int>& idle_files() {
    static std::vector<int> files;
    return files;
  }
  static int take_scratch_file() {
    if (idle_files().empty())
      return open_scratch_file();
    const int file = idle_files().back();
    idle_files().pop_back();
    EXPECT_EQ(ftruncate(file, 0), 0);
    lseek(file, 0, SEEK_SET);
    return file;
  }

  void restore() {
    std::fflush(stream_);
    if (saved_ >= 0) {
      dup2(saved_, fileno(stream_));
      close(saved_);
    }
    saved_ = -1;
  }

  FILE* stream_;
  int saved_;
  int file_;
};

} // namespace test
