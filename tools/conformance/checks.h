// The checks that `gxfilter validate` runs: on the plug-in as a whole and on each of its filters.
#pragma once

#include <memory>
#include <vector>

#include "conformance/findings.h"
#include "hosting/plugin.h"

namespace conformance {

/// What is being checked.
struct Subject {
  std::shared_ptr<const hosting::Plugin> plugin;
  uint64_t index = 0; ///< of the filter, below
  std::string filter; ///< empty: the plug-in as a whole

  const hosting::Plugin::Functions& functions() const { return plugin->functions(); }

  /// A new instance. Throws Unable.
  hosting::Filter make_filter() const;
};

struct Check {
  const char* name;
  void (*run)(const Subject& subject, Findings& findings);
};

using Checks = std::vector<Check>;

enum class Scope { plugin, filter };

/// All that the plug-in as a whole has to pass, or each of its filters.
Checks checks_of(Scope scope);

/// Of the plug-in as a whole: its list of filters, and requests that it must refuse.
Checks registry_checks();
/// Of each filter: the context record, the schema text and null handles.
Checks contract_checks();
/// Parameters: defaults, bounds, wrong counts, configuration records.
Checks parameter_checks();
/// Frames: new frames and sets, refusals, short and small frames, reset.
Checks frame_checks();
/// Host calls that fail, a missing error slot, and what destruction gives back.
Checks failure_checks();

/// After the check, the host's live handles must be what they were before.
void run_check(const Subject& subject, const Check& check, Findings& findings);

} // namespace conformance
