#pragma once

// Faults of the host and of memory, to be ordered for one call.

#include <string>

#include "gexton_host.h"
#include "support/allocation_faults.h"
#include "support/filter_facts.h"

namespace test {

enum class Fault { host_call, unheard_host_call, allocation, all_allocations };

inline bool is_of_host(Fault fault) {
  return fault == Fault::host_call || fault == Fault::unheard_host_call;
}

inline void arm(Fault fault, uint64_t n) {
  gexton_clear_faults();
  if (is_of_host(fault))
    gexton_fail_nth_call(n);
  else if (fault == Fault::allocation)
    fail_nth_allocation(n);
  else
    fail_allocations_from(n);
}

/// Switches the fault off and tells whether it has struck.
inline bool disarm(Fault fault) {
  const bool struck =
      is_of_host(fault) ? gexton_get_fault_count() > 0 : !allocation_fault_pending();
  fail_nth_allocation(0);
  gexton_clear_faults();
  return struck;
}

/// Whether a failed allocation may end in this error, in this filter.
inline bool reports_no_memory(const std::string& error, Fault fault, const FilterFacts& filter) {
  // Where there is no memory for the error either, the host has one ready, or none at all.
  if (fault == Fault::all_allocations)
    return error == "out of memory |  |  | 0" || error.empty();
  const bool by_host = error.starts_with("out of memory | gx_") && error.ends_with(" |  | 0");
  return by_host || error == "std::bad_alloc | gx_priv_filter_process | frame | 0" ||
         (!error.empty() && error == filter.no_memory);
}

} // namespace test
