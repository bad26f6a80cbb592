#pragma once

#include "support/camera_frame.h"
#include "support/random.h"

namespace golden {

/// A picture with something for every filter: surfaces that are flat, sloped or noisy, near to and
/// far from each other, holes, specks, a ragged border and the codes that mean no depth. `moment`
/// moves some surfaces and brings other noise.
test::Pixels draw_scene(uint32_t width, uint32_t height, uint32_t seed, uint32_t moment);

} // namespace golden
