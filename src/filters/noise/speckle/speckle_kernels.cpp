#include "filters/noise/speckle/speckle_kernels.h"

#include "simd/lanes-inl.h"

// Regions are found without growing them. Runs of pixels along a row, and then runs of neighbouring
// rows, are united where two pixels may expand to each other; such a set belongs to one region as a
// whole, whichever of its pixels is reached first. Steps allowed in one direction only, rare in
// real frames, are collected as edges between these sets and followed at the end, in the order in
// which regions begin. Content in which they turn out not to be rare is grown pixel by pixel after
// all: slower on surfaces, but hardly dependent on the content.

namespace filter_processor {
namespace {

using Pixel = uint16_t;
using simd::Lanes;

constexpr uint32_t word_bits = 64;
constexpr uint32_t none = 0xffffffff;

/// The pixels that are looked at: all, or the lower right one of each 2 x 2 block.
struct Grid {
  uint32_t step; ///< 1 or 2
  uint32_t columns, rows;

  size_t samples() const { return size_t{columns} * rows; }
  /// Words of row bits: at least one bit more than there are columns.
  size_t words() const { return columns / word_bits + 1; }
};

struct HalfSize {
  uint32_t width, height; ///< of which one must match
  int32_t default_limit;  ///< samples
};

/// In order of precedence. The last entry is no frame's size: it means each frame 424 wide or 266
/// high, and no other way round.
constexpr HalfSize half_sizes[] = {
    {1280, 1280, 1920}, {640, 640, 480}, {320, 320, 120}, {160, 160, 30}, {424, 266, 120}};
constexpr size_t tiled_half_sizes = 2;
constexpr int32_t full_default_limit = 480;

/// Null where the frame is worked on in full.
const HalfSize* half_size(uint32_t width, uint32_t height, bool single) {
  const size_t count = single ? sizeof half_sizes / sizeof half_sizes[0] : tiled_half_sizes;
  for (size_t i = 0; i < count; ++i)
    if (width == half_sizes[i].width || height == half_sizes[i].height)
      return &half_sizes[i];
  return nullptr;
}

Grid make_grid(uint32_t width, uint32_t height, bool half) {
  const uint32_t step = half ? 2 : 1;
  return {step, width / step, height / step};
}

/// The largest speckle, by the sample with which it begins.
struct Limit {
  uint32_t single; ///< where `table` is null
  const Pixel* table;
  uint32_t tiles_x, tiles_y;
  uint32_t tile_width, tile_height; ///< pixels

  static Limit of_frame(const HalfSize* half, int32_t max_size) {
    const int32_t scaled = half != nullptr ? max_size >> 2 : max_size;
    const int32_t fallback = half != nullptr ? half->default_limit : full_default_limit;
    return {static_cast<uint32_t>(scaled > 0 ? scaled : fallback), nullptr, 0, 0, 0, 0};
  }

  static Limit of_tiles(const Pixel* table, uint32_t width, uint32_t height, int32_t tiles_x,
                        int32_t tiles_y) {
    const auto across = static_cast<uint32_t>(tiles_x);
    const auto down = static_cast<uint32_t>(tiles_y);
    return {0, table, across, down, width / across, height / down};
  }

  /// Pixels beyond the last whole tile belong to it.
  static uint32_t tile(uint32_t position, uint32_t size, uint32_t count) {
    return size == 0 || position / size >= count ? count - 1 : position / size;
  }

  bool removes_single_pixels() const {
    if (table == nullptr)
      return single > 0;
    for (size_t i = 0; i < size_t{tiles_x} * tiles_y; ++i)
      if (table[i] == 0)
        return false;
    return true;
  }

  uint32_t tile_row(uint32_t y) const {
    return table == nullptr ? 0 : tile(y, tile_height, tiles_y);
  }

  uint32_t at(uint32_t x, uint32_t y) const {
    if (table == nullptr)
      return single;
    return table[size_t{tile_row(y)} * tiles_x + tile(x, tile_width, tiles_x)];
  }
};

template <typename Visit>
[[gnu::always_inline]] inline void for_each_bit(uint64_t bits, Visit visit) {
  for (; bits != 0; bits &= bits - 1)
    visit(static_cast<unsigned>(__builtin_ctzll(bits)));
}

/// Which pixels are valid, and how far their neighbours may differ. One difference for all is a
/// table of one entry.
struct Rules {
  const Pixel* lut;
  Pixel lut_size;
  Pixel shift;
  Pixel any_join; ///< all ones, or zero where nothing joins
  Pixel invalid;
  Pixel any_invalid; ///< all ones, or zero where no pixel equals the invalid value

  template <typename V>
  [[gnu::always_inline]] V thresholds(V depth) const {
    const V bin = static_cast<V>((depth >> shift) & Pixel{0xff});
    V threshold = simd::broadcast<V>(lut[0]);
    for (Pixel i = 1; i < lut_size; ++i)
      threshold = bin >= i ? simd::broadcast<V>(lut[i]) : threshold;
    return threshold;
  }

  template <typename V>
  [[gnu::always_inline]] V are_invalid(V depth) const {
    return static_cast<V>(depth == invalid) & any_invalid;
  }
};

/// The pixels of half a block, once its sample's fate is known.
template <typename V>
[[gnu::always_inline]] inline V repaired(V own, V sample, V threshold, V invalid,
                                         const Rules& rules) {
  const V difference = static_cast<V>(simd::max(own, sample) - simd::min(own, sample));
  const V keeps = static_cast<V>(difference <= threshold) & rules.any_join;
  const V valid = keeps != 0 ? own : sample;
  return invalid != 0 ? simd::broadcast<V>(rules.invalid) : valid;
}

/// Pixels of a row, each with its threshold, and bits for them. Beyond the last column the pixels
/// are of no account and the bits 0.
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

  /// The run that holds the valid pixel of bit `bit` of word `word`.
  [[gnu::always_inline]] uint32_t run_at(size_t word, unsigned bit) const {
    const uint64_t up_to = ~uint64_t{0} >> (word_bits - 1 - bit);
    const int count = __builtin_popcountll(starts[word] & up_to);
    return first_run + starts_below[word] + static_cast<uint32_t>(count) - 1;
  }
};

/// Neighbours along a row that may all expand to each other, by their columns.
struct Run {
  uint16_t first, last;

  uint32_t length() const { return uint32_t{last} - first + 1; }
};

/// A step from one run to another that is not allowed the other way.
struct Edge {
  union {
    uint32_t from;
    uint32_t next; ///< once it stands in a ring or list: the next edge, or `none`
  };
  uint32_t to;
};

// What growth knows of a pixel, one byte for each. 0: invalid, or taken by a region.
namespace growth {
constexpr unsigned from_left = 0; ///< the bit that says that this neighbour may expand to the pixel
constexpr unsigned from_right = 1;
constexpr unsigned from_above = 2;
constexpr unsigned from_below = 3;
constexpr Pixel seed = 1 << 4;    ///< may expand itself; set also for some that may not
constexpr Pixel free = 1 << 5;    ///< valid, and not taken
constexpr Pixel removed = 1 << 6; ///< alone
} // namespace growth

/// The arrays in the work buffer, at byte offsets, each for the most that any content needs.
struct Layout {
  explicit Layout(const Grid& grid) {
    reserve(sizeof(Pixel)); // growth reads the pixel before a row, which is of no account
    const size_t padded = (grid.words() + 1) * word_bits;
    for (RowOffsets& row : rows) {
      row.depth = reserve(padded * sizeof(Pixel));
      row.threshold = reserve(padded * sizeof(Pixel));
      row.valid = reserve(grid.words() * sizeof(uint64_t));
      row.joined = reserve(grid.words() * sizeof(uint64_t));
      row.one_way = reserve(grid.words() * sizeof(uint64_t));
      row.up = reserve(grid.words() * sizeof(uint64_t));
      row.up_one_way = reserve(grid.words() * sizeof(uint64_t));
      row.starts = reserve(grid.words() * sizeof(uint64_t));
      row.starts_below = reserve(grid.words() * sizeof(uint32_t));
    }
    removed = reserve(grid.columns * sizeof(uint32_t));
    removed_ends = reserve(grid.words() * sizeof(uint64_t));
    limits = reserve(grid.columns * sizeof(int32_t));
    row_runs = reserve((size_t{grid.rows} + 1) * sizeof(uint32_t));
    runs = reserve(grid.samples() * sizeof(Run));
    parents = reserve(grid.samples() * sizeof(uint32_t));
    rings_or_excess = reserve(grid.samples() * sizeof(uint32_t));
    // Growth takes the place of the edges: at most 16 bytes for each sample, too.
    edges = queue = reserve(2 * grid.samples() * sizeof(Edge) + growth_padding);
    states = queue + (grid.samples() + 1) * sizeof(uint32_t) + grid.columns;
  }

  /// One entry more in the queue, and a vector beyond the row that follows the last one's states.
  static constexpr size_t growth_padding = sizeof(uint32_t) + simd::vector_bytes;

  size_t reserve(size_t bytes) {
    const size_t offset = size;
    size += (bytes + 63) / 64 * 64;
    return offset;
  }

  struct RowOffsets {
    size_t depth, threshold, valid, joined, one_way, up, up_one_way, starts, starts_below;
  };

  size_t size = 0;
  RowOffsets rows[3];
  size_t removed, removed_ends, limits, row_runs, runs, parents, rings_or_excess, edges;
  size_t queue, states;
};

/// Where two rows or two columns of samples meet: bits of the pairs that may expand to each other
/// and of those where only one may expand to the other.
struct Joins {
  uint64_t mutual, one_way;
};

class Speckles {
 public:
  Speckles(const Grid& grid, const Rules& rules, Pixel* depth, uint32_t width, uint8_t* work)
      : grid_(grid), rules_(rules), depth_(depth), width_(width) {
    const Layout layout(grid);
    row_runs_ = array<uint32_t>(work, layout.row_runs);
    runs_ = array<Run>(work, layout.runs);
    rings_ = array<uint32_t>(work, layout.rings_or_excess);
    edges_ = array<Edge>(work, layout.edges);
    removed_ = array<uint32_t>(work, layout.removed);
    parents_ = array<uint32_t>(work, layout.parents);
    excess_ = array<int32_t>(work, layout.rings_or_excess);
    limits_ = array<int32_t>(work, layout.limits);
    removed_ends_ = array<uint64_t>(work, layout.removed_ends);
    queue_ = array<int32_t>(work, layout.queue);
    states_ = work + layout.states;
    above_ = row_at(work, layout.rows[0]);
    current_ = row_at(work, layout.rows[1]);
    below_ = row_at(work, layout.rows[2]);
  }

  /// `remove_single` says that a pixel without neighbours in its region is a speckle everywhere:
  /// such pixels, most of dense noise, become invalid at once and are no regions. False: the frame
  /// is too ragged to go on, and must be grown.
  bool find_regions(bool remove_single) {
    read_no_row();
    for (uint32_t y = 0; y <= grid_.rows; ++y) {
      next_row();
      if (y < grid_.rows)
        read_row(y);
      else
        read_no_row();
      join_row();
      join_rows();
      if (y == 0)
        continue;
      if (remove_single)
        remove_single_pixels(y - 1);
      row_runs_[y - 1] = run_count_;
      list_runs();
      collect_row_edges();
      unite_rows();
      if (edge_count_ > edge_budget(y))
        return false;
    }
    row_runs_[grid_.rows] = run_count_;
    if (edge_count_ > 0)
      follow_edges();
    return true;
  }

  void remove(const Limit& limit) {
    measure_regions(limit);
    for (uint32_t y = 0; y < grid_.rows; ++y)
      if (grid_.step == 1)
        clear_row(y);
      else
        repair_blocks(y);
  }

  /// Takes the place of find_regions and remove.
  void grow_and_remove(const Limit& limit) {
    find_steps();
    for (uint32_t y = 0; y < grid_.rows; ++y) {
      look_up_limits(limit, y);
      grow_from_row(y);
    }
    for (uint32_t y = 0; y < grid_.rows; ++y) {
      look_up_limits(limit, y);
      remove_grown(y);
    }
  }

 private:
  /// The most edges in the first `rows` rows with which following them, at about 10 ns each, takes
  /// less time than growth. Some more are granted, lest one ragged spot decide.
  uint32_t edge_budget(uint32_t rows) const {
    return static_cast<uint32_t>(grid_.samples() / 32 + size_t{rows} * grid_.columns / 4);
  }

  void find_steps() {
    const size_t columns = grid_.columns;
    __builtin_memset(states_ - columns, 0, columns);
    for (uint32_t y = 0; y <= grid_.rows; ++y) {
      next_row();
      if (y < grid_.rows)
        read_row(y);
      if (y > 0)
        find_steps(y - 1);
    }
    __builtin_memset(states_ + grid_.samples(), 0, columns);
  }

  /// Fills the states of row `y`, the current one, and may write more beyond its end.
  void find_steps(uint32_t y) {
    using V = Lanes<Pixel>;
    using Bytes = Lanes<uint8_t, sizeof(V) / 2>;
    uint8_t* states = states_ + size_t{y} * grid_.columns;
    for (size_t x = 0; x < grid_.columns; x += simd::lane_count<V>)
      simd::store(states + x,
                  __builtin_convertvector(steps_at<V>(static_cast<ptrdiff_t>(x)), Bytes));
    const auto drop = [&](size_t x, unsigned neighbour) {
      states[x] = static_cast<uint8_t>(states[x] & ~(1U << neighbour));
    };
    drop(0, growth::from_left);
    drop(grid_.columns - 1, growth::from_right);
    for (size_t x = 0; y == 0 && x < grid_.columns; ++x)
      drop(x, growth::from_above);
    for (size_t x = 0; y + 1 == grid_.rows && x < grid_.columns; ++x)
      drop(x, growth::from_below);
  }

  /// The states of the current row from column `x` on, as if all its neighbours were in the frame.
  template <typename V>
  [[gnu::always_inline]] V steps_at(ptrdiff_t x) const {
    const V depth = simd::load<V>(current_.depth + x);
    const V threshold = simd::load<V>(current_.threshold + x);
    V steps{};
    V expands{};
    const auto meet = [&](const Row& row, ptrdiff_t at, unsigned neighbour) {
      const V other = simd::load<V>(row.depth + at);
      const V difference = static_cast<V>(simd::max(depth, other) - simd::min(depth, other));
      const V may_join = rules_.any_join & ~rules_.are_invalid(other);
      const V enters = static_cast<V>(difference <= simd::load<V>(row.threshold + at)) & may_join;
      const auto step = static_cast<Pixel>(1U << neighbour);
      steps |= enters & step;
      expands |= static_cast<V>(difference <= threshold) & may_join;
    };
    meet(current_, x - 1, growth::from_left);
    meet(current_, x + 1, growth::from_right);
    meet(above_, x, growth::from_above);
    meet(below_, x, growth::from_below);
    return (steps | (expands & growth::seed) | growth::free) & ~rules_.are_invalid(depth);
  }

  void grow_from_row(uint32_t y) {
    constexpr size_t group = sizeof(uint64_t);
    uint8_t* row = states_ + size_t{y} * grid_.columns;
    for (size_t x = 0; x < grid_.columns; x += group) {
      uint64_t in_row = 0x0101010101010101 * growth::seed;
      if (grid_.columns - x < group)
        in_row &= (uint64_t{1} << 8 * (grid_.columns - x)) - 1;
      for (;;) {
        uint64_t seeds = 0;
        __builtin_memcpy(&seeds, row + x, sizeof seeds);
        seeds &= in_row;
        if (seeds == 0)
          break;
        const size_t column = x + static_cast<unsigned>(__builtin_ctzll(seeds)) / 8;
        grow(static_cast<int32_t>(row + column - states_), limits_[column]);
      }
    }
  }

  /// Takes what the seed reaches, breadth first. Free pixels before it expand to none, and are
  /// regions already, though no seeds. Which neighbours join is impossible to foresee in
  /// the content that is grown, so that no branch depends on it.
  void grow(int32_t seed, int32_t limit) {
    uint8_t* const states = states_;
    const auto columns = static_cast<int32_t>(grid_.columns);
    int32_t* const members = queue_;
    int32_t* tail = members;
    *tail++ = seed;
    states[seed] = 0;
    for (const int32_t* head = members; head != tail; ++head) {
      const int32_t here = *head;
      const auto meet = [&](int32_t neighbour, unsigned from_here) {
        const uint32_t state = states[neighbour];
        const uint32_t joins = state >> from_here & (neighbour > seed ? 1U : 0U);
        *tail = neighbour;
        tail += joins;
        states[neighbour] = static_cast<uint8_t>(state & (joins - 1));
      };
      meet(here + 1, growth::from_left);
      meet(here - 1, growth::from_right);
      meet(here + columns, growth::from_above);
      meet(here - columns, growth::from_below);
    }
    if (tail - members > limit)
      return;
    for (const int32_t* member = members; member != tail; ++member)
      states[*member] = growth::removed;
  }

  /// What is free still may expand to no other pixel, and no region that began earlier reached it:
  /// a region each.
  void remove_grown(uint32_t y) {
    const uint8_t* states = states_ + size_t{y} * grid_.columns;
    const auto is_removed = [&](size_t x) {
      const unsigned free = limits_[x] > 0 ? growth::free : 0U;
      return (states[x] & (growth::removed | free)) != 0;
    };
    Pixel* row = frame_row(y);
    if (grid_.step == 1) {
      for (size_t x = 0; x < grid_.columns; ++x)
        row[x] = is_removed(x) ? rules_.invalid : row[x];
      return;
    }
    for (size_t x = 0; x < grid_.columns; ++x)
      removed_[x] = is_removed(x) ? ~uint32_t{0} : 0;
    repair_removed(row);
  }

  template <typename T>
  static T* array(uint8_t* work, size_t offset) {
    return reinterpret_cast<T*>(work + offset); // every offset is a multiple of 64
  }

  static Row row_at(uint8_t* work, const Layout::RowOffsets& offsets) {
    return {array<Pixel>(work, offsets.depth),           array<Pixel>(work, offsets.threshold),
            array<uint64_t>(work, offsets.valid),        array<uint64_t>(work, offsets.joined),
            array<uint64_t>(work, offsets.one_way),      array<uint64_t>(work, offsets.up),
            array<uint64_t>(work, offsets.up_one_way),   array<uint64_t>(work, offsets.starts),
            array<uint32_t>(work, offsets.starts_below), 0};
  }

  /// The frame's row or column of row or column `position` of the grid.
  uint32_t frame_position(uint32_t position) const {
    return position * grid_.step + grid_.step - 1;
  }

  /// The frame's row in which the samples of row `y` stand.
  Pixel* frame_row(uint32_t y) const { return depth_ + size_t{frame_position(y)} * width_; }

  void gather(const Pixel* from, Pixel* to) const {
    if (grid_.step == 1)
      __builtin_memcpy(to, from, grid_.columns * sizeof(Pixel));
    else
      for (size_t x = 0; x < grid_.columns; ++x)
        to[x] = from[2 * x + 1];
  }

  void next_row() {
    const Row recycled = above_;
    above_ = current_;
    current_ = below_;
    below_ = recycled;
  }

  /// A row before the first or after the last, in which nothing is valid.
  void read_no_row() {
    for (size_t word = 0; word < grid_.words(); ++word)
      below_.valid[word] = 0;
  }

  /// Fills the pixels, thresholds and `valid` of the row below.
  void read_row(uint32_t y) {
    using V = Lanes<Pixel>;
    Row& row = below_;
    gather(frame_row(y), row.depth);
    for (size_t word = 0; word < grid_.words(); ++word) {
      uint64_t invalid = 0;
      for (unsigned bit = 0; bit < word_bits; bit += simd::lane_count<V>) {
        const size_t x = word * word_bits + bit;
        const V depth = simd::load<V>(row.depth + x);
        simd::store(row.threshold + x, rules_.thresholds(depth));
        invalid |= simd::lane_bits(rules_.are_invalid(depth)) << bit;
      }
      row.valid[word] = ~invalid;
    }
    const uint64_t columns = (uint64_t{1} << (grid_.columns % word_bits)) - 1;
    row.valid[grid_.words() - 1] &= columns;
  }

  /// The joins of 64 pixels of `row` with those `offset` columns further on in row `next`.
  [[gnu::always_inline]] Joins joins(const Row& row, const Row& next, size_t word,
                                     size_t offset) const {
    using V = Lanes<Pixel>;
    Joins result{0, 0};
    for (unsigned bit = 0; bit < word_bits; bit += simd::lane_count<V>) {
      const size_t x = word * word_bits + bit;
      const V a = simd::load<V>(row.depth + x);
      const V b = simd::load<V>(next.depth + x + offset);
      const V t_a = simd::load<V>(row.threshold + x);
      const V t_b = simd::load<V>(next.threshold + x + offset);
      const V difference = static_cast<V>(simd::max(a, b) - simd::min(a, b));
      const V mutual = static_cast<V>(difference <= simd::min(t_a, t_b)) & rules_.any_join;
      const V any = static_cast<V>(difference <= simd::max(t_a, t_b)) & rules_.any_join;
      result.mutual |= simd::lane_bits(mutual) << bit;
      result.one_way |= simd::lane_bits(static_cast<V>(any & ~mutual)) << bit;
    }
    return result;
  }

  void join_row() {
    Row& row = below_;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const Joins steps = joins(row, row, word, 1);
      const uint64_t next = word + 1 < grid_.words() ? row.valid[word + 1] : 0;
      const uint64_t pairs = row.valid[word] & (row.valid[word] >> 1 | next << (word_bits - 1));
      row.joined[word] = steps.mutual & pairs;
      row.one_way[word] = steps.one_way & pairs;
    }
  }

  void join_rows() {
    for (size_t word = 0; word < grid_.words(); ++word) {
      const Joins steps = joins(current_, below_, word, 0);
      const uint64_t pairs = current_.valid[word] & below_.valid[word];
      below_.up[word] = steps.mutual & pairs;
      below_.up_one_way[word] = steps.one_way & pairs;
    }
  }

  /// A pixel without any step to or from a neighbour is a region.
  void remove_single_pixels(uint32_t y) {
    Pixel* samples = frame_row(y) + grid_.step - 1;
    uint64_t enters = 0;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const uint64_t right = current_.joined[word] | current_.one_way[word];
      const uint64_t vertical =
          current_.up[word] | current_.up_one_way[word] | below_.up[word] | below_.up_one_way[word];
      const uint64_t stepped = right | right << 1 | enters | vertical;
      enters = right >> (word_bits - 1);
      for_each_bit(current_.valid[word] & ~stepped, [&](unsigned bit) {
        samples[(word * word_bits + bit) * grid_.step] = rules_.invalid;
      });
      current_.valid[word] &= stepped;
    }
  }

  void list_runs() {
    Run* runs = runs_ + run_count_;
    uint32_t started = 0;
    uint32_t ended = 0;
    uint64_t enters = 0;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const size_t x = word * word_bits;
      const uint64_t valid = current_.valid[word];
      const uint64_t joined = current_.joined[word];
      const uint64_t starts = valid & ~(joined << 1 | enters);
      enters = joined >> (word_bits - 1);
      current_.starts[word] = starts;
      current_.starts_below[word] = started;
      for_each_bit(starts, [&](unsigned bit) {
        runs[started].first = static_cast<uint16_t>(x + bit);
        parents_[run_count_ + started] = run_count_ + started;
        ++started;
      });
      for_each_bit(valid & ~joined, [&](unsigned bit) {
        runs[ended].last = static_cast<uint16_t>(x + bit);
        ++ended;
      });
    }
    current_.first_run = run_count_;
    run_count_ += started;
  }

  void unite_rows() {
    uint64_t repeated = 0; // carries into the next word
    uint64_t unlinked = 0;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const uint64_t joined = current_.joined[word];
      // Where both rows go on, the next pair would only unite the same two runs again.
      const uint64_t repeats = current_.up[word] & above_.joined[word] & joined;
      const uint64_t links = current_.up[word] & ~(repeats << 1 | repeated);
      repeated = repeats >> (word_bits - 1);
      // From each run's start the subtraction borrows up to its first link, or to its end.
      const uint64_t last_bit = uint64_t{1} << (word_bits - 1);
      const uint64_t stops = links | (current_.valid[word] & ~joined) | last_bit;
      const uint64_t reached = stops ^ (stops - (current_.starts[word] | unlinked));
      unlinked = (reached & ~links & joined) >> (word_bits - 1);
      const uint64_t first_links = links & reached;
      for_each_bit(
          first_links, [&](unsigned bit) { // the run is a region of its own so far
            parents_[current_.run_at(word, bit)] = parents_[above_.run_at(word, bit)];
          });
      for_each_bit(links & ~first_links, [&](unsigned bit) {
        unite(above_.run_at(word, bit), current_.run_at(word, bit));
      });
      for_each_bit(current_.up_one_way[word], [&](unsigned bit) {
        const size_t x = word * word_bits + bit;
        add_edge(above_.run_at(word, bit), above_.threshold[x], current_.run_at(word, bit),
                 current_.threshold[x]);
      });
    }
  }

  void collect_row_edges() {
    for (size_t word = 0; word < grid_.words(); ++word) {
      for_each_bit(
          current_.one_way[word],
          [&](unsigned bit) {
            const size_t x = word * word_bits + bit;
            const uint32_t run = current_.run_at(word, bit);
            add_edge(run, current_.threshold[x], run + 1, current_.threshold[x + 1]);
          });
    }
  }

  uint32_t root_of(uint32_t run) {
    while (parents_[run] != run) {
      parents_[run] = parents_[parents_[run]];
      run = parents_[run];
    }
    return run;
  }

  /// The earlier root stays one, so that a region's root is its first run.
  void unite(uint32_t a, uint32_t b) {
    if (parents_[a] == parents_[b])
      return;
    a = root_of(a);
    b = root_of(b);
    if (a < b)
      parents_[b] = a;
    else
      parents_[a] = b;
  }

  /// Of two pixels between which one step only is allowed, the one with the larger threshold makes
  /// it.
  void add_edge(uint32_t run_a, Pixel threshold_a, uint32_t run_b, Pixel threshold_b) {
    if (parents_[run_a] == parents_[run_b])
      return;
    Edge& edge = edges_[edge_count_++];
    edge.from = threshold_a > threshold_b ? run_a : run_b;
    edge.to = threshold_a > threshold_b ? run_b : run_a;
  }

  /// Sorts the edges that leave a region into one ring for each root.
  void list_edges() {
    for (uint32_t run = 0; run < run_count_; ++run) {
      parents_[run] = parents_[parents_[run]]; // the root: that of an earlier run is known already
      rings_[run] = none;
    }
    for (uint32_t i = 0; i < edge_count_; ++i) {
      Edge& edge = edges_[i];
      const uint32_t root = parents_[edge.from];
      edge.to = parents_[edge.to];
      if (edge.to == root)
        continue;
      edge.next = i;
      rings_[root] = insert_ring(rings_[root], i);
    }
  }

  /// Joins two rings, each given by its last edge; the first may be none.
  uint32_t insert_ring(uint32_t ring, uint32_t added) {
    if (ring == none)
      return added;
    const uint32_t first = edges_[ring].next;
    edges_[ring].next = edges_[added].next;
    edges_[added].next = first;
    return ring;
  }

  /// Lets the regions, in the order in which they begin, take what edges lead to. What has an
  /// earlier root is taken already.
  void follow_edges() {
    list_edges();
    for (uint32_t root = 0; root < run_count_; ++root) {
      if (rings_[root] == none || parents_[root] != root)
        continue;
      uint32_t edge = open_ring(rings_[root], none);
      while (edge != none) {
        const uint32_t target = root_of(edges_[edge].to);
        edge = edges_[edge].next;
        if (target > root) {
          parents_[target] = root;
          if (rings_[target] != none)
            edge = open_ring(rings_[target], edge);
        }
      }
    }
  }

  /// Makes a ring a list that goes on with the edge `next`, and returns its first edge.
  uint32_t open_ring(uint32_t ring, uint32_t next) {
    const uint32_t first = edges_[ring].next;
    edges_[ring].next = next;
    return first;
  }

  /// Makes every run point to its region's root, and finds out there by how much the region is
  /// larger than the limit where it begins.
  void measure_regions(const Limit& limit) {
    for (uint32_t y = 0; y < grid_.rows; ++y) {
      look_up_limits(limit, y);
      for (uint32_t i = row_runs_[y]; i < row_runs_[y + 1]; ++i) {
        const uint32_t root = parents_[parents_[i]]; // of an earlier run, or of this one
        parents_[i] = root;
        excess_[i] = -limits_[runs_[i].first];
        excess_[root] += static_cast<int32_t>(runs_[i].length());
      }
    }
  }

  /// Fills the limits for the columns of row `y`.
  void look_up_limits(const Limit& limit, uint32_t y) {
    if (y > 0 && limit.tile_row(frame_position(y)) == limit.tile_row(frame_position(y - 1)))
      return;
    for (uint32_t x = 0; x < grid_.columns; ++x)
      limits_[x] = static_cast<int32_t>(limit.at(frame_position(x), frame_position(y)));
  }

  /// Calls `visit` for the columns in which row `y` loses its samples. Whether a run is removed is
  /// hard to foresee in noise, so that no branch depends on it.
  template <typename Visit>
  [[gnu::always_inline]] void for_removed(uint32_t y, Visit visit) {
    for (size_t word = 0; word < grid_.words(); ++word)
      removed_ends_[word] = 0;
    uint64_t any_removed = 0;
    for (uint32_t i = row_runs_[y]; i < row_runs_[y + 1]; ++i) {
      const uint64_t removed = excess_[parents_[i]] <= 0 ? 1 : 0;
      any_removed |= removed;
      const uint32_t first = runs_[i].first;
      const uint32_t end = runs_[i].last + 1U;
      removed_ends_[first / word_bits] ^= removed << first % word_bits;
      removed_ends_[end / word_bits] ^= removed << end % word_bits;
    }
    if (any_removed == 0)
      return;
    uint64_t enters = 0; // all ones where a removed run goes on
    for (size_t word = 0; word < grid_.words(); ++word) {
      uint64_t removed = removed_ends_[word];
      for (unsigned distance = 1; distance < word_bits; distance *= 2)
        removed ^= removed << distance;
      removed ^= enters;
      enters = uint64_t{0} - (removed >> (word_bits - 1));
      for_each_bit(removed, [&](unsigned bit) { visit(word * word_bits + bit); });
    }
  }

  void clear_row(uint32_t y) {
    Pixel* row = frame_row(y);
    for_removed(y, [&](size_t x) { row[x] = rules_.invalid; });
  }

  void repair_blocks(uint32_t y) {
    for (uint32_t x = 0; x < grid_.columns; ++x)
      removed_[x] = 0;
    for_removed(y, [&](size_t x) { removed_[x] = ~uint32_t{0}; });
    repair_removed(frame_row(y));
  }

  /// Works on the blocks whose lower row is `lower`, once it is known which of them are removed.
  void repair_removed(Pixel* lower) const {
    const size_t rest = repair_row<simd::vector_bytes>(lower - width_, lower, 0);
    repair_row<sizeof(uint32_t)>(lower - width_, lower, rest);
  }

  /// Each pair's second pixel, in its upper half on every processor that is built for, in both
  /// places.
  template <typename Pairs>
  [[gnu::always_inline]] static Pairs right_pixels(Pairs pairs) {
    return (pairs & 0xffff0000) | pairs >> 16;
  }

  /// Works on the blocks from column `x` of the grid on, as long as they fill vectors of `Bytes`.
  /// Returns the first one left over.
  template <size_t Bytes>
  size_t repair_row(Pixel* upper, Pixel* lower, size_t x) const {
    using Pixels = Lanes<Pixel, Bytes>;
    using Pairs = Lanes<uint32_t, Bytes>; // the two pixels of a block in one row
    for (; x + simd::lane_count<Pairs> <= grid_.columns; x += simd::lane_count<Pairs>) {
      const auto samples = (Pixels)right_pixels(simd::load<Pairs>(lower + 2 * x));
      const auto removed = (Pixels)simd::load<Pairs>(removed_ + x);
      const Pixels invalid = static_cast<Pixels>(removed | rules_.are_invalid(samples));
      const Pixels threshold = rules_.thresholds(samples);
      Pixel* const rows[] = {upper, lower};
      for (Pixel* row : rows) {
        const Pixels own = simd::load<Pixels>(row + 2 * x);
        simd::store(row + 2 * x, repaired(own, samples, threshold, invalid, rules_));
      }
    }
    return x;
  }

  Grid grid_;
  Rules rules_;
  Pixel* depth_;
  size_t width_;
  Row above_, current_, below_;
  uint32_t* row_runs_; ///< the first run of each row, and the end
  Run* runs_;          ///< in row-major order
  uint32_t* parents_;  ///< for each run an earlier run of its region; for the first, itself
  int32_t* excess_;    ///< for the first run of each region its samples beyond the limit;
                       ///< takes the place of the rings
  int32_t* limits_;    ///< for the columns of a row
  uint32_t run_count_ = 0;
  uint32_t* rings_; ///< for each root the last of the edges that leave its region, or `none`
  Edge* edges_;
  uint32_t edge_count_ = 0;
  int32_t* queue_;         ///< the samples of the region that grows
  uint8_t* states_;        ///< for each sample; in the rows before and after, 0
  uint64_t* removed_ends_; ///< bits where removed runs of a row begin and where they are over
  uint32_t* removed_;      ///< for each block of a row all ones, or 0
};

uint64_t layout_size(uint32_t width, uint32_t height, int32_t single) {
  const HalfSize* half = half_size(width, height, single != 0);
  return Layout(make_grid(width, height, half != nullptr)).size;
}

Rules make_rules(const Pixel* lut, uint8_t shift, uint8_t lut_size, const Pixel* constant,
                 bool any_join, uint32_t invalid_value) {
  constexpr Pixel all = 0xffff;
  Rules rules{lut,
              lut_size,
              shift,
              all,
              static_cast<Pixel>(invalid_value),
              invalid_value <= all ? all : Pixel{0}};
  if (lut_size == 0) {
    rules.lut = constant;
    rules.any_join = any_join ? all : Pixel{0};
  }
  constexpr Pixel pixel_bits = 16;
  if (lut_size == 0 || shift >= pixel_bits) { // every depth falls into the first bin
    rules.lut_size = 1;
    rules.shift = 0;
  }
  return rules;
}

int32_t remove_speckles(void* work_buffer, Pixel* depth, const Pixel* tile_table, uint32_t width,
                        uint32_t height, const Pixel* depth_diff_lut, uint8_t depth_shift,
                        uint8_t lut_size, int32_t max_diff, int32_t max_size, int32_t tiles_x,
                        int32_t tiles_y, uint32_t invalid_value, int32_t single) {
  const HalfSize* half = half_size(width, height, single != 0);
  const Grid grid = make_grid(width, height, half != nullptr);
  if (grid.samples() == 0)
    return 0;
  const Pixel largest = 0xffff;
  const Pixel difference = max_diff < largest ? static_cast<Pixel>(max_diff) : largest;
  const Rules rules =
      make_rules(depth_diff_lut, depth_shift, lut_size, &difference, max_diff >= 0, invalid_value);
  const Limit limit = single != 0 ? Limit::of_frame(half, max_size)
                                  : Limit::of_tiles(tile_table, width, height, tiles_x, tiles_y);
  Speckles speckles(grid, rules, depth, width, static_cast<uint8_t*>(work_buffer));
  // What is removed early is found again by its value, which must be one.
  if (speckles.find_regions(limit.removes_single_pixels() && rules.any_invalid != 0))
    speckles.remove(limit);
  else
    speckles.grow_and_remove(limit);
  return 0;
}

} // namespace

template <>
const SpeckleKernels& SpeckleKernels::at<simd::this_level>() {
  static constexpr SpeckleKernels table{layout_size, remove_speckles};
  return table;
}

} // namespace filter_processor
