#include "filters/noise/false_positive/pattern.h"

#include <algorithm>
#include <cstddef>

namespace filter_processor {
namespace {

/// One side of a candidate's bounding box, and the lines that leave the candidate there.
struct Side {
  ptrdiff_t first;   ///< index of the side's first pixel
  ptrdiff_t along;   ///< to the next pixel of the side
  ptrdiff_t outward; ///< to the next pixel of a line
  uint32_t lines;    ///< pixels of the side
  uint32_t room;     ///< pixels from the side to the edge of the image, itself included
  uint32_t reach;    ///< pixels of a line, the one that it starts from included
};

/// The whole part of `length`, limited to 0 ... `limit`; 0 for NaN.
uint32_t limited(float length, uint32_t limit) {
  if (!(length > 0.0F))
    return 0;
  return static_cast<uint32_t>(std::min(length, static_cast<float>(limit)));
}

class SupportSearch {
 public:
  SupportSearch(const uint16_t* image, const RegionMap& map,
                const PatternAmbiguitySettings& settings)
      : image_(image), map_(map), max_depth_(settings.max_support_depth),
        max_size_(settings.max_size), lowest_ratio_(1.0F - settings.depth_tolerance),
        highest_ratio_(1.0F + settings.depth_tolerance),
        reach_x_(limited(static_cast<float>(map.width) * settings.reach, map.width)),
        reach_y_(limited(static_cast<float>(map.height) * settings.reach, map.height)) {}

  bool finds_for(const PatternCandidate& candidate) const {
    const auto width = static_cast<ptrdiff_t>(map_.width);
    const ptrdiff_t top_left = place_of(candidate.x_min, candidate.y_min);
    const ptrdiff_t bottom_left = place_of(candidate.x_min, candidate.y_max);
    const ptrdiff_t top_right = place_of(candidate.x_max, candidate.y_min);
    const uint32_t columns = candidate.x_max - candidate.x_min + 1;
    const uint32_t rows = candidate.y_max - candidate.y_min + 1;
    const Side sides[] = {
        {bottom_left, 1, width, columns, map_.height - candidate.y_max, reach_y_},
        {top_left, width, -1, rows, candidate.x_min + 1, reach_x_},
        {top_right, width, 1, rows, map_.width - candidate.x_max, reach_x_},
        {top_left, 1, -width, columns, candidate.y_min + 1, reach_y_},
    };
    return std::any_of(std::begin(sides), std::end(sides),
                       [&](const Side& side) { return finds_beyond(side, candidate.label); });
  }

 private:
  ptrdiff_t place_of(uint32_t x, uint32_t y) const {
    return static_cast<ptrdiff_t>(size_t{y} * map_.width + x);
  }

  bool finds_beyond(const Side& side, uint32_t own) const {
    for (uint32_t line = 0; line < side.lines; ++line) {
      ptrdiff_t start = side.first + side.along * static_cast<ptrdiff_t>(line);
      uint32_t room = side.room;
      // A region is connected: every row and column of its box holds one of its pixels.
      for (; map_.labels[start] != own; start -= side.outward)
        ++room;
      if (line_confirms(start, side.outward, std::min(room, side.reach), own))
        return true;
    }
    return false;
  }

  /// The first pixel of a large region decides.
  bool line_confirms(ptrdiff_t start, ptrdiff_t outward, uint32_t length, uint32_t own) const {
    for (uint32_t n = 0; n < length; ++n) {
      const ptrdiff_t place = start + outward * static_cast<ptrdiff_t>(n);
      if (!can_support(place, own))
        continue;
      const float ratio = static_cast<float>(image_[start]) / static_cast<float>(image_[place]);
      return ratio > lowest_ratio_ && ratio < highest_ratio_;
    }
    return false;
  }

  bool can_support(ptrdiff_t place, uint32_t own) const {
    const uint32_t label = map_.labels[place];
    return label >= RegionMap::first_label && label != own && image_[place] != 0 &&
           image_[place] <= max_depth_ && map_.sizes[label] > max_size_;
  }

  const uint16_t* image_;
  const RegionMap& map_;
  uint16_t max_depth_;
  uint16_t max_size_;
  float lowest_ratio_;
  float highest_ratio_;
  uint32_t reach_x_;
  uint32_t reach_y_;
};

} // namespace

void mark_unsupported_patterns(const uint16_t* image, const RegionMap& map,
                               const PatternAmbiguitySettings& settings,
                               const std::vector<PatternCandidate>& candidates) {
  const SupportSearch support(image, map, settings);
  for (const PatternCandidate& candidate : candidates)
    if (!support.finds_for(candidate))
      map.marks[candidate.label] = 1;
}

} // namespace filter_processor
