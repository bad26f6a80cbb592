#include "recordings/npz_archive.h"

#include <array>
#include <utility>

#include <fmt/format.h>
#include <zip.h>

#include "recordings/frame_names.h"
#include "recordings/npy_array.h"
#include "recordings/picture_source.h"

namespace recordings {
namespace {

// ---- a ByteStream as libzip wants to read it ----

struct ArchiveBytes {
  std::unique_ptr<ByteStream> stream;
  zip_error_t error{};
};

zip_int64_t answer(ArchiveBytes& archive, const Failure& failure) {
  if (!failure)
    return 0;
  zip_error_set(&archive.error, ZIP_ER_READ, 0);
  return -1;
}

zip_int64_t seek(ArchiveBytes& archive, void* data, zip_uint64_t length) {
  const auto* arguments = ZIP_SOURCE_GET_ARGS(zip_source_args_seek_t, data, length, &archive.error);
  if (arguments == nullptr)
    return -1;
  const auto size = static_cast<zip_int64_t>(*archive.stream->size());
  const zip_int64_t origin = arguments->whence == SEEK_SET ? 0
                             : arguments->whence == SEEK_CUR
                                 ? static_cast<zip_int64_t>(archive.stream->position())
                                 : size;
  if (arguments->offset < -origin || arguments->offset > size - origin) {
    zip_error_set(&archive.error, ZIP_ER_SEEK, 0);
    return -1;
  }
  return answer(archive, archive.stream->seek(static_cast<uint64_t>(origin + arguments->offset)));
}

zip_int64_t serve(void* user, void* data, zip_uint64_t length, zip_source_cmd_t command) {
  auto& archive = *static_cast<ArchiveBytes*>(user);
  switch (command) {
  case ZIP_SOURCE_OPEN:
    return answer(archive, archive.stream->seek(0));
  case ZIP_SOURCE_READ: {
    const auto count = archive.stream->read({static_cast<uint8_t*>(data), length});
    return count ? static_cast<zip_int64_t>(*count) : answer(archive, count.error());
  }
  case ZIP_SOURCE_SEEK:
    return seek(archive, data, length);
  case ZIP_SOURCE_TELL:
    return static_cast<zip_int64_t>(archive.stream->position());
  case ZIP_SOURCE_STAT: {
    auto* stat = static_cast<zip_stat_t*>(data);
    zip_stat_init(stat);
    stat->size = *archive.stream->size();
    stat->valid = ZIP_STAT_SIZE;
    return sizeof *stat;
  }
  case ZIP_SOURCE_ERROR:
    return zip_error_to_data(&archive.error, data, length);
  case ZIP_SOURCE_SUPPORTS:
    return zip_source_make_command_bitmap(
        ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT, ZIP_SOURCE_ERROR,
        ZIP_SOURCE_FREE, ZIP_SOURCE_SEEK, ZIP_SOURCE_TELL, ZIP_SOURCE_SUPPORTS, -1);
  case ZIP_SOURCE_CLOSE:
  case ZIP_SOURCE_FREE: // the owner frees it
    return 0;
  default:
    zip_error_set(&archive.error, ZIP_ER_OPNOTSUPP, 0);
    return -1;
  }
}

struct CloseArchive {
  void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct CloseMember {
  void operator()(zip_file_t* member) const { zip_fclose(member); }
};

/// A file of the archive, from its beginning on.
class Member final : public ByteStream {
 public:
  Member(zip_file_t* file, std::string name) : file_(file), name_(std::move(name)) {}

  Result<size_t> read(std::span<uint8_t> bytes) override {
    size_t total = 0;
    while (total < bytes.size()) {
      const zip_int64_t count = zip_fread(file_.get(), &bytes[total], bytes.size() - total);
      if (count < 0) {
        damaged_ = true;
        return Error{fmt::format("{}: {}", name_, zip_file_strerror(file_.get()))};
      }
      if (count == 0)
        break;
      total += static_cast<size_t>(count);
    }
    position_ += total;
    return total;
  }

  Result<uint64_t> skip(uint64_t count) override {
    const auto left_out = read_bytes(*this, count);
    return left_out ? Result<uint64_t>(left_out->size()) : left_out.error();
  }

  Failure seek(uint64_t) override { return Error{fmt::format("{}: can't seek", name_)}; }
  std::optional<uint64_t> size() const override { return std::nullopt; }
  uint64_t position() const override { return position_; }
  const std::string& name() const override { return name_; }

  /// Whether it could not be read on.
  bool damaged() const { return damaged_; }

 private:
  std::unique_ptr<zip_file_t, CloseMember> file_;
  std::string name_;
  uint64_t position_ = 0;
  bool damaged_ = false;
};

// ---- its frames ----

class NpzSource final : public FrameSource {
 public:
  explicit NpzSource(std::unique_ptr<ByteStream> stream)
      : name_(stream->name()), bytes_(std::make_unique<ArchiveBytes>()) {
    bytes_->stream = std::move(stream);
  }

  Failure open() {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_function_create(serve, bytes_.get(), &error);
    if (source != nullptr)
      archive_.reset(zip_open_from_source(source, ZIP_RDONLY, &error));
    Failure failure;
    if (archive_ == nullptr) {
      failure = Error{fmt::format("{}: {}", name_, zip_error_strerror(&error))};
      zip_source_free(source);
    } else {
      member_count_ = static_cast<zip_uint64_t>(zip_get_num_entries(archive_.get(), 0));
    }
    zip_error_fini(&error);
    return failure;
  }

  Result<std::optional<StoredFrame>> next() override {
    while (member_ != nullptr || next_member_ < member_count_) {
      if (member_ == nullptr && !open_member())
        continue;
      auto stored =
          broken_ ? Result<std::optional<Image>>(*std::exchange(broken_, {})) : read_frame();
      if (stored && !*stored) {
        has_losses_ = true;
        remarks_.push_back(fmt::format("{}: cut off behind {} of {} frames", member_->name(),
                                       frame_, header_.frames));
      }
      std::optional<StoredFrame> frame;
      if (!stored || *stored)
        frame = make_frame(std::move(stored));
      if (!frame || frame_ == header_.frames)
        member_.reset();
      if (frame)
        return frame;
    }
    if (index_ == 0)
      return Error{fmt::format("{}: no array of depth images", name_)};
    if (const uint64_t passed_over = std::exchange(passed_over_, 0); passed_over > 1)
      remarks_.push_back(fmt::format("{}: {} more members passed over", name_, passed_over - 1));
    return std::optional<StoredFrame>();
  }

  const std::vector<std::string>& remarks() const override { return remarks_; }
  bool has_losses() const override { return has_losses_; }

 private:
  /// Of the member; null where that is cut off. Its checksum is looked at where it ends.
  Result<std::optional<Image>> read_frame() {
    auto stored = read_npy_frame(*member_, header_);
    std::array<uint8_t, 1> more{};
    if (stored && *stored && frame_ + 1 == header_.frames)
      if (const auto count = member_->read(more); !count)
        return count.error();
    return stored;
  }

  /// Whether the next member holds depth; the reason if not becomes a remark.
  bool open_member() {
    const zip_uint64_t index = next_member_++;
    const char* name = zip_get_name(archive_.get(), index, 0);
    const std::filesystem::path path = name != nullptr ? name : "";
    member_name_ = path.stem().string();
    const std::string place = fmt::format("{}, {}", name_, path.string());
    if (path.extension() != ".npy")
      return pass_over(place, "not a .npy file");
    zip_file_t* file = zip_fopen_index(archive_.get(), index, 0);
    has_losses_ |= file == nullptr;
    if (file == nullptr)
      return pass_over(place, zip_strerror(archive_.get()));
    auto member = std::make_unique<Member>(file, place);
    const auto header = read_npy_header(*member);
    if (!header && member->damaged()) {
      // What it would have been can't be told: one frame that can't be read stands for it.
      broken_ = header.error();
      member_ = std::move(member);
      header_ = {};
      header_.frames = 1;
      header_.one_picture = true;
      frame_ = 0;
      return true;
    }
    if (!header)
      return pass_over(place, header.error().message);
    if (header->frames == 0)
      return pass_over(place, "an array without frames");
    member_ = std::move(member);
    header_ = *header;
    frame_ = 0;
    return true;
  }

  bool pass_over(const std::string& place, const std::string& reason) {
    if (passed_over_++ == 0)
      remarks_.push_back(fmt::format("{} is passed over: {}", place, reason));
    return false;
  }

  /// After an error the rest of the member can't be had: its frame is the last one.
  StoredFrame make_frame(Result<std::optional<Image>> stored) {
    StoredFrame frame;
    frame.info.index = index_;
    frame.info.name = names_.make(header_.one_picture ? member_name_ : numbered_name(index_));
    frame.place = header_.one_picture ? member_->name()
                                      : fmt::format("{}, frame {}", member_->name(), frame_);
    ++index_;
    frame_ = stored ? frame_ + 1 : header_.frames;
    frame.decode = [stored = std::move(stored), header = header_]() mutable -> Result<Image> {
      if (!stored)
        return stored.error();
      return decode_npy_frame(std::move(**stored), header);
    };
    return frame;
  }

  std::string name_;
  std::unique_ptr<ArchiveBytes> bytes_; ///< outlives the archive
  std::unique_ptr<zip_t, CloseArchive> archive_;
  zip_uint64_t member_count_ = 0;
  zip_uint64_t next_member_ = 0;
  std::unique_ptr<Member> member_; ///< whose frames come now, or null
  std::string member_name_;
  NpyHeader header_;
  Failure broken_;     ///< why the member's header can't be read
  uint64_t frame_ = 0; ///< of the member
  uint64_t index_ = 0;
  FrameNames names_;
  std::vector<std::string> remarks_;
  uint64_t passed_over_ = 0; ///< members, until that is told
  bool has_losses_ = false;
};

} // namespace

Result<std::unique_ptr<FrameSource>> open_npz(std::unique_ptr<ByteStream> stream,
                                              const SourceOptions&) {
  if (!stream->size()) {
    return Error{fmt::format("{}: a .npz archive has its list at the end and can't be read from a "
                             "pipe; .npy can",
                             stream->name()),
                 ErrorKind::request};
  }
  auto source = std::make_unique<NpzSource>(std::move(stream));
  if (auto failure = source->open())
    return *failure;
  return std::unique_ptr<FrameSource>(std::move(source));
}

} // namespace recordings
