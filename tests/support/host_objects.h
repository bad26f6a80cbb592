#pragma once

// The host's side of a test: frames and sets with owners, and errors as values.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "gexton_host.hpp"

namespace test {

using Pixels = std::vector<uint16_t>;

using gexton::Frame;
using gexton::Profile;

/// An error slot whose texts can be compared.
class ErrorSlot : public gexton::ErrorSlot {
 public:
  /// "message | function | args | type", or "" without an error; so one comparison checks them all.
  std::string text() const {
    if (get() == nullptr)
      return "";
    EXPECT_EQ(gx_error_get_status(get()), GX_STATUS_ERROR);
    return std::string(gx_error_get_message(get())) + " | " + gx_error_get_function(get()) + " | " +
           gx_error_get_args(get()) + " | " + std::to_string(gx_error_get_exception_type(get()));
  }

  /// The four lines that the plug-in prints for this error.
  std::string trace() const {
    return std::string("gx_error was raised: \n\tcall: ") + gx_error_get_function(get()) + "(" +
           gx_error_get_args(get()) + ")\n\tmessage: " + gx_error_get_message(get()) +
           "\n\terror type: " + std::to_string(gx_error_get_exception_type(get())) + "\n";
  }
};

/// A frame of `width` x `height` pixels of the given kind.
inline Frame make_frame(uint32_t width, uint32_t height, const Pixels& pixels,
                        gx_pixel_type pixel_type = GX_PIXEL_DEPTH,
                        gx_frame_type type = GX_FRAME_DEPTH) {
  EXPECT_EQ(pixels.size(), size_t{width} * height);
  const Profile profile{gexton_create_stream_profile(GX_FORMAT_Y16, width, height, nullptr)};
  Frame frame{gexton_create_video_frame(type, profile.get(), pixels.data(), nullptr)};
  gx_video_frame_set_pixel_type(frame.get(), pixel_type, nullptr);
  return frame;
}

inline Pixels pixels_of(const gx_frame* frame) {
  const auto* data = reinterpret_cast<const uint16_t*>(gx_frame_get_data(frame, nullptr));
  return {data, data + gx_frame_get_data_size(frame, nullptr) / 2};
}

/// Fails the test when host objects are left over at the end of a scope.
class NoLeftovers {
 public:
  NoLeftovers() = default;
  NoLeftovers(const NoLeftovers&) = delete;
  NoLeftovers& operator=(const NoLeftovers&) = delete;
  ~NoLeftovers() { EXPECT_EQ(before_.left_over(), ""); }

 private:
  gexton::LiveHandles before_;
};

} // namespace test
