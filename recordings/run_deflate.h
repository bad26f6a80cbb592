// Deflate for filtered depth: runs of a byte and Huffman codes, no search for repeated strings. The
// differences between noisy neighbours hardly repeat: leaving out the search makes files smaller
// than a general compressor's fastest level makes them, in a fraction of its time.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace recordings {

/// Keeps its buffers from call to call.
class RunDeflater {
 public:
  /// A zlib stream that holds `bytes`; valid until the next call.
  std::span<const uint8_t> compress(std::span<const uint8_t> bytes);

 private:
  std::vector<uint16_t> tokens_; ///< of one block: bytes, and from 256 on lengths of runs less 3
  std::vector<uint8_t> stream_;
};

} // namespace recordings
