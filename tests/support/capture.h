#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace test {

/// Takes what is printed on a stream while it lives. In memory: the file on disk that each of
/// gtest's own captures makes would take most of these tests' time.
class Capture {
 public:
  explicit Capture(FILE* stream)
      : stream_(stream), saved_(dup(fileno(stream))), file_(memfd_create("capture", 0)) {
    std::fflush(stream_);
    dup2(file_, fileno(stream_));
  }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  ~Capture() {
    restore();
    close(file_);
  }

  std::string text() {
    restore();
    std::string text(static_cast<size_t>(lseek(file_, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(file_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    return text;
  }

 private:
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
