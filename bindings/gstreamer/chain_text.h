// Chains of filters as one writes them in a line.
#pragma once

#include "gxfilter/filter_chain.h"

namespace depth_elements {

/// "NAME:key=value,key=value NAME ...": filters as gxfilter's --filter takes them, with blanks, "!"
/// or ">" between, a record's name with blanks in quotes; or what a chain's file holds, as JSON.
/// Empty for no filter at all.
recordings::Result<std::vector<gxfilter::FilterRequest>> parse_chain(const std::string& text);

} // namespace depth_elements
