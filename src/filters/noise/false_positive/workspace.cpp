#include "filters/noise/false_positive/workspace.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <iterator>
#include <new>
#include <stdexcept>

#include "plugin/base/uninitialized.h"
#include "plugin/platform.h"

namespace filter_processor {
namespace {

/// Every run writes what it reads.
template <typename T>
void allocate(std::unique_ptr<T[]>& buffer, size_t count) {
  buffer = make_uninitialized<T>(count);
}

void allocate_all(FalsePositiveWorkspace& workspace, size_t pixels, size_t longest_row) {
  if (pixels > RegionMap::max_pixels)
    throw std::length_error("too many pixels");
  allocate(workspace.turned_image, pixels);
  allocate(workspace.growth_states, pixels + 2 * longest_row);
  allocate(workspace.growth_places, pixels + 1);
  allocate(workspace.labels, pixels);
  allocate(workspace.region_sizes, pixels + RegionMap::first_label);
  allocate(workspace.removal_marks, pixels + RegionMap::first_label);
  workspace.state_slack = longest_row;
}

/// False, and a line on the standard error stream, when the allocations in `body` fail.
template <typename Body>
bool succeeds(Body body) {
  try {
    body();
    return true;
  } catch (const std::exception& failure) {
    std::cerr << "Memory allocation failed: " << failure.what() << std::endl;
    return false;
  }
}

} // namespace

RegionMap FalsePositiveWorkspace::region_map(uint32_t width, uint32_t height) const {
  return {width, height, labels.get(), region_sizes.get(), removal_marks.get()};
}

RegionScratch FalsePositiveWorkspace::region_scratch() {
  return {growth_states.get() + state_slack, growth_places.get(), candidates};
}

std::unique_ptr<FalsePositiveWorkspace> make_false_positive_workspace(uint16_t width,
                                                                      uint16_t height,
                                                                      uint16_t other_width,
                                                                      uint16_t other_height) {
  const double start = platform::performance_milliseconds();
  std::unique_ptr<FalsePositiveWorkspace> workspace;
  const bool complete = succeeds([&] {
    workspace = std::make_unique<FalsePositiveWorkspace>();
    const auto pixels = std::max(size_t{width} * height, size_t{other_width} * other_height);
    allocate_all(*workspace, pixels, std::max({width, height, other_width, other_height}));
  });
  if (!complete)
    return nullptr;
  workspace->times.workspace = platform::performance_milliseconds() - start;
  return workspace;
}

bool could_allocate_workspace(uint16_t width, uint16_t height) {
  // Plain calls of operator new: compilers may leave out a new-expression whose memory is not used.
  struct Free {
    void operator()(void* memory) const { ::operator delete(memory); }
  };
  return succeeds([pixels = size_t{width} * height] {
    constexpr size_t bytes_per_pixel[] = {4, 4, 6, 2, 4};
    std::unique_ptr<void, Free> buffers[std::size(bytes_per_pixel)];
    for (size_t i = 0; i < std::size(buffers); ++i)
      buffers[i].reset(::operator new(bytes_per_pixel[i] * pixels));
  });
}

} // namespace filter_processor
