#pragma once

#include "configurations.h"
#include "gexton_host.hpp"

namespace bench {

using gexton::Frame;

/// A depth or disparity frame of a stereo camera with 16-bit disparities, 8 of these a fraction.
Frame make_frame(Size size, const uint16_t* pixels, gx_pixel_type type);

/// A configured filter instance, driven through the exported functions.
class FilterCall {
 public:
  /// Throws std::runtime_error if the filter does not exist or refuses its parameters.
  FilterCall(const Configuration& configuration, Size size);

  /// Filters a frame as a host does. Null if the filter failed.
  Frame process(gx_frame& input);

  /// The same, giving the result back at once. False if the filter failed.
  bool run(gx_frame* input) { return process(*input) != nullptr; }

 private:
  gexton::Filter filter_;
};

/// Filters one behind the other, as hosts chain them: each frame goes back once the next filter is
/// done.
class ChainCall {
 public:
  /// What a camera's depth usually goes through: speckles, noise over time, noise in space, holes.
  static ChainCall usual(Size size);

  /// False if a filter failed.
  bool run(gx_frame* input);

 private:
  std::vector<FilterCall> filters_;
};

} // namespace bench
