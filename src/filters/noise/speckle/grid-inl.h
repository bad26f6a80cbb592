#pragma once

#include "filters/noise/speckle/speckle_kernels.h"
#include "simd/lanes-inl.h"

// Which pixels of a frame are looked at, and from which size on a region is no speckle.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

using Pixel = uint16_t;

inline constexpr uint32_t word_bits = 64;

using simd::for_each_bit;

struct HalfSize {
  uint32_t width, height; ///< of which one must match
  int32_t default_limit;  ///< samples
};

/// In order of precedence. The last entry is no frame's size: it means each frame 424 wide or 266
/// high, and no other way round.
inline constexpr HalfSize half_sizes[] = {
    {1280, 1280, 1920}, {640, 640, 480}, {320, 320, 120}, {160, 160, 30}, {424, 266, 120}};
inline constexpr size_t tiled_half_sizes = 2;
inline constexpr int32_t full_default_limit = 480;

/// Null where the frame is worked on in full.
inline const HalfSize* half_size(uint32_t width, uint32_t height, bool single) {
  const size_t count = single ? sizeof half_sizes / sizeof half_sizes[0] : tiled_half_sizes;
  for (size_t i = 0; i < count; ++i)
    if (width == half_sizes[i].width || height == half_sizes[i].height)
      return &half_sizes[i];
  return nullptr;
}

/// The samples, which are the pixels that are looked at: all, or the lower right one of each 2 x 2
/// block.
struct Grid {
  uint32_t step; ///< 1 or 2
  uint32_t columns, rows;

  static Grid of_frame(uint32_t width, uint32_t height, const HalfSize* half) {
    const uint32_t step = half != nullptr ? 2 : 1;
    return {step, width / step, height / step};
  }

  size_t samples() const { return size_t{columns} * rows; }
  /// Words of row bits: at least one bit more than there are columns.
  size_t words() const { return columns / word_bits + 1; }
  /// The frame's row or column of row or column `position` of the grid.
  uint32_t in_frame(uint32_t position) const { return position * step + step - 1; }
};

struct Frame {
  Grid grid;
  Pixel* pixels;
  size_t width;

  /// The frame's row in which the samples of row `y` stand.
  Pixel* row(uint32_t y) const { return pixels + size_t{grid.in_frame(y)} * width; }
};

/// The largest speckle, by the sample with which it begins.
struct Limit {
  uint32_t single; ///< where `table` is null
  const Pixel* table;
  uint32_t tiles_x, tiles_y;
  uint32_t tile_width, tile_height; ///< pixels

  static Limit of_task(const SpeckleTask& task, const HalfSize* half) {
    return task.single ? of_frame(half, task.max_size) : of_tiles(task);
  }

  static Limit of_frame(const HalfSize* half, int32_t max_size) {
    const int32_t scaled = half != nullptr ? max_size >> 2 : max_size;
    const int32_t fallback = half != nullptr ? half->default_limit : full_default_limit;
    return {static_cast<uint32_t>(scaled > 0 ? scaled : fallback), nullptr, 0, 0, 0, 0};
  }

  static Limit of_tiles(const SpeckleTask& task) {
    return {0,
            task.tile_limits,
            task.tiles_x,
            task.tiles_y,
            task.width / task.tiles_x,
            task.height / task.tiles_y};
  }

  /// Pixels beyond the last whole tile belong to it.
  static uint32_t tile(uint32_t position, uint32_t size, uint32_t count) {
    return size == 0 || position / size >= count ? count - 1 : position / size;
  }

  /// A region of no more samples is a speckle wherever it begins.
  uint32_t smallest() const {
    if (table == nullptr)
      return single;
    uint32_t limit = table[0];
    for (size_t i = 1; i < size_t{tiles_x} * tiles_y; ++i)
      limit = simd::min(limit, uint32_t{table[i]});
    return limit;
  }

  uint32_t tile_row(uint32_t y) const {
    return table == nullptr ? 0 : tile(y, tile_height, tiles_y);
  }

  uint32_t at(uint32_t x, uint32_t y) const {
    if (table == nullptr)
      return single;
    return table[size_t{tile_row(y)} * tiles_x + tile(x, tile_width, tiles_x)];
  }

  /// Fills the limits for the columns of the grid's row `y`, which differ from those of the row
  /// before only where tiles begin.
  void look_up(const Grid& grid, uint32_t y, int32_t* limits) const {
    if (y > 0 && tile_row(grid.in_frame(y)) == tile_row(grid.in_frame(y - 1)))
      return;
    for (uint32_t x = 0; x < grid.columns; ++x)
      limits[x] = static_cast<int32_t>(at(grid.in_frame(x), grid.in_frame(y)));
  }
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
