// MCAP, a container of messages: what its reader and its writer share.
#pragma once

#include <optional>
#include <string_view>

#include "recordings/byte_reader.h"
#include "recordings/message_reader.h"

namespace recordings {

inline constexpr std::string_view mcap_first_bytes = "\x89MCAP0\r\n";

enum class McapRecord : uint8_t {
  header = 0x01,
  footer = 0x02,
  schema = 0x03,
  channel = 0x04,
  message = 0x05,
  chunk = 0x06,
  message_index = 0x07,
  chunk_index = 0x08,
  attachment = 0x09,
  attachment_index = 0x0a,
  statistics = 0x0b,
  metadata = 0x0c,
  metadata_index = 0x0d,
  summary_offset = 0x0e,
  data_end = 0x0f,
  first_private = 0x80, ///< from here on whatever programs agree on
};

/// Before each record: what it is, and its length without this.
inline constexpr size_t mcap_record_head = 1 + 8;

/// Two numbers of 64 bits and a checksum.
inline constexpr size_t mcap_footer_length = 8 + 8 + 4;

/// zlib's CRC-32 of `bytes` behind those that gave `before`.
uint32_t checksum(std::span<const uint8_t> bytes, uint32_t before = 0);

/// A compression's name in MCAP, and back; null for one that is not read.
const char* compression_name(Compression compression);
std::optional<Compression> compression_of_name(std::string_view name);

} // namespace recordings
