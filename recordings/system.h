// What files and streams need of the operating system.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

namespace recordings::system {

uint64_t process_number();

bool is_terminal(std::FILE* file);

/// As std::fopen, of names with any characters.
std::FILE* open(const std::filesystem::path& path, const char* mode);

/// Removes a file that this process may have open. May be called from a signal handler.
void remove_open(const char* name);

/// 64 bits wide on every platform that has files of that length; false with errno.
bool seek(std::FILE* file, uint64_t position);

/// For bytes in both directions, and gone with the process; null with errno.
std::FILE* scratch_file();

/// Bytes go through the stream as they are.
void make_binary(std::FILE* stream);

/// A stream of bytes to where standard output leads; what is printed goes to standard error from
/// here on. Null with errno.
std::FILE* take_standard_output();

/// Whether a file's name, or a text, is what a shell's pattern of *, ?, [sets] and \\ before a
/// character stands for.
bool matches(const std::string& pattern, const std::string& name);

/// Standard output goes into a file, or, where that is null, nowhere, as long as this lives.
class RedirectedOutput {
 public:
  explicit RedirectedOutput(std::FILE* file = nullptr);
  RedirectedOutput(const RedirectedOutput&) = delete;
  RedirectedOutput& operator=(const RedirectedOutput&) = delete;
  ~RedirectedOutput();

 private:
  int saved_;
};

/// How much was printed on standard output, and what from there on; it must be a file that can be
/// read.
uint64_t printed_bytes();
std::string printed_from(uint64_t position);

} // namespace recordings::system
