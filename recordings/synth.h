// A generated recording: a room with walls, steps, a slanted board and a ball, seen by a stereo
// camera with the usual faults.
#pragma once

#include "recordings/camera.h"
#include "recordings/image.h"

namespace recordings {

struct SceneSettings {
  FrameSize size{640, 480};
  uint64_t seed = 1;
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH; ///< or GX_PIXEL_DISPARITY: 8.8 fixed-point codes
  uint32_t pack_mode = 2;                    ///< encoding of the codes: 1 or 2
  float depth_unit = 1;                      ///< millimetres per unit of a depth pixel
  float baseline = 50;                       ///< millimetres
  double noise = 0.08;                       ///< standard deviation of the disparity, pixels
  uint32_t holes = 12;                       ///< patches without data
  uint32_t speckles = 60;                    ///< false patches of a few pixels
  double bleed = 0.5;                        ///< share of object borders that smear, 0 to 1
  double streaks = 0;    ///< share of object borders that run out far at one depth, 0 to 1
  uint32_t phantoms = 0; ///< false patches of some hundred pixels that float before the scene
  uint32_t inset = 0;    ///< pixels along each side of the frame without data
  uint32_t fringe = 0;   ///< pixels along the outline of the rest that hold false depth
  uint32_t corner = 0;   ///< radius of that fringe's inner corners, pixels
  uint32_t disparity_offset = 0; ///< that the camera takes off every disparity, pixels
};

/// The facts of the scene's camera, as a camera file holds them.
CameraFacts scene_facts(const SceneSettings& settings);

/// The frame of that number. The board and the ball move by a pixel or two from frame to frame.
/// Equal settings give equal frames on every machine: only correctly rounded arithmetic is used.
Image render_scene(const SceneSettings& settings, uint32_t frame);

/// The same frame as a camera without any fault would see it: every surface, also where the second
/// camera of a stereo pair can't look. The camera's facts are the scene's.
Image render_truth(const SceneSettings& settings, uint32_t frame);

} // namespace recordings
