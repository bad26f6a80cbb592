#include "stream_profile.h"

#include "gexton_host.h"
#include "host_call.h"

#include <algorithm>

using namespace gexton_sdk;

namespace {

using ProfileReference = Reference<gx_stream_profile>;

/// Intrinsics hold sizes in 16 bits; no camera comes near the bound.
int16_t intrinsic_size(uint32_t size) {
  return static_cast<int16_t>(std::min<uint32_t>(size, INT16_MAX));
}

} // namespace

gx_stream_profile* gexton_create_stream_profile(gx_format format, uint32_t width, uint32_t height,
                                                gx_error** error) {
  return host_call(__func__, error, [=] {
    const gx_camera_intrinsic intrinsic{0, 0, 0, 0, intrinsic_size(width), intrinsic_size(height)};
    return ProfileReference::create(format, width, height, intrinsic, D2DParameters{}).detach();
  });
}

void gexton_stream_profile_set_disparity_param(gx_stream_profile* profile,
                                               const D2DParameters* parameters, gx_error** error) {
  host_call(__func__, error,
            [=] { required(profile, "profile").disparity = required(parameters, "parameters"); });
}

gx_stream_profile*
gx_create_stream_profile_from_other_stream_profile(const gx_stream_profile* other,
                                                   gx_error** error) {
  return sdk_call(__func__, error, [=] {
    const gx_stream_profile& source = required(other, "other");
    return ProfileReference::create(source.format, source.width, source.height, source.intrinsic,
                                    source.disparity)
        .detach();
  });
}

void gx_delete_stream_profile(gx_stream_profile* profile, gx_error** error) {
  give_back(__func__, profile, "profile", error);
}

gx_format gx_stream_profile_get_format(const gx_stream_profile* profile, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(profile, "profile").format; });
}

uint32_t gx_video_stream_profile_get_width(const gx_stream_profile* profile, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(profile, "profile").width; });
}

uint32_t gx_video_stream_profile_get_height(const gx_stream_profile* profile, gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(profile, "profile").height; });
}

void gx_video_stream_profile_set_width(gx_stream_profile* profile, uint32_t width,
                                       gx_error** error) {
  sdk_call(__func__, error, [=] { required(profile, "profile").width = width; });
}

void gx_video_stream_profile_set_height(gx_stream_profile* profile, uint32_t height,
                                        gx_error** error) {
  sdk_call(__func__, error, [=] { required(profile, "profile").height = height; });
}

gx_camera_intrinsic gx_video_stream_profile_get_intrinsic(const gx_stream_profile* profile,
                                                          gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(profile, "profile").intrinsic; });
}

void gx_video_stream_profile_set_intrinsic(gx_stream_profile* profile,
                                           gx_camera_intrinsic intrinsic, gx_error** error) {
  sdk_call(__func__, error, [=] { required(profile, "profile").intrinsic = intrinsic; });
}

D2DParameters
gx_disparity_based_stream_profile_get_disparity_param(const gx_stream_profile* profile,
                                                      gx_error** error) {
  return sdk_call(__func__, error, [=] { return required(profile, "profile").disparity; });
}
