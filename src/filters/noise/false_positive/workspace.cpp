#include "filters/noise/false_positive/workspace.h"

#include <algorithm>
#include <exception>
#include <initializer_list>
#include <iostream>
#include <iterator>
#include <new>
#include <stdexcept>

#include "filters/noise/false_positive/region_tests.h"
#include "plugin/base/uninitialized.h"
#include "plugin/platform.h"

namespace filter_processor {
namespace {

/// Words of the bits of two rows, of a run map's two kinds, and of the pixels that may support,
/// twice.
size_t bit_words(uint32_t width, uint32_t height) {
  const size_t row = row_bit_words(width);
  return 2 * row + 3 * row * height + row * row_bits_per_word * row_bit_words(height);
}

/// Every run writes what it reads, but for the cells.
template <typename T>
void allocate(std::unique_ptr<T[]>& buffer, size_t count) {
  buffer = make_uninitialized<T>(count);
}

/// For images of all `sizes`, turned or not.
void allocate_all(FalsePositiveWorkspace& workspace, std::initializer_list<ImageSize> sizes) {
  size_t pixels = 0;
  size_t cells = 0;
  size_t bits = 0;
  uint32_t longest = 0;
  for (const ImageSize size : sizes) {
    const auto [width, height] = size;
    pixels = std::max(pixels, size_t{width} * height);
    cells = std::max(cells, MemberCells::count(width, height));
    bits = std::max(bits, bit_words(width, height));
    longest = std::max(longest, width);
  }
  if (pixels > RunMap::max_pixels)
    throw std::length_error("too many pixels");
  allocate(workspace.turned_image, pixels);
  allocate(workspace.run_columns, 2 * (pixels + RunMap::column_slack));
  allocate(workspace.row_runs, size_t{longest} + 1);
  allocate(workspace.run_roots, pixels);
  allocate(workspace.region_sizes, pixels);
  allocate(workspace.finding_rows, simd::kernels<RegionKernels>().row_bytes(longest));
  allocate(workspace.edges, 2 * sizeof(RunEdge) * pixels);
  workspace.member_cells = std::make_unique<uint16_t[]>(cells);
  allocate(workspace.bits, bits);
  allocate(workspace.outlines, 2 * size_t{longest});
  workspace.pixels = pixels;
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

RunMap FalsePositiveWorkspace::run_map(uint32_t width, uint32_t height) const {
  return {width,
          height,
          row_runs.get(),
          run_columns.get(),
          run_columns.get() + pixels + RunMap::column_slack,
          run_roots.get(),
          region_sizes.get(),
          bits.get() + row_bit_words(width) * 2,
          bits.get() + row_bit_words(width) * (size_t{height} + 2)};
}

RunScratch FalsePositiveWorkspace::run_scratch() const {
  return {reinterpret_cast<RunEdge*>(edges.get()), finding_rows.get()};
}

uint64_t* FalsePositiveWorkspace::removed_bits() const {
  return bits.get();
}

// Two edges' memory takes a place of growth and a region's run. Growth begins once regions are
// listed.
static_assert(2 * sizeof(RunEdge) >= sizeof(GrowthPlace) + sizeof(RegionRun));
static_assert(sizeof(GrowthPlace) >= sizeof(uint32_t));

JudgementScratch FalsePositiveWorkspace::judgement_scratch(uint32_t width) const {
  uint8_t* const memory = edges.get();
  return {reinterpret_cast<RegionRun*>(memory + sizeof(GrowthPlace) * pixels),
          reinterpret_cast<uint32_t*>(memory), reinterpret_cast<GrowthPlace*>(memory),
          member_cells.get(), bits.get() + row_bit_words(width)};
}

SupportScratch FalsePositiveWorkspace::support_scratch(const RunMap& map) const {
  uint64_t* const rows = map.singles_of(map.height);
  return {rows, rows + map.words() * map.height, outlines.get(), outlines.get() + map.width};
}

std::unique_ptr<FalsePositiveWorkspace> make_false_positive_workspace(uint16_t width,
                                                                      uint16_t height,
                                                                      uint16_t other_width,
                                                                      uint16_t other_height) {
  const double start = platform::performance_milliseconds();
  std::unique_ptr<FalsePositiveWorkspace> workspace;
  const bool complete = succeeds([&] {
    workspace = std::make_unique<FalsePositiveWorkspace>();
    allocate_all(*workspace, {{width, height},
                              {height, width},
                              {other_width, other_height},
                              {other_height, other_width}});
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
