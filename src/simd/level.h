#pragma once

#include <iterator>
#include <span>

#include "simd/level_list.h"

// The instruction levels that kernels are compiled for, and the choice among them.
//
// Every kernel family is a struct of function pointers with one table for each level; a filter
// asks for the table with `simd::kernels<Family>()`. All levels give bit-identical results.
namespace filter_processor::simd {

/// The levels that this library was compiled for and this processor has, in ascending order; never
/// empty. [thread-safe]
std::span<const Level> supported_levels();

const char* level_name(Level level);

/// The level whose kernels run: the best supported one from load on, or what use_level chose.
/// [thread-safe]
Level active_level();

/// Makes all filters of the process use one of the supported levels; for tests and benchmarks.
/// [thread-safe]
void use_level(Level level);

/// The kernels of one family. `Kernels::at<level>()` is defined by the family's kernel source, once
/// for each level that it is compiled for. `highest` is the number of the highest level to look at.
template <typename Kernels, size_t highest = std::size(all_levels) - 1>
const Kernels& kernels(Level level = active_level()) {
  if constexpr (highest > 0)
    if (level != all_levels[highest])
      return kernels<Kernels, highest - 1>(level);
  return Kernels::template at<all_levels[highest]>();
}

} // namespace filter_processor::simd
