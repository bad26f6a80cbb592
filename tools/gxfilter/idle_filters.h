// Words for a user whose filter did nothing, or who can't see why it failed. What a filter acts on
// is tried out on generated frames, so that they hold for any plug-in.
#pragma once

#include "gxfilter/filter_chain.h"
#include "gxfilter/statistics.h"
#include "recordings/camera.h"

namespace gxfilter {

/// "640x480 depth, 1 mm a unit; max_size=400, min_diff=256": the frames that the filter got, and
/// all its parameters as they were.
std::string describe_situation(const recordings::PixelView& frame, const FilterRequest& request,
                               const std::vector<gexton::Parameter>& schema);

/// Why the filter handed every frame back as it was, in a sentence; empty where it changed
/// something. A fresh instance of the filter, configured alike, is taken over a few generated
/// frames of the same size and of each pixel type, with and without a disparity offset; what
/// plug-ins print meanwhile is dropped. `camera` is the recording's.
std::string explain_idleness(const std::shared_ptr<const hosting::Plugin>& plugin,
                             const FilterRequest& request, const recordings::Camera& camera,
                             const FilterStatistics& statistics);

} // namespace gxfilter
