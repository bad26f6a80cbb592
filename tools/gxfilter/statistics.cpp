#include "gxfilter/statistics.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace gxfilter {

namespace {

uint64_t count_valid(const recordings::FrameView& frame) {
  return frame.image.pixels.size() -
         static_cast<uint64_t>(std::ranges::count(frame.image.pixels, uint16_t{0}));
}

uint64_t count_changed(const std::vector<uint16_t>& before, const std::vector<uint16_t>& after) {
  uint64_t changed = 0;
  for (size_t i = 0; i < before.size(); ++i)
    changed += before[i] != after[i] ? 1U : 0U;
  return changed;
}

} // namespace

bool is_same_frame(const recordings::FrameView& left, const recordings::FrameView& right) {
  return left.pixel_type == right.pixel_type && left.value_scale == right.value_scale &&
         left.image == right.image;
}

void FilterStatistics::add(double milliseconds, const recordings::FrameView& before,
                           const recordings::FrameView& after) {
  milliseconds_.push_back(milliseconds);
  valid_before_ += count_valid(before);
  valid_after_ += count_valid(after);
  idle_frames_ += is_same_frame(before, after) ? 1U : 0U;
  last_input_ = {{before.image.size, {}}, before.pixel_type, before.value_scale};
  if (before.image.size == after.image.size) {
    changed_ += count_changed(before.image.pixels, after.image.pixels);
    ++compared_frames_;
  }
}

double FilterStatistics::quantile(double share) const {
  if (milliseconds_.empty())
    return 0;
  std::vector<double> sorted = milliseconds_;
  std::ranges::sort(sorted);
  const double rank = std::ceil(share * static_cast<double>(sorted.size()));
  return sorted[static_cast<size_t>(std::max(rank, 1.0)) - 1];
}

double FilterStatistics::changed_pixels() const {
  return compared_frames_ == 0 ? -1 : per_frame(changed_, compared_frames_);
}

double FilterStatistics::per_frame(uint64_t count, size_t frames) {
  return frames == 0 ? 0 : static_cast<double>(count) / static_cast<double>(frames);
}

std::string format_table(const std::vector<FilterStatistics>& statistics) {
  size_t name_width = 6;
  for (const FilterStatistics& filter : statistics)
    name_width = std::max(name_width, filter.filter().size());
  std::string table =
      fmt::format("{:<{}} {:>7} {:>10} {:>10} {:>12} {:>13} {:>12}\n", "filter", name_width,
                  "frames", "median ms", "p95 ms", "changed px", "valid before", "valid after");
  for (const FilterStatistics& filter : statistics) {
    const double changed = filter.changed_pixels();
    const std::string changed_text = filter.frames() == 0 ? "-"
                                     : changed < 0        ? "new size"
                                                          : fmt::format("{:.1f}", changed);
    table += fmt::format("{:<{}} {:>7} {:>10.3f} {:>10.3f} {:>12} {:>13.1f} {:>12.1f}\n",
                         filter.filter(), name_width, filter.frames(), filter.quantile(0.5),
                         filter.quantile(0.95), changed_text, filter.valid_before(),
                         filter.valid_after());
  }
  return table + "(pixel counts are averages per frame)\n";
}

} // namespace gxfilter
