// Filters one behind the other at work on frames of one size. Knows nothing of GStreamer.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "gxfilter/filter_chain.h"
#include "recordings/host_frame.h"

namespace depth_elements {

/// The plug-in that this library is linked with.
const std::shared_ptr<const hosting::Plugin>& linked_plugin();

/// What an element is asked for.
struct Setup {
  std::vector<gxfilter::FilterRequest> requests;
  gxfilter::Ranges ranges = gxfilter::Ranges::checked;
  recordings::KnownFacts facts; ///< of the camera

  bool operator==(const Setup& other) const;
};

/// An error of kind `request` where a filter or a value is refused.
recordings::Failure check_setup(const Setup& setup);

class FilterLine {
 public:
  /// New filters for frames of this size.
  static recordings::Result<std::unique_ptr<FilterLine>> begin(Setup setup,
                                                               recordings::FrameSize size);

  /// Takes other values over and keeps the history where the filters stay the same and frames mean
  /// what they did; otherwise, as `begin`. An error leaves all as it was.
  recordings::Failure become(Setup setup);

  /// Forgets the frames that went through.
  recordings::Failure forget();

  /// The last filter's frame, whose pixels lie in `target` if that has their number and the filter
  /// makes its frame once, as filters do. The image has to stay as long as the call, `target` as
  /// long as the result.
  recordings::Result<gexton::Frame> process(recordings::ImageView image,
                                            std::span<uint16_t> target);

  const Setup& setup() const { return setup_; }
  recordings::FrameSize size() const { return size_; }
  /// That of the frames which come in.
  const recordings::Camera& camera() const { return camera_; }

 private:
  FilterLine(Setup setup, recordings::FrameSize size, recordings::Camera camera,
             gexton::Profile profile, gxfilter::Chain chain)
      : setup_(std::move(setup)), size_(size), camera_(camera), profile_(std::move(profile)),
        chain_(std::move(chain)) {}

  bool has_history_of(const Setup& setup) const;
  recordings::Failure configure_again(const Setup& setup);

  Setup setup_;
  recordings::FrameSize size_;
  recordings::Camera camera_;
  gexton::Profile profile_;
  gxfilter::Chain chain_;
  uint64_t index_ = 0;
};

} // namespace depth_elements
