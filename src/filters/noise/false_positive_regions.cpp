#include "filters/noise/false_positive_regions.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "filters/noise/false_positive_neighbours.h"
#include "filters/noise/false_positive_region_tests.h"

namespace filter_processor {
namespace {

namespace code = neighbour_code;

/// Who let a pixel into its region, seen from there. The two horizontal ones share bit 1.
enum Joined : unsigned { from_above, from_below, from_left, from_right, as_seed };

/// A pixel that waits on the stack, packed into one word: its index, its column above that, and who
/// joined it on top. A step to a neighbour is one addition to the first two.
class Place {
 public:
  static constexpr int column_shift = 32;
  static constexpr int joined_shift = 48;

  static std::uint64_t pack(std::uint32_t index, std::uint32_t x, Joined joined) {
    return index | (std::uint64_t{x} << column_shift) | (std::uint64_t{joined} << joined_shift);
  }
  explicit Place(std::uint64_t word) : word_(word) {}

  std::uint32_t index() const { return static_cast<std::uint32_t>(word_); }
  std::uint32_t x() const { return static_cast<std::uint16_t>(word_ >> column_shift); }
  unsigned joined() const { return static_cast<unsigned>(word_ >> joined_shift); }
  std::uint64_t position() const { return word_ & ((std::uint64_t{1} << joined_shift) - 1); }

 private:
  std::uint64_t word_;
};

class RegionFinder {
 public:
  RegionFinder(std::uint16_t* image, const RegionMap& map, const FalsePositiveConfig& config,
               const RegionScratch& scratch)
      : image_(image), map_(map), config_(config), scratch_(scratch),
        invalid_depth_(config.invalid_depth), small_size_(config.small_region_size) {}

  void run() {
    std::uint32_t i = 0;
    for (std::uint32_t y = 0; y < map_.height; ++y)
      for (std::uint32_t x = 0; x < map_.width; ++x, ++i)
        visit(i, x, y);
  }

 private:
  void visit(std::uint32_t i, std::uint32_t x, std::uint32_t y) {
    if (image_[i] == invalid_depth_)
      return;
    if (map_.labels[i] == RegionMap::unlabelled)
      add_region(i, x, y);
    else if (map_.sizes[map_.labels[i]] == 0)
      remove(i, x, y);
  }

  void add_region(std::uint32_t seed, std::uint32_t x, std::uint32_t y) {
    const std::uint32_t label = next_label_++;
    const RegionStatistics region = grow(seed, x, y, label);
    const bool small = region.pixels <= small_size_;
    map_.sizes[label] = small ? 0 : static_cast<std::uint32_t>(region.pixels);
    map_.marks[label] = 0;
    if (small)
      remove(seed, x, y);
    else
      judge(region, label);
  }

  void judge(const RegionStatistics& region, std::uint32_t label) {
    const ImageSize size{map_.width, map_.height};
    if (is_false_region(region, config_, size))
      map_.marks[label] = 1;
    else if (is_pattern_candidate(region, config_.pattern_ambiguity, size))
      scratch_.candidates.push_back(
          {label, region.x_min, region.x_max, region.y_min, region.y_max});
  }

  /// Removes a pixel of a small region. Only the pixels to the right and below can still join a
  /// region and see it as invalid; the others have been scanned.
  void remove(std::uint32_t i, std::uint32_t x, std::uint32_t y) {
    image_[i] = invalid_depth_;
    map_.labels[i] = RegionMap::removed_label;
    if (x + 1 < map_.width)
      invalidate(scratch_.codes[i + 1], code::joins_left, 0);
    if (y + 1 < map_.height)
      invalidate(scratch_.codes[i + map_.width], code::joins_above, code::invalid_above);
  }

  static void invalidate(std::uint16_t& codes, unsigned joins, unsigned event) {
    unsigned value = codes + code::invalid_unit + event;
    if ((value & joins) != 0)
      value += code::boundary_unit - joins; // until now no event
    codes = static_cast<std::uint16_t>(value);
  }

  RegionStatistics grow(std::uint32_t seed, std::uint32_t seed_x, std::uint32_t y,
                        std::uint32_t own);

  std::uint16_t* image_;
  const RegionMap& map_;
  const FalsePositiveConfig& config_;
  const RegionScratch& scratch_;
  std::uint16_t invalid_depth_;
  std::uint16_t small_size_;
  std::uint32_t next_label_ = RegionMap::first_label;
};

/// Sums over the codes of a region's pixels, each in the unit of its field.
struct EventSums {
  std::uint64_t boundaries = 0;
  std::uint64_t invalid = 0;
  std::uint64_t invalid_above = 0;
  std::uint64_t steps_below = 0;
  std::uint64_t strong_steps_below = 0;

  void add(std::uint64_t codes) {
    boundaries += codes & code::boundary_mask;
    invalid += codes & code::invalid_mask;
    invalid_above += codes & code::invalid_above;
    steps_below += codes & code::step_below;
    strong_steps_below += codes & code::strong_step_below;
  }
};

RegionStatistics RegionFinder::grow(std::uint32_t seed, std::uint32_t seed_x, std::uint32_t y,
                                    std::uint32_t own) {
  const std::uint16_t* const image = image_;
  const std::uint16_t* const codes = scratch_.codes;
  std::uint32_t* const labels = map_.labels;
  const auto width = static_cast<std::ptrdiff_t>(map_.width);
  const std::ptrdiff_t joiner_offset[] = {-width, width, -1, 1, 0};

  RegionStatistics region;
  region.x_min = region.x_max = seed_x;
  region.y_min = y; // the seed is the region's first pixel in scan order
  EventSums events;
  std::uint32_t last = seed;

  std::uint64_t* top = scratch_.stack;
  *top++ = Place::pack(seed, seed_x, as_seed);
  labels[seed] = own;
  while (top != scratch_.stack) {
    const Place place(*--top);
    const auto i = static_cast<std::ptrdiff_t>(place.index());
    const std::uint32_t depth = image[i];
    const std::uint32_t pixel_codes = codes[i];

    const std::uint32_t joiner = image[i + joiner_offset[place.joined()]];
    const std::uint32_t difference = depth > joiner ? depth - joiner : joiner - depth;
    const unsigned horizontal = (place.joined() >> 1) & 1;
    region.join_differences += difference;
    region.horizontal_joins += horizontal;
    region.equal_joins += horizontal & static_cast<unsigned>(difference == 0);

    ++region.pixels;
    region.depth_sum += depth;
    region.depth_min = std::min(region.depth_min, depth);
    region.depth_max = std::max(region.depth_max, depth);
    region.x_min = std::min(region.x_min, place.x());
    region.x_max = std::max(region.x_max, place.x());
    last = std::max(last, place.index());
    events.add(pixel_codes);

    // Every neighbour is written, with its own label if it does not join, and every push is stored:
    // the branches would be anyone's guess. Labels rise in scan order, so any that is neither
    // unlabelled nor own is below own. A pixel that does not exist never joins.
    const std::uint64_t position = place.position();
    const auto meet = [&](std::ptrdiff_t neighbour, std::uint64_t entry, unsigned joins) {
      const std::uint32_t label = labels[neighbour];
      const auto similar = static_cast<unsigned>((pixel_codes & joins) != 0);
      const auto free = similar & static_cast<unsigned>(label == RegionMap::unlabelled);
      labels[neighbour] = free != 0 ? own : label;
      *top = entry;
      top += free;
      return similar & static_cast<unsigned>(label - 1 < own - 1);
    };
    constexpr std::uint64_t step_right = (std::uint64_t{1} << Place::column_shift) + 1;
    const auto step_down = static_cast<std::uint64_t>(width);
    const auto entry = [](std::uint64_t at, Joined joined) {
      return at + (std::uint64_t{joined} << Place::joined_shift);
    };
    const unsigned foreign_below =
        meet(i + width, entry(position + step_down, from_above), code::joins_below);
    const unsigned foreign =
        meet(i - width, entry(position - step_down, from_below), code::joins_above) +
        meet(i + 1, entry(position + step_right, from_left), code::joins_right) +
        meet(i - 1, entry(position - step_right, from_right), code::joins_left);
    region.boundaries += foreign_below + foreign;
    region.steps_below += foreign_below;
  }

  region.y_max = last / map_.width;
  region.boundaries += events.boundaries / code::boundary_unit;
  region.invalid = events.invalid / code::invalid_unit;
  region.invalid_above = events.invalid_above / code::invalid_above;
  region.steps_below += events.steps_below / code::step_below;
  region.strong_steps_below = events.strong_steps_below / code::strong_step_below;
  return region;
}

JoinThresholds join_thresholds(const FalsePositiveConfig& config) {
  JoinThresholds thresholds{};
  thresholds.invalid_depth = config.invalid_depth;
  thresholds.first = config.join_thresholds[0];
  for (std::uint32_t bin = 1; bin < FalsePositiveConfig::depth_bin_count; ++bin) {
    const std::uint32_t depth = bin * config.depth_bin_width;
    if (depth > 65535)
      break;
    thresholds.depth[thresholds.steps] = static_cast<std::uint16_t>(depth);
    thresholds.rise[thresholds.steps] =
        static_cast<std::uint16_t>(config.join_thresholds[bin] - config.join_thresholds[bin - 1]);
    ++thresholds.steps;
  }
  return thresholds;
}

} // namespace

void find_regions(std::uint16_t* image, const RegionMap& map, const FalsePositiveConfig& config,
                  const RegionScratch& scratch) {
  const JoinThresholds thresholds = join_thresholds(config);
  simd::kernels<NeighbourKernels>().encode(image, map.width, map.height, thresholds, scratch.codes);
  std::fill_n(map.labels, std::size_t{map.width} * map.height, RegionMap::unlabelled);
  map.marks[RegionMap::unlabelled] = map.marks[RegionMap::removed_label] = 0;
  scratch.candidates.clear();
  RegionFinder(image, map, config, scratch).run();
}

void clear_marked_regions(std::uint16_t* image, const RegionMap& map) {
  const std::size_t pixels = std::size_t{map.width} * map.height;
  for (std::size_t i = 0; i < pixels; ++i)
    if (map.marks[map.labels[i]] != 0)
      image[i] = 0;
}

} // namespace filter_processor
