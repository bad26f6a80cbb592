#pragma once

#include <cstddef>
#include <cstdint>

namespace test {

/// Not where Clang's thread sanitizer brings allocation operators that can't be replaced.
bool can_fail_allocations();

// For the first line of a test that needs allocations to fail.
#define REQUIRE_ALLOCATION_FAULTS()                                                                \
  if (!test::can_fail_allocations())                                                               \
  GTEST_SKIP() << "no allocation can be made to fail"

// Makes the n-th allocation of this thread from now on throw std::bad_alloc, once; 0 switches off.
// Those of fewer bytes than `least` are not counted and succeed.
void fail_nth_allocation(uint64_t n, size_t least = 0);

/// The same, but that all allocations from the n-th on throw until this is switched off with 0.
void fail_allocations_from(uint64_t n);

/// Whether a fault that was set is still to come.
bool allocation_fault_pending();

/// Lets allocations of this thread above 1 GiB succeed whatever the machine has, with a byte of
/// memory: for code that only finds out whether there would be so much.
void grant_vast_allocations(bool granted);

} // namespace test
