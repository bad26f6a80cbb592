#pragma once

#include "support/host_objects.h"

namespace test {

template <typename Value>
void append(std::string& text, const Value& value) {
  text.append(reinterpret_cast<const char*>(&value), sizeof value);
}

/// Everything about a frame and its members that a host can see; equal texts, equal frames.
inline std::string facts_of(gx_frame* frame) {
  const auto type = gx_frame_get_type(frame, nullptr);
  const auto size = gx_frame_get_data_size(frame, nullptr);
  std::string facts = "type " + std::to_string(type) + ", size " + std::to_string(size) +
                      ", pixel type " +
                      std::to_string(gx_video_frame_get_pixel_type(frame, nullptr)) + ", bits " +
                      std::to_string(gx_video_frame_get_pixel_available_bit_size(frame, nullptr)) +
                      ", unit " + std::to_string(gx_depth_frame_get_value_scale(frame, nullptr)) +
                      ", format " + std::to_string(gx_frame_get_format(frame, nullptr)) + "\n";
  append(facts, gx_frame_get_index(frame, nullptr));
  append(facts, gx_frame_get_metadata_value(frame, GX_METADATA_DISPARITY_OFFSET, nullptr));
  append(facts, gx_frame_has_metadata(frame, GX_METADATA_DISPARITY_OFFSET, nullptr));
  if (const Profile profile{gx_frame_get_stream_profile(frame, nullptr)}) {
    append(facts, gx_stream_profile_get_format(profile.get(), nullptr));
    append(facts, gx_video_stream_profile_get_width(profile.get(), nullptr));
    append(facts, gx_video_stream_profile_get_height(profile.get(), nullptr));
    append(facts, gx_video_stream_profile_get_intrinsic(profile.get(), nullptr));
    append(facts, gx_disparity_based_stream_profile_get_disparity_param(profile.get(), nullptr));
  }
  if (size > 0)
    facts.append(reinterpret_cast<const char*>(gx_frame_get_data(frame, nullptr)), size);
  if (type == GX_FRAME_SET)
    for (uint32_t i = 0; i < gexton_frameset_get_count(frame, nullptr); ++i)
      facts += facts_of(Frame{gexton_frameset_get_frame(frame, i, nullptr)}.get());
  return facts;
}

/// The frame itself or, of a set, its depth frame; null without one.
inline Frame depth_of(gx_frame* frame) {
  return Frame{gx_frame_get_type(frame, nullptr) == GX_FRAME_SET
                   ? gx_frameset_get_depth_frame(frame, nullptr)
                   : gexton_frame_add_reference(frame, nullptr)};
}

} // namespace test
