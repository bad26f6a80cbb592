#pragma once

#include "filters/noise/speckle/grid-inl.h"

// The arrays in the work buffer, each for the most that any content needs, and all that shares
// memory: the arrays of regions with those of growth, RootFact's two members and Edge's.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

/// Cuts a buffer into arrays. Without a buffer it only counts the bytes.
class Arena {
 public:
  explicit Arena(uint8_t* buffer) : buffer_(buffer) {}

  /// An array of `count` elements, before which there is room for `before` more.
  template <typename T>
  T* take(size_t count, size_t before = 0) {
    used_ += whole_lines(before * sizeof(T));
    uint8_t* array = buffer_ == nullptr ? nullptr : buffer_ + used_;
    used_ += whole_lines(count * sizeof(T));
    return reinterpret_cast<T*>(array);
  }

  size_t used() const { return used_; }

 private:
  /// Keeps arrays from sharing cache lines.
  static size_t whole_lines(size_t bytes) { return (bytes + 63) / 64 * 64; }

  uint8_t* buffer_;
  size_t used_ = 0;
};

/// Pixels of a row, each with its threshold, and bits for them. Beyond the last column, and before
/// the first, the pixels are of no account; the bits are 0.
struct Row {
  Pixel* depth;
  Pixel* threshold;
  uint64_t* valid;
  uint64_t* joined;       ///< to the next pixel, each way
  uint64_t* one_way;      ///< the same, but one way only
  uint64_t* up;           ///< to the pixel above, each way
  uint64_t* up_one_way;   ///< the same, but one way only
  uint64_t* starts;       ///< of runs
  uint32_t* starts_below; ///< number of starts in lower words
  uint32_t first_run;

  static Row take(Arena& arena, const Grid& grid) {
    const size_t words = grid.words();
    const auto pixels = [&] { return arena.take<Pixel>((words + 1) * word_bits, 1); };
    const auto bits = [&] { return arena.take<uint64_t>(words); };
    return {.depth = pixels(),
            .threshold = pixels(),
            .valid = bits(),
            .joined = bits(),
            .one_way = bits(),
            .up = bits(),
            .up_one_way = bits(),
            .starts = bits(),
            .starts_below = arena.take<uint32_t>(words),
            .first_run = 0};
  }

  /// The run that holds the valid pixel of bit `bit` of word `word`.
  [[gnu::always_inline]] uint32_t run_at(size_t word, unsigned bit) const {
    const uint64_t up_to = ~uint64_t{0} >> (word_bits - 1 - bit);
    const int count = __builtin_popcountll(starts[word] & up_to);
    return first_run + starts_below[word] + static_cast<uint32_t>(count) - 1;
  }
};

inline constexpr uint32_t no_edge = 0xffffffff;

/// Neighbours along a row that may all expand to each other, by their columns.
struct Run {
  uint16_t first, last;

  uint32_t length() const { return uint32_t{last} - first + 1; }
};

/// A step from one run to another that is not allowed the other way.
struct Edge {
  union {
    uint32_t from;
    uint32_t next; ///< once it stands in a ring or list: the next edge, or `no_edge`
  };
  uint32_t to;
};

/// What is known of the first run of a region; for other runs it says nothing.
union RootFact {
  uint32_t ring;  ///< while edges are followed: the last of those that leave, or `no_edge`
  int32_t excess; ///< once regions are measured: samples beyond the limit
};

struct RegionArrays {
  uint32_t* row_runs; ///< the first run of each row, and the end
  Run* runs;          ///< in row-major order
  uint32_t* parents;  ///< for each run an earlier run of its region; for the first, itself
  RootFact* facts;    ///< for each run
  Edge* edges;

  static RegionArrays take(Arena& arena, const Grid& grid) {
    const size_t samples = grid.samples();
    return {.row_runs = arena.take<uint32_t>(size_t{grid.rows} + 1),
            .runs = arena.take<Run>(samples),
            .parents = arena.take<uint32_t>(samples),
            .facts = arena.take<RootFact>(samples),
            .edges = arena.take<Edge>(2 * samples)};
  }
};

struct GrowthArrays {
  int32_t* queue;  ///< the samples of the region that grows, and one entry more
  uint8_t* states; ///< for each sample; in the rows before and after, 0

  static GrowthArrays take(Arena& arena, const Grid& grid) {
    const size_t after = grid.columns + simd::vector_bytes; // rows are written in whole vectors
    return {.queue = arena.take<int32_t>(grid.samples() + 1),
            .states = arena.take<uint8_t>(grid.samples() + after, grid.columns)};
  }
};

struct Workspace {
  Row rows[3];
  uint64_t* removed_ends; ///< bits where removed runs of a row begin and where they are over
  uint32_t* removed;      ///< for each block of a row all ones, or 0
  int32_t* limits;        ///< for the columns of a row
  // Of these two only one is in use: growth begins where regions are given up.
  RegionArrays regions;
  GrowthArrays growth;
  size_t bytes;

  Workspace(const Grid& grid, uint8_t* buffer) {
    Arena arena(buffer);
    for (Row& row : rows)
      row = Row::take(arena, grid);
    removed_ends = arena.take<uint64_t>(grid.words());
    removed = arena.take<uint32_t>(grid.columns);
    limits = arena.take<int32_t>(grid.columns);
    Arena same_place = arena;
    regions = RegionArrays::take(arena, grid);
    growth = GrowthArrays::take(same_place, grid);
    bytes = simd::max(arena.used(), same_place.used());
  }

  /// The size of the buffer.
  static size_t count(const Grid& grid) { return Workspace(grid, nullptr).bytes; }
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
