// The instruction levels of the plug-in that comes with this program: by the same source as the
// plug-in chooses one.
#pragma once

#include <string>
#include <vector>

namespace gxfilter {

/// The name of the best level that this processor has.
std::string chosen_level();

/// The names of all levels that are compiled in, lowest first.
std::vector<std::string> all_levels();

} // namespace gxfilter
