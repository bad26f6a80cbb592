#pragma once

#include "filters/noise/speckle/grid-inl.h"

// The arrays in the work buffer, each for the most that any content needs, and all that shares
// memory: the arrays of regions with those of growth, and Edge's two members.
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
  uint64_t* forward;      ///< one way only: it may expand to the next pixel
  uint64_t* backward;     ///< one way only: the next pixel may expand to it
  uint64_t* up;           ///< joined to the pixel above, each way
  uint64_t* from_above;   ///< one way only: the pixel above may expand to it
  uint64_t* to_above;     ///< one way only: it may expand to the pixel above
  uint32_t* starts_below; ///< number of runs that start in lower words
  uint64_t* starts;       ///< of runs, once they are listed
  uint32_t first_run;

  static Row take(Arena& arena, const Grid& grid) {
    const size_t words = grid.words();
    const auto pixels = [&] { return arena.take<Pixel>((words + 1) * word_bits, 1); };
    const auto bits = [&] { return arena.take<uint64_t>(words); };
    return {.depth = pixels(),
            .threshold = pixels(),
            .valid = bits(),
            .joined = bits(),
            .forward = bits(),
            .backward = bits(),
            .up = bits(),
            .from_above = bits(),
            .to_above = bits(),
            .starts_below = arena.take<uint32_t>(words),
            .starts = bits(), // of the row above the first; others have theirs in RegionArrays
            .first_run = 0};
  }
};

/// The runs that hold the valid pixels of one word of a row.
struct RunsOfWord {
  uint64_t starts;
  uint32_t before; ///< the first run that starts in the word, less one

  RunsOfWord(const Row& row, size_t word)
      : starts(row.starts[word]), before(row.first_run + row.starts_below[word] - 1) {}

  [[gnu::always_inline]] uint32_t at(unsigned bit) const {
    const uint64_t up_to = ~uint64_t{0} >> (word_bits - 1 - bit);
    return before + static_cast<uint32_t>(__builtin_popcountll(starts & up_to));
  }
};

inline constexpr uint32_t no_edge = 0xffffffff;

/// A step from one run to another that is not allowed the other way.
struct Edge {
  union {
    uint32_t from;
    uint32_t next; ///< once it stands in a ring or list: the next edge, or `no_edge`
  };
  uint32_t to;
};

/// Runs are neighbours along a row that may all expand to each other. They are numbered in
/// row-major order.
struct RegionArrays {
  uint32_t* row_runs; ///< the first run of each row, and the end
  uint64_t* starts;   ///< bits of the samples where runs start, by rows
  uint64_t* ends;     ///< bits of the last samples of runs
  uint32_t* parents;  ///< for each run an earlier one of its region; for the first, itself
  int32_t* sizes;     ///< in samples, for each run that is or was a parent
  uint64_t* merged;   ///< bits of the runs that were parents before they got another
  uint64_t* targets;  ///< bits of the roots that edges lead to
  uint64_t* left;     ///< bits of the roots that edges leave
  uint32_t* rings;    ///< for each of these its last edge
  Edge* edges;

  /// Runs are worked on in groups of as many; the last group may end later than the runs do.
  static constexpr size_t group = 8;

  /// The most edges in the first `rows` rows with which following them, at about 10 ns each, and
  /// going on is likely to take less time than growth of the whole frame: the later, the more. Some
  /// are granted at once, lest one ragged spot decide.
  static uint32_t most_edges(const Grid& grid, uint32_t rows) {
    const uint64_t samples = uint64_t{rows} * grid.columns;
    const uint64_t later = samples * rows / grid.rows * rows / grid.rows;
    return static_cast<uint32_t>(
        simd::min(grid.samples() / 64 + samples / 5 + later, uint64_t{grid.samples()}));
  }

  /// For those of all rows twice, or once with those of a row that is one too many; and one entry
  /// more.
  static size_t edge_room(const Grid& grid) {
    return 2 * grid.samples() + 2 * size_t{grid.columns} + 1;
  }

  static RegionArrays take(Arena& arena, const Grid& grid) {
    const size_t samples = grid.samples();
    const size_t words = grid.words() * grid.rows;
    const size_t run_words = samples / word_bits + 1;
    return {.row_runs = arena.take<uint32_t>(size_t{grid.rows} + 1),
            .starts = arena.take<uint64_t>(words),
            .ends = arena.take<uint64_t>(words),
            .parents = arena.take<uint32_t>(samples + 2 * group),
            .sizes = arena.take<int32_t>(samples + 2 * group),
            .merged = arena.take<uint64_t>(run_words),
            .targets = arena.take<uint64_t>(run_words),
            .left = arena.take<uint64_t>(run_words),
            .rings = arena.take<uint32_t>(samples),
            .edges = arena.take<Edge>(edge_room(grid))};
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
  uint64_t* removed; ///< bits of the samples that a row loses
  int32_t* limits;   ///< for the columns of a row
  // Of these two only one is in use: growth begins where regions are given up.
  RegionArrays regions;
  GrowthArrays growth;
  size_t bytes;

  Workspace(const Grid& grid, uint8_t* buffer) {
    Arena arena(buffer);
    for (Row& row : rows)
      row = Row::take(arena, grid);
    removed = arena.take<uint64_t>(grid.words());
    limits = arena.take<int32_t>(grid.columns + sizeof(uint64_t));
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
