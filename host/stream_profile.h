#pragma once

#include "gexton_sdk.h"
#include "handles.h"

struct gx_stream_profile : gexton_sdk::Counted {
  gx_format format;
  uint32_t width;
  uint32_t height;
  gx_camera_intrinsic intrinsic;
  D2DParameters disparity;
};
