#include "conformance/inputs.h"

#include <algorithm>

#include <fmt/format.h>

#include "conformance/findings.h"
#include "gexton_host.h"
#include "recordings/synth.h"

namespace conformance {

using namespace hosting;
using namespace recordings;

namespace {

template <class T>
T required(Result<T> result, const char* what) {
  if (!result)
    throw Unable(fmt::format("the host can't make {}: {}", what, result.error().message));
  return std::move(*result);
}

Camera camera_of(PixelKind kind, const SceneSettings& scene, FrameSize size) {
  CameraFacts facts = scene_facts(scene);
  facts["disparity_offset"] = 2;
  Camera camera = required(make_camera(facts, size), "a camera");
  camera.pixel_type = kind.type;
  return camera;
}

/// The scene, repeated or cut to the size.
Image scene_image(const SceneSettings& settings, FrameSize size, uint32_t number) {
  const Image scene = render_scene(settings, number);
  Image image{size, {}};
  for (uint32_t y = 0; y < size.height; ++y) {
    const uint16_t* row = &scene.pixels[size_t{y % scene.size.height} * scene.size.width];
    for (uint32_t x = 0; x < size.width; ++x)
      image.pixels.push_back(row[x % scene.size.width]);
  }
  return image;
}

} // namespace

Input::Input(PixelKind kind, FrameSize size, uint32_t number, gx_frame_type type) {
  SceneSettings scene;
  scene.size = usual_size;
  scene.pixel_type = kind.type == GX_PIXEL_DISPARITY ? GX_PIXEL_DISPARITY : GX_PIXEL_DEPTH;
  const Camera camera = camera_of(kind, scene, size);
  const ProfileHandle profile = required(make_profile(size, camera), "a stream profile");
  const Image image = scene_image(scene, size, number);
  if (type == GX_FRAME_DEPTH)
    frame_ = required(make_frame(image, number, *profile, camera), "a frame");
  else
    frame_.reset(gexton_create_video_frame(type, profile.get(), image.pixels.data(), nullptr));
  second_reference_.reset(gexton_frame_add_reference(frame_.get(), nullptr));
}

void Input::shorten(uint32_t bytes) const {
  gx_frame_update_data(frame_.get(), gx_frame_get_data(frame_.get(), nullptr), bytes, nullptr);
}

FrameHandle make_set(const std::vector<gx_frame*>& members) {
  FrameHandle set(gexton_create_frameset(nullptr));
  if (!set)
    throw Unable("the host can't make a frame set");
  for (gx_frame* member : members)
    gx_frameset_push_frame(set.get(), member, nullptr);
  return set;
}

FrameHandle depth_member(const gx_frame& set) {
  return FrameHandle(gx_frameset_get_depth_frame(&set, nullptr));
}

namespace {

template <class T>
std::vector<uint8_t> bytes_of(const T& value) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
  return {bytes, bytes + sizeof value};
}

} // namespace

FrameState::FrameState(const gx_frame& frame) {
  const uint8_t* data = gx_frame_get_data(&frame, nullptr);
  const uint32_t size = gx_frame_get_data_size(&frame, nullptr);
  const bool has_offset = gx_frame_has_metadata(&frame, GX_METADATA_DISPARITY_OFFSET, nullptr);
  const ProfileHandle profile(gx_frame_get_stream_profile(&frame, nullptr));
  parts_ = {
      {"pixels",
       data != nullptr ? std::vector<uint8_t>(data, data + size) : std::vector<uint8_t>{}},
      {"type", bytes_of(gx_frame_get_type(&frame, nullptr))},
      {"format", bytes_of(gx_frame_get_format(&frame, nullptr))},
      {"index", bytes_of(gx_frame_get_index(&frame, nullptr))},
      {"pixel type", bytes_of(gx_video_frame_get_pixel_type(&frame, nullptr))},
      {"bit size", bytes_of(gx_video_frame_get_pixel_available_bit_size(&frame, nullptr))},
      {"value scale", bytes_of(gx_depth_frame_get_value_scale(&frame, nullptr))},
      {"disparity offset", has_offset ? bytes_of(gx_frame_get_metadata_value(
                                            &frame, GX_METADATA_DISPARITY_OFFSET, nullptr))
                                      : std::vector<uint8_t>{}},
      {"stream profile", bytes_of(reinterpret_cast<uintptr_t>(profile.get()))},
  };
  if (profile != nullptr) {
    const gx_camera_intrinsic intrinsic =
        gx_video_stream_profile_get_intrinsic(profile.get(), nullptr);
    const D2DParameters d2d =
        gx_disparity_based_stream_profile_get_disparity_param(profile.get(), nullptr);
    parts_.push_back(
        {"width", bytes_of(gx_video_stream_profile_get_width(profile.get(), nullptr))});
    parts_.push_back(
        {"height", bytes_of(gx_video_stream_profile_get_height(profile.get(), nullptr))});
    parts_.push_back({"intrinsics", bytes_of(intrinsic)});
    parts_.push_back({"disparity record", bytes_of(d2d)});
  }
}

std::string FrameState::changes_to(const FrameState& later) const {
  std::vector<std::string> changed;
  for (size_t i = 0; i < std::min(parts_.size(), later.parts_.size()); ++i)
    if (parts_[i].bytes != later.parts_[i].bytes)
      changed.emplace_back(parts_[i].name);
  return changed.empty() ? unchanged : fmt::format("changed {}", fmt::join(changed, ", "));
}

} // namespace conformance
