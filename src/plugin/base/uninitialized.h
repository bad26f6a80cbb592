#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace filter_processor {

/// An array that starts with whatever the memory holds: pages that nobody writes are never touched.
/// What std::make_unique_for_overwrite does, where the library has it. Throws std::bad_alloc, also
/// for more elements than this platform counts.
template <typename T>
std::unique_ptr<T[]> make_uninitialized(uint64_t count) {
  if (count > PTRDIFF_MAX / sizeof(T))
    throw std::bad_array_new_length();
  return std::unique_ptr<T[]>(new T[static_cast<size_t>(count)]);
}

} // namespace filter_processor
