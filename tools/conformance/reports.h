// All checks of a plug-in, and what they found of each filter.
#pragma once

#include "conformance/our_filters.h"
#include "conformance/run.h"

namespace conformance {

/// A known difference of a filter and how often it showed. One that did not show at all is told
/// too: somebody may have "corrected" what hosts rely on.
struct DifferenceReport {
  const KnownDifference* difference;
  std::string example; // the first sentence
  size_t count = 0;
};

struct FilterReport {
  std::string name; // empty: the plug-in as a whole
  std::vector<Finding> findings;
  std::vector<DifferenceReport> differences;

  size_t count(Outcome outcome) const;
  size_t differences_shown() const;
  size_t differences_gone() const { return differences.size() - differences_shown(); }
};

struct Totals {
  size_t filters = 0;
  size_t checks = 0;
  size_t failed = 0;
  size_t known = 0;
  size_t gone = 0;
  size_t skipped = 0;

  explicit Totals(const std::vector<FilterReport>& reports);
};

/// Checks the plug-in as a whole, or one of its filters; the time limit is for each single item.
FilterReport check_plugin(const Subject& subject, std::chrono::seconds time_limit);
FilterReport check_filter(const Subject& subject, std::chrono::seconds time_limit);

} // namespace conformance
