// Messages on standard error, and what all commands with a plug-in begin with.
#pragma once

#include "hosting/plugin.h"

namespace gxfilter {

/// Prints the error and returns its exit status.
recordings::ExitStatus report(const recordings::Error& error);
void note(const std::string& text);

/// The plug-in at `path`, the default one where that is empty.
recordings::Result<std::shared_ptr<const hosting::Plugin>>
load_plugin(const std::filesystem::path& path);

} // namespace gxfilter
