// Which size frames have behind filters, found by asking the filters themselves.
#pragma once

#include "filter_line.h"

namespace depth_elements {

/// Whether a filter's schema has a size for its frames: only such filters give frames of another
/// size than they get.
bool may_resize(const std::vector<gxfilter::FilterRequest>& requests);

/// Whether `fit` may choose a size for these filters.
bool has_open_sizes(const std::vector<gxfilter::FilterRequest>& requests);

/// A setup and the size of the frames that come out.
struct Fitted {
  Setup setup;
  recordings::FrameSize out;
};

/// The setup for frames of the size `in`, tried on a frame without data. Where it is one filter's,
/// and the filter refuses it or gives another size than `wanted`, the filter is asked for the
/// wanted size by what the user left open of width, height and ratio. The error is what the filter
/// says of the setup as it is.
recordings::Result<Fitted> fit(const Setup& setup, recordings::FrameSize in,
                               std::optional<recordings::FrameSize> wanted = std::nullopt);

} // namespace depth_elements
