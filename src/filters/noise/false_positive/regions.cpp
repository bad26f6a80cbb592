#include "filters/noise/false_positive/regions.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "filters/noise/false_positive/join_kernels.h"
#include "filters/noise/false_positive/region_tests.h"

namespace filter_processor {
namespace {

/// Who let a pixel into its region, seen from there. The higher two are the horizontal ones.
enum Joiner : uint32_t {
  joined_from_above,
  joined_from_below,
  joined_from_left,
  joined_from_right
};

/// A pixel of a growing region: its index, and in the two bits above that its joiner. The seed's
/// joiner means nothing.
using Place = uint32_t;
constexpr int joiner_shift = 30;
constexpr uint32_t index_mask = (1U << joiner_shift) - 1;
static_assert(RegionMap::max_pixels == index_mask + 1);

constexpr uint8_t claimed = 1U << state_bit::claimed;
constexpr uint8_t done = claimed; ///< nothing is left to do with the pixel
constexpr uint8_t work_mask = claimed | 1U << state_bit::small;

constexpr Place place(Joiner joiner) {
  return joiner << joiner_shift;
}

/// The pixels of a region in the order in which they were visited, the seed first.
struct Members {
  const Place* begin;
  const Place* end;

  uint32_t count() const { return static_cast<uint32_t>(end - begin); }
};

/// Grows the region of `seed`, whose pixels get the label `own`. Visited places fill `places` from
/// the front; the stack of those to visit shares it from the back.
Members grow(uint32_t seed, uint32_t own, uint32_t image_width, uint32_t pixel_count,
             uint32_t* labels, const RegionScratch& scratch) {
  uint8_t* const states = scratch.growth_states;
  const auto width = static_cast<ptrdiff_t>(image_width);
  Place* visited = scratch.places;
  Place* const bottom = scratch.places + pixel_count + 1;
  Place* top = bottom;
  *--top = seed;
  states[seed] |= claimed;
  while (top != bottom) {
    const Place here = *top++;
    *visited++ = here;
    const uint32_t index = here & index_mask;
    const auto i = static_cast<ptrdiff_t>(index);
    const unsigned joins = states[i];
    labels[i] = own;
    // Branches, not masks: on a surface they are foreseen, and the next pixel need not wait for the
    // stack. Neighbours outside the image never join.
    const auto meet = [&](ptrdiff_t neighbour, int bit, Place entry) {
      if ((joins >> bit & ~states[neighbour] & claimed) != 0) {
        states[neighbour] |= claimed;
        *--top = entry;
      }
    };
    meet(i + width, state_bit::below, index + image_width + place(joined_from_above));
    meet(i - width, state_bit::above, index - image_width + place(joined_from_below));
    meet(i + 1, state_bit::right, index + 1 + place(joined_from_left));
    meet(i - 1, state_bit::left, index - 1 + place(joined_from_right));
  }
  return {scratch.places, visited};
}

class RegionFinder {
 public:
  RegionFinder(uint16_t* image, const RegionMap& map, const FalsePositiveConfig& config,
               const RegionScratch& scratch)
      : image_(image), map_(map), config_(config), scratch_(scratch),
        invalid_depth_(config.invalid_depth), small_size_(config.small_region_size),
        pixel_count_(map.width * map.height), limit_(size_limit(config)) {}

  uint32_t run() {
    constexpr uint32_t group = sizeof(uint64_t);
    uint32_t i = 0;
    for (; i + group <= pixel_count_; i += group)
      while (const uint64_t todo = find_work(i))
        visit(i + static_cast<uint32_t>(std::countr_zero(todo)) / 8);
    for (; i < pixel_count_; ++i)
      if (work_mask & (scratch_.growth_states[i] ^ done))
        visit(i);
    return next_label_;
  }

 private:
  /// Regions of this size or larger pass all tests that ask for a size.
  static uint32_t size_limit(const FalsePositiveConfig& config) {
    uint32_t limit = 0;
    const auto consider = [&](uint8_t enabled, uint32_t size) {
      limit = std::max(limit, enabled != 0 ? size : 0);
    };
    consider(config.texture_sparsity.enabled, config.texture_sparsity.max_size);
    consider(config.pattern_ambiguity.enabled, config.pattern_ambiguity.max_size);
    consider(config.ground_plane.enabled, config.ground_plane.max_size);
    consider(config.left_band.enabled, config.left_band.max_size);
    return limit;
  }

  /// The states that make the scan stop, in the eight pixels from `i` on: their bytes are not 0.
  uint64_t find_work(uint32_t i) const {
    constexpr uint64_t every_byte = 0x0101010101010101;
    uint64_t states = 0;
    std::memcpy(&states, scratch_.growth_states + i, sizeof states);
    return (states ^ (every_byte * done)) & (every_byte * work_mask);
  }

  void visit(uint32_t i) {
    if ((scratch_.growth_states[i] & claimed) == 0)
      add_region(i);
    else
      remove(i);
  }

  void add_region(uint32_t seed) {
    const uint32_t label = next_label_++;
    const Members members = grow(seed, label, map_.width, pixel_count_, map_.labels, scratch_);
    const bool small = members.count() <= small_size_;
    map_.sizes[label] = small ? 0 : members.count();
    map_.marks[label] = 0;
    if (!small) {
      judge(members, label);
      return;
    }
    for (const Place* member = members.begin; member != members.end; ++member)
      scratch_.growth_states[*member & index_mask] |= 1U << state_bit::small;
    remove(seed);
  }

  void remove(uint32_t i) {
    image_[i] = invalid_depth_;
    map_.labels[i] = RegionMap::removed_label;
    scratch_.growth_states[i] = done;
  }

  void judge(const Members& members, uint32_t label) {
    const ImageSize size{map_.width, map_.height};
    const RegionStatistics region = measure(members, label);
    if (is_false_region(region, config_, size)) {
      map_.marks[label] = 1;
    } else if (is_pattern_candidate(region, config_.pattern_ambiguity, size)) {
      scratch_.candidates.push_back(
          {label, region.x_min, region.x_max, region.y_min, region.y_max});
    }
  }

  /// What the enabled tests ask for.
  RegionStatistics measure(const Members& members, uint32_t label) const {
    RegionStatistics region;
    region.pixels = members.count();
    const bool sized = region.pixels < limit_;
    if (sized)
      measure_extent(members, region);
    const bool asks_for_steps = sized && config_.pattern_ambiguity.enabled != 0;
    if (asks_for_steps || (config_.edge_bleed.enabled != 0 && may_bleed_flat(members)))
      measure_joins(members, region);
    if (sized && config_.texture_sparsity.enabled != 0)
      measure_events(members, label, region);
    return region;
  }

  bool may_bleed_flat(const Members& members) const;
  void measure_extent(const Members& members, RegionStatistics& region) const;
  void measure_joins(const Members& members, RegionStatistics& region) const;
  void measure_events(const Members& members, uint32_t own, RegionStatistics& region) const;

  uint16_t* image_;
  const RegionMap& map_;
  const FalsePositiveConfig& config_;
  const RegionScratch& scratch_;
  uint16_t invalid_depth_;
  uint16_t small_size_;
  uint32_t pixel_count_;
  uint32_t limit_;
  uint32_t next_label_ = RegionMap::first_label;
};

void RegionFinder::measure_extent(const Members& members, RegionStatistics& region) const {
  region.x_min = map_.width - 1;
  region.y_min = map_.height - 1;
  for (const Place* member = members.begin; member != members.end; ++member) {
    const uint32_t i = *member & index_mask;
    const uint32_t y = i / map_.width;
    const uint32_t x = i - y * map_.width;
    const uint32_t depth = image_[i];
    region.depth_sum += depth;
    region.depth_min = std::min(region.depth_min, depth);
    region.depth_max = std::max(region.depth_max, depth);
    region.x_min = std::min(region.x_min, x);
    region.x_max = std::max(region.x_max, x);
    region.y_min = std::min(region.y_min, y);
    region.y_max = std::max(region.y_max, y);
  }
}

/// Whether the first members leave it open that nearly all horizontal joins are of equal depth.
/// Even if every other member of the region joined that way, the unequal ones among the first must
/// be few enough; a margin covers the rounding of the share.
bool RegionFinder::may_bleed_flat(const Members& members) const {
  const ptrdiff_t sample = members.count() / 8 + 1;
  constexpr double margin = 0.001;
  RegionStatistics region;
  measure_joins({members.begin, std::min(members.begin + sample, members.end)}, region);
  const double unequal = static_cast<double>(region.horizontal_joins - region.equal_joins);
  return !(unequal > (1.0 - config_.edge_bleed.flat_limit + margin) * members.count());
}

void RegionFinder::measure_joins(const Members& members, RegionStatistics& region) const {
  const auto width = static_cast<ptrdiff_t>(map_.width);
  const ptrdiff_t to_joiner[] = {-width, width, -1, 1};
  for (const Place* member = members.begin + 1; member != members.end; ++member) {
    const uint16_t* pixel = image_ + (*member & index_mask);
    const int difference = *pixel - pixel[to_joiner[*member >> joiner_shift]];
    const uint32_t horizontal = *member >> (joiner_shift + 1);
    region.join_differences += static_cast<uint32_t>(std::abs(difference));
    region.horizontal_joins += horizontal;
    region.equal_joins += horizontal & static_cast<uint32_t>(difference == 0);
  }
}

void RegionFinder::measure_events(const Members& members, uint32_t own,
                                  RegionStatistics& region) const {
  for (const Place* member = members.begin; member != members.end; ++member) {
    const uint32_t i = *member & index_mask;
    const uint32_t y = i / map_.width;
    const uint32_t x = i - y * map_.width;
    const int depth = image_[i];
    const int threshold = config_.join_threshold(image_[i]);
    // Whether a neighbour is an event. One that is close enough but of another region is: growth
    // may be possible in one direction only.
    const auto meet = [&](uint32_t neighbour) {
      const bool invalid = image_[neighbour] == invalid_depth_;
      const bool event = invalid || std::abs(depth - image_[neighbour]) > threshold ||
                         map_.labels[neighbour] != own;
      region.invalid += static_cast<unsigned>(invalid);
      region.boundaries += static_cast<unsigned>(event);
      return event;
    };
    if (y + 1 < map_.height && meet(i + map_.width)) {
      const int rise = image_[i + map_.width] - depth;
      const bool invalid = image_[i + map_.width] == invalid_depth_;
      ++region.steps_below;
      region.strong_steps_below +=
          static_cast<unsigned>(invalid || rise > threshold || -rise > 3 * threshold);
    }
    if (y > 0 && meet(i - map_.width))
      region.invalid_above += static_cast<unsigned>(image_[i - map_.width] == invalid_depth_);
    if (x + 1 < map_.width)
      meet(i + 1);
    if (x > 0)
      meet(i - 1);
  }
}

JoinThresholds join_thresholds(const FalsePositiveConfig& config) {
  JoinThresholds thresholds{};
  thresholds.invalid_depth = config.invalid_depth;
  thresholds.first = config.join_thresholds[0];
  for (uint32_t bin = 1; bin < FalsePositiveConfig::depth_bin_count; ++bin) {
    const uint32_t depth = bin * config.depth_bin_width;
    const int rise = config.join_thresholds[bin] - config.join_thresholds[bin - 1];
    if (depth > 65535 || rise == 0)
      continue;
    thresholds.depth[thresholds.steps] = static_cast<uint16_t>(depth);
    thresholds.rise[thresholds.steps] = static_cast<uint16_t>(rise);
    ++thresholds.steps;
  }
  return thresholds;
}

} // namespace

uint32_t find_regions(uint16_t* image, const RegionMap& map, const FalsePositiveConfig& config,
                      const RegionScratch& scratch) {
  const size_t pixels = size_t{map.width} * map.height;
  simd::kernels<JoinKernels>().find(image, map.width, map.height, join_thresholds(config),
                                    scratch.growth_states);
  std::fill_n(scratch.growth_states - map.width, map.width, uint8_t{0});
  std::fill_n(scratch.growth_states + pixels, map.width, uint8_t{0});
  std::fill_n(map.labels, pixels, RegionMap::unlabelled);
  map.marks[RegionMap::unlabelled] = map.marks[RegionMap::removed_label] = 0;
  scratch.candidates.clear();
  return RegionFinder(image, map, config, scratch).run();
}

void clear_marked_regions(uint16_t* image, const RegionMap& map, uint32_t label_count) {
  const uint8_t* const marks = map.marks;
  if (std::count(marks, marks + label_count, uint8_t{1}) == 0)
    return;
  const size_t pixels = size_t{map.width} * map.height;
  for (size_t i = 0; i < pixels; ++i)
    if (map.marks[map.labels[i]] != 0)
      image[i] = 0;
}

} // namespace filter_processor
