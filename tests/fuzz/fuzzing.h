#pragma once

// What the fuzz targets share: the entry point, a reader that turns any bytes into choices, and
// frames made of such choices.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "naive/false_positive.h"
#include "support/host_objects.h"

/// Runs one input; a broken expectation ends the process.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzzing {

/// Ends the process, as a fuzzer notices best, unless the target's expectation holds.
inline void require(bool holds, const char* expectation) {
  if (holds)
    return;
  std::fprintf(stderr, "broken expectation: %s\n", expectation);
  std::abort();
}

/// The input's bytes from front to back; zeros once it has ended.
class Input {
 public:
  explicit Input(std::span<const uint8_t> bytes) : rest_(bytes) {}

  bool ended() const { return rest_.empty(); }

  std::span<const uint8_t> take(size_t count) {
    const auto taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  std::span<const uint8_t> take_all() { return take(rest_.size()); }

  /// The next bytes as a number or plain record, whatever they stand for.
  template <typename T>
  T number() {
    T value{};
    const auto bytes = take(sizeof value);
    if (!bytes.empty())
      std::memcpy(&value, bytes.data(), bytes.size());
    return value;
  }
  uint8_t byte() { return number<uint8_t>(); }

  /// A number below `count`, which is at most 256.
  unsigned below(size_t count) { return byte() % static_cast<unsigned>(count); }
  bool one_in(unsigned count) { return below(count) == count - 1; }

  template <typename T, typename... Others>
  T pick(T first, Others... others) {
    const T values[] = {first, static_cast<T>(others)...};
    return values[below(1 + sizeof...(others))];
  }

 private:
  std::span<const uint8_t> rest_;
};

struct Size {
  uint32_t width, height;

  size_t pixels() const { return size_t{width} * height; }
};

/// Sides around the widths of vector registers and those at which speckles are looked for at half
/// resolution; at most `budget` pixels.
inline Size read_size(Input& input, size_t budget) {
  const bool small = input.below(4) != 0;
  const uint32_t width = small ? input.below(40)
                               : input.pick(0U, 1U, 31U, 32U, 33U, 63U, 64U, 65U, 96U, 127U, 129U,
                                            160U, 320U, 424U, 640U, 848U, 1280U, 70000U);
  const uint32_t height = input.below(small ? 32 : 80);
  return {width, std::min(height, static_cast<uint32_t>(budget / std::max(width, 1U)))};
}

/// Rectangles of one depth each, with noise, on an empty background.
inline void paint_rectangles(Input& input, Size size, test::Pixels& pixels) {
  uint32_t noise = input.byte();
  for (unsigned count = 1 + input.below(16); count > 0; --count) {
    const uint32_t left = input.byte() % size.width;
    const uint32_t top = input.byte() % size.height;
    const uint32_t right = std::min(size.width, left + 1 + input.byte());
    const uint32_t bottom = std::min(size.height, top + 1 + input.below(64));
    const auto depth = input.number<uint16_t>();
    const unsigned spread = 1U << input.below(10);
    for (uint32_t y = top; y < bottom; ++y) {
      for (uint32_t x = left; x < right; ++x) {
        noise = noise * 1664525 + 1013904223;
        pixels[size_t{y} * size.width + x] = static_cast<uint16_t>(depth + (noise >> 16) % spread);
      }
    }
  }
}

/// Steps along the rows, every other of which continues the row above; holes in runs.
inline void paint_steps(Input& input, Size size, test::Pixels& pixels) {
  auto noise = input.number<uint32_t>();
  const auto next = [&noise] { return (noise = noise * 1664525 + 1013904223) >> 16; };
  const uint32_t range = 1U << (4 + input.below(13));
  const uint32_t spread = 1U << input.below(9);
  uint32_t surface = next() % range;
  for (size_t i = 0; i < pixels.size(); ++i) {
    if (next() % 9 == 0)
      surface = next() % 2 == 0 && i >= size.width ? pixels[i - size.width] : next() % range;
    const bool hole = next() % 12 == 0 || (i > 0 && pixels[i - 1] == 0 && next() % 3 != 0);
    pixels[i] = static_cast<uint16_t>(hole ? 0 : surface + next() % spread);
  }
}

inline test::Pixels read_pixels(Input& input, Size size) {
  test::Pixels pixels(size.pixels());
  const unsigned kind = input.below(4);
  if (pixels.empty())
    return pixels;
  if (kind == 0) {
    paint_steps(input, size, pixels);
  } else if (kind == 1) {
    paint_rectangles(input, size, pixels);
  } else { // the input's own bytes, repeated
    const auto bytes = input.take(kind == 2 ? 16 : 2 * pixels.size());
    for (size_t i = 0; bytes.size() >= 2 && i < pixels.size(); ++i)
      std::memcpy(&pixels[i], &bytes[2 * (i % (bytes.size() / 2))], 2);
  }
  return pixels;
}

/// A configuration record of FalsePositiveFilter with some fields, or all, replaced. Its reference
/// size needs little memory.
inline naive::false_positive::Record read_record(Input& input) {
  const Size size = read_size(input, 4096);
  naive::false_positive::Record record = naive::false_positive::default_record(
      static_cast<int>(size.width & 0xffff), static_cast<int>(size.height));
  for (const size_t enable : {50U, 52U, 79U, 160U, 231U, 270U})
    record.u8(enable, input.one_in(2) ? 1 : 0);
  record.u8(51, input.pick(1, 2, 3, 0, 7));
  if (input.one_in(8)) {
    const auto bytes = input.take(record.bytes.size());
    std::copy(bytes.begin(), bytes.end(), record.bytes.begin());
  }
  for (unsigned changes = input.below(12); changes > 0; --changes) {
    const size_t offset = input.number<uint16_t>() % (record.bytes.size() - 3);
    if (input.one_in(2))
      record.f32(offset, input.pick(0.0F, 1.0F, 0.5F, 0.1F, -1.0F, 2.0F, 1e9F, NAN, INFINITY));
    else
      record.u16(offset, input.number<uint16_t>());
  }
  // Vast records take gigabytes, or are refused where there are none.
  if (size_t{record.u16(0)} * record.u16(2) > 65536)
    record.u16(0, 1);
  return record;
}

} // namespace fuzzing
