// Which size frames have behind filters, found by asking the filters themselves.
#pragma once

#include <array>
#include <map>
#include <mutex>

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

/// A setup that a stream follows for some time, with what `fit` answered: negotiations ask the same
/// again and again. Any thread may ask.
class Order {
 public:
  explicit Order(Setup setup)
      : setup_(std::move(setup)), may_resize_(depth_elements::may_resize(setup_.requests)),
        has_open_sizes_(depth_elements::has_open_sizes(setup_.requests)) {}

  const Setup& setup() const { return setup_; }
  bool may_resize() const { return may_resize_; }
  bool has_open_sizes() const { return has_open_sizes_; }
  recordings::Result<Fitted> fit(recordings::FrameSize in,
                                 std::optional<recordings::FrameSize> wanted = std::nullopt) const;

 private:
  using Question = std::array<uint32_t, 4>; ///< both sizes, zeros where none is wanted

  Setup setup_;
  bool may_resize_;
  bool has_open_sizes_;
  mutable std::mutex mutex_; ///< for the answers
  mutable std::map<Question, recordings::Result<Fitted>> answers_;
};

} // namespace depth_elements
