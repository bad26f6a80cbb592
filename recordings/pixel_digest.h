// One number for all pixels of a recording, to tell whether two are the same.
#pragma once

#include <memory>
#include <string>

#include "recordings/image.h"

namespace recordings {

/// SHA-256 of what `sha256sum` sees of headerless frames: the pixels of each as little-endian
/// 16-bit numbers, row by row without gaps, one frame behind the other.
class PixelDigest {
 public:
  PixelDigest();
  ~PixelDigest();
  PixelDigest(const PixelDigest&) = delete;
  PixelDigest& operator=(const PixelDigest&) = delete;

  void add(ImageView image);
  /// In hexadecimal. Once, at the end.
  std::string text();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

} // namespace recordings
