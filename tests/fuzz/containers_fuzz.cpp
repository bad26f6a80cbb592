// Containers and the short way through PNG on arbitrary input. The first byte chooses.
#include <libdeflate.h>

#include "fuzz/fuzzing.h"
#include "recordings/grey_png.h"
#include "recordings/matroska.h"
#include "recordings/npy_array.h"
#include "recordings/npz_archive.h"
#include "recordings/pixel_decoding.h"
#include "recordings/png_image.h"
#include "recordings/tum_folder.h"

namespace recordings {
namespace {

using fuzzing::Input;
using fuzzing::require;
using Bytes = std::vector<uint8_t>;

void check_error(const Error& error) {
  require(!error.message.empty() && error.message.back() != '\n', "an error says what is wrong");
}

// ---- containers ----

using Open = Result<std::unique_ptr<FrameSource>> (*)(std::unique_ptr<ByteStream>,
                                                      const SourceOptions&);

void read_container(Input& input, Open open) {
  SourceOptions options;
  if (input.one_in(4))
    options.topic = input.pick("0", "1", "x");
  auto source = open(memory_stream(input.take_all(), "input"), options);
  if (!source)
    return check_error(source.error());
  constexpr int most_frames = 100;
  for (int i = 0; i < most_frames; ++i) {
    auto frame = (*source)->next();
    if (!frame)
      return check_error(frame.error());
    if (!*frame)
      break;
    const auto& info = (*frame)->info;
    require(!info.name.empty() && info.name.find('/') == std::string::npos, "a name fits a file");
    const auto image = (*frame)->decode();
    if (!image)
      check_error(image.error());
    else
      require(image->pixels.size() == image->size.pixel_count() &&
                  !check_size(image->size.width, image->size.height),
              "a picture has all its pixels");
  }
  (void)(*source)->topics();
  for (const std::string& remark : (*source)->remarks())
    require(!remark.empty(), "a remark says something");
}

void read_list(Input& input) {
  const auto bytes = input.take_all();
  const auto entries = parse_tum_list({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  if (!entries)
    return check_error(entries.error());
  for (const TumEntry& entry : *entries) {
    const std::string path = entry.picture.lexically_normal().string();
    require(entry.time_ns >= 0, "pictures are not older than the epoch");
    require(!path.starts_with('/') && path != ".." && !path.starts_with("../"),
            "pictures lie in the folder");
  }
}

// ---- pictures ----

void decode_pixels(Input& input) {
  const PixelDecoding decoding{.swap_bytes = input.one_in(2),
                               .rotate_bits = input.number<int8_t>(),
                               .shift_bits = input.number<int8_t>(),
                               .invalid = input.number<uint16_t>(),
                               .factor = input.number<double>()};
  if (const auto failure = check_decoding(decoding))
    return check_error(*failure);
  Image image{{1, 1}, {input.number<uint16_t>()}};
  uint32_t pixel = image.pixels[0];
  PixelDecoder(decoding).apply(image);
  if (decoding.swap_bytes)
    pixel = pixel % 256 * 256 + pixel / 256;
  for (int i = 0; i < decoding.rotate_bits; ++i)
    pixel = pixel / 2 + pixel % 2 * 32768;
  for (int i = 0; i < decoding.shift_bits; ++i)
    pixel /= 2;
  for (int i = 0; i > decoding.shift_bits; --i)
    pixel = pixel * 2 % 65536;
  const double product = pixel == decoding.invalid ? 0 : pixel * decoding.factor;
  const double expected = product > 65535 ? 65535 : std::floor(product + 0.5);
  require(std::fabs(image.pixels[0] - product) <= 0.5 || image.pixels[0] == expected,
          "a pixel takes the steps in order");
}

void compare_with_libpng(const Bytes& file) {
  const auto image = decode_grey_png(file);
  const auto expected = decode_png_with_libpng(file);
  if (image)
    require(expected && *expected == *image, "what both read is the same");
  if (!expected)
    return check_error(expected.error());
  const auto again = encode_png(*expected);
  require(bool(again), "a picture is written");
  const auto read_again = decode_png_with_libpng(*again);
  require(read_again && *read_again == *expected, "libpng reads what is written");
  require(decode_grey_png(*again) == *expected, "what is written is read the short way");
}

void append_number(Bytes& bytes, size_t number) {
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<uint8_t>(number >> shift));
}

void append_chunk(Bytes& file, std::string_view type, std::span<const uint8_t> content) {
  append_number(file, content.size());
  const size_t begin = file.size();
  file.insert(file.end(), type.begin(), type.end());
  file.insert(file.end(), content.begin(), content.end());
  append_number(file, libdeflate_crc32(0, &file[begin], file.size() - begin));
}

Bytes zlib_stream(const Bytes& bytes) {
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(1);
  Bytes stream(libdeflate_zlib_compress_bound(compressor, bytes.size()));
  stream.resize(libdeflate_zlib_compress(compressor, bytes.data(), bytes.size(), stream.data(),
                                         stream.size()));
  libdeflate_free_compressor(compressor);
  return stream;
}

/// With right checksums, so that what lies behind them is reached.
void compare_made_up_png(Input& input) {
  const size_t width = 1 + input.below(20);
  const size_t height = 1 + input.below(20);
  Bytes file(png_first_bytes.begin(), png_first_bytes.end());
  Bytes header;
  append_number(header, width);
  append_number(header, height);
  header.insert(header.end(), {input.pick<uint8_t>(16, 16, 16, 8), 0, 0, 0,
                               input.pick<uint8_t>(0, 0, 0, 0, 0, 0, 0, 1)});
  Bytes rows((1 + 2 * width) * height);
  const unsigned filters = input.below(6);
  const auto odd = input.take(input.below(64));
  const size_t cuts[] = {input.byte(), input.byte()};
  const uint8_t order[] = {input.byte(), input.byte(), input.byte()};
  const auto window = input.one_in(8) ? input.byte() : uint8_t{0x78};
  const auto pixels = input.take_all();
  for (size_t i = 0; i < rows.size(); ++i)
    rows[i] = i % (1 + 2 * width) == 0 ? static_cast<uint8_t>(filters < 5 ? filters : i % 7)
              : pixels.empty()         ? uint8_t{0}
                                       : pixels[i % pixels.size()];
  Bytes stream = zlib_stream(rows);
  stream[0] = window;
  for (size_t i = 0; i < odd.size() && order[0] % 8 == 7; ++i)
    stream[i % stream.size()] ^= odd[i];

  append_chunk(file, "IHDR", header);
  const char* types[] = {"tEXt", "gAMA", "PLTE", "IDAT", "tRNS", "sBIT", "IHDR", "xXxX"};
  std::span<const uint8_t> rest = stream;
  for (size_t i = 0; i < 2; ++i) {
    if (order[1] % 4 == i)
      append_chunk(file, types[order[2] % std::size(types)], odd);
    const auto part = rest.first(std::min(rest.size(), cuts[i]));
    append_chunk(file, "IDAT", part);
    rest = rest.subspan(part.size());
  }
  append_chunk(file, "IDAT", rest);
  if (order[1] % 4 == 3)
    append_chunk(file, types[order[2] % std::size(types)], odd);
  append_chunk(file, "IEND", {});
  compare_with_libpng(file);
}

void run(Input& input) {
  switch (input.below(7)) {
  case 0:
    return read_container(input, open_npy);
  case 1:
    return read_container(input, open_npz);
  case 2:
    return read_container(input, open_matroska);
  case 3:
    return read_list(input);
  case 4:
    return decode_pixels(input);
  case 5: {
    const auto bytes = input.take_all();
    const Bytes file(bytes.begin(), bytes.end());
    return begins_with(file, png_first_bytes) ? compare_with_libpng(file) : void();
  }
  default:
    return compare_made_up_png(input);
  }
}

} // namespace
} // namespace recordings

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzing::Input input({data, size});
  recordings::run(input);
  return 0;
}
