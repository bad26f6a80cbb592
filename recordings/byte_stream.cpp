#include "recordings/byte_stream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include <fmt/format.h>

#include "recordings/system.h"

namespace recordings {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const {
    if (file != stdin)
      std::fclose(file);
  }
};

class FileStream final : public ByteStream {
 public:
  FileStream(std::FILE* file, std::string name, std::optional<uint64_t> size)
      : file_(file), name_(std::move(name)), size_(size) {}

  Result<size_t> read(std::span<uint8_t> bytes) override {
    const size_t count = std::fread(bytes.data(), 1, bytes.size(), file_.get());
    position_ += count;
    if (count < bytes.size() && std::ferror(file_.get()) != 0)
      return system_error();
    return count;
  }

  Result<uint64_t> skip(uint64_t count) override {
    if (size_) {
      const uint64_t left = *size_ - std::min(position_, *size_);
      const uint64_t skipped = std::min(count, left);
      if (auto failure = seek(position_ + skipped))
        return *failure;
      return skipped;
    }
    std::array<uint8_t, 65536> waste{};
    uint64_t skipped = 0;
    while (skipped < count) {
      const size_t wanted = static_cast<size_t>(std::min<uint64_t>(count - skipped, waste.size()));
      const auto got = read(std::span(waste).first(wanted));
      if (!got)
        return got.error();
      skipped += *got;
      if (*got < wanted)
        break;
    }
    return skipped;
  }

  Failure seek(uint64_t position) override {
    if (!system::seek(file_.get(), position))
      return system_error();
    position_ = position;
    return std::nullopt;
  }

  std::optional<uint64_t> size() const override { return size_; }
  uint64_t position() const override { return position_; }
  const std::string& name() const override { return name_; }

 private:
  Error system_error() const { return recordings::system_error(name_, errno, ErrorKind::input); }

  std::unique_ptr<std::FILE, CloseFile> file_;
  std::string name_;
  std::optional<uint64_t> size_;
  uint64_t position_ = 0;
};

class MemoryStream final : public ByteStream {
 public:
  MemoryStream(std::span<const uint8_t> bytes, std::string name)
      : bytes_(bytes), name_(std::move(name)) {}

  Result<size_t> read(std::span<uint8_t> bytes) override {
    const size_t count = std::min(bytes.size(), bytes_.size() - position_);
    std::copy_n(bytes_.begin() + static_cast<ptrdiff_t>(position_), count, bytes.begin());
    position_ += count;
    return count;
  }

  Result<uint64_t> skip(uint64_t count) override {
    const uint64_t skipped = std::min<uint64_t>(count, bytes_.size() - position_);
    position_ += static_cast<size_t>(skipped);
    return skipped;
  }

  Failure seek(uint64_t position) override {
    position_ = static_cast<size_t>(std::min<uint64_t>(position, bytes_.size()));
    return std::nullopt;
  }

  std::optional<uint64_t> size() const override { return bytes_.size(); }
  uint64_t position() const override { return position_; }
  const std::string& name() const override { return name_; }

 private:
  std::span<const uint8_t> bytes_;
  std::string name_;
  size_t position_ = 0;
};

} // namespace

Result<std::unique_ptr<ByteStream>> open_byte_stream(const std::filesystem::path& path) {
  if (path == standard_stream) {
    system::make_binary(stdin);
    return std::unique_ptr<ByteStream>(
        std::make_unique<FileStream>(stdin, "standard input", std::nullopt));
  }
  std::error_code code;
  if (!std::filesystem::exists(path, code))
    return Error{fmt::format("{}: no such file", path.string()), ErrorKind::input, {}, ENOENT};
  if (std::filesystem::is_directory(path, code))
    return Error{fmt::format("{}: not a regular file", path.string())};
  std::FILE* file = system::open(path, "rb");
  if (file == nullptr)
    return system_error(path.string(), errno, ErrorKind::input);
  std::optional<uint64_t> size;
  if (std::filesystem::is_regular_file(path, code))
    size = std::filesystem::file_size(path, code);
  return std::unique_ptr<ByteStream>(std::make_unique<FileStream>(file, path.string(), size));
}

std::unique_ptr<ByteStream> memory_stream(std::span<const uint8_t> bytes, std::string name) {
  return std::make_unique<MemoryStream>(bytes, std::move(name));
}

Result<std::vector<uint8_t>> read_bytes(ByteStream& stream, uint64_t count) {
  std::vector<uint8_t> bytes;
  if (auto failure = read_up_to(stream, count, bytes))
    return *failure;
  return bytes;
}

Failure read_up_to(ByteStream& stream, uint64_t count, std::vector<uint8_t>& bytes) {
  constexpr uint64_t step = uint64_t{1} << 20;
  while (bytes.size() < count) {
    const size_t before = bytes.size();
    // Doubling keeps copying cheap and never runs far ahead of what has come.
    const uint64_t wanted = std::min(count - before, std::max<uint64_t>(step, before));
    bytes.resize(before + static_cast<size_t>(wanted));
    const auto got = stream.read(std::span(bytes).subspan(before));
    if (!got)
      return got.error();
    if (*got < wanted) {
      bytes.resize(before + *got);
      break;
    }
  }
  return std::nullopt;
}

} // namespace recordings
