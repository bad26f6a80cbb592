// ROS camera_info files, as calibration tools write them.
#pragma once

#include <span>

#include "recordings/camera.h"

namespace recordings {

/// image_width, image_height, camera_matrix and projection_matrix of the YAML document as facts;
/// the baseline in millimetres from the projection matrix of a stereo pair's second camera. What
/// else is in it is left alone.
Result<CameraFacts> parse_camera_info_yaml(std::span<const uint8_t> yaml);

} // namespace recordings
