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

/// Whether the default of this filter's parameter stands for a value that `fit` chooses.
bool is_open_by_default(const std::string& filter, const std::string& parameter);

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

/// A size of frames that come in, where those that come out have this one; null where none was
/// found.
std::optional<recordings::FrameSize> find_input(const Setup& setup, recordings::FrameSize out);

/// A setup that a stream follows for some time, with what `fit` answered: negotiations ask the same
/// again and again. Any thread may ask.
class Order {
 public:
  /// Takes over what was found for the one before, if there was one that may differ in its camera's
  /// lens alone: that changes no size.
  explicit Order(Setup setup, const Order* before = nullptr);

  const Setup& setup() const { return setup_; }
  bool may_resize() const { return may_resize_; }
  bool has_open_sizes() const { return has_open_sizes_; }
  recordings::Result<Fitted> fit(recordings::FrameSize in,
                                 std::optional<recordings::FrameSize> wanted = std::nullopt) const;
  std::optional<recordings::FrameSize> find_input(recordings::FrameSize out) const;

 private:
  using Question = std::array<uint32_t, 4>; ///< both sizes, zeros where none is wanted
  struct Answer {
    std::vector<gxfilter::FilterRequest> requests; ///< that do it
    recordings::FrameSize out;
  };
  struct Answers {
    std::mutex mutex;
    std::map<Question, Answer> of_fit;
    std::map<std::array<uint32_t, 2>, std::optional<recordings::FrameSize>> of_inputs;
  };

  Setup setup_;
  bool may_resize_;
  bool has_open_sizes_;
  std::shared_ptr<Answers> answers_;
  mutable std::mutex mutex_; ///< for the refusals
  mutable std::map<Question, recordings::Error> refusals_;
};

} // namespace depth_elements
