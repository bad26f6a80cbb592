#pragma once

#include <cstdint>

#include "filters/noise/false_positive/runs.h"
#include "simd/level.h"

namespace filter_processor {

/// When two neighbouring depths belong to one surface: a difference of at most the threshold of the
/// depth bin of the pixel that is looked from.
struct JoinThresholds {
  static constexpr uint32_t max_steps = 19;

  uint16_t invalid_depth;
  uint16_t first;            ///< threshold of the first bin
  uint32_t steps;            ///< changes of the threshold within the range of 16-bit depths
  uint16_t depth[max_steps]; ///< the depth from which each of them holds, ascending, above 0
  uint16_t rise[max_steps];  ///< the threshold less the one before, modulo 65536
};

/// Memory that finding regions needs besides what it fills.
struct RunScratch {
  RunEdge* edges; ///< two for each pixel
  uint8_t* rows;  ///< RegionKernels::row_bytes()
};

/// Bounds of a region's joins, whichever pixel joins which.
struct JoinBounds {
  uint64_t most_equal = 0;    ///< horizontal joins between equal depths
  uint64_t most_unequal = 0;  ///< and between unequal ones
  uint64_t most_vertical = 0; ///< but for those that are possible one way only
};

struct RegionKernels {
  /// Finds the regions of packed pixels and fills all of `map`. A region grows from its first pixel
  /// in row-major order over all valid pixels that no earlier region has taken: from each pixel to
  /// the neighbours that differ by no more than its threshold. With `list_singles`, pixels that are
  /// a region each are no runs but bits; otherwise none of those bits is set. Returns the number of
  /// pairs of neighbours of which only one lets the other join.
  uint64_t (*find)(const uint16_t* image, const JoinThresholds& thresholds, bool list_singles,
                   const RunScratch& scratch, const RunMap& map);

  /// Bytes of RunScratch::rows, aligned for any type, for rows of `width` pixels.
  size_t (*row_bytes)(uint32_t width);

  /// Gives the pixels of a row the value `to` where their bits are set.
  void (*replace)(uint16_t* row, uint32_t width, const uint64_t* bits, uint16_t to);

  /// Clears the bits of a row's pixels that are 0 or above `highest`.
  void (*keep_depths)(const uint16_t* row, uint32_t width, uint16_t highest, uint64_t* bits);

  /// Adds what a row with these bits of a region's pixels contributes; `up` are the row's bits in
  /// the run map.
  void (*bound_row_joins)(const uint16_t* row, uint32_t width, const uint64_t* bits,
                          const uint64_t* up, JoinBounds& bounds);

  /// The same for a region by its runs.
  JoinBounds (*bound_run_joins)(const uint16_t* image, const RunMap& map, const RegionRun* runs,
                                size_t count);

  template <simd::Level>
  static const RegionKernels& at();
};

} // namespace filter_processor
