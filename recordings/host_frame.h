// The two-way road between pictures with a camera and the host's frames.
#pragma once

#include "gexton_host.hpp"
#include "recordings/camera.h"
#include "recordings/image.h"

namespace recordings {

/// A profile that carries the camera's intrinsics and disparity record.
Result<gexton::Profile> make_profile(FrameSize size, const Camera& camera);

/// A depth frame with the image's pixels, its number in the recording and the camera's facts.
Result<gexton::Frame> make_frame(ImageView image, uint64_t index, gx_stream_profile& profile,
                                 const Camera& camera);
/// The same around the image's pixels, which are not copied.
Result<gexton::Frame> make_frame(Image&& image, uint64_t index, gx_stream_profile& profile,
                                 const Camera& camera);

/// Tells a frame its number and the camera's facts.
Failure describe_frame(gx_frame& frame, uint64_t index, const Camera& camera);

/// The camera of a frame that filters made of one of `input`'s: pixel type, unit and bits are the
/// frame's, the intrinsics its profile's, scaled where they are for another size than the frame
/// has.
Result<Camera> camera_of(const gx_frame& frame, const Camera& input);

/// What a frame's pixels are and mean, as long as the frame lives.
struct PixelView {
  FrameSize size;
  std::span<const uint16_t> pixels;
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  float value_scale = 1; ///< millimetres for one unit
};

/// An error (of kind `processing`) where the frame holds fewer pixels than its size says.
Result<PixelView> look_at(const gx_frame& frame);

/// The same with pixels of its own.
struct FrameView {
  Image image;
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  float value_scale = 1; ///< millimetres for one unit
};

Result<FrameView> view_frame(const gx_frame& frame);
FrameView copy_of(const PixelView& view);

} // namespace recordings
