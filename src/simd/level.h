#pragma once

#include <span>

// The instruction levels that kernels are compiled for, and the choice among them.
//
// Every kernel family is a struct of function pointers with one table for each level; a filter
// asks for the table with `simd::kernels<Family>()`. All levels give bit-identical results.
namespace filter_processor::simd {

/// In ascending order of capability. `baseline` is what every processor of the family has: SSE2 on
/// x86-64, NEON on 64-bit ARM. `avx512` means the BW, VL and DQ extensions.
enum class Level { baseline, avx2, avx512 };

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
/// for each level that it is compiled for.
template <typename Kernels>
const Kernels& kernels(Level level = active_level()) {
#if defined(FILTER_PROCESSOR_X86_LEVELS)
  if (level == Level::avx512)
    return Kernels::template at<Level::avx512>();
  if (level == Level::avx2)
    return Kernels::template at<Level::avx2>();
#else
  (void)level;
#endif
  return Kernels::template at<Level::baseline>();
}

} // namespace filter_processor::simd
