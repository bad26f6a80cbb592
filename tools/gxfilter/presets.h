// The presets that come with the program: chains with a sentence each, one file for each.
#pragma once

#include "gxfilter/filter_chain.h"

namespace gxfilter {

/// Where the presets of this executable can be, in a build tree as in an installed tree.
std::vector<std::filesystem::path> preset_directories();

/// The presets of the first of these directories that is there, in the order of their names. An
/// error (of kind `system`) says where they were looked for.
recordings::Result<std::map<std::string, Preset>>
read_presets(const std::vector<std::filesystem::path>& directories);

/// The preset of that name; a name that is not there is a usage error that lists the names.
recordings::Result<Preset> find_preset(const std::map<std::string, Preset>& presets,
                                       const std::string& name);

} // namespace gxfilter
