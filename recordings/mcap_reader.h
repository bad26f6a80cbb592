// MCAP, read in order.
#pragma once

#include "recordings/mcap.h"

namespace recordings {

/// Takes an attachment, a metadata record or a private one of `length` bytes, which are next in
/// `stream`; it takes them all.
using OtherRecords = std::function<Failure(McapRecord record, uint64_t length, ByteStream& stream)>;

/// `others` gets what is no message, in its place among them; without it that is passed over.
///
/// Checksums of chunks are held against their bytes, and a wrong one is an error. A wrong one of
/// the whole data is only known when all messages have gone out, and becomes a remark.
Result<std::unique_ptr<MessageReader>> open_mcap(std::unique_ptr<ByteStream> stream,
                                                 OtherRecords others = {});

} // namespace recordings
