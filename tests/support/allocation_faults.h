#pragma once

#include <cstdint>

namespace test {

/// Makes the n-th allocation of this thread from now on throw std::bad_alloc, once; 0 switches off.
void fail_nth_allocation(std::uint64_t n);

/// The same, but that all allocations from the n-th on throw until this is switched off with 0.
void fail_allocations_from(std::uint64_t n);

/// Whether a fault that was set is still to come.
bool allocation_fault_pending();

} // namespace test
