#pragma once

#include <cstdint>
#include <random>

namespace test {

/// The standard engine with results that are 32 bits wide on every platform.
using Random = std::independent_bits_engine<std::mt19937, 32, uint32_t>;

/// One of these values.
template <typename T, size_t Count>
const T& one_of(Random& random, const T (&values)[Count]) {
  return values[random() % Count];
}

} // namespace test
