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
      : grid_(grid), sets_(workspace.regions), row_runs_(workspace.regions.row_runs),
        runs_(workspace.regions.runs), facts_(workspace.regions.facts), limits_(workspace.limits),
        removed_ends_(workspace.removed_ends) {}

  /// `remove_single` says that a pixel without neighbours in its region is a speckle everywhere:
  /// such pixels, most of dense noise, become invalid at once and are no regions. False: the frame
  /// is too ragged to go on, and must be grown.
  bool find_regions(Rows& rows, bool remove_single) {
    for (uint32_t y = 0; y <= grid_.rows; ++y) {
      rows.advance_to(y);
      rows.join();
      if (y == 0)
        continue;
      if (remove_single)
        rows.remove_single_pixels(y - 1);
      row_runs_[y - 1] = run_count_;
      list_runs(rows.current);
      collect_row_edges(rows.current);
      unite_rows(rows.above, rows.current);
      if (sets_.edge_count() > edge_budget(y))
        return false;
    }
    row_runs_[grid_.rows] = run_count_;
    if (sets_.edge_count() > 0)
      sets_.follow_edges(run_count_);
    return true;
  }

  void remove_speckles(const Limit& limit, const Repair& repair) {
    measure_regions(limit);
    for (uint32_t y = 0; y < grid_.rows; ++y)
      repair.remove(y, [&](auto visit) { for_removed(y, visit); });
  }

 private:
  /// The most edges in the first `rows` rows with which following them, at about 10 ns each, takes
  /// less time than growth. Some more are granted, lest one ragged spot decide.
  uint32_t edge_budget(uint32_t rows) const {
    return static_cast<uint32_t>(grid_.samples() / 32 + size_t{rows} * grid_.columns / 4);
  }

  void list_runs(Row& row) {
    Run* runs = runs_ + run_count_;
    uint32_t started = 0;
    uint32_t ended = 0;
    uint64_t enters = 0;
    for (size_t word = 0; word < grid_.words(); ++word) {
      const size_t x = word * word_bits;
      const uint64_t valid = row.valid[word];
      const uint64_t joined = row.joined[word];
      const uint64_t starts = valid & ~(joined << 1 | enters);
      enters = joined >> (word_bits - 1);
      row.starts[word] = starts;
      row.starts_below[word] = started;
      for_each_bit(starts, [&](unsigned bit) {
        runs[started].first = static_cast<uint16_t>(x + bit);
        sets_.add(run_count_ + started);
        ++started;
      });
      for_each_bit(valid & ~joined, [&](unsigned bit) {
        runs[ended].last = static_cast<uint16_t>(x + bit);
        ++ended;
      });
    }
    row.first_run = run_count_;
    run_count_ += started;
  }

  void collect_row_edges(const Row& row) {
    for (size_t word = 0; word < grid_.words(); ++word) {
      for_each_bit(row.one_way[word], [&](unsigned bit) {
        const size_t x = word * word_bits + bit;
        const uint32_t run = row.run_at(word, bit);
        sets_.add_edge(run, row.threshold[x], run + 1, row.threshold[x + 1]);
      });
    }
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
      for_each_bit(first_links, [&](unsigned bit) { // the run is a region of its own so far
        sets_.put(row.run_at(word, bit), above.run_at(word, bit));
      });
      for_each_bit(links & ~first_links, [&](unsigned bit) {
        sets_.unite(above.run_at(word, bit), row.run_at(word, bit));
      });
      for_each_bit(row.up_one_way[word], [&](unsigned bit) {
        const size_t x = word * word_bits + bit;
        sets_.add_edge(above.run_at(word, bit), above.threshold[x], row.run_at(word, bit),
                       row.threshold[x]);
      });
    }
  }

  /// Settles every run, and finds out by how much each region is larger than the limit where it
  /// begins.
  void measure_regions(const Limit& limit) {
    for (uint32_t y = 0; y < grid_.rows; ++y) {
      limit.look_up(grid_, y, limits_);
      for (uint32_t i = row_runs_[y]; i < row_runs_[y + 1]; ++i) {
        const uint32_t root = sets_.settle(i);
        facts_[i].excess = -limits_[runs_[i].first];
        facts_[root].excess += static_cast<int32_t>(runs_[i].length());
      }
    }
  }

  /// Calls `visit` for the columns in which row `y` loses its samples. Whether a run is removed is
  /// hard to foresee in noise, so that no branch depends on it: the bits where removed runs begin
  /// and are over are flipped, and then each bit takes in all lower ones by way of doubled
  /// distances.
  ///
  ///     runs     .AAAB.C.   all three removed; column 0 is the lowest bit
  ///     ends     .1...111   in column 4 A is over and B begins: flipped twice
  ///     1, 2     .11..1..   .11111.1
  ///     4        .1111.1.
  template <typename Visit>
  [[gnu::always_inline]] void for_removed(uint32_t y, Visit visit) {
    for (size_t word = 0; word < grid_.words(); ++word)
      removed_ends_[word] = 0;
    uint64_t any_removed = 0;
    for (uint32_t i = row_runs_[y]; i < row_runs_[y + 1]; ++i) {
      const uint64_t removed = facts_[sets_.settled_root(i)].excess <= 0 ? 1 : 0;
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

  Grid grid_;
  Sets sets_;
  uint32_t* row_runs_;
  Run* runs_;
  RootFact* facts_;
  int32_t* limits_;
  uint64_t* removed_ends_;
  uint32_t run_count_ = 0;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
