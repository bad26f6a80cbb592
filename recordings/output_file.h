// Files that appear whole or not at all.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>

#include "recordings/result.h"

namespace recordings {

/// Where results go that are meant for standard output. The same as `stdout` until
/// `claim_standard_output` was called.
std::FILE* standard_output();

/// Keeps standard output for `standard_output` alone: what anything else in this process prints
/// there goes to standard error from here on. Before other threads start.
Failure claim_standard_output();

/// Writes out what is still held back; an error where anything printed so far was lost.
Failure finish_standard_output();

/// Removes what is written under another name at this moment, for a signal that ends the process.
/// May be called from its handler.
void remove_unfinished_files();

/// A file that is written under another name beside its place and renamed when it is complete; an
/// existing file stays as it is until then. Without `commit` nothing remains.
class OutputFile {
 public:
  /// "-" is standard output: it is written as it comes, unless `rewritten` says that `rewrite` will
  /// be called; then it is kept in a temporary file until `commit`.
  static Result<OutputFile> create(const std::filesystem::path& path, bool rewritten = false);

  OutputFile(OutputFile&&) = default;
  OutputFile& operator=(OutputFile&&) = delete;
  ~OutputFile();

  /// Errors, here and below, are of kind `system`, name the file and have the system's words.
  Failure write(std::span<const uint8_t> bytes);
  /// Replaces bytes that were written before.
  Failure rewrite(uint64_t position, std::span<const uint8_t> bytes);
  Failure commit();

  /// Bytes written so far.
  uint64_t size() const { return size_; }

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const {
      if (file != standard_output())
        std::fclose(file);
    }
  };

  OutputFile() = default;
  Error system_error() const;
  void remove_temporary();
  Failure copy_to_standard_output();

  std::unique_ptr<std::FILE, CloseFile> file_;
  std::filesystem::path path_; ///< where it will stand
  std::filesystem::path
      temporary_; ///< where it stands meanwhile; empty: nowhere in the file system
  uint64_t size_ = 0;
};

} // namespace recordings
