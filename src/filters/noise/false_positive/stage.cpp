#include "filters/noise/false_positive/stage.h"

#include <iostream>
#include <utility>

#include "filters/noise/false_positive/edge_bleed.h"
#include "filters/noise/false_positive/pattern.h"
#include "filters/noise/false_positive/regions.h"
#include "filters/noise/false_positive/turn_kernels.h"
#include "plugin/platform.h"

// The parts of the stage, in the order in which they work:
//
//   edge_bleed            long runs of one depth value
//   turn_kernels          the image turned, and back
//   region_kernels        regions as sets of runs (runs.h): rows-inl.h finds what joins in rows and
//                         between them, sets-inl.h which runs belong together
//   small_regions         their removal
//   regions               the larger ones judged: region_tests by what region_measures finds out
//                         about them and, where the order of joins matters, growth
//   pattern               the candidates among them
//
// row_bits.h and members.h hold the pixels of regions as bits and as runs.

namespace filter_processor {
namespace {

template <typename Step>
void timed(double& milliseconds, Step step) {
  const double start = platform::performance_milliseconds();
  step();
  milliseconds = platform::performance_milliseconds() - start;
}

bool can_run(uint32_t width, uint32_t height, const FalsePositiveConfig& config,
             const FalsePositiveWorkspace* workspace) {
  if (workspace == nullptr) {
    std::cout << "Handle is not exist! Exiting function." << std::endl;
    return false;
  }
  if (width != config.width || height != config.height) {
    const unsigned expected_width = config.width;
    const unsigned expected_height = config.height;
    std::cout << "Error: Input size (" << width << "," << height
              << ") does not match config width (" << expected_width << "," << expected_height
              << "). Exiting function." << std::endl;
    return false;
  }
  return config.turned == 0 || (config.quarter_turns >= 1 && config.quarter_turns <= 3);
}

/// Everything from the regions on, which sees the image turned.
void clear_false_regions(uint16_t* image, uint32_t width, uint32_t height,
                         const FalsePositiveConfig& config, FalsePositiveWorkspace& workspace) {
  const RunMap map = workspace.run_map(width, height);
  SmallRegions small(image, map, config, workspace.removed_bits());
  const JudgedSizes sizes(config);
  if (!sizes.any()) {
    timed(workspace.times.regions, [&] {
      find_regions(image, config, workspace.run_scratch(), map);
      small.remove_all();
    });
    return;
  }
  std::vector<Region>& regions = workspace.regions;
  timed(workspace.times.regions, [&] {
    const JudgementScratch scratch = workspace.judgement_scratch(width);
    const uint64_t one_way_pairs = find_regions(image, config, workspace.run_scratch(), map);
    list_regions(map, sizes, scratch, regions);
    judge_regions(image, map, config, scratch, one_way_pairs, small, regions);
  });
  timed(workspace.times.pattern_ambiguity, [&] {
    mark_unsupported_patterns(image, map, config, workspace.support_scratch(map), regions);
  });
  timed(workspace.times.final_pass, [&] { clear_marked(image, map, regions); });
}

void clear_false_regions_turned(uint16_t* image, uint32_t width, uint32_t height,
                                const FalsePositiveConfig& config,
                                FalsePositiveWorkspace& workspace) {
  constexpr unsigned full_turn = 4;
  const unsigned turns = config.quarter_turns;
  const auto turn_image = simd::kernels<TurnKernels>().turn;
  uint16_t* turned = workspace.turned_image.get();
  uint32_t turned_width = width;
  uint32_t turned_height = height;
  if (turns % 2 != 0)
    std::swap(turned_width, turned_height);

  timed(workspace.times.turn, [&] { turn_image(image, width, height, turns, turned); });
  clear_false_regions(turned, turned_width, turned_height, config, workspace);
  timed(workspace.times.turn_back,
        [&] { turn_image(turned, turned_width, turned_height, full_turn - turns, image); });
}

} // namespace

int remove_false_positives(uint16_t* image, uint32_t width, uint32_t height,
                           const FalsePositiveConfig& config, FalsePositiveWorkspace* workspace) {
  if (!can_run(width, height, config, workspace))
    return -1;
  if (config.edge_bleed.enabled != 0) {
    timed(workspace->times.edge_bleed,
          [&] { remove_edge_bleed(image, width, height, config.edge_bleed); });
  }
  if (config.turned != 0)
    clear_false_regions_turned(image, width, height, config, *workspace);
  else
    clear_false_regions(image, width, height, config, *workspace);
  return 0;
}

} // namespace filter_processor
