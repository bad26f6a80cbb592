#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "filters/noise/false_positive/config.h"

namespace filter_processor {

/// The largest difference between a pixel of some depth and a neighbour that joins its region: the
/// threshold of the depth's bin, or of the last one. One pixel at a time; JoinThresholds are the
/// same for vectors.
class JoinRule {
 public:
  explicit JoinRule(const FalsePositiveConfig& config)
      : bins_((uint64_t{1} << 32) / config.depth_bin_width + 1) {
    for (size_t bin = 0; bin < thresholds_.size(); ++bin) // the record's lie at an odd address
      thresholds_[bin] = config.join_thresholds[bin];
  }

  int threshold(uint32_t depth) const { return thresholds_[bin(depth)]; }

  int highest_threshold(uint32_t lowest_depth, uint32_t highest_depth) const {
    const uint16_t* thresholds = thresholds_.data();
    return *std::max_element(thresholds + bin(lowest_depth), thresholds + bin(highest_depth) + 1);
  }

 private:
  /// Multiplying by a rounded-up 2^32 / width is exact: depth and width are below 2^16.
  size_t bin(uint32_t depth) const {
    const uint64_t last = thresholds_.size() - 1;
    return static_cast<size_t>(std::min(depth * bins_ >> 32, last));
  }

  std::array<uint16_t, FalsePositiveConfig::depth_bin_count> thresholds_;
  uint64_t bins_;
};

} // namespace filter_processor
