#include "recordings/compression.h"

#include <algorithm>
#include <memory>

#include <bzlib.h>
#include <fmt/format.h>
#include <lz4frame.h>
#include <zstd.h>

namespace recordings {
namespace {

struct Step {
  size_t consumed = 0;
  size_t produced = 0;
  bool at_end = false; ///< of a frame: the data may end here
  bool damaged = false;
};

class Decoder {
 public:
  Decoder() = default;
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;
  virtual ~Decoder() = default;
  virtual Step step(std::span<const uint8_t> input, std::span<uint8_t> output) = 0;
};

class Lz4Decoder final : public Decoder {
 public:
  Lz4Decoder() {
    if (LZ4F_isError(LZ4F_createDecompressionContext(&context_, LZ4F_VERSION)) != 0)
      context_ = nullptr;
  }
  ~Lz4Decoder() override { LZ4F_freeDecompressionContext(context_); }

  Step step(std::span<const uint8_t> input, std::span<uint8_t> output) override {
    size_t consumed = input.size();
    size_t produced = output.size();
    if (context_ == nullptr)
      return {.damaged = true};
    const size_t wanted =
        LZ4F_decompress(context_, output.data(), &produced, input.data(), &consumed, nullptr);
    return {consumed, produced, wanted == 0, LZ4F_isError(wanted) != 0};
  }

 private:
  LZ4F_dctx* context_ = nullptr;
};

class ZstdDecoder final : public Decoder {
 public:
  ~ZstdDecoder() override { ZSTD_freeDStream(stream_); }

  /// A frame's window, which is memory by its claim, has zstd's own limit of 128 MiB.
  Step step(std::span<const uint8_t> input, std::span<uint8_t> output) override {
    ZSTD_inBuffer in{input.data(), input.size(), 0};
    ZSTD_outBuffer out{output.data(), output.size(), 0};
    const size_t wanted = ZSTD_decompressStream(stream_, &out, &in);
    return {in.pos, out.pos, wanted == 0, ZSTD_isError(wanted) != 0};
  }

 private:
  ZSTD_DStream* stream_ = ZSTD_createDStream();
};

class Bz2Decoder final : public Decoder {
 public:
  ~Bz2Decoder() override {
    if (begun_)
      BZ2_bzDecompressEnd(&stream_);
  }

  Step step(std::span<const uint8_t> input, std::span<uint8_t> output) override {
    if (!begun_) {
      stream_ = {};
      begun_ = BZ2_bzDecompressInit(&stream_, 0, 0) == BZ_OK;
      if (!begun_)
        return {.damaged = true};
    }
    // The library takes no const and counts in 32 bits, which chunks fit in.
    stream_.next_in = const_cast<char*>(reinterpret_cast<const char*>(input.data()));
    stream_.avail_in = static_cast<unsigned>(input.size());
    stream_.next_out = reinterpret_cast<char*>(output.data());
    stream_.avail_out = static_cast<unsigned>(output.size());
    const int status = BZ2_bzDecompress(&stream_);
    const Step step{input.size() - stream_.avail_in, output.size() - stream_.avail_out,
                    status == BZ_STREAM_END, status != BZ_OK && status != BZ_STREAM_END};
    if (step.at_end) {
      BZ2_bzDecompressEnd(&stream_);
      begun_ = false;
    }
    return step;
  }

 private:
  bz_stream stream_{};
  bool begun_ = false;
};

std::unique_ptr<Decoder> make_decoder(Compression compression) {
  switch (compression) {
  case Compression::lz4:
    return std::make_unique<Lz4Decoder>();
  case Compression::zstd:
    return std::make_unique<ZstdDecoder>();
  case Compression::bz2:
    return std::make_unique<Bz2Decoder>();
  case Compression::none:
    break;
  }
  return nullptr;
}

enum class Ending { whole, cut_off, damaged, too_long };

/// Fills `output` as far as the input goes, up to one byte more than `size`.
Ending decode(Decoder& decoder, std::span<const uint8_t> input, uint64_t size,
              std::vector<uint8_t>& output) {
  constexpr uint64_t least_room = 65536;
  uint64_t produced = 0;
  Ending ending = Ending::whole;
  for (bool at_end = true; ending == Ending::whole && !(at_end && input.empty());) {
    if (produced == output.size()) {
      const uint64_t room = std::max({least_room, produced * 2, uint64_t{input.size()} * 4});
      output.resize(static_cast<size_t>(std::min(size + 1, room)));
    }
    const Step step = decoder.step(input, std::span(output).subspan(static_cast<size_t>(produced)));
    input = input.subspan(step.consumed);
    produced += step.produced;
    at_end = step.at_end;
    if (step.damaged)
      ending = Ending::damaged;
    else if (produced > size)
      ending = Ending::too_long;
    else if (step.consumed == 0 && step.produced == 0 && produced < output.size())
      ending = Ending::cut_off;
  }
  output.resize(static_cast<size_t>(std::min(produced, size)));
  return ending;
}

} // namespace

Result<std::vector<uint8_t>> decompress(Compression compression, std::span<const uint8_t> bytes,
                                        uint64_t size) {
  if (size > largest_chunk || bytes.size() > largest_chunk)
    return Error{fmt::format("{} bytes are beyond the limit of {} for a chunk",
                             std::max<uint64_t>(size, bytes.size()), largest_chunk)};
  std::vector<uint8_t> output;
  Ending ending = Ending::whole;
  if (const auto decoder = make_decoder(compression))
    ending = decode(*decoder, bytes, size, output);
  else
    output.assign(bytes.begin(), bytes.end());
  if (ending == Ending::damaged)
    return Error{"its compressed bytes are damaged"};
  if (ending == Ending::too_long || output.size() > size)
    return Error{fmt::format("it holds more than the {} bytes that it claims", size)};
  if (output.size() < size || ending == Ending::cut_off)
    return Error{fmt::format("it holds {} bytes where it claims {}", output.size(), size)};
  return output;
}

std::vector<uint8_t> decompress_front(Compression compression, std::span<const uint8_t> bytes,
                                      uint64_t size) {
  std::vector<uint8_t> output;
  if (const auto decoder = make_decoder(compression))
    (void)decode(*decoder, bytes, std::min(size, largest_chunk), output);
  else
    output.assign(bytes.begin(),
                  bytes.begin() + static_cast<ptrdiff_t>(std::min<uint64_t>(size, bytes.size())));
  return output;
}

Result<std::vector<uint8_t>> compress(Compression compression, std::span<const uint8_t> bytes) {
  if (compression == Compression::none)
    return std::vector<uint8_t>(bytes.begin(), bytes.end());
  std::vector<uint8_t> output;
  size_t size = 0;
  bool failed = true;
  if (compression == Compression::zstd) {
    constexpr int fast = 1;
    output.resize(ZSTD_compressBound(bytes.size()));
    size = ZSTD_compress(output.data(), output.size(), bytes.data(), bytes.size(), fast);
    failed = ZSTD_isError(size) != 0;
  } else if (compression == Compression::lz4) {
    LZ4F_preferences_t preferences{};
    preferences.frameInfo.contentSize = bytes.size();
    output.resize(LZ4F_compressFrameBound(bytes.size(), &preferences));
    size =
        LZ4F_compressFrame(output.data(), output.size(), bytes.data(), bytes.size(), &preferences);
    failed = LZ4F_isError(size) != 0;
  }
  if (failed)
    return Error{"a chunk can't be compressed", ErrorKind::system};
  output.resize(size);
  return output;
}

} // namespace recordings
