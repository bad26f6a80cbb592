#pragma once

#include <algorithm>

#include "filters/noise/false_positive/runs.h"

namespace filter_processor {

/// Sets the bits of row `y` of the pixels in regions of which `is_wanted(root)` holds, and clears
/// the others. Returns whether any is set.
///
/// Whether a run is wanted is hard to foresee in noise, so that no branch depends on it: the bits
/// where wanted runs begin and are over are flipped, and then each bit takes in all lower ones by
/// way of doubled distances.
///
///     runs     .AAAB.C.   all three wanted; column 0 is the lowest bit
///     ends     .1...111   in column 4 A is over and B begins: flipped twice
///     1, 2     .11..1..   .11111.1
///     4        .1111.1.
template <typename IsWanted>
bool set_row_bits(const RunMap& map, uint32_t y, IsWanted is_wanted, uint64_t* bits) {
  const size_t words = map.words();
  std::fill_n(bits, words, uint64_t{0});
  const auto wanted_bit = [&](uint32_t run) -> uint64_t {
    return is_wanted(map.root[run]) ? 1 : 0;
  };
  uint64_t any_wanted = 0;
  for (uint32_t run = map.row_runs[y]; run < map.row_runs[y + 1]; ++run)
    any_wanted |= wanted_bit(run);
  if (any_wanted == 0)
    return false;
  for (uint32_t run = map.row_runs[y]; run < map.row_runs[y + 1]; ++run) {
    const uint64_t wanted = wanted_bit(run);
    const uint32_t first = map.first[run];
    const uint32_t end = map.last[run] + 1U;
    bits[first / row_bits_per_word] ^= wanted << first % row_bits_per_word;
    bits[end / row_bits_per_word] ^= wanted << end % row_bits_per_word;
  }
  uint64_t enters = 0; // all ones where a wanted run goes on
  for (size_t word = 0; word < words; ++word) {
    uint64_t inside = bits[word];
    for (unsigned distance = 1; distance < row_bits_per_word; distance *= 2)
      inside ^= inside << distance;
    inside ^= enters;
    enters = uint64_t{0} - (inside >> (row_bits_per_word - 1));
    bits[word] = inside;
  }
  return true;
}

} // namespace filter_processor
