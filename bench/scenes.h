#pragma once

// Contents of benchmark frames: depths in millimetres, 0 a hole.

#include <cstdint>
#include <fstream>
#include <random>
#include <vector>

namespace bench {

struct Size {
  uint32_t width, height;

  size_t pixels() const { return size_t{width} * height; }
};

using Pixels = std::vector<uint16_t>;
using Scene = Pixels (*)(Size size);

/// A slanted plane with steps.
inline Pixels clean_scene(Size size) {
  Pixels pixels(size.pixels());
  for (size_t i = 0; i < pixels.size(); ++i) {
    const auto x = i % size.width;
    const auto y = i / size.width;
    pixels[i] = static_cast<uint16_t>(800 + x + 2 * y + 600 * (x * 4 / size.width));
  }
  return pixels;
}

/// The same with sensor noise, and one pixel in ten a hole.
inline Pixels noisy_scene(Size size) {
  std::mt19937 random(1);
  Pixels pixels = clean_scene(size);
  for (uint16_t& pixel : pixels) {
    const bool hole = random() % 10 == 0;
    pixel = hole ? uint16_t{0} : static_cast<uint16_t>(pixel + random() % 16);
  }
  return pixels;
}

/// Hardly two neighbours belong together.
inline Pixels dense_noise(Size size) {
  std::mt19937 random(2);
  Pixels pixels(size.pixels());
  for (uint16_t& pixel : pixels)
    pixel = static_cast<uint16_t>(random());
  return pixels;
}

/// Depths on both sides of a step in which the tolerated difference grows, so that many neighbours
/// belong together when seen from one of them only.
inline Pixels near_noise(Size size) {
  std::mt19937 random(3);
  Pixels pixels(size.pixels());
  for (uint16_t& pixel : pixels)
    pixel = static_cast<uint16_t>(400 + random() % 200);
  return pixels;
}

/// The same, so close to the step that most pixels above it take part in one ragged region, from
/// which steps lead one way to the others.
inline Pixels step_noise(Size size) {
  std::mt19937 random(5);
  Pixels pixels(size.pixels());
  for (uint16_t& pixel : pixels)
    pixel = static_cast<uint16_t>(480 + random() % 80);
  return pixels;
}

/// Every second step joins two pixels, which makes regions as ragged as can be.
inline Pixels ragged_regions(Size size) {
  std::mt19937 random(4);
  Pixels pixels(size.pixels());
  for (uint16_t& pixel : pixels)
    pixel = static_cast<uint16_t>(400 + random() % 56);
  return pixels;
}

inline Pixels one_region(Size size) {
  return Pixels(size.pixels(), 1000);
}

/// A lookup table: 65536 depths that descend with the code.
inline Pixels descending_depths() {
  Pixels table(65536);
  for (uint32_t code = 1; code < table.size(); ++code)
    table[code] = static_cast<uint16_t>(5'000'000 / (code + 80));
  return table;
}

/// A frame of the recording in Debian's package visp-images-data, at an eighth of a millimetre,
/// brought to the size by repeating or leaving out pixels. Empty where the package is not
/// installed.
inline Pixels recorded_scene(Size size) {
  std::ifstream file("/usr/share/visp-images-data/ViSP-images/mbt-depth/castel/castel/"
                     "depth_image_0000.bin",
                     std::ios::binary);
  uint32_t height_and_width[2] = {};
  file.read(reinterpret_cast<char*>(height_and_width), sizeof height_and_width);
  const Size recorded{height_and_width[1], height_and_width[0]};
  if (!file || recorded.pixels() == 0 || recorded.pixels() > 1U << 24)
    return {};
  Pixels from(recorded.pixels());
  file.read(reinterpret_cast<char*>(from.data()),
            static_cast<std::streamsize>(from.size() * sizeof from[0]));
  if (!file)
    return {};
  Pixels pixels(size.pixels());
  for (size_t i = 0; i < pixels.size(); ++i) {
    const auto x = i % size.width * recorded.width / size.width;
    const auto y = i / size.width * recorded.height / size.height;
    pixels[i] = from[y * recorded.width + x];
  }
  return pixels;
}

} // namespace bench
