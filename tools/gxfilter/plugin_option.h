// What all commands with a plug-in begin with.
#pragma once

#include "hosting/plugin.h"

namespace CLI {
class App;
}

namespace gxfilter {

void add_plugin_option(CLI::App& command, std::filesystem::path& plugin);

/// Not for users, and only where children are programs of their own.
void add_child_option(CLI::App& command, bool& child);

/// The plug-in at `path`, the one that belongs to this program where that is empty.
recordings::Result<std::shared_ptr<const hosting::Plugin>>
load_plugin(const std::filesystem::path& path);

recordings::Result<std::vector<std::string>> names_of_filters(const hosting::Plugin& plugin);

} // namespace gxfilter
