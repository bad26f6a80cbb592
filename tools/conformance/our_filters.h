// Where filters depart from their schema or from the common rules on purpose: hosts rely on it, so
// a validation reports it without counting it as a failure.
#pragma once

#include <span>
#include <string>

namespace conformance {

struct KnownDifference {
  const char* filter;
  const char* check;
  const char* doing; // wildcards
  const char* came;  // wildcards
  const char* why;
};

std::span<const KnownDifference> known_differences();

/// The index in the table of what explains this outcome, or -1.
int find_known_difference(const std::string& filter, const std::string& check,
                          const std::string& doing, const std::string& came);

} // namespace conformance
