#include "conformance/inputs.h"

#include <algorithm>

#include <fmt/format.h>

#include "conformance/findings.h"
#include "gexton_host.h"
#include "recordings/synth.h"

namespace conformance {

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
  const gexton::Profile profile = required(make_profile(size, camera), "a stream profile");
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

gexton::Frame make_set(const std::vector<gx_frame*>& members) {
  gexton::Frame set = gexton::make_frame_set(members);
  if (!set)
    throw Unable("the host can't make a frame set");
  return set;
}

FrameState::FrameState(const gx_frame& frame) : gexton::FrameState(frame) {
  const gexton::Profile profile(gx_frame_get_stream_profile(&frame, nullptr));
  profile_ = reinterpret_cast<uintptr_t>(profile.get());
}

std::string FrameState::changes_to(const FrameState& later) const {
  std::vector<std::string> changed = differences(later);
  constexpr const char* profile = "stream profile";
  if (profile_ != later.profile_ && std::ranges::find(changed, profile) == changed.end())
    changed.emplace_back(profile);
  return changed.empty() ? unchanged : fmt::format("changed {}", fmt::join(changed, ", "));
}

} // namespace conformance
