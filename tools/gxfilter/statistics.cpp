#include "gxfilter/statistics.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace gxfilter {

namespace {

struct Counts {
  uint64_t valid = 0;   ///< pixels other than 0
  uint64_t changed = 0; ///< pixels other than those in the same place
};

/// In one pass, in stretches whose sums fit the pixels' own width, which compilers turn into as
/// many lanes.
[[gnu::always_inline]] inline Counts count_in_stretches(std::span<const uint16_t> pixels,
                                                        const uint16_t* compared) {
  constexpr size_t stretch = 32768;
  Counts total;
  for (size_t begin = 0; begin < pixels.size(); begin += stretch) {
    const size_t end = std::min(pixels.size(), begin + stretch);
    uint16_t valid = 0;
    uint16_t changed = 0;
    for (size_t i = begin; i < end; ++i) {
      valid = static_cast<uint16_t>(valid + (pixels[i] != 0 ? 1 : 0));
      changed = static_cast<uint16_t>(changed + (pixels[i] != compared[i] ? 1 : 0));
    }
    total.valid += valid;
    total.changed += changed;
  }
  return total;
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] Counts count_wide(std::span<const uint16_t> pixels,
                                          const uint16_t* compared) {
  return count_in_stretches(pixels, compared);
}

/// Counting takes as long as the fastest filters, so it uses what the processor has.
Counts count(std::span<const uint16_t> pixels, const uint16_t* compared) {
  static const bool is_wide = __builtin_cpu_supports("avx2") != 0;
  return is_wide ? count_wide(pixels, compared) : count_in_stretches(pixels, compared);
}
#else
Counts count(std::span<const uint16_t> pixels, const uint16_t* compared) {
  return count_in_stretches(pixels, compared);
}
#endif

} // namespace

uint64_t count_valid(std::span<const uint16_t> pixels) {
  return count(pixels, pixels.data()).valid;
}

uint64_t FilterStatistics::add(double milliseconds, const recordings::PixelView& before,
                               uint64_t valid_before, const recordings::PixelView& after) {
  const bool comparable = before.size == after.size;
  const Counts counts = count(after.pixels, (comparable ? before : after).pixels.data());
  milliseconds_.push_back(milliseconds);
  valid_before_ += valid_before;
  valid_after_ += counts.valid;
  changed_ += counts.changed;
  compared_frames_ += comparable ? 1U : 0U;
  const bool same = comparable && counts.changed == 0 && before.pixel_type == after.pixel_type &&
                    before.value_scale == after.value_scale;
  idle_frames_ += same ? 1U : 0U;
  last_input_ = {before.size, {}, before.pixel_type, before.value_scale};
  return counts.valid;
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

nlohmann::json to_json(const std::vector<FilterStatistics>& statistics) {
  nlohmann::json list = nlohmann::json::array();
  for (const FilterStatistics& filter : statistics) {
    const double changed = filter.changed_pixels();
    list.push_back({{"filter", filter.filter()},
                    {"frames", filter.frames()},
                    {"median_ms", filter.quantile(0.5)},
                    {"p95_ms", filter.quantile(0.95)},
                    {"changed_pixels", changed < 0 ? nlohmann::json() : nlohmann::json(changed)},
                    {"valid_before", filter.valid_before()},
                    {"valid_after", filter.valid_after()}});
  }
  return list;
}

} // namespace gxfilter
