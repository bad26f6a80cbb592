// Owning types for the host's handles and the two-way road between pictures and frames.
#pragma once

#include <memory>
#include <string>

#include "gexton_sdk.h"
#include "recordings/camera.h"
#include "recordings/image.h"

namespace hosting {

struct FrameDeleter {
  void operator()(gx_frame* frame) const { gx_delete_frame(frame, nullptr); }
};
using FrameHandle = std::unique_ptr<gx_frame, FrameDeleter>;

struct ProfileDeleter {
  void operator()(gx_stream_profile* profile) const { gx_delete_stream_profile(profile, nullptr); }
};
using ProfileHandle = std::unique_ptr<gx_stream_profile, ProfileDeleter>;

/// The slot that a host call writes its error to; owns what is in it.
class ErrorSlot {
 public:
  ErrorSlot() = default;
  ErrorSlot(const ErrorSlot&) = delete;
  ErrorSlot& operator=(const ErrorSlot&) = delete;
  ~ErrorSlot() { clear(); }

  /// For the next call; an error that is still held is given back first.
  gx_error** receive() {
    clear();
    return &error_;
  }
  explicit operator bool() const { return error_ != nullptr; }
  const gx_error* get() const { return error_; }

  /// Texts of the held error; only while there is one.
  std::string args() const { return gx_error_get_args(error_); }
  /// "message (in function, args)"
  std::string text() const;

 private:
  void clear();

  gx_error* error_ = nullptr;
};

/// A profile that carries the camera's intrinsics and disparity record.
recordings::Result<ProfileHandle> make_profile(recordings::FrameSize size,
                                               const recordings::Camera& camera);

/// A depth frame with the image's pixels, its number in the recording and the camera's facts.
recordings::Result<FrameHandle> make_frame(const recordings::Image& image, uint64_t index,
                                           gx_stream_profile& profile,
                                           const recordings::Camera& camera);

/// What a frame's pixels are and mean.
struct FrameView {
  recordings::Image image;
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  float value_scale = 1; // millimetres for one unit
};

/// A copy of the frame's pixels with their meaning; an error (of kind `processing`) where the frame
/// holds fewer pixels than its size says.
recordings::Result<FrameView> view_frame(const gx_frame& frame);

} // namespace hosting
