#include "filters/noise/false_positive/regions.h"

#include <algorithm>
#include <optional>

#include "filters/noise/false_positive/region_measures.h"
#include "filters/noise/false_positive/region_tests.h"

namespace filter_processor {
namespace {

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

bool may_bleed_flat(const EdgeBleedSettings& settings) {
  return settings.enabled != 0 && settings.flat_limit < 1.0F; // no share is above 1
}

class RegionJudge {
 public:
  RegionJudge(const uint16_t* image, const RunMap& map, const FalsePositiveConfig& config,
              const JudgementScratch& scratch, uint64_t one_way_pairs, SmallRegions& small)
      : image_(image), map_(map), config_(config), sizes_(config), small_(small),
        size_{map.width, map.height}, rule_(config),
        cells_(scratch.member_cells, map, image, config.invalid_depth), row_bits_(scratch.row_bits),
        one_way_pairs_(one_way_pairs),
        ground_{map, cells_, rule_, config.invalid_depth, scratch.growth_stack, one_way_pairs > 0} {
  }

  Verdict judge(const Region& region) {
    if (sizes_.ask_more_of(map_.sizes[region.root]))
      return judge_sized(region);
    return bleeds(region) ? Verdict::marked : Verdict::kept;
  }

 private:
  /// Tests that come later in the host's order but are cheaper come first: a region is marked if
  /// any of them holds.
  Verdict judge_sized(const Region& region) {
    const RegionExtent extent = measure_extent(map_, region);
    if (lies_in_left_band(extent, config_.left_band, size_))
      return Verdict::marked;
    bool sparse = may_have_sparse_texture(extent, config_.texture_sparsity, size_);
    bool pattern = may_be_pattern(extent, config_.pattern_ambiguity, size_);
    const bool ground = may_lie_below_ground(extent, config_.ground_plane, size_);
    RegionDepths depths;
    if (sparse || pattern || ground)
      depths = measure_depths(image_, map_, region);
    if (ground && lies_below_ground(extent, depths.mean, config_.ground_plane))
      return Verdict::marked;
    sparse = sparse && depths.mean < config_.texture_sparsity.max_depth;
    pattern = pattern && depths.mean < config_.pattern_ambiguity.max_depth;
    if (sparse && has_sparse_texture(extent, events_of(region), config_.texture_sparsity))
      return Verdict::marked;
    return judge_joins(region, pattern, extent, depths);
  }

  RegionEvents events_of(const Region& region) {
    small_.remove_before(region.runs.front().first);
    return count_events(image_, map_, region, rule_, config_.invalid_depth);
  }

  Verdict judge_joins(const Region& region, bool pattern, const RegionExtent& extent,
                      const RegionDepths& depths) {
    if (bleeds(region))
      return Verdict::marked;
    return pattern && is_candidate(region, extent, depths) ? Verdict::candidate : Verdict::kept;
  }

  bool bleeds(const Region& region) const {
    if (!may_bleed_flat(config_.edge_bleed))
      return false;
    Growth growth(ground_, region);
    const bool flat = grow_until_flatness_known(growth, region);
    growth.clear();
    return flat;
  }

  bool is_candidate(const Region& region, const RegionExtent& extent,
                    const RegionDepths& depths) const {
    const auto is_smooth = [&](uint64_t differences) {
      return is_pattern_candidate(extent, depths, differences, config_.pattern_ambiguity, size_);
    };
    const auto step = static_cast<uint32_t>(rule_.highest_threshold(depths.lowest, depths.highest));
    if (is_smooth((extent.pixels - 1) * std::min(step, depths.highest - depths.lowest)))
      return true; // the more so with smaller differences
    Growth growth(ground_, region);
    constexpr uint64_t pixels_between_looks = 128;
    while (growth.grow(pixels_between_looks) && is_smooth(growth.figures().differences))
      continue;
    growth.clear();
    return is_smooth(growth.figures().differences);
  }

  bool grow_until_flatness_known(Growth& growth, const Region& region) const;

  const uint16_t* image_;
  const RunMap& map_;
  const FalsePositiveConfig& config_;
  JudgedSizes sizes_;
  SmallRegions& small_;
  ImageSize size_;
  JoinRule rule_;
  MemberCells cells_;
  uint64_t* row_bits_;
  uint64_t one_way_pairs_;
  Growth::Ground ground_;
};

/// Whether nearly all horizontal joins of a region are of equal depth. In most regions this is
/// known long before they have grown: even if all that is left of it joined that way, too many
/// joins are unequal; or the joins that there can be, whatever the order, settle it. A margin
/// covers the rounding of the share.
bool RegionJudge::grow_until_flatness_known(Growth& growth, const Region& region) const {
  constexpr double margin = 0.001;
  const uint64_t pixels = map_.sizes[region.root];
  const double tolerated = 1.0 - static_cast<double>(config_.edge_bleed.flat_limit);
  const uint64_t step = std::max<uint64_t>(pixels / 64, 32);
  std::optional<JoinBounds> bounds;
  for (uint64_t grown = step; growth.grow(step); grown += step) {
    const JoinFigures& joins = growth.figures();
    const uint64_t most = joins.horizontal + (pixels - growth.joined());
    const auto unequal = static_cast<double>(joins.horizontal - joins.equal);
    if (unequal > (tolerated + margin) * static_cast<double>(most))
      return false;
    // As long as it looks as if this bound will do, the others, for all pixels, can wait.
    if (grown < pixels / 16 && unequal > tolerated * static_cast<double>(joins.horizontal))
      continue;
    if (!bounds)
      bounds = bound_joins(image_, map_, region, row_bits_);
    const uint64_t most_vertical = std::min(bounds->most_vertical + one_way_pairs_, pixels - 1);
    const auto least = static_cast<double>(std::max(joins.horizontal, pixels - 1 - most_vertical));
    const auto most_unequal = static_cast<double>(bounds->most_unequal);
    const auto most_equal = static_cast<double>(bounds->most_equal);
    if (most_unequal < (tolerated - margin) * least || (most_unequal == 0 && least > 0))
      return true;
    if (most_equal + most_unequal == 0 || most_equal < (1 - tolerated - margin) * least)
      return false;
  }
  return bleeds_flat(growth.figures().equal, growth.figures().horizontal, config_.edge_bleed);
}

} // namespace

uint64_t find_regions(const uint16_t* image, const FalsePositiveConfig& config,
                      const RunScratch& scratch, const RunMap& map) {
  return simd::kernels<RegionKernels>().find(image, join_thresholds(config),
                                             config.small_region_size > 0, scratch, map);
}

JudgedSizes::JudgedSizes(const FalsePositiveConfig& config)
    : small_(config.small_region_size), asking_end_(0) {
  const auto consider = [&](uint8_t enabled, uint32_t max_size) {
    asking_end_ = std::max(asking_end_, enabled != 0 ? max_size : 0);
  };
  consider(config.texture_sparsity.enabled, config.texture_sparsity.max_size);
  consider(config.pattern_ambiguity.enabled, config.pattern_ambiguity.max_size);
  consider(config.ground_plane.enabled, config.ground_plane.max_size);
  consider(config.left_band.enabled, config.left_band.max_size);
  end_ = may_bleed_flat(config.edge_bleed) ? UINT32_MAX : asking_end_;
}

void list_regions(const RunMap& map, const JudgedSizes& sizes, const JudgementScratch& scratch,
                  std::vector<Region>& regions) {
  regions.clear();
  uint32_t pixels = 0; // of the regions so far: none has more runs than pixels
  for (uint32_t y = 0; y < map.height; ++y) {
    for (uint32_t run = map.row_runs[y]; run < map.row_runs[y + 1]; ++run) {
      const uint32_t root = map.root[run];
      if (root == run) {
        if (sizes.contain(map.sizes[root]))
          regions.push_back({root, {scratch.runs + pixels, 1}});
        scratch.ends[root] = pixels;
        pixels += map.sizes[root];
      }
      // Of the other regions, too: which it is, is hard to foresee in noise.
      scratch.runs[scratch.ends[root]++] = {static_cast<uint16_t>(y), map.first[run],
                                            map.last[run]};
    }
  }
  for (Region& region : regions)
    region.runs = {region.runs.data(), scratch.runs + scratch.ends[region.root]};
}

void judge_regions(const uint16_t* image, const RunMap& map, const FalsePositiveConfig& config,
                   const JudgementScratch& scratch, uint64_t one_way_pairs, SmallRegions& small,
                   std::vector<Region>& regions) {
  RegionJudge judge(image, map, config, scratch, one_way_pairs, small);
  auto region = regions.begin();
  for (uint32_t y = 0; y < map.height; ++y) {
    small.begin_row(y);
    for (; region != regions.end() && region->top() == y; ++region)
      region->verdict = judge.judge(*region);
    small.end_row();
  }
}

void clear_marked(uint16_t* image, const RunMap& map, const std::vector<Region>& regions) {
  for (const Region& region : regions)
    if (region.verdict == Verdict::marked)
      for (const RegionRun& run : region.runs)
        fill_run(image + size_t{run.y} * map.width, run, 0);
}

} // namespace filter_processor
