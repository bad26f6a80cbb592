#include "gexton_host.h"
#include "handles.h"
#include "host_call.h"
#include "pixel_buffers.h"
#include "stream_profile.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <vector>

namespace gexton_sdk {

/// Everything about a frame but its pixels and members.
struct FrameAttributes {
  gx_frame_type type;
  gx_format format;
  uint64_t index = 0;
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  uint8_t available_bits = 16;
  float value_scale = 1;
  std::map<gx_metadata_id, int64_t> metadata{};
  Reference<gx_stream_profile> profile{};
};

} // namespace gexton_sdk

struct gx_frame : gexton_sdk::Counted {
  gexton_sdk::FrameAttributes attributes;
  gexton_sdk::PixelBuffer pixels{};
  std::vector<gexton_sdk::Reference<gx_frame>>
      members{}; ///< of a frame set; never itself, at any depth
};

namespace gexton_sdk {
namespace {

using FrameReference = Reference<gx_frame>;

PixelBuffer zero_pixels(uint32_t size) {
  PixelBuffer pixels(size);
  std::fill_n(pixels.data(), size, uint8_t{0});
  return pixels;
}

PixelBuffer copied_pixels(const uint8_t* data, uint32_t size) {
  PixelBuffer pixels(size);
  std::copy_n(data, size, pixels.data());
  return pixels;
}

FrameReference empty_copy(const gx_frame& other) {
  return FrameReference::create(other.attributes, zero_pixels(other.pixels.size()));
}

FrameReference full_copy(const gx_frame& other) {
  FrameReference copy = FrameReference::create(
      other.attributes, copied_pixels(other.pixels.data(), other.pixels.size()));
  for (const FrameReference& member : other.members)
    copy->members.push_back(full_copy(*member));
  return copy;
}

/// The bytes of `pixels` from `data` on where `data` points into them, else the largest count.
size_t bytes_from(const PixelBuffer& pixels, const uint8_t* data) {
  const uint8_t* const end = pixels.data() + pixels.size();
  const bool inside = std::less_equal<>()(pixels.data(), data) && std::less<>()(data, end);
  return inside ? static_cast<size_t>(end - data) : std::numeric_limits<size_t>::max();
}

void update_data(gx_frame& frame, const uint8_t* data, uint32_t size) {
  if (size == frame.pixels.size() && data == frame.pixels.data())
    return;
  if ((data == nullptr && size != 0) || size > bytes_from(frame.pixels, data))
    throw invalid_argument(data == nullptr ? "data" : "size");
  if (size == frame.pixels.size() && !frame.pixels.is_borrowed())
    std::copy_n(data, size, frame.pixels.data());
  else
    frame.pixels = copied_pixels(data, size); // frees the old buffer last: `data` may point into it
}

const gx_stream_profile& required_profile(const gx_frame* frame) {
  const gx_stream_profile* const profile = required(frame, "frame").attributes.profile.get();
  if (profile == nullptr)
    throw Failure{"frame has no stream profile", "frame", GX_EXCEPTION_TYPE_INVALID_VALUE};
  return *profile;
}

template <typename Frame>
Frame& required_set(Frame* frameset) {
  if (required(frameset, "frameset").attributes.type != GX_FRAME_SET)
    throw Failure{"not a frame set", "frameset", GX_EXCEPTION_TYPE_INVALID_VALUE};
  return *frameset;
}

/// Whether `frame` is `wanted` or has it among its members at any depth.
bool holds(const gx_frame& frame, const gx_frame& wanted) {
  return &frame == &wanted ||
         std::any_of(frame.members.begin(), frame.members.end(),
                     [&](const FrameReference& member) { return holds(*member, wanted); });
}

void push_frame(gx_frame& frameset, gx_frame& frame) {
  if (holds(frame, frameset)) // a set inside itself would never be freed
    throw invalid_argument("frame");
  frameset.members.push_back(FrameReference::share(frame));
}

/// Empty where the set has no depth frame.
FrameReference depth_member(const gx_frame& frameset) {
  const auto found =
      std::find_if(frameset.members.begin(), frameset.members.end(),
                   [](const auto& member) { return member->attributes.type == GX_FRAME_DEPTH; });
  return found != frameset.members.end() ? *found : FrameReference();
}

/// Bytes of a frame of 16-bit pixels.
uint32_t data_size(const gx_stream_profile& profile) {
  constexpr uint64_t max_size = std::numeric_limits<uint32_t>::max();
  const uint64_t pixels = uint64_t{profile.width} * profile.height;
  if (pixels > max_size / sizeof(uint16_t))
    throw invalid_argument("profile");
  return static_cast<uint32_t>(pixels * sizeof(uint16_t));
}

FrameReference create_video_frame(gx_frame_type type, gx_stream_profile& profile,
                                  const uint16_t* pixels) {
  const uint32_t size = data_size(profile);
  FrameAttributes attributes{.type = type, .format = profile.format};
  attributes.profile = Reference<gx_stream_profile>::share(profile);
  const auto* const bytes = reinterpret_cast<const uint8_t*>(pixels);
  return FrameReference::create(std::move(attributes),
                                pixels != nullptr ? copied_pixels(bytes, size) : zero_pixels(size));
}

FrameReference wrap_video_frame(gx_frame_type type, gx_stream_profile& profile,
                                const uint16_t& pixels, gexton_release release, void* owner) {
  const uint32_t size = data_size(profile);
  FrameAttributes attributes{.type = type, .format = profile.format};
  attributes.profile = Reference<gx_stream_profile>::share(profile);
  const auto* const bytes = reinterpret_cast<const uint8_t*>(&pixels);
  FrameReference frame =
      FrameReference::create(std::move(attributes), PixelBuffer::borrow(bytes, size));
  frame->pixels.release_with(release, owner); // only now: until here the pixels stay the caller's
  return frame;
}

} // namespace
} // namespace gexton_sdk

using namespace gexton_sdk;

// ---- frames ----

gx_frame* gx_create_frame(gx_frame_type type, gx_format format, uint32_t data_size,
                          gx_error** error) {
  return sdk_call(__func__, error, [=] {
    return FrameReference::create(FrameAttributes{.type = type, .format = format},
                                  zero_pixels(data_size))
        .detach();
  });
}

gx_frame* gx_create_frame_from_other_frame(const gx_frame* other, bool copy_data,
                                           gx_error** error) {
  return sdk_call(__func__, error, [=] {
    const gx_frame& source = required(other, "other");
    return (copy_data ? full_copy(source) : empty_copy(source)).detach();
  });
}

gx_frame* gexton_create_video_frame(gx_frame_type type, gx_stream_profile* profile,
                                    const uint16_t* pixels, gx_error** error) {
  return host_call(__func__, error, [=] {
    return create_video_frame(type, required(profile, "profile"), pixels).detach();
  });
}

gx_frame* gexton_wrap_video_frame(gx_frame_type type, gx_stream_profile* profile,
                                  const uint16_t* pixels, gexton_release release, void* owner,
                                  gx_error** error) {
  return host_call(__func__, error, [=] {
    return wrap_video_frame(type, required(profile, "profile"), required(pixels, "pixels"), release,
                            owner)
        .detach();
  });
}

gx_frame* gexton_frame_add_reference(gx_frame* frame, gx_error** error) {
  return host_call(__func__, error,
                   [=] { return FrameReference::share(required(frame, "frame")).detach(); });
}

void gx_delete_frame(gx_frame* frame, gx_error** error) {
  give_back(__func__, frame, "frame", error);
}

gx_frame_type gx_frame_get_type(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(frame, "frame").attributes.type; });
}

gx_format gx_frame_get_format(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(frame, "frame").attributes.format; });
}

uint64_t gx_frame_get_index(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(frame, "frame").attributes.index; });
}

void gexton_frame_set_index(gx_frame* frame, uint64_t index, gx_error** error) {
  host_call(__func__, error, [=] { required(frame, "frame").attributes.index = index; });
}

uint8_t* gx_frame_get_data(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(frame, "frame").pixels.data(); });
}

uint32_t gx_frame_get_data_size(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(frame, "frame").pixels.size(); });
}

void gx_frame_update_data(gx_frame* frame, const uint8_t* data, uint32_t size, gx_error** error) {
  sdk_call(__func__, error, [=] { update_data(required(frame, "frame"), data, size); });
}

void gx_frame_copy_info(const gx_frame* source, gx_frame* destination, gx_error** error) {
  sdk_call(__func__, error, [=] {
    // By way of a copy: should memory run out, the destination stays as it was.
    FrameAttributes attributes = required(source, "source").attributes;
    required(destination, "destination").attributes = std::move(attributes);
  });
}

gx_stream_profile* gx_frame_get_stream_profile(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error,
                  [=] { return Reference(required(frame, "frame").attributes.profile).detach(); });
}

void gx_frame_set_stream_profile(gx_frame* frame, gx_stream_profile* profile, gx_error** error) {
  sdk_call(__func__, error, [=] {
    FrameAttributes& attributes = required(frame, "frame").attributes;
    attributes.profile = Reference<gx_stream_profile>::share(required(profile, "profile"));
  });
}

bool gx_frame_has_metadata(const gx_frame* frame, gx_metadata_id id, gx_error** error) {
  return sdk_call(__func__, error,
                  [=] { return required(frame, "frame").attributes.metadata.contains(id); });
}

int64_t gx_frame_get_metadata_value(const gx_frame* frame, gx_metadata_id id, gx_error** error) {
  return sdk_call(__func__, error, [=] {
    const auto& metadata = required(frame, "frame").attributes.metadata;
    const auto found = metadata.find(id);
    if (found == metadata.end())
      throw Failure{"frame has no such metadata", "id", GX_EXCEPTION_TYPE_INVALID_VALUE};
    return found->second;
  });
}

void gexton_frame_set_metadata(gx_frame* frame, gx_metadata_id id, int64_t value,
                               gx_error** error) {
  host_call(__func__, error,
            [=] { required(frame, "frame").attributes.metadata.insert_or_assign(id, value); });
}

void gexton_frame_remove_metadata(gx_frame* frame, gx_metadata_id id, gx_error** error) {
  host_call(__func__, error, [=] { required(frame, "frame").attributes.metadata.erase(id); });
}

// ---- frame sets ----

gx_frame* gexton_create_frameset(gx_error** error) {
  return host_call(__func__, error, [] {
    return FrameReference::create(
               FrameAttributes{.type = GX_FRAME_SET, .format = GX_FORMAT_UNKNOWN})
        .detach();
  });
}

gx_frame* gx_frameset_get_depth_frame(const gx_frame* frameset, gx_error** error) {
  return sdk_call(__func__, error, [=] { return depth_member(required_set(frameset)).detach(); });
}

void gx_frameset_push_frame(gx_frame* frameset, gx_frame* frame, gx_error** error) {
  sdk_call(__func__, error, [=] { push_frame(required_set(frameset), required(frame, "frame")); });
}

uint32_t gexton_frameset_get_count(const gx_frame* frameset, gx_error** error) {
  return host_call(__func__, error,
                   [=] { return static_cast<uint32_t>(required_set(frameset).members.size()); });
}

gx_frame* gexton_frameset_get_frame(const gx_frame* frameset, uint32_t index, gx_error** error) {
  return host_call(__func__, error, [=] {
    const auto& members = required_set(frameset).members;
    if (index >= members.size())
      throw invalid_argument("index");
    return FrameReference(members[index]).detach();
  });
}

// ---- video and depth frames ----

uint32_t gx_video_frame_get_width(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required_profile(frame).width; });
}

uint32_t gx_video_frame_get_height(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required_profile(frame).height; });
}

gx_pixel_type gx_video_frame_get_pixel_type(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(frame, "frame").attributes.pixel_type; });
}

void gx_video_frame_set_pixel_type(gx_frame* frame, gx_pixel_type type, gx_error** error) {
  sdk_call(__func__, error, [=] { required(frame, "frame").attributes.pixel_type = type; });
}

uint8_t gx_video_frame_get_pixel_available_bit_size(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error,
                  [=] { return required(frame, "frame").attributes.available_bits; });
}

void gx_video_frame_set_pixel_available_bit_size(gx_frame* frame, uint8_t bit_size,
                                                 gx_error** error) {
  sdk_call(__func__, error, [=] { required(frame, "frame").attributes.available_bits = bit_size; });
}

float gx_depth_frame_get_value_scale(const gx_frame* frame, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(frame, "frame").attributes.value_scale; });
}

void gx_depth_frame_set_value_scale(gx_frame* frame, float scale, gx_error** error) {
  sdk_call(__func__, error, [=] { required(frame, "frame").attributes.value_scale = scale; });
}
