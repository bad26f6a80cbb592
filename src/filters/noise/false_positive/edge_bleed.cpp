#include "filters/noise/false_positive/edge_bleed.h"

#include <algorithm>
#include <cmath>

namespace filter_processor {
namespace {

struct IndexRange {
  uint32_t begin, end;
};

/// The whole numbers of 0 ... count - 1 that are not below trunc(first) and are below `limit`;
/// none if either is NaN.
IndexRange index_range(float first, float limit, uint32_t count) {
  const auto top = static_cast<float>(count);
  if (!(limit > 0.0F) || !(first < top))
    return {0, 0};
  return {static_cast<uint32_t>(std::max(first, 0.0F)),
          static_cast<uint32_t>(std::ceil(std::min(limit, top)))};
}

class RowCleaner {
 public:
  RowCleaner(const EdgeBleedSettings& settings, IndexRange columns)
      : columns_(columns), min_length_(std::max<uint32_t>(settings.min_run_length, 1)),
        ends_(settings.cleared_ends), max_depth_(settings.max_depth) {}

  void clean(uint16_t* row) const {
    uint32_t start = end_of_run(row, row[0], columns_.begin);
    if (start == columns_.end)
      return;
    if (start >= min_length_ && bleeds(row[0]))
      clear(row, 0, start);
    while (columns_.end - start > min_length_)
      start = clean_next_run(row, start);
  }

 private:
  bool bleeds(uint16_t value) const { return value != 0 && value <= max_depth_; }

  /// The first column from `x` on that does not continue a run of `value`.
  uint32_t end_of_run(const uint16_t* row, uint16_t value, uint32_t x) const {
    while (x < columns_.end && row[x] == value && value != 0)
      ++x;
    return x;
  }

  /// Runs are tested at the pixel that a long enough one starting at `start` would just reach:
  /// nothing before the beginning of that pixel's own run can be long enough. Returns where to go
  /// on.
  uint32_t clean_next_run(uint16_t* row, uint32_t start) const {
    const uint32_t probe = start + min_length_ - 1;
    const uint16_t value = row[probe];
    if (!bleeds(value))
      return probe + 1;
    uint32_t first = probe;
    while (first > start && row[first - 1] == value)
      --first;
    if (first > start)
      return first;
    const uint32_t end = end_of_run(row, value, probe);
    if (end < columns_.end)
      clear(row, first, end);
    return end;
  }

  void clear(uint16_t* row, uint32_t first, uint32_t end) const {
    const uint32_t length = end - first;
    const uint32_t count = ends_ == 0 ? length : std::min(ends_, length);
    std::fill_n(row + first, count, uint16_t{0});
    std::fill_n(row + end - count, count, uint16_t{0});
  }

  IndexRange columns_;
  uint32_t min_length_; ///< a run has at least one pixel, whatever the setting
  uint32_t ends_;
  uint16_t max_depth_;
};

} // namespace

void remove_edge_bleed(uint16_t* image, uint32_t width, uint32_t height,
                       const EdgeBleedSettings& settings) {
  const auto w = static_cast<float>(width);
  const auto h = static_cast<float>(height);
  const RoiRatios& roi = settings.roi;
  const IndexRange rows = index_range(h * roi.min_y, h * roi.max_y, height);
  const IndexRange columns = index_range(w * roi.min_x + 1.0F, w * roi.max_x, width);
  if (columns.begin >= columns.end)
    return;
  const RowCleaner cleaner(settings, columns);
  for (uint32_t y = rows.begin; y < rows.end; ++y)
    cleaner.clean(image + size_t{y} * width);
}

} // namespace filter_processor
