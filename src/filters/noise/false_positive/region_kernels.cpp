#include "filters/noise/false_positive/region_kernels.h"

#include "filters/noise/false_positive/rows-inl.h"
#include "filters/noise/false_positive/sets-inl.h"

// Regions are found without growing them. Runs of pixels along a row, and then runs of neighbouring
// rows, are united where two pixels join each other; such a set belongs to one region as a whole,
// whichever of its pixels is reached first. Joins in one direction only, rare in real frames, are
// collected as edges between these sets and followed at the end, in the order in which regions
// begin.

namespace filter_processor {
namespace {

using namespace false_positive;

/// Columns of a row, listed without a branch for each: how many there are in a word is hard to
/// foresee.
class Columns {
 public:
  static constexpr uint32_t slack = RunMap::column_slack;

  explicit Columns(uint16_t* list) : list_(list) {}

  /// Appends the columns of a word's bits, of which `x` is the first, and may write more.
  [[gnu::always_inline]] void append(uint64_t bits, size_t x) {
    constexpr uint32_t group = 8;
    const auto count = static_cast<uint32_t>(__builtin_popcountll(bits));
    for (uint32_t n = 0; n < count; n += group) {
      for (uint32_t i = 0; i < group; ++i) {
        const int place = bits == 0 ? static_cast<int>(word_bits) : __builtin_ctzll(bits);
        list_[count_ + n + i] = static_cast<uint16_t>(x + static_cast<unsigned>(place));
        bits &= bits - 1;
      }
    }
    count_ += count;
  }

  uint32_t count() const { return count_; }
  const uint16_t* begin() const { return list_; }
  const uint16_t* end() const { return list_ + count_; }

 private:
  uint16_t* list_;
  uint32_t count_ = 0;
};

/// Finds the pixels past holes of one pixel that a neighbouring row bridges, word by word.
class Bridges {
 public:
  /// The bits of the linked pixels two columns behind another one to which they are joined in the
  /// row with those `joined` bits.
  uint64_t past(uint64_t links, uint64_t joined) {
    const uint64_t joined_twice = joined & (joined << 1 | joined_before_);
    const uint64_t far =
        links & (joined_twice << 1 | joined_twice_before_) & (links << 2 | links_before_);
    joined_before_ = joined >> (word_bits - 1);
    joined_twice_before_ = joined_twice >> (word_bits - 1);
    links_before_ = links >> (word_bits - 2);
    return far;
  }

 private:
  uint64_t joined_before_ = 0; ///< what enters the next word
  uint64_t joined_twice_before_ = 0;
  uint64_t links_before_ = 0;
};

class RunFinder {
 public:
  RunFinder(const Pixel* image, const JoinThresholds& thresholds, const RunScratch& scratch,
            const RunMap& map, Arena arena)
      : rows_(image, thresholds, map, arena), sets_(map.root, map.sizes, scratch.edges), map_(map),
        words_(map.words()), links_(arena.take<uint16_t>(map.width + Columns::slack)),
        further_links_(arena.take<uint16_t>(map.width + Columns::slack)) {}

  uint64_t find(bool list_singles) {
    for (uint32_t y = 0; y <= map_.height; ++y) {
      rows_.advance_to(y);
      if (y == 0)
        continue;
      uint64_t* singles = map_.singles_of(y - 1);
      if (list_singles)
        rows_.take_singles(singles);
      else
        __builtin_memset(singles, 0, words_ * sizeof *singles);
      map_.row_runs[y - 1] = run_count_;
      list_runs(rows_.current);
      unite_rows(rows_.above, rows_.current);
      collect_edges(rows_.above, rows_.current);
    }
    map_.row_runs[map_.height] = run_count_;
    sets_.follow_edges(run_count_);
    measure();
    return one_way_pairs_;
  }

 private:
  void list_runs(Row& row) {
    Columns first(map_.first + run_count_);
    Columns last(map_.last + run_count_);
    uint64_t enters = 0;
    for (size_t word = 0; word < words_; ++word) {
      const uint64_t valid = row.valid[word];
      const uint64_t joined = row.joined[word];
      const uint64_t starts = valid & ~(joined << 1 | enters);
      enters = joined >> (word_bits - 1);
      row.starts[word] = starts;
      row.starts_below[word] = first.count();
      first.append(starts, word * word_bits);
      last.append(valid & ~joined, word * word_bits);
    }
    row.first_run = run_count_;
    run_count_ += first.count();
    sets_.add(row.first_run, run_count_);
  }

  /// Unites the runs of a row with those of the row above at their links, the bits where they join
  /// each other. A run's first link is found for all runs of a word at once:
  ///
  ///     starts   .1....1.   of runs in columns 1 to 4 and 6; column 0 is the lowest bit
  ///     links    ...11...   to a run above that ends in column 3, and one that begins in 4
  ///     stops    ...11.11   the links, each run's end and the word's
  ///     reached  .111..1.   each start borrows up to the next stop: 3 is a first link, 4 is none
  ///
  /// Most holes are single pixels. What goes on above and below such a hole belongs together, so
  /// that links on its far side say nothing new where the rows have been united beyond it.
  void unite_rows(const Row& above, const Row& row) {
    Columns first(links_);
    Columns further(further_links_);
    uint64_t repeated = 0; // these carry into the next word
    uint64_t unlinked = 0;
    Bridges below_hole;
    Bridges above_hole;
    for (size_t word = 0; word < words_; ++word) {
      const uint64_t joined = row.joined[word];
      const uint64_t up = row.up[word];
      // Where both rows go on, the next pair would only unite the same two runs again.
      const uint64_t repeats = up & above.joined[word] & joined;
      const uint64_t last_bit = uint64_t{1} << (word_bits - 1);
      row.continued[word] = row.starts[word] & above_hole.past(up, above.joined[word]);
      const uint64_t said = above.continued[word] & below_hole.past(up, joined);
      const uint64_t links = up & ~(repeats << 1 | repeated | said);
      repeated = repeats >> (word_bits - 1);
      const uint64_t stops = links | (row.valid[word] & ~joined) | last_bit;
      const uint64_t reached = stops ^ (stops - (row.starts[word] | unlinked));
      unlinked = (reached & ~links & joined) >> (word_bits - 1);
      const uint64_t first_links = links & reached;
      first.append(first_links, word * word_bits);
      further.append(links & ~first_links, word * word_bits);
    }
    for (const uint16_t x : first) // the run is a region of its own so far
      sets_.put(row.run_at(x), above.run_at(x));
    for (const uint16_t x : further)
      sets_.unite(above.run_at(x), row.run_at(x));
  }

  /// Collects the steps that are allowed one way only. Where both pixels of a pair join those of
  /// the next pair, above it or to the left, that pair's step has said the same.
  void collect_edges(const Row& above, const Row& row) {
    if (!row.has_one_way)
      return;
    OneWay<uint64_t> said{0, 0}; // whether the last pair of the word before says it of its next one
    for (size_t word = 0; word < words_; ++word) {
      const size_t x = word * word_bits;
      const uint64_t next_up = word + 1 < words_ ? row.up[word + 1] : 0;
      const uint64_t pairs_up = row.up[word] & (row.up[word] >> 1 | next_up << (word_bits - 1));
      const uint64_t pairs_joined = above.joined[word] & row.joined[word];
      const auto collect_across = [&](uint64_t pairs, uint64_t pairs_above, auto add) {
        one_way_pairs_ += static_cast<unsigned>(__builtin_popcountll(pairs));
        for_each_bit(pairs & ~(pairs_above & pairs_up),
                     [&](unsigned bit) { add(row.run_at(x + bit), row.run_at(x + bit + 1)); });
      };
      const auto collect_down = [&](uint64_t pairs, uint64_t& said_before, auto add) {
        one_way_pairs_ += static_cast<unsigned>(__builtin_popcountll(pairs));
        const uint64_t saying = pairs & pairs_joined;
        for_each_bit(pairs & ~(saying << 1 | said_before),
                     [&](unsigned bit) { add(above.run_at(x + bit), row.run_at(x + bit)); });
        said_before = saying >> (word_bits - 1);
      };
      const auto onward = [&](uint32_t a, uint32_t b) { sets_.add_edge(a, b); };
      const auto back = [&](uint32_t a, uint32_t b) { sets_.add_edge(b, a); };
      collect_across(row.across.onward[word], above.across.onward[word], onward);
      collect_across(row.across.back[word], above.across.back[word], back);
      collect_down(row.down.onward[word], said.onward, onward);
      collect_down(row.down.back[word], said.back, back);
    }
  }

  /// Settles every run, and counts the pixels of each region.
  void measure() {
    for (uint32_t run = 0; run < run_count_; ++run) {
      map_.sizes[run] = 0;
      map_.sizes[sets_.settle(run)] += uint32_t{map_.last[run]} - map_.first[run] + 1;
    }
  }

  Rows rows_;
  Sets sets_;
  RunMap map_;
  size_t words_;
  uint16_t* links_;
  uint16_t* further_links_;
  uint32_t run_count_ = 0;
  uint64_t one_way_pairs_ = 0;
};

/// RunFinder takes three rows, the bits of one and two lists of columns.
size_t count_row_bytes(uint32_t width) {
  Arena arena(nullptr);
  for (int i = 0; i < 3; ++i)
    arena.take_row(width);
  arena.take<uint64_t>(row_bit_words(width));
  for (int i = 0; i < 2; ++i)
    arena.take<uint16_t>(width + Columns::slack);
  return arena.used();
}

uint64_t find_regions(const Pixel* image, const JoinThresholds& thresholds, bool list_singles,
                      const RunScratch& scratch, const RunMap& map) {
  return RunFinder(image, thresholds, scratch, map, Arena(scratch.rows)).find(list_singles);
}

/// 64 pixels of which all are in the row.
[[gnu::always_inline]] inline void replace_word(Pixel* pixels, uint64_t bits, Pixel to) {
  using V = simd::Lanes<Pixel, 16>;
  constexpr V own_bit = {1, 2, 4, 8, 16, 32, 64, 128};
  for (uint32_t x = 0; x < word_bits; x += simd::lane_count<V>) {
    const V lanes = simd::broadcast<V>(static_cast<Pixel>(bits >> x & 0xff));
    const V depths = simd::load<V>(pixels + x);
    simd::store(pixels + x, (lanes & own_bit) != 0 ? simd::broadcast<V>(to) : depths);
  }
}

void replace_pixels(Pixel* row, uint32_t width, const uint64_t* bits, Pixel to) {
  constexpr int few = 12;
  for (size_t word = 0; word < row_bit_words(width); ++word) {
    Pixel* pixels = row + word * word_bits;
    if (__builtin_popcountll(bits[word]) > few && (word + 1) * word_bits <= width)
      replace_word(pixels, bits[word], to);
    else
      for_each_bit(bits[word], [&](unsigned bit) { pixels[bit] = to; });
  }
}

void keep_depths_up_to(const Pixel* row, uint32_t width, Pixel highest, uint64_t* bits) {
  using V = simd::Lanes<Pixel>;
  const uint32_t whole_words = width / word_bits;
  for (size_t word = 0; word < whole_words; ++word) {
    const Pixel* pixels = row + word * word_bits;
    uint64_t kept = 0;
    for (uint32_t x = 0; bits[word] != 0 && x < word_bits; x += simd::lane_count<V>)
      kept |= simd::lane_bits((V)(simd::load<V>(pixels + x) - 1 < highest)) << x; // 0: 65535
    bits[word] &= kept;
  }
  for (uint32_t x = whole_words * word_bits; x < width; ++x)
    if (row[x] == 0 || row[x] > highest)
      bits[whole_words] &= ~(uint64_t{1} << x % word_bits);
}

void bound_joins_of_row(const Pixel* row, uint32_t width, const uint64_t* bits, const uint64_t* up,
                        JoinBounds& bounds) {
  const size_t words = row_bit_words(width);
  for (size_t word = 0; word < words; ++word) {
    bounds.most_vertical += static_cast<unsigned>(__builtin_popcountll(bits[word] & up[word]));
    const uint64_t next = word + 1 < words ? bits[word + 1] : 0;
    const uint64_t pairs = bits[word] & (bits[word] >> 1 | next << (word_bits - 1));
    if (pairs == 0)
      continue;
    const Pixel* pixels = row + word * word_bits;
    uint64_t equal = 0;
    if ((word + 1) * word_bits < width)
      equal = word_of([&](unsigned bit) {
        return (PixelLanes)(simd::load<PixelLanes>(pixels + bit) ==
                            simd::load<PixelLanes>(pixels + bit + 1));
      });
    else
      for_each_bit(pairs,
                   [&](unsigned bit) { equal |= uint64_t{pixels[bit] == pixels[bit + 1]} << bit; });
    bounds.most_equal += static_cast<unsigned>(__builtin_popcountll(pairs & equal));
    bounds.most_unequal += static_cast<unsigned>(__builtin_popcountll(pairs & ~equal));
  }
}

/// How many of a row's bits from `first` to `last` are set.
[[gnu::always_inline]] inline uint32_t count_bits(const uint64_t* bits, uint32_t first,
                                                  uint32_t last) {
  constexpr uint64_t all = ~uint64_t{0};
  uint32_t count = 0;
  for (uint32_t word = first / word_bits; word <= last / word_bits; ++word) {
    uint64_t counted = bits[word];
    if (word == first / word_bits)
      counted &= all << first % word_bits;
    if (word == last / word_bits)
      counted &= all >> (word_bits - 1 - last % word_bits);
    count += static_cast<uint32_t>(__builtin_popcountll(counted));
  }
  return count;
}

JoinBounds bound_joins_of_runs(const Pixel* image, const RunMap& map, const RegionRun* runs,
                               size_t count) {
  JoinBounds bounds;
  uint32_t y_before = 0;
  uint32_t end_before = map.width; // of the run before
  for (size_t i = 0; i < count; ++i) {
    const auto [y, first, last] = runs[i];
    const Pixel* row = image + size_t{y} * map.width;
    uint32_t unequal = 0;
    for (uint32_t x = first; x < last; ++x)
      unequal += static_cast<uint32_t>(row[x] != row[x + 1]);
    bounds.most_equal += uint32_t{last} - first - unequal;
    // Runs that touch can join one way.
    bounds.most_unequal += unequal + static_cast<uint32_t>(y == y_before && first == end_before);
    bounds.most_vertical += count_bits(map.up_of(y), first, last);
    y_before = y;
    end_before = last + 1U;
  }
  return bounds;
}

} // namespace

template <>
const RegionKernels& RegionKernels::at<simd::this_level>() {
  static constexpr RegionKernels table{find_regions,      count_row_bytes,    replace_pixels,
                                       keep_depths_up_to, bound_joins_of_row, bound_joins_of_runs};
  return table;
}

} // namespace filter_processor
