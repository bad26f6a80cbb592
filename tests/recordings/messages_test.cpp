// Recordings of many topics: messages, MCAP files and bags, whole, cut off and damaged. What other
// implementations make of them is the matter of interop_test.cpp.
#include <unistd.h>

#include <gtest/gtest.h>

#include "recordings/bag_reader.h"
#include "recordings/byte_reader.h"
#include "recordings/formats.h"
#include "recordings/image_file.h"
#include "recordings/mcap_reader.h"
#include "recordings/mcap_writer.h"
#include "recordings/message_sink.h"
#include "recordings/message_source.h"
#include "recordings/ros_messages.h"
#include "recordings/rvl.h"

namespace recordings {
namespace {

using Bytes = std::vector<uint8_t>;

const Image small{{3, 2}, {0, 1, 256, 0x1234, 0xfffe, 65535}};

// ---- codes and messages ----

TEST(Rvl, IsAsWorkedOutByHand) {
  // 2 zeros; 3 values: +9, -1, +25; 1 zero, 0 values. Zigzag makes 18, 1 and 50 of them, in groups of
  // three bits: 18 = A 2, 1 = 1, 50 = A 6 (the lowest first, 8 says that more follow).
  const Image image{{3, 2}, {0, 0, 9, 8, 33, 0}};
  const Bytes bytes{3, 0, 0, 0, 2, 0, 0, 0, 0xa6, 0x21, 0x3a, 0x2a >> 8, 0, 0, 0, 0x10};
  const Bytes words{3, 0, 0, 0, 2, 0, 0, 0, 0xa1, 0xa2, 0x32, 0x2a >> 8};
  Bytes expected{3, 0, 0, 0, 2, 0, 0, 0};
  for (const uint32_t word : {0x23a21a61U, 0x00000000U}) // 2 3 A2 1 A6 1 | 0
    for (int shift = 0; shift < 32; shift += 8)
      expected.push_back(static_cast<uint8_t>(word >> shift));
  EXPECT_EQ(encode_rvl(image), expected);
  EXPECT_EQ(*decode_rvl(expected), image);
}

} // namespace
} // namespace recordings
