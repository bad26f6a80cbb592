#pragma once

#include "filters/noise/speckle/repair-inl.h"
#include "filters/noise/speckle/rows-inl.h"
#include "filters/noise/speckle/sets-inl.h"

// Regions as sets of runs.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

class Runs {
 public:
  Runs(const Grid& grid, const Workspace& workspace)
      : grid_(grid), arrays_(workspace.regions),
        sets_(workspace.regions, RegionArrays::edge_room(grid)), removed_(workspace.removed),
        limits_(workspace.limits) {}

  /// Regions of at most `smallest` samples are speckles wherever they begin; above 0, such may
  /// become invalid at once, as pixels without neighbours do, most of dense noise. False: so many
  /// steps are allowed one way only that what is left must be grown.
  bool find_regions(Rows& rows, uint32_t smallest) {
    for (uint32_t y = 0; y <= grid_.rows; ++y) {
      rows.advance_to(y);
      rows.join(ways_);
      if (y == 0)
        continue;
      if (smallest > 0)
        rows.remove_single_pixels(y - 1);
      list_runs(rows.current, y - 1);
      unite_rows(rows.above, rows.current);
      collect_edges(rows.above, rows.current, rows.below);
      if (ways_ == Ways::either)
        sets_.unite_edges(); // of the first such row
      else if (sets_.edge_count() > RegionArrays::most_edges(grid_, y) &&
               !goes_on_either_way(y, smallest))
        return false;
    }
    arrays_.row_runs[grid_.rows] = sets_.run_count();
    sets_.sum_up();
    if (ways_ == Ways::either)
      return remove_small_sets(rows, smallest);
    sets_.follow_edges();
    return true;
  }

  void remove_speckles(const Limit& limit, const Repair& repair) {
    const int32_t largest = subtract_limits(limit);
    sets_.publish_sizes();
    for (uint32_t y = 0; y < grid_.rows; ++y) {
      const bool any = find_removed(y, largest);
      repair.remove(y, removed_, any);
    }
  }

 private:
  /// Where there are too many edges to follow: from row `y` on, steps in either direction join. No
  /// region is larger than the set that this makes, which mostly is a speckle then, whichever
  /// way its regions part it. False where many are not in the first rows already.
  bool goes_on_either_way(uint32_t y, uint32_t smallest) {
    ways_ = Ways::either;
    sets_.unite_edges();
    sets_.sum_up();
    return smallest > 0 &&
           sets_.samples_beyond(static_cast<int32_t>(smallest)) <= size_t{y} * grid_.columns / 4;
  }

  /// Leaves the larger ones of these sets to growth. True where there are none.
  bool remove_small_sets(const Rows& rows, uint32_t smallest) {
    const auto largest = static_cast<int32_t>(smallest);
    if (sets_.samples_beyond(largest) == 0)
      return true;
    sets_.publish_sizes();
    for (uint32_t y = 0; y < grid_.rows; ++y)
      if (find_removed(y, largest))
        rows.remove(y, removed_);
    return false;
  }

  void list_runs(Row& row, uint32_t y) {
    const size_t first_word = y * grid_.words();
    uint64_t* const ends = arrays_.ends + first_word;
    row.starts = arrays_.starts + first_word;
    row.first_run = sets_.run_count();
    arrays_.row_runs[y] = row.first_run;
    uint32_t started = 0;
    uint64_t enters = 0;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const uint64_t valid = row.valid[word];
      const uint64_t joined = row.joined[word];
      const uint64_t starts = valid & ~(joined << 1 | enters);
      enters = joined >> (word_bits - 1);
      row.starts[word] = starts;
      row.starts_below[word] = started;
      ends[word] = valid & ~joined;
      started += measure_runs(starts, joined, arrays_.sizes + row.first_run + started);
    }
    sets_.add(started);
  }

  /// How many runs start in a word. Each sample that is joined to the next one adds one to its run,
  /// which may have entered from the word before; sizes that follow are overwritten.
  [[gnu::always_inline]] static uint32_t measure_runs(uint64_t starts, uint64_t joined,
                                                      int32_t* sizes) {
    const auto count = static_cast<uint32_t>(__builtin_popcountll(starts));
    constexpr uint32_t group = RegionArrays::group; // few loops end where that can't be foreseen
    const uint64_t entering = joined & ((starts & -starts) - 1);
    if (entering != 0)
      sizes[-1] += __builtin_popcountll(entering);
    uint64_t lower = joined & ~entering;
    for (uint32_t i = 0; i < count; i += group) {
      for (uint32_t k = 0; k < group; ++k) {
        starts &= starts - 1;
        const uint64_t own = lower & ((starts & -starts) - 1); // all where no other run starts
        sizes[i + k] = 1 + __builtin_popcountll(own);
        lower ^= own;
      }
    }
    return count;
  }

  /// The steps that are allowed one way only, along the row and from the row above, but for those
  /// between pixels that are joined by way of two others, and those beside another between the same
  /// runs.
  void collect_edges(const Row& above, const Row& row, const Row& below) {
    uint64_t left_joins = 0; // carry into the next word
    uint64_t left_down = 0;
    uint64_t left_up = 0;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const auto next = [&](const uint64_t* bits) {
        const uint64_t entering = word + 1 < grid_.words() ? bits[word + 1] : 0;
        return bits[word] >> 1 | entering << (word_bits - 1);
      };
      const uint64_t both_join = above.joined[word] & row.joined[word];
      const uint64_t down = row.from_above[word];
      const uint64_t up = row.to_above[word];
      if ((row.forward[word] | row.backward[word]) != 0) {
        const uint64_t both_up = row.up[word] & next(row.up);
        const uint64_t square =
            (both_up & above.joined[word]) | (below.up[word] & next(below.up) & below.joined[word]);
        const auto first = [&](const uint64_t* steps, const uint64_t* steps_above) {
          return steps[word] & ~square & ~(both_up & steps_above[word]);
        };
        add_edges(row, word, first(row.forward, above.forward), 0, 1);
        add_edges(row, word, first(row.backward, above.backward), 1, 0);
      }
      if ((down | up) != 0) {
        const uint64_t left = both_join << 1 | left_joins;
        const uint64_t joined_up = row.up[word];
        const uint64_t square =
            (both_join & next(row.up)) | (left & (joined_up << 1 | last_up(row, word)));
        add_row_edges(above, row, word, down & ~square & ~(left & (down << 1 | left_down)), true);
        add_row_edges(above, row, word, up & ~square & ~(left & (up << 1 | left_up)), false);
      }
      left_joins = both_join >> (word_bits - 1);
      left_down = down >> (word_bits - 1);
      left_up = up >> (word_bits - 1);
    }
  }

  static uint64_t last_up(const Row& row, size_t word) {
    return word > 0 ? row.up[word - 1] >> (word_bits - 1) : 0;
  }

  /// Steps from the runs of the bits, or to them, to the next ones.
  void add_edges(const Row& row, size_t word, uint64_t steps, uint32_t from, uint32_t to) {
    const RunsOfWord runs(row, word);
    for_each_bit(steps, [&](unsigned bit) {
      const uint32_t run = runs.at(bit);
      sets_.add_edge(run + from, run + to);
    });
  }

  void add_row_edges(const Row& above, const Row& row, size_t word, uint64_t steps, bool down) {
    const RunsOfWord runs(row, word);
    const RunsOfWord runs_above(above, word);
    for_each_bit(steps, [&](unsigned bit) {
      const uint32_t run = runs.at(bit);
      const uint32_t run_above = runs_above.at(bit);
      sets_.add_edge(down ? run_above : run, down ? run : run_above);
    });
  }

  /// Unites the runs of a row with those of the row above at their links, the bits where they may
  /// expand to each other. A run's first link is found for all runs of a word at once:
  ///
  ///     starts   .1....1.   of runs in columns 1 to 4 and 6; column 0 is the lowest bit
  ///     links    ...11...   to a run above that ends in column 3, and one that begins in 4
  ///     stops    ...11.11   the links, each run's end and the word's
  ///     reached  .111..1.   each start borrows up to the next stop: 3 is a first link, 4 is none
  void unite_rows(const Row& above, const Row& row) {
    uint64_t repeated = 0; // carries into the next word
    uint64_t unlinked = 0;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const uint64_t joined = row.joined[word];
      // Where both rows go on, the next pair would only unite the same two runs again.
      const uint64_t repeats = row.up[word] & above.joined[word] & joined;
      const uint64_t links = row.up[word] & ~(repeats << 1 | repeated);
      repeated = repeats >> (word_bits - 1);
      const uint64_t last_bit = uint64_t{1} << (word_bits - 1);
      const uint64_t stops = links | (row.valid[word] & ~joined) | last_bit;
      const uint64_t reached = stops ^ (stops - (row.starts[word] | unlinked));
      unlinked = (reached & ~links & joined) >> (word_bits - 1);
      const uint64_t first_links = links & reached;
      if (links == 0)
        continue;
      const RunsOfWord runs(row, word);
      const RunsOfWord runs_above(above, word);
      for_each_bit(first_links, [&](unsigned bit) { // the run is a region of its own so far
        sets_.put(runs.at(bit), runs_above.at(bit));
      });
      for_each_bit(links & ~first_links,
                   [&](unsigned bit) { sets_.unite(runs_above.at(bit), runs.at(bit)); });
    }
  }

  /// Where limits differ, subtracts from each region's size the limit of where it begins. Returns
  /// the largest size that is removed then.
  int32_t subtract_limits(const Limit& limit) {
    if (limit.table == nullptr)
      return static_cast<int32_t>(limit.single);
    uint32_t run = 0;
    for (uint32_t y = 0; y < grid_.rows; ++y) {
      limit.look_up(grid_, y, limits_);
      const uint64_t* const starts = arrays_.starts + y * grid_.words();
      for (size_t word = 0; word < grid_.words(); ++word)
        for_each_bit(starts[word], [&](unsigned bit) {
          arrays_.sizes[run++] -= limits_[word * word_bits + bit]; // of no account but for roots
        });
    }
    return 0;
  }

  /// Fills the bits of the samples that row `y` loses; false where there are none. Whether a run is
  /// removed is hard to foresee in noise, so that no branch depends on it: the answers, in the
  /// order of the runs, are dealt out to the bits where these start and end, and the samples from
  /// start to end are what the one leaves when it is subtracted from the other.
  ///
  ///     runs     .AAAB.CC   A and C removed; column 0 is the lowest bit
  ///     starts   .1....1.
  ///     ends     ...1...1   taken twice, as the bit after it: ....1... and one beyond the word
  ///     removed  .111..11
  bool find_removed(uint32_t y, int32_t largest) {
    const uint64_t* const starts = arrays_.starts + y * grid_.words();
    const uint64_t* const ends = arrays_.ends + y * grid_.words();
    uint32_t run = arrays_.row_runs[y];
    uint64_t any = 0;
    uint64_t enters = 0;  // whether a run goes on from the word before
    uint64_t entered = 0; // and whether that is removed
    for (size_t word = 0; word < grid_.words(); ++word) {
      const auto count = static_cast<uint32_t>(__builtin_popcountll(starts[word]));
      const uint64_t answers = are_removed(run, count, largest);
      run += count;
      const uint64_t removed_starts = simd::deposit_bits(answers, starts[word]) | entered;
      const uint64_t ending = enters != 0 ? answers << 1 | entered : answers;
      const uint64_t removed = (simd::deposit_bits(ending, ends[word]) << 1) - removed_starts;
      removed_[word] = removed;
      any |= removed;
      // More starts than ends, with what has entered: one goes on.
      enters += count - static_cast<uint64_t>(__builtin_popcountll(ends[word]));
      entered = enters & removed >> (word_bits - 1);
    }
    return any != 0;
  }

  /// Bits of the `count` runs from `run` on, at most as many as a word has.
  [[gnu::always_inline]] uint64_t are_removed(uint32_t run, uint32_t count, int32_t largest) {
    constexpr uint32_t group = RegionArrays::group;
    uint64_t answers = 0;
    for (uint32_t i = 0; i < count; i += group)
      for (uint32_t k = 0; k < group; ++k)
        answers |= uint64_t{sets_.size_of(run + i + k) <= largest} << (i + k);
    return count == 0 ? 0 : answers & ~uint64_t{0} >> (word_bits - count);
  }

  Grid grid_;
  RegionArrays arrays_;
  Sets sets_;
  uint64_t* removed_;
  int32_t* limits_;
  Ways ways_ = Ways::both;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
