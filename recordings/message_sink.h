// Depth into MCAP files.
#pragma once

#include "recordings/frame_sink.h"

namespace recordings {

/// Where the frames come from an MCAP file or a bag (`SinkOptions::origin`), they take the place of
/// their messages and everything else stands as it did; a bag's messages stay those of ROS 1.
/// Messages of frames that are left out are left out too. From elsewhere: a new recording of ROS 2
/// with `new_depth_topic` and `new_camera_topic`, in millimetres where the pixels are depth.
Result<std::unique_ptr<FrameSink>> create_mcap_sink(const std::filesystem::path& path,
                                                    const SinkOptions& options);

inline constexpr const char* new_depth_topic = "/depth/image_raw";
inline constexpr const char* new_camera_topic = "/depth/camera_info";

} // namespace recordings
