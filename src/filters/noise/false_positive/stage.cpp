#include "filters/noise/false_positive/stage.h"

#include <iostream>
#include <utility>

#include "filters/noise/false_positive/edge_bleed.h"
#include "filters/noise/false_positive/pattern.h"
#include "filters/noise/false_positive/turn.h"
#include "plugin/platform.h"

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
void clear_false_regions(uint16_t* image, const RegionMap& map, const FalsePositiveConfig& config,
                         FalsePositiveWorkspace& workspace) {
  uint32_t label_count = 0;
  timed(workspace.times.regions,
        [&] { label_count = find_regions(image, map, config, workspace.region_scratch()); });
  if (config.pattern_ambiguity.enabled != 0) {
    timed(workspace.times.pattern_ambiguity, [&] {
      mark_unsupported_patterns(image, map, config.pattern_ambiguity, workspace.candidates);
    });
  }
  timed(workspace.times.final_pass, [&] { clear_marked_regions(image, map, label_count); });
}

void clear_false_regions_turned(uint16_t* image, uint32_t width, uint32_t height,
                                const FalsePositiveConfig& config,
                                FalsePositiveWorkspace& workspace) {
  constexpr unsigned full_turn = 4;
  const unsigned turns = config.quarter_turns;
  uint16_t* turned = workspace.turned_image.get();
  uint32_t turned_width = width;
  uint32_t turned_height = height;
  if (turns % 2 != 0)
    std::swap(turned_width, turned_height);

  timed(workspace.times.turn, [&] { turn_image(image, width, height, turns, turned); });
  clear_false_regions(turned, workspace.region_map(turned_width, turned_height), config, workspace);
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
    clear_false_regions(image, workspace->region_map(width, height), config, *workspace);
  return 0;
}

} // namespace filter_processor
