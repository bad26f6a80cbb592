#include "recordings/output_file.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>

#include <fmt/format.h>

#include "recordings/byte_stream.h"
#include "recordings/system.h"

namespace recordings {
namespace {

namespace fs = std::filesystem;

std::FILE* claimed_output = nullptr;

/// Of this process and call alone, so that runs beside each other don't meet. The leading dot keeps
/// it out of sight; the extension, out of folders of pictures.
fs::path temporary_name(const fs::path& path) {
  static std::atomic<uint64_t> calls = 0;
  return path.parent_path() /
         fmt::format(".gxfilter-{}-{}.part", system::process_number(), calls.fetch_add(1));
}

/// Names for a signal handler, which can neither allocate nor lock. Where all are taken, a file is
/// left behind at worst.
struct UnfinishedName {
  std::atomic<bool> taken = false;
  std::atomic<bool> written = false;
  std::array<char, 4096> text;
};
std::array<UnfinishedName, 8> unfinished_names;

void add_unfinished(const fs::path& path) {
  const std::string name = path.string();
  for (UnfinishedName& unfinished : unfinished_names) {
    if (name.size() < unfinished.text.size() && !unfinished.taken.exchange(true)) {
      *std::ranges::copy(name, unfinished.text.begin()).out = '\0';
      unfinished.written = true;
      return;
    }
  }
}

void forget_unfinished(const fs::path& path) {
  for (UnfinishedName& unfinished : unfinished_names) {
    if (unfinished.written && path == unfinished.text.data()) {
      unfinished.written = false;
      unfinished.taken = false;
    }
  }
}

} // namespace

void remove_unfinished_files() {
  for (const UnfinishedName& unfinished : unfinished_names)
    if (unfinished.written)
      system::remove_open(unfinished.text.data());
}

std::FILE* standard_output() {
  return claimed_output != nullptr ? claimed_output : stdout;
}

Failure claim_standard_output() {
  if (claimed_output != nullptr)
    return std::nullopt;
  std::FILE* const file = system::take_standard_output();
  if (file == nullptr)
    return system_error("standard output", errno);
  claimed_output = file;
  return std::nullopt;
}

Failure finish_standard_output() {
  for (std::FILE* file : {stdout, standard_output()})
    if (std::fflush(file) != 0 || std::ferror(file) != 0)
      return system_error("standard output", errno);
  return std::nullopt;
}

Result<OutputFile> OutputFile::create(const fs::path& path, bool rewritten) {
  OutputFile output;
  output.path_ = path;
  if (path == standard_stream) {
    output.path_ = "standard output";
    output.file_.reset(rewritten ? system::scratch_file() : standard_output());
  } else {
    std::error_code code;
    if (fs::is_directory(path, code))
      return recordings::system_error(path.string(), EISDIR);
    const fs::path temporary = temporary_name(path);
    output.file_.reset(system::open(temporary, "wb"));
    if (output.file_ != nullptr) {
      output.temporary_ = temporary;
      add_unfinished(temporary);
    }
  }
  if (output.file_ == nullptr)
    return output.system_error();
  return output;
}

OutputFile::~OutputFile() {
  if (file_ == nullptr || temporary_.empty())
    return;
  file_.reset();
  remove_temporary();
}

Failure OutputFile::write(std::span<const uint8_t> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size())
    return system_error();
  size_ += bytes.size();
  return std::nullopt;
}

Failure OutputFile::rewrite(uint64_t position, std::span<const uint8_t> bytes) {
  if (!system::seek(file_.get(), position) ||
      std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size() ||
      std::fseek(file_.get(), 0, SEEK_END) != 0)
    return system_error();
  return std::nullopt;
}

Failure OutputFile::commit() {
  if (std::fflush(file_.get()) != 0)
    return system_error();
  if (temporary_.empty())
    return file_.get() == standard_output() ? std::nullopt : copy_to_standard_output();
  // A full disk may show only here.
  if (std::fclose(file_.release()) != 0) {
    Error error = system_error();
    remove_temporary();
    return error;
  }
  std::error_code code;
  fs::rename(temporary_, path_, code);
  if (!code) {
    forget_unfinished(temporary_);
    return std::nullopt;
  }
  remove_temporary();
  return recordings::system_error(path_.string(), code);
}

void OutputFile::remove_temporary() {
  std::error_code code;
  fs::remove(temporary_, code);
  forget_unfinished(temporary_);
}

Error OutputFile::system_error() const {
  return recordings::system_error(path_.string(), errno);
}

Failure OutputFile::copy_to_standard_output() {
  std::array<uint8_t, 65536> bytes{};
  std::rewind(file_.get());
  while (const size_t count = std::fread(bytes.data(), 1, bytes.size(), file_.get()))
    if (std::fwrite(bytes.data(), 1, count, standard_output()) != count)
      return system_error();
  if (std::ferror(file_.get()) != 0 || std::fflush(standard_output()) != 0)
    return system_error();
  return std::nullopt;
}

} // namespace recordings
