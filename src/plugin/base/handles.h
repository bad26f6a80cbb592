#pragma once

#include <memory>

#include "gexton_sdk.h"

namespace filter_processor {

/// Gives a reference back; an error of the host on the way is dropped, because nothing is left to
/// do.
struct HandleRelease {
  void operator()(gx_frame* frame) const {
    gx_error* error = nullptr;
    gx_delete_frame(frame, &error);
    (*this)(error);
  }
  void operator()(gx_stream_profile* profile) const {
    gx_error* error = nullptr;
    gx_delete_stream_profile(profile, &error);
    (*this)(error);
  }
  void operator()(gx_error* error) const {
    if (error != nullptr)
      gx_delete_error(error);
  }
};

/// One reference to a host object, given back at the end of the owner's life.
template <typename Object>
using Owned = std::unique_ptr<Object, HandleRelease>;

using OwnedFrame = Owned<gx_frame>;
using OwnedProfile = Owned<gx_stream_profile>;
using OwnedError = Owned<gx_error>;

} // namespace filter_processor
