#pragma once

#include <memory>

#include "configurations.h"
#include "filter_processor.h"

namespace bench {

struct Release {
  void operator()(gx_frame* frame) const { gx_delete_frame(frame, nullptr); }
  void operator()(gx_stream_profile* profile) const { gx_delete_stream_profile(profile, nullptr); }
  void operator()(gx_priv_filter_context* context) const { context->destroy(context); }
};

using Frame = std::unique_ptr<gx_frame, Release>;

/// A depth or disparity frame of a stereo camera with 16-bit disparities, 8 of these a fraction.
Frame make_frame(Size size, const uint16_t* pixels, gx_pixel_type type);

/// A configured filter instance, driven through the exported functions.
class FilterCall {
 public:
  /// Throws std::runtime_error if the filter does not exist or refuses its parameters.
  FilterCall(const Configuration& configuration, Size size);

  /// Filters a frame as a host does, giving the result back at once. False if the filter failed.
  bool run(gx_frame* input);

 private:
  std::unique_ptr<gx_priv_filter_context, Release> context_;
};

} // namespace bench
