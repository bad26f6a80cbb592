#include "support/allocation_faults.h"

#include <cstddef>
#include <cstdlib>
#include <new>

#if defined(_WIN32)
#include <malloc.h>
#endif

namespace {

thread_local uint64_t countdown = 0;
thread_local bool lasting = false; // whether memory stays short once it has run out
thread_local bool exhausted = false;
thread_local size_t least_counted = 0;

thread_local bool vast_granted = false;

bool due(size_t size) {
  if (size < least_counted)
    return false;
  if (countdown > 0 && --countdown == 0) {
    exhausted = lasting;
    return true;
  }
  return exhausted;
}

/// Memory at a multiple of any power of 2; Windows frees it in a way of its own.
void* allocate_aligned(size_t size, size_t alignment) {
#if defined(_WIN32)
  return _aligned_malloc(size, alignment);
#else
  return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
#endif
}
[[maybe_unused]] void free_aligned(void* memory) {
#if defined(_WIN32)
  _aligned_free(memory);
#else
  std::free(memory);
#endif
}

[[maybe_unused]] void* allocate(size_t size, size_t alignment = 0) {
  if (due(size))
    throw std::bad_alloc();
  constexpr size_t vast = size_t{1} << 30;
  if (vast_granted && size > vast)
    size = 1;
  void* memory = alignment == 0 ? std::malloc(size > 0 ? size : 1)
                                : allocate_aligned(size > 0 ? size : 1, alignment);
  if (memory == nullptr)
    throw std::bad_alloc();
  return memory;
}

} // namespace

namespace test {

bool can_fail_allocations() {
#if defined(KEEP_ALLOCATION_OPERATORS)
  return false;
#else
  return true;
#endif
}

void fail_nth_allocation(uint64_t n, size_t least) {
  countdown = n;
  least_counted = least;
  lasting = exhausted = false;
}
void fail_allocations_from(uint64_t n) {
  fail_nth_allocation(n);
  lasting = n > 0;
}
bool allocation_fault_pending() {
  return countdown > 0;
}
void grant_vast_allocations(bool granted) {
  vast_granted = granted;
}

} // namespace test

#if !defined(KEEP_ALLOCATION_OPERATORS)

void* operator new(size_t size) {
  return allocate(size);
}
void* operator new(size_t size, std::align_val_t alignment) {
  return allocate(size, static_cast<size_t>(alignment));
}
/// The default one would do, but checkers bring one that does not come here.
void* operator new[](size_t size) {
  return allocate(size);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  free_aligned(memory);
}
void operator delete(void* memory, size_t, std::align_val_t) noexcept {
  free_aligned(memory);
}

#endif
