#include "recordings/host_frame.h"

#include <algorithm>

#include <fmt/format.h>

namespace recordings {
namespace {

Error host_error(const gexton::ErrorSlot& slot) {
  return {slot.text(), ErrorKind::processing};
}

/// A scaled picture has scaled focal lengths; its pixels' centres scale with it.
void scale_to(gx_camera_intrinsic& intrinsic, FrameSize size) {
  if (intrinsic.width <= 0 || intrinsic.height <= 0)
    return;
  const float x = static_cast<float>(size.width) / static_cast<float>(intrinsic.width);
  const float y = static_cast<float>(size.height) / static_cast<float>(intrinsic.height);
  intrinsic.fx *= x;
  intrinsic.fy *= y;
  intrinsic.cx = (intrinsic.cx + 0.5F) * x - 0.5F;
  intrinsic.cy = (intrinsic.cy + 0.5F) * y - 0.5F;
  intrinsic.width = static_cast<int16_t>(std::min<uint32_t>(size.width, INT16_MAX));
  intrinsic.height = static_cast<int16_t>(std::min<uint32_t>(size.height, INT16_MAX));
}

} // namespace

Result<gexton::Profile> make_profile(FrameSize size, const Camera& camera) {
  gexton::ErrorSlot slot;
  gexton::Profile profile(
      gexton_create_stream_profile(GX_FORMAT_Y16, size.width, size.height, slot.receive()));
  if (slot)
    return host_error(slot);
  gx_video_stream_profile_set_intrinsic(profile.get(), camera.intrinsic, slot.receive());
  if (slot)
    return host_error(slot);
  gexton_stream_profile_set_disparity_param(profile.get(), &camera.d2d, slot.receive());
  if (slot)
    return host_error(slot);
  return profile;
}

Result<gexton::Frame> make_frame(ImageView image, uint64_t index, gx_stream_profile& profile,
                                 const Camera& camera) {
  gexton::ErrorSlot slot;
  gexton::Frame frame(
      gexton_create_video_frame(GX_FRAME_DEPTH, &profile, image.pixels.data(), slot.receive()));
  if (slot)
    return host_error(slot);
  if (auto failure = describe_frame(*frame, index, camera))
    return *failure;
  return frame;
}

Result<gexton::Frame> make_frame(Image&& image, uint64_t index, gx_stream_profile& profile,
                                 const Camera& camera) {
  gexton::ErrorSlot slot;
  const uint16_t* const pixels = image.pixels.data(); // stay where they are when their vector moves
  gexton::Frame frame =
      gexton::wrap_pixels(GX_FRAME_DEPTH, profile, pixels, std::move(image.pixels), slot);
  if (slot)
    return host_error(slot);
  if (auto failure = describe_frame(*frame, index, camera))
    return *failure;
  return frame;
}

Failure describe_frame(gx_frame& frame, uint64_t index, const Camera& camera) {
  gexton::ErrorSlot slot;
  gexton_frame_set_index(&frame, index, slot.receive());
  if (!slot)
    gx_video_frame_set_pixel_type(&frame, camera.pixel_type, slot.receive());
  if (!slot)
    gx_video_frame_set_pixel_available_bit_size(&frame, camera.bit_size, slot.receive());
  if (!slot)
    gx_depth_frame_set_value_scale(&frame, camera.depth_unit, slot.receive());
  if (!slot && camera.disparity_offset) {
    gexton_frame_set_metadata(&frame, GX_METADATA_DISPARITY_OFFSET, *camera.disparity_offset,
                              slot.receive());
  }
  if (slot)
    return host_error(slot);
  return std::nullopt;
}

Result<Camera> camera_of(const gx_frame& frame, const Camera& input) {
  const auto view = look_at(frame);
  if (!view)
    return view.error();
  gexton::ErrorSlot slot;
  Camera camera = input;
  camera.pixel_type = view->pixel_type;
  camera.depth_unit = view->value_scale;
  camera.bit_size = gx_video_frame_get_pixel_available_bit_size(&frame, slot.receive());
  if (slot)
    return host_error(slot);
  const gexton::Profile profile(gx_frame_get_stream_profile(&frame, slot.receive()));
  if (slot)
    return host_error(slot);
  camera.intrinsic = gx_video_stream_profile_get_intrinsic(profile.get(), slot.receive());
  if (slot)
    return host_error(slot);
  scale_to(camera.intrinsic, view->size);
  return camera;
}

Result<PixelView> look_at(const gx_frame& frame) {
  gexton::ErrorSlot slot;
  PixelView view;
  view.size.width = gx_video_frame_get_width(&frame, slot.receive());
  if (slot)
    return host_error(slot);
  view.size.height = gx_video_frame_get_height(&frame, slot.receive());
  if (slot)
    return host_error(slot);
  const auto [width, height] = view.size;
  if (auto failure = check_size(width, height))
    return Error{failure->message, ErrorKind::processing};
  const size_t count = view.size.pixel_count();
  const uint8_t* data = gx_frame_get_data(&frame, nullptr);
  if (data == nullptr || gx_frame_get_data_size(&frame, nullptr) < count * sizeof(uint16_t)) {
    return Error{fmt::format("the frame holds fewer pixels than {}x{}", width, height),
                 ErrorKind::processing};
  }
  // Frames hold their pixels at addresses that fit them.
  view.pixels = {reinterpret_cast<const uint16_t*>(data), count};
  view.pixel_type = gx_video_frame_get_pixel_type(&frame, nullptr);
  view.value_scale = gx_depth_frame_get_value_scale(&frame, nullptr);
  return view;
}

Result<FrameView> view_frame(const gx_frame& frame) {
  const auto view = look_at(frame);
  if (!view)
    return view.error();
  return copy_of(*view);
}

FrameView copy_of(const PixelView& view) {
  return {{view.size, {view.pixels.begin(), view.pixels.end()}}, view.pixel_type, view.value_scale};
}

} // namespace recordings
