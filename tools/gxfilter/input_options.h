// Options of commands that read recordings.
#pragma once

#include <string>
#include <vector>

#include "gxfilter/input.h"

namespace CLI {
class App;
}

namespace gxfilter {

void add_input_options(CLI::App& command, InputOptions& options);

/// The facts in force and who said each, in a line for each origin.
std::string format_facts(const std::vector<recordings::FactInForce>& facts);

} // namespace gxfilter
