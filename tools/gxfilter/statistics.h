// What each filter did to a recording.
#pragma once

#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "recordings/host_frame.h"

namespace gxfilter {

class FilterStatistics {
 public:
  explicit FilterStatistics(std::string filter) : filter_(std::move(filter)) {}

  /// `valid_before`: its pixels other than 0, which were counted before; those of `after` are
  /// returned.
  uint64_t add(double milliseconds, const recordings::PixelView& before, uint64_t valid_before,
               const recordings::PixelView& after);

  size_t frames() const { return milliseconds_.size(); }
  /// Milliseconds that `share` (0 to 1) of the frames did not exceed; 0 without frames.
  double quantile(double share) const;
  /// Averages per frame. Changed pixels are those whose value differs, counted only where a frame
  /// kept its size; negative where none did.
  double changed_pixels() const;
  double valid_before() const { return per_frame(valid_before_, frames()); }
  double valid_after() const { return per_frame(valid_after_, frames()); }
  /// Whether every frame came back as it was: pixels, size, pixel type and unit.
  bool idle() const { return frames() > 0 && idle_frames_ == frames(); }
  /// What the filter got at last: size, pixel type and unit, without the pixels.
  const recordings::PixelView& last_input() const { return last_input_; }

  const std::string& filter() const { return filter_; }

 private:
  static double per_frame(uint64_t count, size_t frames);

  std::string filter_;
  std::vector<double> milliseconds_;
  uint64_t changed_ = 0;
  size_t compared_frames_ = 0;
  uint64_t valid_before_ = 0;
  uint64_t valid_after_ = 0;
  size_t idle_frames_ = 0;
  recordings::PixelView last_input_;
};

/// Pixels other than 0.
uint64_t count_valid(std::span<const uint16_t> pixels);

/// The closing table, one line for each filter, ending with a line feed.
std::string format_table(const std::vector<FilterStatistics>& statistics);

/// The same numbers as a list of objects.
nlohmann::json to_json(const std::vector<FilterStatistics>& statistics);

} // namespace gxfilter
