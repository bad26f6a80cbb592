// What shells offer when a user presses the tabulator key.
#pragma once

#include <string>

#include "gxfilter/manual/described_option.h"

namespace manual {

/// A script each, which asks gxfilter itself for the names of filters and presets.
std::string bash_completion(const CLI::App& app);
std::string zsh_completion(const CLI::App& app);

} // namespace manual
