// Messages on standard error, and what all commands with a plug-in begin with.
#pragma once

#include "plugin.h"

namespace gxfilter {

/// Prints the error and returns its exit status.
ExitStatus report(const Error& error);
void note(const std::string& text);

/// The plug-in at `path`, the default one where that is empty.
Result<std::shared_ptr<const Plugin>> load_plugin(const std::filesystem::path& path);

} // namespace gxfilter
