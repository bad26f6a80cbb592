// Runs checks apart from the program, so that a plug-in that crashes or hangs does not take the
// report along.
#pragma once

#include <chrono>

#include "conformance/checks.h"

namespace conformance {

struct Listing {
  std::string commit;
  std::vector<std::string> filters;
  std::string problem; ///< why there is no list, if there is none
};
Listing list_filters(const hosting::Plugin& plugin, std::chrono::seconds time_limit);

/// All findings of these checks. Checks after one that crashed are still run, checks after one that
/// hung are skipped. `time_limit` is for each single item.
std::vector<Finding> run_apart(const Subject& subject, Scope scope,
                               std::chrono::seconds time_limit);

/// What `gxfilter validate --child` does.
void serve_parent();

} // namespace conformance
