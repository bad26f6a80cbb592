#include "handles.h"

#include "gexton_host.h"

using namespace gexton_sdk;

gexton_live_handles gexton_get_live_handles(void) {
  return {live_handles<gx_frame>.size(), live_handles<gx_stream_profile>.size(),
          live_handles<gx_error>.size()};
}

uint64_t gexton_get_excess_releases(void) {
  return excess_releases.load(std::memory_order_relaxed);
}
