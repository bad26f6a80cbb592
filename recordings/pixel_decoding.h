// What some sensors' pixels take before they are depth.
#pragma once

#include "recordings/image.h"

namespace recordings {

/// In the order in which it is done.
struct PixelDecoding {
  bool swap_bytes = false;              ///< pictures whose bytes stand in the other order
  int rotate_bits = 0;                  ///< to the right, 0 to 15
  int shift_bits = 0;                   ///< to the right, or to the left below 0; -15 to 15
  std::optional<uint16_t> invalid = {}; ///< as the pixel is by now; becomes 0
  double factor = 1; ///< above 0; products are rounded, halves up, and 65535 is the largest

  bool operator==(const PixelDecoding&) const = default;
};

/// Null where every number is within its range.
Failure check_decoding(const PixelDecoding& decoding);

/// On any threads at a time.
class PixelDecoder {
 public:
  /// Of a decoding that was checked.
  explicit PixelDecoder(const PixelDecoding& decoding);

  void apply(Image& image) const;

 private:
  std::vector<uint16_t> decoded_; ///< of each value; empty where nothing changes
};

} // namespace recordings
