#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "filters/noise/false_positive/runs.h"

// The pixels of single regions.
namespace filter_processor {

/// What becomes of a region.
enum class Verdict {
  kept,
  marked,    ///< to be removed
  candidate, ///< may stem from a repetitive pattern
};

/// A region, its runs in row-major order: they lie side by side, as narrow regions have thousands
/// of them in as many rows.
struct Region {
  uint32_t root;
  std::span<const RegionRun> runs;
  Verdict verdict = Verdict::kept;

  uint32_t top() const { return runs.front().y; }
  uint32_t bottom() const { return runs.back().y; }
};

/// Whether a region has a good share of the pixels of its rows, so that looking at all of these
/// costs little more than looking for its own. Of all regions that do, few share a row.
inline bool fills_rows(const RunMap& map, const Region& region) {
  constexpr uint32_t few_rows = 4;
  constexpr uint32_t share = 8;
  const uint64_t pixels = map.sizes[region.root];
  const uint64_t rows = region.bottom() - region.top() + 1;
  return pixels > uint64_t{few_rows} * map.width && share * pixels >= rows * map.width;
}

/// Many runs are of one pixel: they are not worth a call of memset.
inline void fill_run(uint16_t* row, const RegionRun& run, uint16_t value) {
  row[run.first] = value;
  if (run.last != run.first)
    std::fill(row + run.first + 1, row + run.last + 1, value);
}

/// A cell for each pixel, 0 but for some: there it holds the depth less the invalid one, modulo
/// 65536, which is 0 for invalid pixels only. One more column and a row at either end are always 0.
class MemberCells {
 public:
  MemberCells(uint16_t* memory, const RunMap& map, const uint16_t* image, uint16_t invalid_depth)
      : cells_(memory + stride(map.width)), map_(map), image_(image),
        invalid_depth_(invalid_depth) {}

  static size_t count(uint32_t width, uint32_t height) {
    return stride(width) * (size_t{height} + 2);
  }

  uint16_t* row(uint32_t y) const { return cells_ + y * stride(map_.width); }
  ptrdiff_t stride() const { return static_cast<ptrdiff_t>(stride(map_.width)); }

  void fill(const RegionRun& run) const {
    const uint16_t* depths = image_ + size_t{run.y} * map_.width;
    uint16_t* cells = row(run.y);
    for (uint32_t x = run.first; x <= run.last; ++x)
      cells[x] = static_cast<uint16_t>(depths[x] - invalid_depth_);
  }
  void clear(const RegionRun& run) const { fill_run(row(run.y), run, 0); }

  RegionRun whole_row(uint32_t y) const {
    return {static_cast<uint16_t>(y), 0, static_cast<uint16_t>(map_.width - 1)};
  }

 private:
  static size_t stride(uint32_t width) { return size_t{width} + 1; }

  uint16_t* cells_;
  const RunMap& map_;
  const uint16_t* image_;
  uint16_t invalid_depth_;
};

} // namespace filter_processor
