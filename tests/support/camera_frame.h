#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "gexton_host.hpp"

namespace test {

using Pixels = std::vector<uint16_t>;

/// A stereo camera whose disparity codes have 12 bits, 4 of them a fraction.
inline D2DParameters stereo_record() {
  D2DParameters record{};
  record.baseline = 50.0F;
  record.fx = 400.0;
  record.bitSize = 12;
  record.unit = 1.0F;
  record.packMode = 2;
  record.dispIntPlace = 8;
  record.isDualCamera = 1;
  return record;
}

/// A frame as the camera delivers it, with all that filters ask about it.
struct CameraFrame {
  uint32_t width = 0, height = 0;
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  float scale = 1;
  uint8_t bits = 12;
  D2DParameters record = stereo_record();
  Pixels pixels{}; ///< the whole buffer, however long; empty: 1000 all
  std::optional<int64_t> offset{};
  gx_format format = GX_FORMAT_Y16;
  gx_frame_type type = GX_FRAME_DEPTH;
  uint64_t index = 0;
  gx_camera_intrinsic intrinsic = {1, 2, 300, 200, 5, 6};

  gexton::Profile make_profile() const {
    gexton::Profile profile{gexton_create_stream_profile(format, width, height, nullptr)};
    gexton_stream_profile_set_disparity_param(profile.get(), &record, nullptr);
    gx_video_stream_profile_set_intrinsic(profile.get(), intrinsic, nullptr);
    return profile;
  }
  gexton::Frame make() const { return make(make_profile()); }
  gexton::Frame make(const gexton::Profile& profile) const {
    const Pixels data = pixels.empty() ? Pixels(size_t{width} * height, 1000) : pixels;
    gexton::Frame frame{gexton_create_video_frame(type, profile.get(), nullptr, nullptr)};
    gexton_frame_set_index(frame.get(), index, nullptr);
    gx_frame_update_data(frame.get(), reinterpret_cast<const uint8_t*>(data.data()),
                         static_cast<uint32_t>(2 * data.size()), nullptr);
    gx_video_frame_set_pixel_type(frame.get(), pixel_type, nullptr);
    gx_video_frame_set_pixel_available_bit_size(frame.get(), bits, nullptr);
    gx_depth_frame_set_value_scale(frame.get(), scale, nullptr);
    if (offset)
      gexton_frame_set_metadata(frame.get(), GX_METADATA_DISPARITY_OFFSET, *offset, nullptr);
    return frame;
  }
};

} // namespace test
