#include "recordings/rvl.h"

#include <algorithm>

#include "recordings/byte_reader.h"

namespace recordings {
namespace {

constexpr unsigned word_nibbles = 8; ///< which are read from the highest down

class NibbleReader {
 public:
  explicit NibbleReader(ByteReader& words) : words_(words) {}

  /// A number of nibbles with three bits each, the lowest first; the fourth says that more follow.
  uint32_t number() {
    uint32_t value = 0;
    for (unsigned shift = 0; shift < 32; shift += 3) {
      const uint32_t nibble = next();
      value |= (nibble & 7) << shift;
      if ((nibble & 8) == 0)
        break;
    }
    return value;
  }

 private:
  uint32_t next() {
    if (left_ == 0) {
      word_ = words_.number<uint32_t>();
      left_ = word_nibbles;
    }
    const uint32_t nibble = word_ >> 28;
    word_ <<= 4;
    --left_;
    return nibble;
  }

  ByteReader& words_;
  uint32_t word_ = 0;
  unsigned left_ = 0;
};

class NibbleWriter {
 public:
  explicit NibbleWriter(ByteWriter& words) : words_(words) {}

  void number(uint32_t value) {
    do {
      const uint32_t rest = value >> 3;
      next((value & 7) | (rest != 0 ? 8 : 0));
      value = rest;
    } while (value != 0);
  }

  void finish() {
    while (count_ != 0)
      next(0);
  }

 private:
  void next(uint32_t nibble) {
    word_ = word_ << 4 | nibble;
    if (++count_ == word_nibbles) {
      words_.number(word_);
      count_ = 0;
    }
  }

  ByteWriter& words_;
  uint32_t word_ = 0;
  unsigned count_ = 0;
};

} // namespace

Result<Image> decode_rvl(std::span<const uint8_t> bytes) {
  ByteReader reader(bytes);
  const auto width = reader.number<uint32_t>();
  const auto height = reader.number<uint32_t>();
  if (reader.failed())
    return Error{"truncated RVL picture"};
  if (auto failure = check_size(width, height))
    return *failure;
  Image image{{width, height}, {}};
  const uint64_t count = image.size.pixel_count();
  NibbleReader numbers(reader);
  uint32_t previous = 0;
  for (uint64_t done = 0; done < count;) {
    const uint32_t zeros = numbers.number();
    const uint32_t values = numbers.number();
    if (reader.failed())
      return Error{"truncated RVL picture"};
    // A pair of empty runs leads nowhere; no writer has one.
    if (zeros > count - done || values > count - done - zeros || zeros + values == 0)
      return Error{"damaged RVL picture: its runs don't fit its size"};
    done += uint64_t{zeros} + values;
    image.pixels.resize(image.pixels.size() + zeros);
    for (uint32_t i = 0; i < values && !reader.failed(); ++i) {
      const uint32_t zigzag = numbers.number();
      previous += zigzag >> 1 ^ (0 - (zigzag & 1)); // 0, -1, 1, -2 ...
      image.pixels.push_back(static_cast<uint16_t>(previous));
    }
  }
  if (reader.failed())
    return Error{"truncated RVL picture"};
  return image;
}

std::vector<uint8_t> encode_rvl(ImageView image) {
  ByteWriter writer;
  writer.number(image.size.width);
  writer.number(image.size.height);
  NibbleWriter numbers(writer);
  const auto is_zero = [](uint16_t pixel) { return pixel == 0; };
  int32_t previous = 0;
  for (auto at = image.pixels.begin(); at != image.pixels.end();) {
    const auto values = std::find_if_not(at, image.pixels.end(), is_zero);
    const auto end = std::find_if(values, image.pixels.end(), is_zero);
    numbers.number(static_cast<uint32_t>(values - at));
    numbers.number(static_cast<uint32_t>(end - values));
    for (at = values; at != end; ++at) {
      const int32_t difference = *at - previous;
      numbers.number(static_cast<uint32_t>(difference) << 1 ^
                     static_cast<uint32_t>(difference >> 31));
      previous = *at;
    }
  }
  numbers.finish();
  return std::move(writer.bytes());
}

} // namespace recordings
