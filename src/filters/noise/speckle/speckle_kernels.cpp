#include "filters/noise/speckle/speckle_kernels.h"

#include "filters/noise/speckle/growth-inl.h"
#include "filters/noise/speckle/runs-inl.h"

// Regions are found without growing them. Runs of pixels along a row, and then runs of neighbouring
// rows, are united where two pixels may expand to each other; such a set belongs to one region as a
// whole, whichever of its pixels is reached first. Steps allowed in one direction only, rare in
// real frames, are collected as edges between these sets: a set belongs to the region that, of all
// from which edges lead to it, begins first. Content in which they turn out not to be rare is
// united across them too, which leaves little to decide where regions are small, and what is left
// is grown pixel by pixel after all: slower on surfaces, but hardly dependent on the content.
//
//   grid-inl.h       the samples, and the largest speckle
//   rules-inl.h      valid pixels, and whether one may expand to another
//   workspace-inl.h  all arrays, cut from the work buffer
//   rows-inl.h       rows of samples, and bits for what joins in them
//   runs-inl.h       runs, united to regions; sets-inl.h: the sets that they form
//   growth-inl.h     regions grown pixel by pixel
//   repair-inl.h     what becomes of the frame's pixels

namespace filter_processor {
namespace {

using namespace speckle;

uint64_t buffer_size(uint32_t width, uint32_t height, bool single) {
  const HalfSize* half = half_size(width, height, single);
  return Workspace::count(Grid::of_frame(width, height, half));
}

int32_t remove_speckles(void* work_buffer, uint16_t* depth, const SpeckleTask& task) {
  const HalfSize* half = half_size(task.width, task.height, task.single);
  const Frame frame{Grid::of_frame(task.width, task.height, half), depth, task.width};
  if (frame.grid.samples() == 0)
    return 0;
  Pixel single_threshold = 0;
  const Rules rules = Rules::of_task(task, single_threshold);
  const Limit limit = Limit::of_task(task, half);
  const Workspace workspace(frame.grid, static_cast<uint8_t*>(work_buffer));
  const Repair repair(frame, rules);
  Rows rows(frame, rules, workspace);
  Runs runs(frame.grid, workspace);
  // What is removed early is found again by its value, which must be one.
  if (runs.find_regions(rows, rules.any_invalid != 0 ? limit.smallest() : 0))
    runs.remove_speckles(limit, repair);
  else
    Growth(frame.grid, rules, workspace).remove_speckles(rows, limit, repair);
  return 0;
}

} // namespace

template <>
const SpeckleKernels& SpeckleKernels::at<simd::this_level>() {
  static constexpr SpeckleKernels table{buffer_size, remove_speckles};
  return table;
}

} // namespace filter_processor
